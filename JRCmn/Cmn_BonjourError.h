#pragma once

// Cmn_BonjourError: what a call of service discovery said.
//
//   const Cmn_BonjourError error = publisher.Register("Desk 1", 8000, 0, &OnRegistered);
//   if (!error.IsOK()) Cmn_Trace("Not announced: %s.\n", error.ToString().c_str());
//
// Threads:   any; a plain value
// Ownership: none
// Errors:    none
// Units:     the published codes of DNS Service Discovery: 0 is success, -65563 a computer without the library or its daemon

#include <cstdint>

#include "JRCmn/Cmn_Export.h"
#include "JRCmn/Cmn_String.h"

class NORVIK_API Cmn_BonjourError {
public:
    Cmn_BonjourError(std::int32_t inErrorCode = 0) : mErrorCode(inErrorCode) {}

    bool IsOK() const { return mErrorCode == 0; }
    std::int32_t GetErrorCode() const { return mErrorCode; }
    // "Name conflict"
    Cmn_String ToString() const;

    // True for success. Otherwise the error is traced and the check `expression` reported at the place given (both literals);
    // the result is then that of Cmn_Assert::FailedVerify: whether to stop in the debugger.
    static bool Verify(const char* expression, const Cmn_BonjourError& error, const char* file, int line);

    friend bool operator==(const Cmn_BonjourError&, const Cmn_BonjourError&) = default;

private:
    std::int32_t mErrorCode;
};
