// The run-time binding, and what its errors are called.

#include "JRCmn/Internal/Cmn_DnsSdLibrary.h"

#include <gtest/gtest.h>

#include "JRCmn/Cmn_BonjourError.h"
#include "JRCmn/Internal/Cmn_Windows.h"
#include "tests/support/TraceCapture.h"

using namespace NorvikLibInternal;

template <typename Result, typename... Arguments>
static int64_t Failure(DnsSdCall<Result(Arguments...)>& call) {
    if constexpr (std::is_void_v<Result>)
        return call(Arguments{}...), 0;
    else
        return (int64_t)call(Arguments{}...);  // also of a pointer
}

TEST(DnsSdLibrary, EveryCallFailsWithoutTheLibraryAndWithoutTheEntryPoint) {
    // Not an error code, but nothing; and nothing is 0, but for the socket.
    const std::string nothing =
        "DNSServiceRefDeallocate TXTRecordCreate TXTRecordDeallocate TXTRecordContainsKey TXTRecordGetCount "
        "TXTRecordGetLength TXTRecordGetBytesPtr TXTRecordGetValuePtr";
    int calls = 0;
    // The other module has none of the entry points.
    for (void* const module :
         {static_cast<void*>(nullptr), static_cast<void*>(::GetModuleHandleA("kernel32"))}) {
        OverrideDnsSdLibrary(module);
        EXPECT_EQ(IsDnsSdLibraryLoaded(), module != nullptr);
#define EXPECT_FAILURE(name, failure)                                                \
    ::SetLastError(42);                                                              \
    EXPECT_EQ(Failure(name), nothing.find(#name) != nothing.npos           ? 0       \
                             : std::string(#name) == "DNSServiceRefSockFD" ? -1      \
                                                                           : -65563) \
        << #name;                                                                    \
    EXPECT_EQ(::GetLastError(), 42U) << #name;                                       \
    ++calls;
        NORVIK_DNS_SD_CALLS(EXPECT_FAILURE)
    }
    EXPECT_EQ(calls, 2 * 28);
}

TEST(BonjourError, CodesHaveTheirTextsAndFailChecks) {
    const std::pair<int32_t, const char*> cases[] = {
        {0, "No error"},
        {-65546, "DNS-SD error -65546"},
        {-65563, "Background daemon not running"},
        {-65568, "Timeout"},
        {INT32_MIN, "DNS-SD error -2147483648"},
    };
    for (const auto& [code, text] : cases) {
        EXPECT_STREQ(Cmn_BonjourError(code).ToString(), text);
        EXPECT_EQ(Cmn_BonjourError(code).IsOK(), code == 0);
    }
    EXPECT_TRUE(Cmn_BonjourError::Verify("noError", 0, "File", 1));
    EXPECT_FALSE(Cmn_BonjourError::Verify("someError", -65548, "File", 2));
    EXPECT_TRUE(ReportedOnce("'someError' failed in File(2)"));
    EXPECT_TRUE(AnyContains(TakeTraces(), "Bonjour error -65548: Name conflict.\n"));
}
