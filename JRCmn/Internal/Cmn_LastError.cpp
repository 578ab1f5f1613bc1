#include "JRCmn/Internal/Cmn_LastError.h"

namespace NorvikLibInternal {

Cmn_String DescribeSystemError(DWORD error) {
    char text[512];
    DWORD length = 0;
    // In English where the machine has it, so that the logs of all machines read alike; else in its own language.
    for (const DWORD language : {DWORD{MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US)}, DWORD{0}}) {
        length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                  language, text, sizeof text, nullptr);
        if (length != 0) break;
    }
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r' || text[length - 1] == ' '))
        --length;
    Cmn_String description;
    if (length == 0) {
        description.Printf("error %lu", error);
    } else {
        description.Printf("%.*s", static_cast<int>(length), text);
    }
    return description;
}

}  // namespace NorvikLibInternal
