#pragma once

// IPC_RemoteProcess: another process, started by this one.
//
//   IPC_RemoteProcess viewer;
//   if (viewer.StartLocal("Viewer.exe", IPC_RemoteProcess::Quoted({"--file", path})) == INVALID_HANDLE_VALUE) return false;
//   viewer.WaitForEnd(5'000);
//
// Threads:   an object belongs to one thread at a time. Two that are started with an output at the same time may each hold
//            the other's open.
// Ownership: owns its handle of the process, not the process: that lives on when the object goes
// Errors:    a process that cannot be started is traced with its reason; the object then stands for none
// Units:     milliseconds; 0xFFFFFFFF waits without a limit

#include <vector>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API IPC_RemoteProcess {
public:
    struct Options {
        void* output =
            nullptr;  // where its standard output and error go: an inheritable handle, which stays the caller's
        void* job = nullptr;  // the job that it is in before it does anything; stays the caller's
    };

    IPC_RemoteProcess() = default;
    ~IPC_RemoteProcess();
    IPC_RemoteProcess(const IPC_RemoteProcess&) = delete;
    IPC_RemoteProcess& operator=(const IPC_RemoteProcess&) = delete;

    // Starts a program of this computer: a full path (of a drive's root or a share), or a path from the folder of the running
    // program; nowhere else is looked. `arguments` is the command line behind the program, as the program will read it. Returns
    // the handle, which stays this object's, or INVALID_HANDLE_VALUE. The process that the object stood for is let go of first.
    void* StartLocal(const Cmn_String& program, const Cmn_String& arguments, const Options& options);
    void* StartLocal(const Cmn_String& program, const Cmn_String& arguments) {
        return StartLocal(program, arguments, Options());
    }

    // Null when it stands for none.
    void* GetHandle() const { return mProcess; }
    // Whether it has ended; true when it stands for none.
    bool WaitForEnd(unsigned int timeoutMs) const;
    // Ends it without a word to it, with this exit code. False when it cannot be ended, or has ended already.
    bool Terminate(unsigned int exitCode) const;

    // A command line of these words, from which the usual run-times read exactly them, whatever blanks, quotes and
    // backslashes are in them.
    static Cmn_String Quoted(const std::vector<Cmn_String>& words);

private:
    void* mProcess = nullptr;
};
