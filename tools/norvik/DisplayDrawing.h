#pragma once

// Displays drawn to scale: with characters for the terminal, and as a picture (SVG).
//
//   Print(DrawForTerminal(displays, 76));
//   WriteFile(path, DrawAsSvg("Displays", "console", {{"Now", displays}}));
//
// Threads:   any
// Ownership: results own their texts
// Errors:    none; displays without an extent are left out
// Units:     pixels of the desktop; columns of the terminal

#include <cstddef>
#include <string>
#include <vector>

namespace NorvikTool {

enum class EDisplayColor { Grey, Blue, Green };

struct DrawnDisplay {
    std::string title;    // "TKV"
    std::string device;   // "\\.\DISPLAY1"
    std::string monitor;  // for people; may be empty
    std::string rotation;
    int left = 0, top = 0, width = 0, height = 0;
    bool isPrimary = false;
    EDisplayColor color = EDisplayColor::Grey;
};

struct DrawnArrangement {
    std::string caption;
    std::vector<DrawnDisplay> displays;
};

// "1280x800" and "(-1920, 0)".
std::string SizeText(const DrawnDisplay& display);
std::string PositionText(const DrawnDisplay& display);

// Numbered from 1, in their order.
std::string DrawForTerminal(const std::vector<DrawnDisplay>& displays, std::size_t columns);

// Arrangements one below the other, each with a legend.
std::string DrawAsSvg(const std::string& heading, const std::string& remark,
                      const std::vector<DrawnArrangement>& arrangements);

}  // namespace NorvikTool
