// The base pair of system time: it must follow the system clock, and must not follow how fast a file is read.
#include <algorithm>
#include <gtest/gtest.h>

#include "stamp-encoder/system_base.h"

namespace encoder {
namespace {

constexpr UINT64 MINUTE_TICKS = 60 * 90000;
constexpr INT64 MINUTE_USEC = 60'000'000;
constexpr UINT64 WRAP = UINT64_C(1) << 33;
constexpr INT64 UTC = 1'700'000'000'000'000;

struct Row {
    const char *szCase;
    UINT64 nTicks;         // from the first picture to the one that renews
    INT64 llRead;          // when that one is read, after the first
    INT64 llUTC;           // of the pair then, after the first
    bool bSamePTS = false; // the pair is still that of the first picture
};

TEST(SystemBase, IsRenewedFromPicturesThatComeAtTheirPace) {
    const Row Rows[] = {
        {.szCase = "too young", .nTicks = MINUTE_TICKS - 1, .llRead = MINUTE_USEC + 3000, .llUTC = 0, .bSamePTS = true},
        {.szCase = "drift", .nTicks = MINUTE_TICKS, .llRead = MINUTE_USEC + 3000, .llUTC = MINUTE_USEC + 3000},
        {.szCase = "a file is read fast", .nTicks = MINUTE_TICKS, .llRead = 500'000, .llUTC = MINUTE_USEC},
        {.szCase = "a picture before the first", .nTicks = WRAP - 3000, .llRead = 0, .llUTC = 0, .bSamePTS = true},
    };
    for (const Row &Each : Rows) {
        for (const UINT64 nFirst : {UINT64_C(900000), WRAP - 1000}) { // the second wraps on the way
            SystemBase Base(true);
            Base.Renew(nFirst, UTC);
            const UINT64 nPTS = (nFirst + Each.nTicks) % WRAP;
            Base.Renew(nPTS, UTC + Each.llRead);
            EXPECT_EQ(Base.UTC() - UTC, Each.llUTC) << Each.szCase;
            EXPECT_EQ(Base.PTS(), Each.bSamePTS ? nFirst : nPTS) << Each.szCase;
        }
    }
}

// Pictures that waited while the input was looked into are read at once; those behind them as they come.
TEST(SystemBase, ForgetsTheBacklogOfALiveInputWithoutRunningBackwards) {
    for (const bool bLive : {true, false}) {
        SystemBase Base(bLive);
        INT64 llLast = 0;
        for (UINT64 nPicture = 0; nPicture < 100; nPicture++) {
            const UINT64 nPTS = nPicture * 3000;
            Base.Renew(nPTS, UTC + static_cast<INT64>(std::max<UINT64>(nPicture, 24)) * 100'000 / 3);
            const INT64 llUTC = Base.UTC() + CalcPTSDiff(Base.PTS(), nPTS) * 100 / 9;
            EXPECT_GE(llUTC, llLast) << nPicture;
            llLast = llUTC;
        }
        EXPECT_NEAR(static_cast<double>(llLast - UTC), 99 * 1e5 / 3 + (bLive ? 0 : 800'000), 2);
    }
}

} // namespace
} // namespace encoder
