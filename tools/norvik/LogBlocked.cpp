#include "tools/norvik/LogBlocked.h"

#include <charconv>
#include <string_view>

namespace NorvikTool {
namespace {

constexpr std::string_view cWatchdog = "ELW: ", cHandler = "Handler ",
                           cBlocking = " is currently blocking event loop",
                           cUnknown = "Event loop thread is currently blocking event loop",
                           cLoop = "Event handler ", cBlocked = " has blocked event loop for ";
// Other threads may write between the frames of a stack.
constexpr std::size_t cMostFrames = 256, cMostStrangers = 64;

std::optional<BlockedLoop> ParseWatchdog(std::string_view text) {
    if (!text.starts_with(cWatchdog)) return {};
    text.remove_prefix(cWatchdog.size());
    if (text.starts_with(cUnknown)) return BlockedLoop();
    const std::size_t end = text.rfind(cBlocking);
    if (!text.starts_with(cHandler) || end == text.npos || end < cHandler.size()) return {};
    BlockedLoop blocked;
    blocked.handler = std::string(text.substr(cHandler.size(), end - cHandler.size()));
    return blocked;
}

std::optional<BlockedLoop> ParseEnd(std::string_view text) {
    const std::size_t middle = text.rfind(cBlocked);
    if (!text.starts_with(cLoop) || middle == text.npos || middle < cLoop.size()) return {};
    BlockedLoop blocked;
    blocked.handler = std::string(text.substr(cLoop.size(), middle - cLoop.size()));
    const std::string_view number = text.substr(middle + cBlocked.size());
    std::uint64_t lasted = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), lasted).ec != std::errc()) return {};
    blocked.lasted = lasted;
    return blocked;
}

// "  #00 App.exe+0x15b1 ..." and, behind the frames, "  Stack: App.exe 0x1400015b1 ..."
bool IsFrame(std::string_view text) {
    return text.starts_with("  #");
}

// Whether a line of the loop can mean what the watchdog saw: it may say more about the handler.
bool IsEndOf(const BlockedLoop& watched, const BlockedLoop& end) {
    return watched.handler.empty() || end.handler.starts_with(watched.handler);
}

std::vector<std::string> StackAfter(const std::vector<LogLine>& lines, std::size_t first) {
    std::vector<std::string> stack;
    std::size_t strangers = 0;
    for (std::size_t i = first + 1;
         i < lines.size() && stack.size() < cMostFrames && strangers < cMostStrangers; ++i) {
        const std::string& text = lines[i].text;
        const bool isEnd = text.starts_with("  Stack:");
        if (isEnd || IsFrame(text)) {
            stack.push_back(text);
        } else {
            ++strangers;
        }
        if (isEnd || text.starts_with(cWatchdog)) break;
    }
    return stack;
}

}  // namespace

std::vector<BlockedLoop> FindBlockedLoops(const std::vector<LogLine>& lines) {
    std::vector<BlockedLoop> all;
    bool isOpen = false;
    std::size_t open = 0;  // index of the one whose end is to come
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].kind == LogLine::Kind::Note || lines[i].kind == LogLine::Kind::Cut) continue;
        std::optional<BlockedLoop> found = ParseWatchdog(lines[i].text);
        if (found) {
            found->stack = StackAfter(lines, i);
            isOpen = true;
            open = all.size();
        } else if ((found = ParseEnd(lines[i].text)) && isOpen && IsEndOf(all[open], *found)) {
            all[open].lasted = found->lasted;
            all[open].handler = found->handler;
            isOpen = false;
            continue;
        }
        if (!found) continue;
        found->stamp = lines[i].stamp;
        found->line = i;
        all.push_back(std::move(*found));
    }
    return all;
}

}  // namespace NorvikTool
