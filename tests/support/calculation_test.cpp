// List, clock, PTS arithmetic and string copy.
#include <gtest/gtest.h>

#include "clock_api.h"
#include "flist_api.h"
#include "interpose/clock.h"
#include "pts_api.h"
#include "strutil.h"

TEST(List, KeepsItsOrderThroughUnlinking) {
    FLIST_D List;
    FastListInitD(&List);
    FNODE_D Nodes[4]{};
    for (FNODE_D &Node : Nodes)
        FastLinkAtStartD(&Node, &Node, &List);
    const struct {
        const char *szFault;
        size_t nUnlinked;
        std::vector<long> NewestFirst;
    } ROWS[] = {{.szFault = "between others", .nUnlinked = 2, .NewestFirst = {3, 1, 0}},
                {.szFault = "a second time", .nUnlinked = 2, .NewestFirst = {3, 1, 0}},
                {.szFault = "the oldest", .nUnlinked = 0, .NewestFirst = {3, 1}},
                {.szFault = "the newest", .nUnlinked = 3, .NewestFirst = {1}},
                {.szFault = "the only one", .nUnlinked = 1, .NewestFirst = {}}};
    for (const auto &Row : ROWS) {
        FastUnlinkD(&Nodes[Row.nUnlinked]);
        std::vector<long> Forward, Backward;
        for (FNODE_D *p = List.pHead; p != nullptr; p = p->pNext)
            Forward.push_back(static_cast<FNODE_D *>(p->pvObject) - Nodes);
        for (FNODE_D *p = List.pTail; p != nullptr; p = p->pPrev)
            Backward.insert(Backward.begin(), p - Nodes);
        EXPECT_TRUE(Forward == Row.NewestFirst && Backward == Row.NewestFirst) << Row.szFault;
        EXPECT_EQ(List.nNumOfEntries, Row.NewestFirst.size()) << Row.szFault;
    }
    FastLinkAtStartD(&Nodes[2], &Nodes[2], &List);
    EXPECT_TRUE(List.pHead == &Nodes[2] && List.pTail == &Nodes[2] && List.nNumOfEntries == 1) << "linked again";
}

TEST(List, ANodeHeldBeforeTheListWasEmptiedIsNotUnlinked) {
    FLIST_D List;
    FNODE_D Held{}, Linked{};
    FastListInitD(&List);
    FastLinkAtStartD(&Held, &Held, &List);
    FastListInitD(&List);
    FastLinkAtStartD(&Linked, &Linked, &List);
    FastUnlinkD(&Held);
    EXPECT_TRUE(List.pHead == &Linked && List.pTail == &Linked && List.nNumOfEntries == 1);
}

