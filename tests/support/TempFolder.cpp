#include "tests/support/TempFolder.h"

#include "JRCmn/Internal/Cmn_Windows.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

TempFolder::TempFolder() {
    static std::atomic<int> count{0};
    char base[MAX_PATH];
    const DWORD length = ::GetTempPathA(sizeof base, base);
    mPath = std::string(base, length) + "norviklib-test-" + std::to_string(::GetCurrentProcessId()) + "-" +
            std::to_string(++count);
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
    if (!std::filesystem::create_directories(mPath, ignored)) {
        std::fprintf(stderr, "cannot make the folder %s\n", mPath.c_str());
        std::abort();
    }
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(mPath, ignored);
}

std::string ProgramFolder() {
    return std::filesystem::path(_pgmptr).parent_path().string();
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}
