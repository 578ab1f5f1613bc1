#include "standins/common/BoardFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>

#include "JRCmn/Internal/Cmn_Windows.h"

namespace {

constexpr std::size_t kMostNotes = 1 << 20;  // bytes, for a program that nobody asks

std::mutex gLock;
std::map<std::string, uint32_t> gKept;
std::string gCalls;

std::string Hex(uint32_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(number));
    return text;
}

std::string FolderOfThisModule() {
    HMODULE module = nullptr;
    ::GetModuleHandleExA(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<LPCSTR>(&NorvikTakeBoardCalls), &module);
    char path[MAX_PATH];
    const std::string whole(path, ::GetModuleFileNameA(module, path, sizeof path));
    return whole.substr(0, whole.rfind('\\') + 1);
}

std::string BoardFilePath() {
    char path[MAX_PATH] = "";
    const DWORD length = ::GetEnvironmentVariableA("NORVIK_BOARD_FILE", path, sizeof path);
    return length > 0 && length < sizeof path ? std::string(path) : FolderOfThisModule() + "board.txt";
}

std::string Trimmed(const std::string& text) {
    const std::size_t from = text.find_first_not_of(" \t\r");
    return from == text.npos ? "" : text.substr(from, text.find_last_not_of(" \t\r") + 1 - from);
}

// "Function" or "Function 0x1F", the ID always in the same form.
std::string Key(const std::string& text) {
    const std::size_t blank = text.find_first_of(" \t");
    if (blank == text.npos) return text;
    return text.substr(0, blank) + " " + Hex(std::strtoul(text.c_str() + blank, nullptr, 0));
}

std::map<std::string, std::string> ReadBoardFile() {
    std::map<std::string, std::string> lines;
    std::ifstream file(BoardFilePath());
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (Trimmed(line).starts_with('#') || equals == line.npos) continue;
        lines[Key(Trimmed(line.substr(0, equals)))] = Trimmed(line.substr(equals + 1));
    }
    return lines;
}

}  // namespace

uint32_t BoardAnswer::Number(std::size_t n) const {
    std::string words = text;
    std::ranges::replace(words, ',', ' ');
    std::istringstream stream(words);
    std::string word;
    while (stream >> word && n > 0)
        --n;
    return stream ? static_cast<uint32_t>(std::strtoll(word.c_str(), nullptr, 0)) : 0;
}

std::optional<BoardAnswer> FindBoardAnswer(const std::string& function, std::optional<uint32_t> id) {
    const std::lock_guard lock(gLock);
    const auto lines = ReadBoardFile();
    auto found = lines.end();
    if (id) found = lines.find(function + " " + Hex(*id));
    if (found == lines.end()) found = lines.find(function);
    BoardAnswer answer;
    if (found != lines.end() && found->second.starts_with('!')) {
        answer.status = static_cast<uint32_t>(std::strtoul(found->second.c_str() + 1, nullptr, 0));
        return answer;
    }
    const auto kept = gKept.find(function + " " + Hex(id.value_or(0)));
    if (kept != gKept.end()) {
        answer.text = std::to_string(kept->second);
    } else if (found != lines.end()) {
        answer.text = found->second;
    } else {
        return std::nullopt;
    }
    return answer;
}

void KeepBoardAnswer(const std::string& function, uint32_t id, uint32_t value) {
    const std::lock_guard lock(gLock);
    gKept[function + " " + Hex(id)] = value;
}

void NoteBoardCall(const std::string& function, std::initializer_list<uint32_t> arguments) {
    const std::lock_guard lock(gLock);
    if (gCalls.size() > kMostNotes) return;
    gCalls += function;
    for (const uint32_t argument : arguments)
        gCalls += " " + Hex(argument);
    gCalls += "\n";
}

const char* NorvikTakeBoardCalls() {
    static std::string sTaken;
    const std::lock_guard lock(gLock);
    sTaken.swap(gCalls);
    gCalls.clear();
    return sTaken.c_str();
}