TEST(Clock, ConvertsEveryInstantBothWays) {
    const struct {
        INT64 llUTC;
        date_time_t Date;
    } ROWS[] = {{.llUTC = -1, .Date = {1969, 12, 31, 23, 59, 59, 999999}},
                {.llUTC = -86'400'000'000, .Date = {1969, 12, 31, 0, 0, 0, 0}},
                {.llUTC = 951'782'400'000'000, .Date = {2000, 2, 29, 0, 0, 0, 0}},
                {.llUTC = -2'203'891'200'000'001, .Date = {1900, 2, 28, 23, 59, 59, 999999}},
                {.llUTC = 4'107'542'400'000'000, .Date = {2100, 3, 1, 0, 0, 0, 0}},
                {.llUTC = 253'402'300'800'000'000, .Date = {10000, 1, 1, 0, 0, 0, 0}},
                {.llUTC = 1'221'522'163'200'000'000, .Date = {40678, 7, 1, 0, 0, 0, 0}},
                {.llUTC = INT64_MAX, .Date = {294247, 1, 10, 4, 0, 54, 775807}},
                {.llUTC = INT64_MIN, .Date = {-290308, 12, 21, 19, 59, 5, 224192}}};
    for (const auto &Row : ROWS) {
        date_time_t Date{}, Time{};
        INT64 llUTC = 42;
        EXPECT_EQ(ClockCvtUtc2DateTime(Row.llUTC, &Date) | ClockCvtUtc2Time(Row.llUTC, &Time), CLOCK_OK);
        EXPECT_EQ(memcmp(&Date, &Row.Date, sizeof Date), 0) << Row.llUTC << " became year " << Date.year;
        EXPECT_EQ(memcmp(&Time, &Row.Date, sizeof Time), 0) << Row.llUTC;
        EXPECT_EQ(ClockCvtDateTime2Utc(&Row.Date, &llUTC), CLOCK_OK);
        EXPECT_EQ(llUTC, Row.llUTC);
    }
}

TEST(Clock, RefusesAFieldThatNamesNoInstantAndLeavesTheOutput) {
    date_time_t Date = {2100, 2, 28, 0, 0, 0, 0};
    const auto ExpectRefused = [&Date](int &nField, const std::vector<int> &Values) {
        const int nGood = nField;
        for (const int nValue : Values) {
            nField = nValue;
            INT64 llUTC = 42;
            EXPECT_EQ(ClockCvtDateTime2Utc(&Date, &llUTC), CLOCK_ERROR_FIELD_RANGE) << nValue;
            EXPECT_EQ(llUTC, 42) << nValue;
        }
        nField = nGood;
    };
    ExpectRefused(Date.year, {INT32_MAX, INT32_MIN, -290308});
    ExpectRefused(Date.month, {0, 13, 257});
    ExpectRefused(Date.dayOfMonth, {0, 29, 257});
    ExpectRefused(Date.hour, {-1, 24});
    ExpectRefused(Date.min, {-1, 60});
    ExpectRefused(Date.sec, {-1, 60});
    ExpectRefused(Date.microsec, {-1, 1'000'000});
    Date = {294247, 1, 10, 4, 0, 54, 775'807};
    ExpectRefused(Date.microsec, {775'808});
}

TEST(Clock, NowIsMicrosecondsOrMinusOne) {
    constexpr INT64 LAST_SEC = INT64_MAX / 1'000'000;
    const struct {
        const char *szFault;
        INT64 nSec = 17, nNsec = 0, llUTC = -1;
        bool bFails = false;
    } ROWS[] = {
        {.szFault = "nanoseconds are cut", .nNsec = 123'456'999, .llUTC = 17'123'456},
        {.szFault = "the last instant", .nSec = LAST_SEC, .nNsec = 775'807'999, .llUTC = INT64_MAX},
        {.szFault = "a microsecond later", .nSec = LAST_SEC, .nNsec = 775'808'000},
        {.szFault = "a second later", .nSec = LAST_SEC + 1},
        {.szFault = "the clock fails", .bFails = true},
    };
    for (const auto &Row : ROWS) {
        interpose::g_Clock.nSec = Row.nSec;
        interpose::g_Clock.nNsec = Row.nNsec;
        interpose::g_Clock.bFails = Row.bFails;
        EXPECT_EQ(ClockGetUtc(), Row.llUTC) << Row.szFault;
    }
    interpose::g_Clock.bFails = false;
}

TEST(PTS, DifferenceKnowsTheWrapOfA33BitCount) {
    constexpr INT64 WRAP = INT64{1} << 33, HALF = WRAP / 2, MINUTE = 5'400'000;
    const struct {
        const char *szFault;
        INT64 nFirst = 0, nSecond, nDiff;
    } ROWS[] = {
        {.szFault = "later is positive", .nFirst = 1000, .nSecond = 4600, .nDiff = 3600},
        {.szFault = "earlier is negative", .nFirst = 4600, .nSecond = 1000, .nDiff = -3600},
        {.szFault = "a picture after the wrap", .nFirst = WRAP - 1, .nSecond = 1, .nDiff = 2},
        {.szFault = "a base of 13 hours before it", .nFirst = HALF + 1, .nSecond = 0, .nDiff = HALF - 1},
        {.szFault = "half a wrap back is not later yet", .nFirst = HALF, .nSecond = 0, .nDiff = -HALF},
        {.szFault = "a minute earlier across the wrap", .nFirst = 0, .nSecond = WRAP - MINUTE, .nDiff = -MINUTE},
        {.szFault = "beyond it no wrap", .nSecond = WRAP - MINUTE - 1, .nDiff = WRAP - MINUTE - 1},
        {.szFault = "a value of 2^33 does not wrap", .nFirst = WRAP, .nSecond = 1, .nDiff = 1 - WRAP},
        {.szFault = "nor does one below beside it", .nFirst = 1, .nSecond = WRAP, .nDiff = WRAP - 1},
        {.szFault = "64 bits wrap", .nFirst = -1, .nSecond = 0, .nDiff = 1},
        {.szFault = "to a 33-bit value", .nFirst = -1, .nSecond = WRAP - 1, .nDiff = WRAP},
        {.szFault = "the longest", .nSecond = INT64_MAX, .nDiff = INT64_MAX},
        {.szFault = "the longest back", .nSecond = INT64_MIN, .nDiff = INT64_MIN},
    };
    for (const auto &Row : ROWS)
        for (const auto Calc : {CalcPTSDiff, CalcPTSDiffEx})
            EXPECT_EQ(Calc(UINT64(Row.nFirst), UINT64(Row.nSecond)), Row.nDiff) << Row.szFault;
}

TEST(Timespec, AbsoluteDifferenceIsNormalisedAndSaturates) {
    const struct {
        timespec First, Second, Wanted;
    } ROWS[] = {
        {.First = {5, 999'999'999}, .Second = {7, 0}, .Wanted = {1, 1}},
        {.First = {1, -1}, .Second = {0, 2'000'000'000}, .Wanted = {1, 1}},
        {.First = {0, INT64_MAX}, .Second = {0, 0}, .Wanted = {9'223'372'036, 854'775'807}},
        {.First = {INT64_MAX, INT64_MAX}, .Second = {INT64_MIN, INT64_MIN}, .Wanted = {INT64_MAX, 999'999'999}},
    };
    for (const auto &Row : ROWS) {
        timespec Forward = Row.First, Backward{};
        CalcTimeSpecAbsDiff(&Forward, &Row.Second, &Forward); // in place
        CalcTimeSpecAbsDiff(&Row.Second, &Row.First, &Backward);
        for (const timespec &Got : {Forward, Backward})
            EXPECT_TRUE(Got.tv_sec == Row.Wanted.tv_sec && Got.tv_nsec == Row.Wanted.tv_nsec) << Row.First.tv_sec;
    }
}

TEST(Null, IsRefusedAndNothingIsWritten) {
    const date_time_t Date{2000, 1, 1, 0, 0, 0, 0};
    INT64 llUTC = 42;
    EXPECT_EQ(ClockCvtUtc2DateTime(0, nullptr), CLOCK_ERROR_NULL);
    EXPECT_EQ(ClockCvtDateTime2Utc(nullptr, &llUTC), CLOCK_ERROR_NULL);
    EXPECT_EQ(ClockCvtDateTime2Utc(&Date, nullptr), CLOCK_ERROR_NULL);
    timespec One{1, 0}, Difference{42, 42};
    CalcTimeSpecAbsDiff(&One, nullptr, &Difference);
    CalcTimeSpecAbsDiff(nullptr, &One, &Difference);
    CalcTimeSpecAbsDiff(&One, &One, nullptr);
    FNODE_D Node{};
    FLIST_D List{}; // never initialised
    FastListInitD(nullptr);
    FastLinkAtStartD(&Node, &Node, &List);
    FastLinkAtStartD(&Node, &Node, nullptr);
    FastUnlinkD(nullptr);
    EXPECT_TRUE(llUTC == 42 && Difference.tv_sec == 42 && Node.pList == nullptr && List.pHead == nullptr);
    EXPECT_EQ(CopyString(nullptr, "x", 2), FALSE);
}

TEST(CopyString, CutsToTheSizeAndEndsTheText) {
    const struct {
        const char *szFault;
        const char *szSource = "abc";
        UINT64 nSize = 4;
        const char *szCopied;
        BOOL bFits = TRUE;
    } ROWS[] = {
        {.szFault = "fits exactly", .szCopied = "abc"},
        {.szFault = "cut", .nSize = 3, .szCopied = "ab", .bFits = FALSE},
        {.szFault = "no more is written than there is", .nSize = INT64_MAX, .szCopied = "abc"},
        {.szFault = "null is no text", .szSource = nullptr, .szCopied = ""},
        {.szFault = "no room", .nSize = 0, .szCopied = "xxxx", .bFits = FALSE},
        {.szFault = "a negative size", .nSize = UINT64(-5), .szCopied = "xxxx", .bFits = FALSE},
    };
    for (const auto &Row : ROWS) {
        char acBuffer[] = "xxxx";
        EXPECT_EQ(CopyString(acBuffer, Row.szSource, Row.nSize), Row.bFits) << Row.szFault;
        EXPECT_STREQ(acBuffer, Row.szCopied) << Row.szFault;
    }
}
