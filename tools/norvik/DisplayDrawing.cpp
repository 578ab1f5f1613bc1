#include "tools/norvik/DisplayDrawing.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>

namespace NorvikTool {
namespace {

// ---- What both drawings share.

struct Box {
    double left = 0, top = 0, right = 0, bottom = 0;
    double Width() const { return right - left; }
    double Height() const { return bottom - top; }
};

Box BoxOf(const DrawnDisplay& display) {
    return {double(display.left), double(display.top), double(display.left) + display.width,
            double(display.top) + display.height};
}

bool HasExtent(const DrawnDisplay& display) {
    return display.width > 0 && display.height > 0;
}

// Around all of them; without an extent when there are none.
Box Surround(const std::vector<DrawnDisplay>& displays) {
    Box all;
    bool isFirst = true;
    for (const DrawnDisplay& display : displays) {
        if (!HasExtent(display)) continue;
        const Box box = BoxOf(display);
        all = isFirst ? box
                      : Box{std::min(all.left, box.left), std::min(all.top, box.top),
                            std::max(all.right, box.right), std::max(all.bottom, box.bottom)};
        isFirst = false;
    }
    return all;
}

// ---- The terminal. Boxes that touch share their border.

constexpr double cMostRows = 18;
constexpr double cRowsPerColumn = 0.5;  // a character is about twice as high as it is wide

class CharacterCanvas {
public:
    CharacterCanvas(std::size_t columns, std::size_t rows) : mRows(rows, std::string(columns, ' ')) {}

    void DrawBox(std::size_t left, std::size_t top, std::size_t right, std::size_t bottom) {
        for (std::size_t x = left; x <= right; ++x) {
            Join(x, top, '-');
            Join(x, bottom, '-');
        }
        for (std::size_t y = top; y <= bottom; ++y) {
            Join(left, y, '|');
            Join(right, y, '|');
        }
        for (const std::size_t y : {top, bottom})
            mRows[y][left] = mRows[y][right] = '+';
    }

    // Centered between two columns.
    void Write(std::size_t left, std::size_t right, std::size_t row, const std::string& text) {
        mRows[row].replace(left + (right - left - text.size()) / 2, text.size(), text);
    }

    // Without the blanks behind each row, and the empty rows at the end.
    std::string Text() const {
        std::string text;
        for (const std::string& row : mRows)
            text += row.substr(0, row.find_last_not_of(' ') + 1) + "\n";
        return text.substr(0, text.find_last_not_of('\n') + 1) + "\n";
    }

private:
    void Join(std::size_t x, std::size_t y, char line) {
        char& at = mRows[y][x];
        at = at == ' ' || at == line ? line : '+';
    }

    std::vector<std::string> mRows;
};

// What fits; of a name that does not, the number.
std::vector<std::string> Labels(const DrawnDisplay& display, std::size_t number, std::size_t columns,
                                std::size_t rows) {
    const std::string digits = std::to_string(number), name = digits + " " + display.title;
    std::vector<std::string> labels;
    for (const std::string& label :
         {name.size() <= columns ? name : digits, SizeText(display), "at " + PositionText(display),
          std::string(display.isPrimary ? "primary" : "")}) {
        if (!label.empty() && label.size() <= columns && labels.size() < rows) labels.push_back(label);
    }
    return labels;
}

std::size_t ToCell(double distance, double scale) {
    return static_cast<std::size_t>(std::lround(distance * scale));
}

// ---- The picture.

constexpr double cPictureWidth = 960, cMargin = 40;
constexpr double cPanelWidth = cPictureWidth - 2 * cMargin, cPanelHeight = 400, cPanelPadding = 34;
constexpr double cCaptionHeight = 34, cLegendRow = 30, cLegendPadding = 14, cPanelGap = 28;
constexpr double cHeadingHeight = 92;
constexpr double cSmallestText = 11;
constexpr std::size_t cLongestMonitor = 24;

struct Colors {
    const char *fill, *line, *text;
};

Colors ColorsOf(EDisplayColor color) {
    switch (color) {
        case EDisplayColor::Green:
            return {"#d1fae5", "#047857", "#064e3b"};
        case EDisplayColor::Blue:
            return {"#dbeafe", "#1d4ed8", "#1e3a8a"};
        case EDisplayColor::Grey:
            break;
    }
    return {"#e5e7eb", "#4b5563", "#1f2937"};
}

// XML of the texts that come from outside: markup escaped, control bytes left out.
std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        const std::string_view entity = c == '&'   ? "&amp;"
                                        : c == '<' ? "&lt;"
                                        : c == '>' ? "&gt;"
                                        : c == '"' ? "&quot;"
                                                   : "";
        if (!entity.empty()) {
            escaped += entity;
        } else if (static_cast<unsigned char>(c) >= 0x20 && static_cast<unsigned char>(c) < 0x7F) {
            escaped += c;
        } else {
            escaped += '?';  // of a code page that the picture does not know
        }
    }
    return escaped;
}

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

