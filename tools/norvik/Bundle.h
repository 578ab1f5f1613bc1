#pragma once

// What goes into a support bundle: files of the log folder, within limits, and texts about this computer.
//
//   Bundle bundle;
//   AddLogs(bundle, logFolder, 5);
//   bundle.entries.push_back({"versions.txt", "versions", VersionsText()});
//
// Threads:   one
// Ownership: entries own their bytes; no file stays open
// Errors:    a file that is not taken stands among the omissions, with the reason; nothing throws but std::bad_alloc
// Units:     bytes; milliseconds since 1970 (UTC)

#include <cstdint>
#include <string>
#include <vector>

namespace NorvikTool {

constexpr std::uint64_t cUsualRuns = 5;
constexpr std::uint64_t cMostLogBytes = 64 << 20;
constexpr std::uint64_t cMostDumps = 10;
constexpr std::uint64_t cMostDumpBytes = 32 << 20;

struct BundleEntry {
    std::string name;  // in the archive, with '/' behind a folder
    std::string what;  // a file's path, or what a text says
    std::string bytes;
    std::int64_t time;
};

struct BundleOmission {
    std::string what;
    std::uint64_t size;
    std::string why;
    bool isFailure = false;  // it could not be read
};

struct Bundle {
    std::vector<BundleEntry> entries;
    std::vector<BundleOmission> omissions;
};

// ---- Files, the newest first (BundleFiles.cpp)

std::int64_t Now();

// The logs of the last runs. One that a program is writing is taken as far as it is.
void AddLogs(Bundle& bundle, const std::string& folder, std::uint64_t runs);
void AddDumps(Bundle& bundle, const std::string& folder);
// Under the name that it has. One that is not there is no omission.
void AddFile(Bundle& bundle, const std::string& folderInArchive, const std::string& path);

// ---- Texts (BundleTexts.cpp)

// The library's key of the registry and that of the settings.
std::string RegistryText();
// The library and this tool, the operating system, and every run-time library that is found where programs look for it.
std::string VersionsText();
// As the network knows it, and as older protocols do: in capitals, cut after 15 characters.
std::vector<std::string> ComputerNames();

}  // namespace NorvikTool
