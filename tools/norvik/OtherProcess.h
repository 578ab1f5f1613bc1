#pragma once

// A second process that the tool starts for a while: this program again, with other words, or one that lies near it.
//
//   OtherProcess listener({"pipe", "listen", name});
//   if (!listener.WaitForLine("Listening on", 10'000)) return Say(false, "the other process listens");
//   ...
//   listener.Kill();
//
// Threads:   one; not two of them made at once on different threads, or one would hold the other's output open
// Ownership: the process is killed with the object, and by the platform when this program ends in any other way
// Errors:    one that cannot be started is one that has ended, with no line; the reason is traced
// Units:     milliseconds

#include <string>
#include <vector>

#include "IPC/IPC_Benaphore.h"
#include "IPC/IPC_Event.h"
#include "IPC/IPC_RemoteProcess.h"
#include "JRCmn/Cmn_Thread.h"
#include "JRCmn/Internal/Cmn_Handle.h"

namespace NorvikTool {

// Where this program lies, with the stroke at the end.
std::string ProgramFolder();

class OtherProcess {
public:
    static constexpr std::size_t cLongestLine = 4'096;  // what is behind it is dropped

    // The program's path counts from the folder of this one; empty is this one.
    explicit OtherProcess(const std::vector<std::string>& words, const std::string& program = "",
                          std::size_t keptLines = 100);
    ~OtherProcess();
    OtherProcess(const OtherProcess&) = delete;
    OtherProcess& operator=(const OtherProcess&) = delete;

    // Whether one of its first lines (output and errors; no more are kept than the constructor was told) begins so. False
    // after the time, or when its output has ended without.
    bool WaitForLine(const std::string& beginning, unsigned timeoutMs);
    std::vector<std::string> FirstLines() const;
    // The same, and makes room for as many more: for a process that goes on telling.
    std::vector<std::string> TakeLines();
    // Whether lines or ends of lines were dropped.
    bool IsCut() const;

    // Whether it has ended.
    bool Wait(unsigned timeoutMs);
    // The same, with its exit code and all of its output.
    bool WaitForOutput(unsigned timeoutMs, unsigned long& exitCode);
    // Ends it without a word to it. Whether it has ended.
    bool Kill();
    // Null when it could not be started.
    void* GetHandle() const { return mProcess.GetHandle(); }

private:
    long ReadLines();
    void KeepLine(const std::string& line);

    NorvikLibInternal::KernelHandle mJob, mOutput;
    IPC_RemoteProcess mProcess;
    mutable IPC_Benaphore mLock;  // of the lines
    std::vector<std::string> mLines;
    const std::size_t mKeptLines;
    bool mIsOutputOver = false, mIsCut = false;
    IPC_Event mNews;  // another line, or the end
    Cmn_Thread mReader{"Other process", eNormal, 0};
};

}  // namespace NorvikTool
