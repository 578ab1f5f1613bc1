#include "tools/norvik/Verb.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>

namespace NorvikTool {
namespace {

constexpr std::size_t cFlushBytes = 65'536;

std::string& Pending() {
    static std::string pending;
    return pending;
}

bool ReaderIsGone(DWORD error) {
    return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED;
}

const Option& FindOption(const std::vector<Option>& options, const std::string& name) {
    const auto found =
        std::find_if(options.begin(), options.end(), [&](const Option& o) { return name == o.name; });
    if (found == options.end()) throw UsageError("unknown option '" + name + "'");
    return *found;
}

}  // namespace

Arguments::Arguments(const std::vector<Option>& options, bool takesPositionals,
                     const std::vector<std::string>& words) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (!optionsEnded && word == "--") {
            optionsEnded = true;
        } else if (optionsEnded || word.size() < 2 || word[0] != '-') {
            if (!takesPositionals) throw UsageError("unexpected '" + word + "'");
            mPositionals.push_back(word);
        } else {
            const std::size_t equals = word.find('=');
            const Option& option = FindOption(options, word.substr(0, equals));
            std::string value;
            if (equals != std::string::npos) {
                if (!option.value) throw UsageError(std::string(option.name) + " takes no value");
                value = word.substr(equals + 1);
            } else if (option.value) {
                if (++i == words.size()) throw UsageError(word + " needs a value (" + option.value + ")");
                value = words[i];
            }
            mValues[option.name] = value;
        }
    }
}

bool Arguments::Has(std::string_view option) const {
    return mValues.find(option) != mValues.end();
}

std::string Arguments::Text(std::string_view option, std::string_view fallback) const {
    const auto found = mValues.find(option);
    return found == mValues.end() ? std::string(fallback) : found->second;
}

std::uint64_t Arguments::Number(std::string_view option, std::uint64_t fallback,
                                std::uint64_t minimum) const {
    const auto found = mValues.find(option);
    if (found == mValues.end()) return fallback;
    const std::string& text = found->second;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < minimum)
        throw UsageError(std::string(option) + " needs a number from " + std::to_string(minimum) +
                         " on, not '" + text + "'");
    return number;
}

void Print(std::string_view text) {
    Pending() += text;
    if (Pending().size() >= cFlushBytes) Flush();
}

void PrintFormat(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (length > 0) {
        std::string text(static_cast<std::size_t>(length) + 1, '\0');
        std::vsnprintf(text.data(), text.size(), format, again);
        text.pop_back();
        Print(text);
    }
    va_end(again);
}

void Flush() {
    std::string text;
    text.swap(Pending());  // what cannot be written must not be tried again on the way out
    std::string_view rest = text;
    const HANDLE output = ::GetStdHandle(STD_OUTPUT_HANDLE);
    while (!rest.empty()) {
        DWORD written = 0;
        if (!::WriteFile(output, rest.data(), static_cast<DWORD>(rest.size()), &written, nullptr)) {
            const DWORD error = ::GetLastError();
            if (ReaderIsGone(error)) throw OutputClosed();
            throw std::runtime_error("cannot write the output (error " + std::to_string(error) + ")");
        }
        rest.remove_prefix(written);
    }
}

void PrintTable(std::string_view alignment, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths(alignment.size(), 0);
    for (const auto& row : rows) {
        for (std::size_t c = 0; c < row.size(); ++c)
            widths[c] = std::max(widths[c], row[c].size());
    }
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            const std::string padding(widths[c] - row[c].size(), ' ');
            const bool last = c + 1 == row.size();
            line += alignment[c] == 'r' ? padding + row[c] : last ? row[c] : row[c] + padding;
            line += last ? "\n" : "  ";
        }
        Print(line);
    }
}

}  // namespace NorvikTool
