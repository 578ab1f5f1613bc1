#include "JRCmn/Cmn_LogFile.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "JRCmn/Internal/Cmn_Clock.h"
#include "JRCmn/Internal/Cmn_RewindRule.h"
#include "JRCmn/Internal/Cmn_TextAlgorithms.h"

using namespace NorvikLibInternal;

namespace {

constexpr int kTimeStampSize = 25;           // what a stamp may take, terminator included
constexpr std::size_t kTogetherSize = 8192;  // stamp and text up to this size go out in one write

}  // namespace

Cmn_LogFile::Cmn_LogFile(const std::string& path, uint64_t maxSize, uint64_t rewindSize)
    : mMaxSize(maxSize), mRewindSize(rewindSize), mPath(path), mStream(std::make_unique<std::ofstream>()) {
    // Every piece goes to the system at once, so a buffer of the stream's own would only be one more copy.
    mStream->rdbuf()->pubsetbuf(nullptr, 0);
    mStream->open(path, std::ios::binary | std::ios::trunc);
}

Cmn_LogFile::Cmn_LogFile(Cmn_LogFile&& other) noexcept {
    Swap(other);
}

Cmn_LogFile& Cmn_LogFile::operator=(Cmn_LogFile&& other) noexcept {
    if (this != &other) Swap(other);
    return *this;
}

void Cmn_LogFile::Swap(Cmn_LogFile& other) noexcept {
    // In the order of the addresses, so that two threads that swap the same pair do not wait for each other.
    Cmn_LogFile* const first = std::min(this, &other, std::less<>());
    Cmn_LogFile* const second = std::max(this, &other, std::less<>());
    IPC_BenaphoreLocker firstLocker(first->mLock);
    IPC_BenaphoreLocker secondLocker(second->mLock);
    std::swap(mMaxSize, other.mMaxSize);
    std::swap(mRewindSize, other.mRewindSize);
    std::swap(mPath, other.mPath);
    std::swap(mBytesWritten, other.mBytesWritten);
    std::swap(mStream, other.mStream);
    mTimeStampsEnabled = other.mTimeStampsEnabled.exchange(mTimeStampsEnabled);
}

bool Cmn_LogFile::IsOpen() const {
    IPC_BenaphoreLocker locker(mLock);
    return mStream && mStream->is_open();
}

// Stamping and copying need no lock; the file has one for the write alone.
void Cmn_LogFile::Write(const char* text) {
    if (!mTimeStampsEnabled.load(std::memory_order_relaxed)) {
        WriteWithoutTimeStamp(text);
        return;
    }
    char together[kTogetherSize];
    const std::size_t stamp = static_cast<std::size_t>(AddTimeStamp(together, sizeof together));
    const std::size_t length = std::strlen(text);
    if (stamp + length < sizeof together) {
        std::memcpy(together + stamp, text, length + 1);
        WriteWithoutTimeStamp(together, stamp + length);
        return;
    }
    IPC_BenaphoreLocker locker(mLock);
    if (!IsReadyToWrite()) return;
    Put(together, stamp);
    WriteConstantLines(text, length);
}

void Cmn_LogFile::WriteWithoutTimeStamp(char* text) {
    WriteWithoutTimeStamp(text, std::strlen(text));
}

void Cmn_LogFile::WriteWithoutTimeStamp(char* text, std::size_t length) {
    IPC_BenaphoreLocker locker(mLock);
    if (IsReadyToWrite()) WriteLines(text, length);
}

void Cmn_LogFile::WriteWithoutTimeStamp(const char* text) {
    IPC_BenaphoreLocker locker(mLock);
    if (IsReadyToWrite()) WriteConstantLines(text, std::strlen(text));
}

void Cmn_LogFile::Flush() {
    IPC_BenaphoreLocker locker(mLock);
    if (mStream) mStream->flush();
}

bool Cmn_LogFile::EnableTimeStamps(bool enable) {
    return mTimeStampsEnabled.exchange(enable);
}

void Cmn_LogFile::ChangeMaxSize(uint64_t maxSize, uint64_t rewindSize) {
    IPC_BenaphoreLocker locker(mLock);
    mMaxSize = maxSize;
    mRewindSize = rewindSize;
}

std::string Cmn_LogFile::GetFilePath() const {
    IPC_BenaphoreLocker locker(mLock);
    return mPath;
}

int Cmn_LogFile::AddTimeStamp(char* buffer, int size) {
    if (size < kTimeStampSize) return 0;
    const uint64_t now = ClockMilliseconds();
    const uint64_t milliseconds = now % 1000;
    char* end = std::to_chars(buffer, buffer + size, now / 1000).ptr;
    *end++ = '.';
    *end++ = static_cast<char>('0' + milliseconds / 100);
    *end++ = static_cast<char>('0' + milliseconds / 10 % 10);
    *end++ = static_cast<char>('0' + milliseconds % 10);
    *end++ = ' ';
    *end = 0;
    return static_cast<int>(end - buffer);
}

// Whether the file is open; rewinds it when it has passed its maximum.
bool Cmn_LogFile::IsReadyToWrite() {
    if (!mStream || !mStream->is_open()) return false;
    if (!MustRewind(mBytesWritten, mMaxSize)) return true;
    Put(kLogRewindMarker.data(), kLogRewindMarker.size());
    mBytesWritten = RewindOffset(mMaxSize, mRewindSize);
    mStream->clear();
    mStream->seekp(static_cast<std::streamoff>(mBytesWritten));
    Put(kLogTruncatedBanner.data(), kLogTruncatedBanner.size());
    return true;
}

// The line feed becomes a carriage return and the byte after it, which may be the terminator, a line feed; both are put
// back when the piece is written.
void Cmn_LogFile::WriteLines(char* text, std::size_t length) {
    std::size_t begin = 0;
    ForEachByte({text, length}, '\n', [&](std::size_t feed) {
        const char saved = text[feed + 1];
        text[feed] = '\r';
        text[feed + 1] = '\n';
        Put(text + begin, feed + 2 - begin);
        text[feed] = '\n';
        text[feed + 1] = saved;
        begin = feed + 1;
    });
    if (begin < length) Put(text + begin, length - begin);
}

// Constant text may lie in memory that cannot be written, so it is copied, in parts when it is long: line by line, as the
// other form writes it.
void Cmn_LogFile::WriteConstantLines(const char* text, std::size_t length) {
    char part[kTogetherSize];
    while (length > 0) {
        std::size_t size = std::min(length, sizeof part - 1);
        const void* const feed = std::memchr(text, '\n', size);
        if (feed) size = static_cast<std::size_t>(static_cast<const char*>(feed) - text) + 1;
        std::memcpy(part, text, size);
        part[size] = 0;
        WriteLines(part, size);
        text += size;
        length -= size;
    }
}

void Cmn_LogFile::Put(const char* data, std::size_t size) {
    if (!mStream->good()) {
        // The last write failed, perhaps in its middle: go on where the last whole piece ended. A disk that has room
        // again takes this very write.
        mStream->clear();
        mStream->seekp(static_cast<std::streamoff>(mBytesWritten));
    }
    // Straight to the stream's buffer, which has no memory of its own and passes each piece on at once: writing is
    // flushing here.
    if (mStream->rdbuf()->sputn(data, static_cast<std::streamsize>(size)) !=
        static_cast<std::streamsize>(size)) {
        mStream->setstate(std::ios::badbit);
        return;
    }
    mBytesWritten += size;
}
