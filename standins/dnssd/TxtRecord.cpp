// The TXTRecord functions. They need no daemon.

#include <cstdlib>
#include <cstring>
#include <string_view>

#include "JRCmn/Internal/Cmn_DnsSd.h"

namespace NorvikLibInternal {
namespace {

// One less than its length byte can tell: the published clients count that byte, too.
constexpr size_t kMaxItem = 254;

// What stands in the 16 bytes of a TXTRecordRef.
struct Content {
    char* bytes;
    uint16_t capacity;
    uint16_t size;
    bool isOwned;
};
static_assert(sizeof(Content) <= sizeof(TXTRecordRef));

Content Load(const TXTRecordRef* record) {
    Content content;
    std::memcpy(&content, record->PrivateData, sizeof content);
    return content;
}

void Store(TXTRecordRef* record, const Content& content) {
    std::memcpy(record->PrivateData, &content, sizeof content);
}

struct Item {
    const char* start = nullptr;  // the length byte
    std::string_view key;
    const char* value = nullptr;  // null without '='
    uint8_t valueSize = 0;

    size_t Size() const { return 1 + static_cast<uint8_t>(*start); }
};

// The item at the position, which then moves on; false at the end and where the bytes are no TXT record.
bool NextItem(std::string_view bytes, size_t& position, Item& item) {
    if (position >= bytes.size()) return false;
    const size_t size = static_cast<uint8_t>(bytes[position]);
    if (size > bytes.size() - position - 1) return false;
    const std::string_view text = bytes.substr(position + 1, size);
    const size_t equals = text.find('=');
    item = {};
    item.start = bytes.data() + position;
    item.key = text.substr(0, equals);
    if (equals != std::string_view::npos) {
        item.value = text.data() + equals + 1;
        item.valueSize = static_cast<uint8_t>(size - equals - 1);
    }
    position += 1 + size;
    return true;
}

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsSameKey(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (Lower(a[i]) != Lower(b[i])) return false;
    return true;
}

bool Find(std::string_view bytes, std::string_view key, Item& item) {
    size_t position = 0;
    while (NextItem(bytes, position, item))
        if (IsSameKey(item.key, key)) return true;
    return false;
}

bool IsKey(std::string_view key) {
    for (const char c : key)
        if (c < 0x20 || c > 0x7E || c == '=') return false;
    return !key.empty();
}

std::string_view View(uint16_t size, const void* bytes) {
    return {static_cast<const char*>(bytes), bytes ? size : 0U};
}

void Erase(Content& content, const Item& item) {
    char* const start = content.bytes + (item.start - content.bytes);
    const size_t size = item.Size();
    const size_t behind = static_cast<size_t>(content.bytes + content.size - start) - size;
    std::memmove(start, start + size, behind);
    content.size = static_cast<uint16_t>(content.size - size);
}

// A buffer that the caller gave stays the caller's when the record leaves it.
bool Reserve(Content& content, size_t size) {
    if (size > UINT16_MAX) return false;
    if (content.bytes && size <= content.capacity) return true;
    const size_t capacity = size < UINT16_MAX / 2 ? size * 2 : UINT16_MAX;
    auto* const bytes = static_cast<char*>(std::malloc(capacity));
    if (!bytes) return false;
    if (content.size != 0) std::memcpy(bytes, content.bytes, content.size);
    if (content.isOwned) std::free(content.bytes);
    content.bytes = bytes;
    content.capacity = static_cast<uint16_t>(capacity);
    content.isOwned = true;
    return true;
}

}  // namespace

extern "C" {

TXTRecordCreateCall TXTRecordCreate;
TXTRecordDeallocateCall TXTRecordDeallocate;
TXTRecordSetValueCall TXTRecordSetValue;
TXTRecordRemoveValueCall TXTRecordRemoveValue;
TXTRecordContainsKeyCall TXTRecordContainsKey;
TXTRecordGetCountCall TXTRecordGetCount;
TXTRecordGetLengthCall TXTRecordGetLength;
TXTRecordGetBytesPtrCall TXTRecordGetBytesPtr;
TXTRecordGetValuePtrCall TXTRecordGetValuePtr;
TXTRecordGetItemAtIndexCall TXTRecordGetItemAtIndex;

void TXTRecordCreate(TXTRecordRef* record, uint16_t bufferLen, void* buffer) {
    Store(record, {static_cast<char*>(buffer), buffer ? bufferLen : uint16_t{0}, 0, false});
}

void TXTRecordDeallocate(TXTRecordRef* record) {
    const Content content = Load(record);
    if (content.isOwned) std::free(content.bytes);
    Store(record, {});
}

DNSServiceErrorType TXTRecordSetValue(TXTRecordRef* record, const char* key, uint8_t valueSize,
                                      const void* value) {
    const std::string_view name = key;
    const size_t item = name.size() + (value ? 1U + valueSize : 0U);
    if (!IsKey(name) || item > kMaxItem) return kDNSServiceErr_Invalid;

    Content content = Load(record);
    Item old;
    const bool isThere = Find(View(content.size, content.bytes), name, old);
    const size_t oldOffset = isThere ? static_cast<size_t>(old.start - content.bytes) : 0;
    const size_t size = content.size - (isThere ? old.Size() : 0) + 1 + item;
    if (!Reserve(content, size)) return kDNSServiceErr_NoMemory;
    if (isThere) {
        old.start = content.bytes + oldOffset;
        Erase(content, old);
    }
    char* to = content.bytes + content.size;
    *to++ = static_cast<char>(item);
    std::memcpy(to, name.data(), name.size());
    if (value) {
        to[name.size()] = '=';
        std::memcpy(to + name.size() + 1, value, valueSize);
    }
    content.size = static_cast<uint16_t>(size);
    Store(record, content);
    return kDNSServiceErr_NoError;
}

DNSServiceErrorType TXTRecordRemoveValue(TXTRecordRef* record, const char* key) {
    Content content = Load(record);
    Item item;
    if (!Find(View(content.size, content.bytes), key, item)) return kDNSServiceErr_NoSuchKey;
    Erase(content, item);
    Store(record, content);
    return kDNSServiceErr_NoError;
}

uint16_t TXTRecordGetLength(const TXTRecordRef* record) {
    return Load(record).size;
}

const void* TXTRecordGetBytesPtr(const TXTRecordRef* record) {
    return Load(record).bytes;
}

int TXTRecordContainsKey(uint16_t txtLen, const void* txtRecord, const char* key) {
    Item item;
    return Find(View(txtLen, txtRecord), key, item);
}

const void* TXTRecordGetValuePtr(uint16_t txtLen, const void* txtRecord, const char* key, uint8_t* valueLen) {
    Item item;
    *valueLen = 0;
    if (!Find(View(txtLen, txtRecord), key, item)) return nullptr;
    *valueLen = item.valueSize;
    return item.value;
}

uint16_t TXTRecordGetCount(uint16_t txtLen, const void* txtRecord) {
    Item item;
    size_t position = 0;
    uint16_t count = 0;
    while (NextItem(View(txtLen, txtRecord), position, item))
        ++count;
    return count;
}

DNSServiceErrorType TXTRecordGetItemAtIndex(uint16_t txtLen, const void* txtRecord, uint16_t itemIndex,
                                            uint16_t keyBufLen, char* key, uint8_t* valueLen,
                                            const void** value) {
    Item item;
    size_t position = 0;
    for (unsigned i = 0; i <= itemIndex; ++i)
        if (!NextItem(View(txtLen, txtRecord), position, item)) return kDNSServiceErr_Invalid;
    if (item.key.size() >= keyBufLen) return kDNSServiceErr_NoMemory;
    std::memcpy(key, item.key.data(), item.key.size());
    key[item.key.size()] = '\0';
    *value = item.value;
    *valueLen = item.valueSize;
    return kDNSServiceErr_NoError;
}

}  // extern "C"

}  // namespace NorvikLibInternal
