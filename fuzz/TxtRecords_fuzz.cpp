// TXT records: any bytes against a reader by position, and records through the codec, with the stand-in's encoder.

#include <map>
#include <memory>

#include "JRCmn/Cmn_BonjourTXTRecordCodec.h"
#include "JRCmn/Internal/Cmn_TxtItems.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

namespace {

// Keys and values in order, then what was wrong: cut off, no '=', a key twice.
struct Picture {
    std::map<std::string, std::string> values{};
    std::string faults{};
    bool operator==(const Picture&) const = default;
};

Picture Read(std::string_view bytes) {
    Picture picture;
    WalkTxtItems(
        bytes,
        [&](std::string_view key, std::string_view value) {
            if (!picture.values.emplace(key, value).second) picture.faults += 'd';
        },
        [&](TxtFault fault) { picture.faults += fault == TxtFault::eCutOff ? 'c' : 'n'; });
    return picture;
}

Picture Reference(const std::string& bytes) {
    Picture picture;
    for (std::size_t at = 0, next; at < bytes.size(); at = next) {
        next = at + 1 + static_cast<unsigned char>(bytes[at]);
        const std::string item = bytes.substr(at + 1, next - at - 1);
        const std::size_t keySize = item.find('=');
        if (next > bytes.size()) {
            picture.faults += 'c';
        } else if (keySize == item.npos) {
            picture.faults += 'n';
        } else if (!picture.values.emplace(item.substr(0, keySize), item.substr(keySize + 1)).second) {
            picture.faults += 'd';
        }
    }
    return picture;
}

}  // namespace

FUZZ_TARGET(TxtRecords) {
    TxtRecord record;
    while (!input.IsEmpty()) {
        const std::string bytes =
            input.Below(2) ? input.Bytes(600) : input.Text(40, {"\0\1\2\3\4\7\xFF===abA\xC3", 14});
        // In a block of just their size.
        const auto block = std::make_unique<char[]>(bytes.size());
        bytes.copy(block.get(), bytes.size());
        SAME(Read({block.get(), bytes.size()}) == Reference(bytes), true);

        // Items of up to 254 bytes, as the published clients take. Keys that the wire tells apart: it does not know
        // small letters from capitals.
        const std::string key = input.Text(12, "abcdefghi jkl\"#~!9") + "k";
        record.SetKey(key, input.Bytes(253 - key.size()));
        const std::string wire = Cmn_BonjourTXTRecordCodec::Encode(record);
        SAME(Cmn_BonjourTXTRecordCodec::Decode(wire.data(), static_cast<unsigned short>(wire.size())) ==
                 record,
             true);
        SAME(Read(wire).faults, "");
    }
}
