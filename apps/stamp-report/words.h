// Numbers as people read them.
#ifndef REPORT_WORDS_H
#define REPORT_WORDS_H

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

namespace report {

[[gnu::format(printf, 1, 2)]] inline std::string Format(const char *szFormat, ...) {
    char szText[256];
    va_list Arguments;
    va_start(Arguments, szFormat);
    std::vsnprintf(szText, sizeof(szText), szFormat, Arguments);
    va_end(Arguments);
    return szText;
}

// "+0.02" for what may be negative.
inline std::string Signed(double Value) {
    return Format("%+.2f", Value);
}

// Microseconds in the unit that suits them.
inline std::string Usec(double Value) {
    const double Size = std::fabs(Value);
    if (Size < 1000)
        return Format("%.1f us", Value);
    return Size < 1e6 ? Format("%.2f ms", Value / 1e3) : Format("%.3f s", Value / 1e6);
}

// "no gaps", "1 gap", "2 gaps".
inline std::string Counted(std::uint64_t nTimes, const char *szOne, const char *szMany) {
    return (nTimes == 0 ? "no" : std::to_string(nTimes)) + " " + (nTimes == 1 ? szOne : szMany);
}

inline std::string Percent(double Share) {
    return Format("%.1f %%", 100 * Share);
}

} // namespace report

#endif
