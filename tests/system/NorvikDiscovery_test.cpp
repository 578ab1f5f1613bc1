// One program announces a service and another one finds it.

#include <gmock/gmock.h>

#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/DnsSdDaemon.h"
#include "tests/support/TempFolder.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr unsigned kLimit = 30'000;

TEST(NorvikDiscovery, WhatOneProgramPublishesAnotherOneFinds) {
    const TempFolder folder;
    const std::string library = DnsSdDaemon::Folder();
    const Arguments discover = {"discover", "_desk._tcp", "--once", "--library", library};
    DnsSdDaemon daemon;
    ChildProcess publish("norvik.exe",
                         {"publish", "Desk 1", "_desk._tcp", "8000", "a=1", "--library", library},
                         folder.Path());
    daemon.Control("await register 1");
    ChildProcess found("norvik.exe", discover, folder.Path());
    EXPECT_EQ(found.Wait(kLimit), 0);
    EXPECT_THAT(found.Output(), StartsWith("Service discovery: running\n  Desk 1  "));
    EXPECT_THAT(found.Output(), HasSubstr("  127.0.0.1  8000  1  a=1\n"));
    publish.Kill();
    daemon.Control("await register 0");
    EXPECT_THAT(publish.Output(), HasSubstr("Announced Desk 1 _desk._tcp 8000\n"));

    daemon.Kill();
    ChildProcess absent("norvik.exe", discover, folder.Path());
    EXPECT_EQ(absent.Wait(kLimit), 1);
    EXPECT_EQ(absent.Output(), "Service discovery: daemon not running\n");
    EXPECT_EQ(ChildProcess("norvik.exe", {"publish", "Desk", "_desk._tcp", "0"}, folder.Path()).Wait(kLimit),
              2);
}

// A library that lies in the current folder, and one that is none, are as good as no library.
TEST(NorvikDiscovery, OnlyARealLibraryFromATrustedFolderIsLoaded) {
    const TempFolder current, broken;
    char before[MAX_PATH];
    ::GetCurrentDirectoryA(sizeof before, before);
    ASSERT_TRUE(::CopyFileA((DnsSdDaemon::Folder() + "\\dnssd.dll").c_str(),
                            current.Path("dnssd.dll").c_str(), TRUE));
    WriteWholeFile(broken.Path("dnssd.dll"), "no library");
    ::SetCurrentDirectoryA(current.Path().c_str());
    for (const Arguments& arguments :
         {Arguments{"discover", "_desk._tcp"},
          Arguments{"publish", "Desk", "_desk._tcp", "1", "--library", broken.Path()}}) {
        ChildProcess missing("norvik.exe", arguments, broken.Path());
        EXPECT_EQ(missing.Wait(kLimit), 1);
        EXPECT_EQ(missing.Output(), "Service discovery: library missing (dnssd.dll)\n");
    }
    ::SetCurrentDirectoryA(before);
}

}  // namespace
