#include "JRCmn/Cmn_IPv4Address.h"

#include <string_view>
#include <type_traits>

#include "JRCmn/Internal/Cmn_DottedQuad.h"

using namespace NorvikLibInternal;

static_assert(sizeof(Cmn_IPv4Address) == 4 && std::is_trivially_copyable_v<Cmn_IPv4Address>);

Cmn_IPv4Address::Cmn_IPv4Address(const Cmn_String& inText)
    : Cmn_IPv4Address(ParseDottedQuad(inText.c_str())) {}

Cmn_String Cmn_IPv4Address::ToString() const {
    char text[kDottedQuadSize];
    return Cmn_String(std::string_view(text, PrintDottedQuad(ToUInt32(), text)));
}

const in_addr& Cmn_IPv4Address::ToInAddr() const {
    return reinterpret_cast<const in_addr&>(mBytes);
}
