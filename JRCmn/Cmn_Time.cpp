#include "JRCmn/Cmn_Time.h"

#include "JRCmn/Internal/Cmn_Clock.h"
#include "JRCmn/Internal/Cmn_FileTime.h"

uint64_t Cmn_Time::GetInMilliseconds() {
    return NorvikLibInternal::ClockMilliseconds();
}

Cmn_String Cmn_Time::ToString(const char* dateFormat, const char* timeFormat, const char* separator) const {
    const FILETIME fileTime = NorvikLibInternal::ToFileTime(mMilliseconds);
    SYSTEMTIME utc, local;
    if (!::FileTimeToSystemTime(&fileTime, &utc) || !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local))
        return {};

    // Reports of all machines read alike, whatever language the machine speaks.
    const LCID english = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);
    char date[80] = "", time[80] = "";
    ::GetDateFormatA(english, 0, &local, dateFormat, date, sizeof date);
    ::GetTimeFormatA(english, 0, &local, timeFormat, time, sizeof time);
    Cmn_String text(date);
    text += separator;
    text += time;
    return text;
}
