#pragma once

// The stand-in of dnssd.dll for tests: its daemon as a child process, scripted by lines (standins/dnssd/README.md).
//
//   DnsSdDaemon daemon;                                // this process' library finds it from now on
//   daemon.Control("add " + DnsSdDaemon::Label("Desk 1") + " _desk._tcp 1,2 desk.local. 8000 03613d31");
//   EXPECT_THAT(daemon.Control("list"), HasSubstr("Desk\\0321 _desk._tcp 1 "));
//
// Threads:   one at a time
// Ownership: the daemon is killed in the destructor, and ends by itself when this process does
// Errors:    a daemon that does not start, and a line that is not answered "ok" in time, fail the test
// Units:     milliseconds

#include <optional>
#include <string>

#include "tests/support/ChildProcess.h"

class DnsSdDaemon {
public:
    // With further options of its command line.
    explicit DnsSdDaemon(const Arguments& options = {});
    DnsSdDaemon(const DnsSdDaemon&) = delete;
    DnsSdDaemon& operator=(const DnsSdDaemon&) = delete;

    // The text of the answer.
    std::string Control(const std::string& line, unsigned timeoutMs = 20'000) const;

    void Kill();
    // It lives, and does nothing until it may go on.
    void Hold(bool isHeld) const;
    // On the same port, with nothing registered.
    void Restart();

    unsigned short Port() const { return mPort; }

    // Where dnssd.dll and dnssd-daemon.exe lie, without a backslash at the end.
    static std::string Folder();
    // A name as it stands in command lines and listings.
    static std::string Label(const std::string& name);

private:
    void Start(unsigned short port);

    const Arguments mOptions;
    std::optional<ChildProcess> mProcess;
    unsigned short mPort = 0;
};