std::string Rectangle(const Box& box, double radius, const std::string& style) {
    return "<rect x=\"" + Number(box.left) + "\" y=\"" + Number(box.top) + "\" width=\"" +
           Number(box.Width()) + "\" height=\"" + Number(box.Height()) + "\" rx=\"" + Number(radius) + "\" " +
           style + "/>\n";
}

std::string Label(double x, double y, double size, const std::string& style, const std::string& text) {
    return "<text x=\"" + Number(x) + "\" y=\"" + Number(y) + "\" font-size=\"" + Number(size) + "\" " +
           style + ">" + Escape(text) + "</text>\n";
}

std::string Fill(const char* color) {
    return std::string("fill=\"") + color + "\"";
}

std::string Badge(double x, double y, const Colors& colors, const std::string& number) {
    return "<circle cx=\"" + Number(x) + "\" cy=\"" + Number(y) + "\" r=\"11\" " + Fill(colors.line) +
           "/>\n" +
           Label(x, y + 4.5, 13, "fill=\"#ffffff\" font-weight=\"bold\" text-anchor=\"middle\"", number);
}

// The display's box with its number in the corner and, as far as there is room, its name, size and position.
std::string DrawDisplay(const DrawnDisplay& display, const Box& box, std::size_t number) {
    const Colors colors = ColorsOf(display.color);
    // Half the gap on each side, so that displays that touch are still two.
    const Box inner = {box.left + 1.5, box.top + 1.5, std::max(box.right - 1.5, box.left + 2.5),
                       std::max(box.bottom - 1.5, box.top + 2.5)};
    std::string svg =
        Rectangle(inner, 5, Fill(colors.fill) + " stroke=\"" + colors.line + "\" stroke-width=\"2\"");
    if (box.Width() < 40 || box.Height() < 40) return svg;
    svg += Badge(box.left + 22, box.top + 22, colors, std::to_string(number));

    const std::string style = "text-anchor=\"middle\" " + Fill(colors.text);
    const double size = std::min({box.Width() / 9, box.Height() / 7, 22.0});
    const double x = (box.left + box.right) / 2;
    const double y = (box.top + box.bottom) / 2 - (display.isPrimary ? 0.6 * size : 0);
    if (size < cSmallestText) return svg;
    svg += Label(x, y - 0.9 * size, size, style + " font-weight=\"bold\"", display.title);
    svg += Label(x, y + 0.5 * size, 0.8 * size, style, SizeText(display));
    svg += Label(x, y + 1.7 * size, 0.8 * size, style, "at " + PositionText(display));
    if (display.isPrimary)
        svg += Label(x, y + 2.9 * size, 0.8 * size, style + " font-style=\"italic\"", "primary display");
    return svg;
}

std::string DrawLegend(const DrawnDisplay& display, double y, std::size_t number) {
    const Colors colors = ColorsOf(display.color);
    const std::string dark = Fill("#111827"), soft = Fill("#4b5563");
    std::string what = SizeText(display) + " at " + PositionText(display);
    if (display.rotation != "None") what += ", turned " + display.rotation;
    if (display.isPrimary) what += ", primary";
    const bool isLong = display.monitor.size() > cLongestMonitor;
    const std::string monitor =
        isLong ? display.monitor.substr(0, cLongestMonitor - 3) + "..." : display.monitor;
    return Badge(cMargin + 12, y - 5, colors, std::to_string(number)) +
           Label(cMargin + 34, y, 15, dark + " font-weight=\"bold\"", display.title) +
           Label(cMargin + 160, y, 14, dark, what) + Label(cMargin + 572, y, 14, soft, display.device) +
           Label(cMargin + 690, y, 14, soft, monitor);
}

// Where the desktop begins: window positions count from here.
std::string DrawOrigin(double x, double y) {
    return "<circle cx=\"" + Number(x) + "\" cy=\"" + Number(y) +
           "\" r=\"5\" fill=\"#dc2626\" stroke=\"#ffffff\" stroke-width=\"1.5\"/>\n";
}

double PanelHeightOf(const DrawnArrangement& arrangement) {
    const Box all = Surround(arrangement.displays);
    if (all.Width() <= 0) return 90;
    const double room = cPanelWidth - 2 * cPanelPadding;
    return std::min(cPanelHeight, all.Height() * room / all.Width() + 2 * cPanelPadding);
}

double HeightOf(const DrawnArrangement& arrangement) {
    return cCaptionHeight + PanelHeightOf(arrangement) + cLegendPadding +
           cLegendRow * double(arrangement.displays.size()) + cPanelGap;
}

