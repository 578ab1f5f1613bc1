#include "JRCmn/Internal/Cmn_Format.h"

#include "JRCmn/Internal/Cmn_TextPlatform.h"

namespace NorvikLibInternal {

Formatted FormatText(char* buffer, int limit, int& outLength, const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    outLength = FormatText(buffer, static_cast<size_t>(limit), format, arguments);
    Formatted result = Formatted::kFits;
    if (outLength < 0) {
        result = FormattedLength(format, again) < 0 ? Formatted::kInvalid : Formatted::kCut;
        outLength = result == Formatted::kCut ? limit : 0;
    }
    va_end(again);
    buffer[outLength] = 0;
    return result;
}

}  // namespace NorvikLibInternal
