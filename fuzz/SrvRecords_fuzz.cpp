// SRV records: any bytes against a reader that goes by positions, and host names through the writer and back.

#include <cctype>
#include <cstdio>
#include <memory>
#include <optional>

#include "JRCmn/Internal/Cmn_SrvRecord.h"
#include "fuzz/FuzzTarget.h"

using namespace NorvikLibInternal;

namespace {

using Labels = std::vector<std::string>;

// The labels of the name behind the first six bytes; null when the name does not end with the data.
std::optional<Labels> ReadLabels(const std::string& data) {
    if (data.size() < 7 || data.size() > 6 + 255) return std::nullopt;
    Labels labels;
    for (std::size_t at = 6; at < data.size();) {
        const std::size_t size = static_cast<unsigned char>(data[at]);
        if (size == 0) return at + 1 == data.size() ? std::optional(labels) : std::nullopt;
        if (size > 63 || at + 1 + size > data.size()) return std::nullopt;
        labels.push_back(data.substr(at + 1, size));
        at += 1 + size;
    }
    return std::nullopt;
}

// As the discovery library writes a name: what is special in it, or cannot be seen, has a backslash in front; with `all`, every
// byte has, which any reader of names takes.
std::string Escape(const Labels& labels, bool all) {
    std::string name;
    for (const std::string& label : labels) {
        for (const char c : label) {
            char text[8];
            const bool isNumber = all || c == ' ' || (!std::isgraph(static_cast<unsigned char>(c)) && c >= 0);
            std::snprintf(text, sizeof text, "\\%03d", static_cast<unsigned char>(c));
            name += isNumber ? text : c == '.' ? "\\." : c == '\\' ? "\\\\" : std::string(1, c);
        }
        name += '.';
    }
    return name;
}

}  // namespace

FUZZ_TARGET(SrvRecords) {
    while (!input.IsEmpty()) {
        std::string data = input.Bytes(8);
        for (int count = input.Between(0, 6); count > 0; --count) {
            const std::string label = input.Below(2) ? input.Bytes(70) : input.Text(6, "ab.\\0129");
            data += static_cast<char>(input.Below(9) ? label.size() : input.Below(256));
            data += label;
        }
        if (input.Below(8)) data += '\0';
        // In a block of just its size.
        const auto block = std::make_unique<char[]>(data.size());
        data.copy(block.get(), data.size());
        const auto record = ParseSrvRecordData({block.get(), data.size()});
        const auto labels = ReadLabels(data);
        SAME(record.has_value(), labels.has_value());
        // A name of any text is refused, or is one that can be read.
        const std::string written = SrvRecordData(1, input.Text(300, "abc.\\0129 \xC3"));
        SAME(written.empty() || ParseSrvRecordData(written).has_value(), true);
        if (!record) continue;
        SAME(record->port, static_cast<unsigned char>(data[4]) * 256 + static_cast<unsigned char>(data[5]));
        const std::string wire = SrvRecordData(record->port, record->host);
        SAME(wire, std::string(4, '\0') + data.substr(4));
        SAME(record->host, Escape(*labels, false));
        SAME(wire, SrvRecordData(record->port, Escape(*labels, true)));
    }
}
