#pragma once

// Cmn_BonjourTXTRecordCodec: a TxtRecord as the bytes of a DNS-SD TXT record, and back.
//
//   const std::string bytes = Cmn_BonjourTXTRecordCodec::Encode(record);
//   const TxtRecord back = Cmn_BonjourTXTRecordCodec::Decode(bytes.data(), static_cast<unsigned short>(bytes.size()));
//
// Threads:   any
// Ownership: none
// Errors:    what does not fit the format is reported and left out, the rest stays: see each function
// Units:     bytes: an item (key, '=' and value) has at most 255, a record at most 65535

#include <cstddef>
#include <string>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_TxtRecord.h"

namespace Cmn_BonjourTXTRecordCodec {

inline constexpr std::size_t cMaxRecordSize = 65535;

// Left out is a pair of more than 255 bytes, one whose key is empty or holds what the format does not allow, and
// one for which the record has no room. Without the discovery library all are: it does the encoding.
NORVIK_API std::string Encode(const TxtRecord& record);

// Left out is an item without '=', and the later of two with the same key. An item that is cut off ends the record.
NORVIK_API TxtRecord Decode(const void* data, unsigned short size);

}  // namespace Cmn_BonjourTXTRecordCodec
