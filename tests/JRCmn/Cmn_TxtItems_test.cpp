// The items of TXT records of any bytes, against a slow reader. Also compiled natively, where the sanitizers are: the bytes
// lie in a block of just their size.

#include "JRCmn/Internal/Cmn_TxtItems.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "JRCmn/Cmn_TxtRecord.h"

namespace {

using namespace NorvikLibInternal;

template <typename Record>
std::string Picture(const Record& record, const std::string& faults) {
    std::string text;
    for (const auto& [key, value] : record)
        text += key + "|" + value + ";";
    return text + faults;
}

std::string Decoded(const std::string& bytes) {
    const auto block = std::make_unique<char[]>(bytes.size());
    bytes.copy(block.get(), bytes.size());
    TxtRecord record;
    std::string faults;
    WalkTxtItems(
        {block.get(), bytes.size()},
        [&](std::string_view key, std::string_view value) { faults += record.AddKey(key, value) ? "" : "d"; },
        [&](TxtFault fault) { faults += fault == TxtFault::eCutOff ? "c" : "n"; });
    return Picture(record, faults);
}

// By position, with copies.
std::string Reference(const std::string& bytes) {
    std::map<std::string, std::string> record;
    std::string faults;
    for (size_t at = 0, next; at < bytes.size(); at = next) {
        next = at + 1 + static_cast<unsigned char>(bytes[at]);
        const std::string item = bytes.substr(at + 1, next - at - 1);
        const size_t keySize = item.find('=');
        if (next > bytes.size()) {
            faults += "c";
        } else if (keySize == item.npos) {
            faults += "n";
        } else if (!record.emplace(item.substr(0, keySize), item.substr(keySize + 1)).second) {
            faults += "d";
        }
    }
    return Picture(record, faults);
}

TEST(TxtItems, AnyBytesAreReadAsTheSlowReaderReadsThem) {
    std::mt19937 random(7);
    const std::string alphabet = {0, 1, 2, 3, 4, 7, '=', '=', 'a', 'b', 'A', '\xFF', '\xC3'};
    for (int round = 0; round < 100'000; ++round) {
        std::string bytes(random() % 40, '\0');
        for (char& byte : bytes)
            byte = alphabet[random() % alphabet.size()];
        ASSERT_EQ(Decoded(bytes), Reference(bytes)) << testing::PrintToString(bytes);
    }
    for (const size_t size : {255U, 256U, 257U, 65'535U}) {
        std::string bytes;
        while (bytes.size() < size)
            bytes += '\xFF' + std::to_string(bytes.size()) + "=" + std::string(254, 'v');
        bytes.resize(size);
        EXPECT_EQ(Decoded(bytes), Reference(bytes));
    }
}

}  // namespace
