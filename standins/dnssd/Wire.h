#pragma once

// The messages between the library and the daemon. README.md has them with their offsets.
//
//   std::string bytes = Writer(kBrowse).U32(flags).U32(interfaceIndex).Text(type).Text(domain).Take();
//   Reader reader(body);                       // a message without its length
//   const uint8_t kind = reader.U8(); ...      // what is not there reads as 0 or empty
//   if (!reader.IsWhole()) refuse();
//
// Threads:   one at a time
// Ownership: the reader points to the bytes that it was given
// Errors:    a reader that was asked for more than there is, or left something over, is not whole
// Units:     bytes; integers in little endian

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace DnsSdStandin {

enum Kind : uint8_t {
    kBrowse = 1,
    kResolve = 2,
    kAddress = 3,
    kRegister = 4,
    kUpdate = 5,
    kReconfirm = 6,
    kControl = 7,
    kQuery = 8,
    kVersion = 9,
    kAnswer = 16,
    kBrowseResult = 17,
    kResolveResult = 18,
    kAddressResult = 19,
    kRegisterResult = 20,
    kQueryResult = 21,
};

constexpr size_t kPrefixSize = 4;
constexpr uint32_t kMaxMessage = 128 * 1024;
// The listing of a large registry.
constexpr uint32_t kMaxControlAnswer = 16 * 1024 * 1024;

// The length behind the prefix. Only lengths from 1 to a limit are those of messages.
inline uint32_t MessageLength(const char* prefix) {
    uint32_t length = 0;
    for (size_t i = kPrefixSize; i-- > 0;)
        length = length << 8 | static_cast<uint8_t>(prefix[i]);
    return length;
}

class Writer {
public:
    explicit Writer(Kind kind) : mBytes(kPrefixSize, '\0') { U8(kind); }

    Writer& U8(uint8_t value) { return Integer(value, 1); }
    Writer& U16(uint16_t value) { return Integer(value, 2); }
    Writer& U32(uint32_t value) { return Integer(value, 4); }
    Writer& U64(uint64_t value) { return Integer(value, 8); }
    // With its length before it; at most 65535 bytes.
    Writer& Text(std::string_view text) {
        text = text.substr(0, UINT16_MAX);
        U16(static_cast<uint16_t>(text.size()));
        return Rest(text);
    }
    Writer& Rest(std::string_view bytes) {
        mBytes.append(bytes);
        return *this;
    }
    std::string Take() {
        const size_t length = mBytes.size() - kPrefixSize;
        for (size_t i = 0; i < kPrefixSize; ++i)
            mBytes[i] = static_cast<char>(length >> 8 * i);
        return std::move(mBytes);
    }

private:
    Writer& Integer(uint64_t value, int size) {
        for (int i = 0; i < size; ++i)
            mBytes.push_back(static_cast<char>(value >> 8 * i));
        return *this;
    }

    std::string mBytes;
};

class Reader {
public:
    explicit Reader(std::string_view body) : mBytes(body) {}

    uint8_t U8() { return static_cast<uint8_t>(Integer(1)); }
    uint16_t U16() { return static_cast<uint16_t>(Integer(2)); }
    uint32_t U32() { return static_cast<uint32_t>(Integer(4)); }
    uint64_t U64() { return Integer(8); }
    std::string Text() { return std::string(Bytes(U16())); }
    std::string Rest() { return std::string(Bytes(mBytes.size())); }

    bool IsWhole() const { return mIsGood && mBytes.empty(); }

private:
    std::string_view Bytes(size_t size) {
        mIsGood = mIsGood && size <= mBytes.size();
        if (!mIsGood) return {};
        const std::string_view bytes = mBytes.substr(0, size);
        mBytes.remove_prefix(size);
        return bytes;
    }
    uint64_t Integer(size_t size) {
        const std::string_view bytes = Bytes(size);
        uint64_t value = 0;
        for (size_t i = bytes.size(); i-- > 0;)
            value = value << 8 | static_cast<uint8_t>(bytes[i]);
        return value;
    }

    std::string_view mBytes;
    bool mIsGood = true;
};

}  // namespace DnsSdStandin