std::string DrawArrangement(const DrawnArrangement& arrangement, double top) {
    std::string svg =
        Label(cMargin, top + 18, 17, Fill("#111827") + " font-weight=\"bold\"", arrangement.caption);
    const Box panel = {cMargin, top + cCaptionHeight, cMargin + cPanelWidth,
                       top + cCaptionHeight + PanelHeightOf(arrangement)};
    svg += Rectangle(panel, 10, "fill=\"#f8fafc\" stroke=\"#cbd5e1\"");
    const Box all = Surround(arrangement.displays);
    const double x = (panel.left + panel.right) / 2, y = (panel.top + panel.bottom) / 2;
    if (all.Width() <= 0)
        return svg + Label(x, y + 5, 15, Fill("#4b5563") + " text-anchor=\"middle\"", "no displays");
    const double scale = std::min((panel.Width() - 2 * cPanelPadding) / all.Width(),
                                  (panel.Height() - 2 * cPanelPadding) / all.Height());
    const double left = x - all.Width() * scale / 2 - all.left * scale;
    const double base = y - all.Height() * scale / 2 - all.top * scale;
    double row = panel.bottom + cLegendPadding + 18;
    std::string legend;
    for (std::size_t i = 0; i < arrangement.displays.size(); ++i, row += cLegendRow) {
        const DrawnDisplay& display = arrangement.displays[i];
        legend += DrawLegend(display, row, i + 1);
        if (!HasExtent(display)) continue;
        const Box box = BoxOf(display);
        svg += DrawDisplay(display,
                           {left + box.left * scale, base + box.top * scale, left + box.right * scale,
                            base + box.bottom * scale},
                           i + 1);
    }
    return svg + DrawOrigin(left, base) + legend;
}

}  // namespace

std::string SizeText(const DrawnDisplay& display) {
    return std::to_string(display.width) + "x" + std::to_string(display.height);
}

std::string PositionText(const DrawnDisplay& display) {
    return "(" + std::to_string(display.left) + ", " + std::to_string(display.top) + ")";
}

std::string DrawForTerminal(const std::vector<DrawnDisplay>& displays, std::size_t columns) {
    const Box all = Surround(displays);
    if (all.Width() <= 0) return "";
    const double scale =
        std::min(double(columns - 1) / all.Width(), cMostRows / cRowsPerColumn / all.Height());
    CharacterCanvas canvas(ToCell(all.Width(), scale) + 4, ToCell(all.Height(), scale * cRowsPerColumn) + 3);
    for (std::size_t i = 0; i < displays.size(); ++i) {
        if (!HasExtent(displays[i])) continue;
        const Box box = BoxOf(displays[i]);
        const std::size_t left = ToCell(box.left - all.left, scale);
        const std::size_t right = std::max(ToCell(box.right - all.left, scale), left + 3);
        const std::size_t top = ToCell(box.top - all.top, scale * cRowsPerColumn);
        const std::size_t bottom = std::max(ToCell(box.bottom - all.top, scale * cRowsPerColumn), top + 2);
        canvas.DrawBox(left, top, right, bottom);
        const auto labels = Labels(displays[i], i + 1, right - left - 1, bottom - top - 1);
        std::size_t row = (top + bottom + 1 - labels.size()) / 2;
        for (const std::string& label : labels)
            canvas.Write(left + 1, right, row++, label);
    }
    return canvas.Text();
}

std::string DrawAsSvg(const std::string& heading, const std::string& remark,
                      const std::vector<DrawnArrangement>& arrangements) {
    double height = cHeadingHeight + 16;
    for (const DrawnArrangement& arrangement : arrangements)
        height += HeightOf(arrangement);
    const std::string size = Number(cPictureWidth) + "\" height=\"" + Number(height);
    std::string svg =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" +
        size + "\" viewBox=\"0 0 " + Number(cPictureWidth) + " " + Number(height) +
        "\" font-family=\"Segoe UI, DejaVu Sans, Arial, sans-serif\">\n";
    svg += Rectangle({0, 0, cPictureWidth, height}, 0, Fill("#ffffff"));
    svg += Label(cMargin, 44, 24, Fill("#111827") + " font-weight=\"bold\"", heading);
    svg += Label(cMargin, 68, 14, Fill("#4b5563"), remark);
    svg += DrawOrigin(cPictureWidth - cMargin - 196, 63);
    svg += Label(cPictureWidth - cMargin, 68, 14, Fill("#4b5563") + " text-anchor=\"end\"",
                 "origin of the desktop (0, 0)");
    double top = cHeadingHeight;
    for (const DrawnArrangement& arrangement : arrangements) {
        svg += DrawArrangement(arrangement, top);
        top += HeightOf(arrangement);
    }
    return svg + "</svg>\n";
}

}  // namespace NorvikTool
