#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"
#include "JRCmn/Internal/Cmn_TxtItems.h"

using namespace NorvikLibInternal;

namespace {

// A record that the library builds, in memory of its own.
class Builder {
public:
    Builder() { TXTRecordCreate(&mRecord, 0, nullptr); }
    ~Builder() { TXTRecordDeallocate(&mRecord); }
    Builder(const Builder&) = delete;
    Builder& operator=(const Builder&) = delete;

    DNSServiceErrorType Add(const std::string& key, const std::string& value) {
        if (key.find('\0') != key.npos) return kDNSServiceErr_Invalid;  // the library would take a part of it
        // data() is never null, which would mean a key without '='.
        return TXTRecordSetValue(&mRecord, key.c_str(), static_cast<uint8_t>(value.size()), value.data());
    }
    std::string Bytes() const {
        const void* const bytes = TXTRecordGetBytesPtr(&mRecord);
        return bytes ? std::string(static_cast<const char*>(bytes), TXTRecordGetLength(&mRecord)) : "";
    }

private:
    TXTRecordRef mRecord = {};
};

}  // namespace

std::string Cmn_BonjourTXTRecordCodec::Encode(const TxtRecord& record) {
    Builder builder;
    for (const auto& [key, value] : record) {
        const std::size_t valueSize = value.size();
        if (!CMN_VERIFY_AT(89, valueSize + 1 + key.size() <= 0xFF)) continue;
        const DNSServiceErrorType ret = builder.Add(key, value);
        CMN_VERIFY_AT(96, ret == kDNSServiceErr_NoError);
    }
    const std::string str = builder.Bytes();
    return CMN_VERIFY_AT(101, str.size() <= cMaxRecordSize) ? str : std::string();
}

TxtRecord Cmn_BonjourTXTRecordCodec::Decode(const void* data, unsigned short size) {
    TxtRecord record;
    if (!data) return record;
    WalkTxtItems(
        {static_cast<const char*>(data), size},
        [&](std::string_view key, std::string_view value) {
            if (!record.AddKey(key, value)) VerifyFailed("!record.FindKey(key, dummy)", CMN_SOURCE_FILE, 56);
        },
        [](TxtFault fault) {
            if (fault == TxtFault::eCutOff) {
                VerifyFailed("strLeft <= strEnd", CMN_SOURCE_FILE, 42);
            } else {
                VerifyFailed("pos != std::string::npos", CMN_SOURCE_FILE, 47);
            }
        });
    return record;
}
