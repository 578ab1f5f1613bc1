#pragma once

// Cmn_LogFile: one log file of bounded size. When it has grown beyond its maximum it rewinds: it marks the place, jumps
// back by the rewind size and goes on over older text, so that the start of a run is always kept.
//
//   Cmn_LogFile file("C:\\Logs\\App.log", 1024 * 1024, 512 * 1024);
//   file.EnableTimeStamps(true);
//   file.Write("The engine answers.\n");     // "1763139031.123 The engine answers.\r\n"
//
// Threads:   any thread may write; a write with its rewind check is one critical section. Move assignment is safe while
//            others write.
// Ownership: owns the open file; closed in the destructor
// Errors:    nothing is returned or thrown. A file that cannot be opened makes every write a no-operation. A write that
//            the disk does not take (full) is lost and does not count; the next one is tried again, at the same place.
// Units:     bytes. Every line is flushed to the system at once, so that a killed program loses none.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

#include "IPC/IPC_Benaphore.h"
#include "JRCmn/Cmn_Export.h"

class NORVIK_API Cmn_LogFile {
public:
    // Not open.
    Cmn_LogFile() = default;

    // Replaces an existing file. Other programs may read and write it meanwhile.
    Cmn_LogFile(const std::string& path, uint64_t maxSize, uint64_t rewindSize);

    // Moving swaps the contents.
    Cmn_LogFile(Cmn_LogFile&& other) noexcept;
    Cmn_LogFile& operator=(Cmn_LogFile&& other) noexcept;

    bool IsOpen() const;

    // Writes text, with a time stamp before it when they are enabled.
    void Write(const char* text);

    // Writes text as it is, line feeds as carriage return and line feed. The first form does that in place, without a
    // copy: it overwrites bytes of the buffer while it writes and restores them, so nobody may read the buffer then.
    void WriteWithoutTimeStamp(char* text);
    void WriteWithoutTimeStamp(char* text,
                               std::size_t length);  // whose length is known; terminated all the same
    void WriteWithoutTimeStamp(const char* text);

    void Flush();

    // Off at first. Returns what was set before.
    bool EnableTimeStamps(bool enable);

    // Both limits for later writes.
    void ChangeMaxSize(uint64_t maxSize, uint64_t rewindSize);

    std::string GetFilePath() const;

    // Writes "<seconds since 1970>.<milliseconds> " and returns its length; with a size below 25 writes nothing and
    // returns 0. The result is terminated.
    static int AddTimeStamp(char* buffer, int size);

private:
    void Swap(Cmn_LogFile& other) noexcept;
    bool IsReadyToWrite();
    void WriteLines(char* text, std::size_t length);
    void WriteConstantLines(const char* text, std::size_t length);
    void Put(const char* data, std::size_t size);

    uint64_t mMaxSize = 0;
    uint64_t mRewindSize = 0;
    std::string mPath;
    uint64_t mBytesWritten = 0;  // the writing position, counted from the start of the file
    std::unique_ptr<std::ofstream> mStream;
    mutable IPC_Benaphore mLock;
    std::atomic<bool> mTimeStampsEnabled{false};
};
