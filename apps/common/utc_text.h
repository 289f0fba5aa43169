// A UTC time as text in ISO 8601, with microseconds.
#ifndef ENCODER_COMMON_UTC_TEXT_H
#define ENCODER_COMMON_UTC_TEXT_H

#include <cstdio>
#include <string>

#include "clock_api.h"

namespace encoder {

// Years outside four digits get a sign, as ISO 8601 wants it.
inline std::string UtcText(INT64 llUTC) {
    date_time_t Time{};
    ClockCvtUtc2DateTime(llUTC, &Time);
    char szText[64];
    std::snprintf(szText, sizeof(szText),
                  Time.year > 9999 || Time.year < 0 ? "%+05d-%02d-%02dT%02d:%02d:%02d.%06dZ"
                                                    : "%04d-%02d-%02dT%02d:%02d:%02d.%06dZ",
                  Time.year, Time.month, Time.dayOfMonth, Time.hour, Time.min, Time.sec, Time.microsec);
    return szText;
}

inline std::string TimeOfDayText(INT64 llUTC) {
    date_time_t Time{};
    ClockCvtUtc2DateTime(llUTC, &Time);
    char szText[40];
    std::snprintf(szText, sizeof(szText), "%02d:%02d:%02d", Time.hour, Time.min, Time.sec);
    return szText;
}

} // namespace encoder

#endif
