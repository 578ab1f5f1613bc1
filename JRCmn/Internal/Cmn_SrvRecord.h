#pragma once

// The data of a service's SRV record: priority, weight and port in two bytes each, then the labels of the host. Pure.
//
//   SrvRecordData(8000, "desk.local.")                          "\0\0\0\0\x1F\x40\x04desk\x05local\0"
//   ParseSrvRecordData(data)->host                              "desk.local."
//
// Threads:   any
// Ownership: values
// Errors:    empty, or nullopt, for what is no name and no such record
// Units:     the port is in the machine's byte order; host names are escaped as the discovery library does it

#include <optional>
#include <string>
#include <string_view>

#include "JRCmn/Cmn_Export.h"

namespace NorvikLibInternal {

// With priority and weight 0, as a registered service has it.
NORVIK_API std::string SrvRecordData(unsigned short port, const std::string& hostName);

struct SrvRecord {
    unsigned short port = 0;
    std::string host;
};
NORVIK_API std::optional<SrvRecord> ParseSrvRecordData(std::string_view data);

}  // namespace NorvikLibInternal
