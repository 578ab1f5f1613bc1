#include "JRCmn/Internal/Cmn_LastError.h"

namespace NorvikLibInternal {

Cmn_String DescribeSystemError(DWORD error) {
    char text[512];
    DWORD length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, error,
                                    MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), text, sizeof text, nullptr);
    while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r' || text[length - 1] == ' ')) --length;
    Cmn_String description;
    if (length == 0) {
        description.Printf("error %lu", error);
    } else {
        description.Printf("%.*s (%lu)", static_cast<int>(length), text, error);
    }
    return description;
}

}  // namespace NorvikLibInternal
