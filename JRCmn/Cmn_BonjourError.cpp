#include "JRCmn/Cmn_BonjourError.h"

#include <algorithm>
#include <iterator>

#include "JRCmn/Cmn_Assert.h"
#include "JRCmn/Cmn_Trace.h"

namespace {

constexpr struct {
    std::int32_t code;
    const char* text;
} kTexts[] = {
    {0, "No error"},
    {-65537, "Unknown error"},
    {-65538, "No such name"},
    {-65539, "Out of memory"},
    {-65540, "Bad parameter"},
    {-65541, "Bad reference"},
    {-65542, "Bad state"},
    {-65543, "Bad flags"},
    {-65544, "Unsupported"},
    {-65545, "Not initialized"},
    // -65546 was never given a meaning.
    {-65547, "Already registered"},
    {-65548, "Name conflict"},
    {-65549, "Invalid parameter"},
    {-65550, "Firewall"},
    {-65551, "Client library is incompatible with daemon"},
    {-65552, "Bad interface index"},
    {-65553, "Refused"},
    {-65554, "No such record"},
    {-65555, "No auth"},
    {-65556, "No such key"},
    {-65557, "NAT traversal"},
    {-65558, "Double NAT"},
    {-65559, "Bad time"},
    {-65560, "Bad signature"},
    {-65561, "Bad key"},
    {-65562, "Transient"},
    {-65563, "Background daemon not running"},
    {-65564, "NAT doesn't support NAT-PMP or UPnP"},
    {-65565, "NAT supports NAT-PMP or UPnP but it's disabled by the administrator"},
    {-65566, "No router currently configured (probably no network connectivity)"},
    {-65567, "Polling mode"},
    {-65568, "Timeout"},
};

}  // namespace

Cmn_String Cmn_BonjourError::ToString() const {
    const auto found = std::find_if(std::begin(kTexts), std::end(kTexts),
                                    [this](const auto& each) { return each.code == mErrorCode; });
    if (found != std::end(kTexts)) return found->text;
    return Cmn_String().Printf("DNS-SD error %d", mErrorCode);
}

bool Cmn_BonjourError::Verify(const char* expression, const Cmn_BonjourError& error, const char* file,
                              int line) {
    if (error.IsOK()) return true;
    Cmn_Trace("Bonjour error %d: %s.\n", error.GetErrorCode(), error.ToString().c_str());
    return Cmn_Assert::FailedVerify(expression, file, line);
}
