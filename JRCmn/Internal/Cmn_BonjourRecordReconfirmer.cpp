#include "JRCmn/Internal/Cmn_BonjourRecordReconfirmer.h"

#include <algorithm>

#include "JRCmn/Cmn_Trace.h"
#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"

namespace NorvikLibInternal {
namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Takes the first character off an escaped name: itself, "\." or "\046".
char TakeCharacter(std::string_view& name) {
    std::size_t size = 1;
    char character = name[0];
    if (character == '\\' && name.size() >= 4 && std::all_of(name.begin() + 1, name.begin() + 4, &IsDigit)) {
        size = 4;
        character = static_cast<char>((name[1] - '0') * 100 + (name[2] - '0') * 10 + (name[3] - '0'));
    } else if (character == '\\' && name.size() >= 2) {
        size = 2;
        character = name[1];
    }
    name.remove_prefix(size);
    return character;
}

}  // namespace

std::string SrvRecordData(unsigned short port, const std::string& hostName) {
    constexpr std::size_t kMaxLabel = 63;
    std::string data{0, 0, 0, 0, static_cast<char>(port >> 8), static_cast<char>(port & 0xFF)};
    std::string label;
    for (std::string_view rest = hostName; !rest.empty();) {
        const bool isDot = rest.front() == '.';
        const char character = TakeCharacter(rest);
        if (!isDot) label += character;
        if (!isDot && !rest.empty()) continue;
        if (label.empty() || label.size() > kMaxLabel) return {};
        data += static_cast<char>(label.size());
        data += label;
        label.clear();
    }
    data += '\0';
    return data;
}

Cmn_BonjourRecordReconfirmer::Cmn_BonjourRecordReconfirmer(const Cmn_BonjourService& service,
                                                           const std::string& inServiceTypeName)
    : mService(service),
      mError(DNSServiceConstructFullName(mFullName, mService.mName.c_str(), inServiceTypeName.c_str(),
                                         "local.")) {}

Cmn_BonjourError Cmn_BonjourRecordReconfirmer::Reconfirm() {
    if (!mError.IsOK()) return mError;
    Cmn_Trace("Bonjour: Will reconfirm SRV record %s...\n", mFullName);
    const std::string data = SrvRecordData(mService.mPort, mService.mHostName);
    return DNSServiceReconfirmRecord(0, mService.mInterfaceIndex, mFullName, kDNSServiceType_SRV,
                                     kDNSServiceClass_IN, static_cast<uint16_t>(data.size()), data.data());
}

}  // namespace NorvikLibInternal
