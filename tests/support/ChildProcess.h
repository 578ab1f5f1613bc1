#pragma once

// A second process from the folder of the test program, with its output.
//
//   ChildProcess child("norvik.exe", {"logs", "--help"}, folder.Path());
//   EXPECT_EQ(child.Wait(10'000), 0);
//
// Threads:   one thread at a time
// Ownership: a child that still runs is killed in the destructor
// Errors:    Wait returns kTimedOut when the child does not end in time; a child that cannot be started fails the test
// Units:     milliseconds

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "IPC/IPC_Event.h"

using Arguments = std::vector<std::string>;

class ChildProcess {
public:
    static constexpr int kTimedOut = -1000;

    // With a root folder of its own, or with that of this process.
    ChildProcess(const std::string& program, const Arguments& arguments, const std::string& root = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    int Wait(unsigned timeoutMs);
    void Kill();
    bool IsRunning() const;
    void* GetHandle() const { return mProcess; }

    // Standard output and error. Waits for the child's end.
    std::string Output();
    // What there is of it as soon as it holds the text; empty after the time.
    std::string OutputWith(const std::string& text, unsigned timeoutMs);

private:
    void* mProcess = nullptr;
    void* mReadEnd = nullptr;
    std::mutex mLock;  // of the output
    std::string mOutput;
    IPC_Event mArrived{IPC_Event::eAutoReset};
    std::thread mReader;
};

// Exit code and output of a program that ends by itself: "0 8 two words\n".
std::string RunProgram(const std::string& program, const Arguments& arguments, const std::string& root);
