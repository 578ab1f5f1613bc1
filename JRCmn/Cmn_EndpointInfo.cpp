#include "JRCmn/Cmn_EndpointInfo.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "JRCmn/Internal/Cmn_DottedQuad.h"

using namespace NorvikLibInternal;

Cmn_String Cmn_EndpointInfo::GetAsString() const {
    char address[kDottedQuadSize];
    const std::size_t length = PrintDottedQuad(mAddress.ToUInt32(), address);
    char text[sizeof address + 6];
    std::copy_n(address, length, text);
    text[length] = ':';
    const char* const end = std::to_chars(text + length + 1, text + sizeof text, mPort).ptr;
    return Cmn_String(std::string_view(text, static_cast<std::size_t>(end - text)));
}
