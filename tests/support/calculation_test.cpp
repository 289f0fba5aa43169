/* List, clock, PTS arithmetic and string copy.
 *
 * The clock of the process is replaced: ClockGetUtc reads what a test sets. */
#include "clock_api.h"
#include "flist_api.h"
#include "pts_api.h"
#include "strutil.h"
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

static const timespec *g_ptpFakeNow = nullptr;
static bool g_bClockFails = false;

extern "C" int clock_gettime(clockid_t nClock, timespec *ptpNow) noexcept {
    if (nClock != CLOCK_REALTIME || (g_ptpFakeNow == nullptr && !g_bClockFails))
        return static_cast<int>(syscall(SYS_clock_gettime, nClock, ptpNow));
    *ptpNow = g_bClockFails ? *ptpNow : *g_ptpFakeNow;
    return g_bClockFails ? -1 : 0;
}

TEST(List, KeepsOrderAndCountThroughUnlinking) {
    FLIST_D tList;
    FastListInitD(&tList);
    FNODE_D atNodes[4]{};
    for (FNODE_D &tNode : atNodes)
        FastLinkAtStartD(&tNode, &tNode, &tList);
    FastLinkAtStartD(nullptr, nullptr, &tList);
    FastUnlinkD(nullptr);
    const auto Expect = [&](const std::vector<long> &anNewestFirst) {
        std::vector<long> anForward, anBackward;
        for (FNODE_D *p = tList.pHead; p != nullptr; p = p->pNext)
            anForward.push_back(static_cast<FNODE_D *>(p->pvObject) - atNodes);
        for (FNODE_D *p = tList.pTail; p != nullptr; p = p->pPrev)
            anBackward.insert(anBackward.begin(), p - atNodes);
        EXPECT_EQ(anForward, anNewestFirst);
        EXPECT_EQ(anBackward, anNewestFirst);
        EXPECT_EQ(tList.nNumOfEntries, anNewestFirst.size());
    };
    const std::pair<size_t, std::vector<long>> atRows[] = {{2, {3, 1, 0}}, {2, {3, 1, 0}}, {0, {3, 1}}, {3, {1}}};
    for (const auto &[nUnlinked, anLeft] : atRows) {
        FastUnlinkD(&atNodes[nUnlinked]);
        Expect(anLeft);
    }
    FastLinkAtStartD(&atNodes[2], &atNodes[2], &tList);
    Expect({2, 1});
    FastListInitD(&tList);
    FastUnlinkD(&atNodes[2]); // held before the list was made empty
    Expect({});
}

TEST(Clock, ConvertsEveryInstantBothWays) {
    const std::pair<INT64, date_time_t> atRows[] = {{0, {1970, 1, 1, 0, 0, 0, 0}},
                                                    {-1, {1969, 12, 31, 23, 59, 59, 999999}},
                                                    {-86'400'000'000, {1969, 12, 31, 0, 0, 0, 0}},
                                                    {951'782'400'000'000, {2000, 2, 29, 0, 0, 0, 0}},
                                                    {-2'203'891'200'000'000, {1900, 3, 1, 0, 0, 0, 0}},
                                                    {-2'203'891'200'000'001, {1900, 2, 28, 23, 59, 59, 999999}},
                                                    {4'107'542'400'000'000, {2100, 3, 1, 0, 0, 0, 0}},
                                                    {253'402'300'799'999'999, {9999, 12, 31, 23, 59, 59, 999999}},
                                                    {253'402'300'800'000'000, {10000, 1, 1, 0, 0, 0, 0}},
                                                    {1'221'522'163'200'000'000, {40678, 7, 1, 0, 0, 0, 0}},
                                                    {-62'167'219'200'000'000, {0, 1, 1, 0, 0, 0, 0}},
                                                    {INT64_MAX, {294247, 1, 10, 4, 0, 54, 775807}},
                                                    {INT64_MIN, {-290308, 12, 21, 19, 59, 5, 224192}}};
    for (const auto &[llInstant, tExpected] : atRows) {
        date_time_t tDate{}, tTime{};
        INT64 llUTC = 42;
        EXPECT_EQ(ClockCvtUtc2DateTime(llInstant, &tDate) | ClockCvtUtc2Time(llInstant, &tTime), CLOCK_OK);
        EXPECT_EQ(memcmp(&tDate, &tExpected, sizeof tDate), 0) << llInstant << " became year " << tDate.year;
        EXPECT_EQ(memcmp(&tTime, &tExpected, sizeof tTime), 0) << llInstant;
        EXPECT_EQ(ClockCvtDateTime2Utc(&tExpected, &llUTC), CLOCK_OK) << llInstant;
        EXPECT_EQ(llUTC, llInstant);
    }
}

TEST(Clock, RefusesFieldsThatNameNoInstantAndLeavesTheOutput) {
    const int anRows[][7] = {{2024, 0, 1},
                             {2024, 13, 1},
                             {2024, 257, 1},
                             {2024, 1, 0},
                             {2024, 1, 257},
                             {2024, 4, 31},
                             {2024, 2, 30},
                             {2100, 2, 29},
                             {1900, 2, 29},
                             {2024, 1, 1, 24},
                             {2024, 1, 1, -1},
                             {2024, 1, 1, 0, 60},
                             {2024, 1, 1, 0, -1},
                             {2024, 1, 1, 0, 0, 60},
                             {2024, 1, 1, 0, 0, -1},
                             {2024, 1, 1, 0, 0, 0, 1000000},
                             {2024, 1, 1, 0, 0, 0, -1},
                             {294247, 1, 10, 4, 0, 54, 775808},
                             {-290308, 12, 21, 19, 59, 5, 224191},
                             {INT32_MAX, 1, 1},
                             {INT32_MIN, 12, 31}};
    INT64 llUTC = 42;
    for (const auto &an : anRows) {
        const date_time_t tDate{an[0], an[1], an[2], an[3], an[4], an[5], an[6]};
        EXPECT_EQ(ClockCvtDateTime2Utc(&tDate, &llUTC), CLOCK_ERROR_FIELD_RANGE) << testing::PrintToString(an);
        EXPECT_EQ(llUTC, 42);
    }
    EXPECT_EQ(ClockCvtDateTime2Utc(nullptr, &llUTC), CLOCK_ERROR_NULL);
    EXPECT_EQ(ClockCvtUtc2DateTime(0, nullptr), CLOCK_ERROR_NULL);
}

TEST(Clock, NowIsMicrosecondsOrMinusOne) {
    constexpr time_t tLast = INT64_MAX / 1'000'000;
    const std::pair<timespec, INT64> atRows[] = {{{1'700'000'000, 123'456'999}, 1'700'000'000'123'456},
                                                 {{tLast, 775'807'999}, INT64_MAX},
                                                 {{tLast, 775'808'000}, -1},
                                                 {{tLast + 1, 0}, -1}};
    for (const auto &[tpNow, llUTC] : atRows) {
        g_ptpFakeNow = &tpNow;
        EXPECT_EQ(ClockGetUtc(), llUTC) << tpNow.tv_sec << "s " << tpNow.tv_nsec << "ns";
    }
    g_ptpFakeNow = nullptr;
    g_bClockFails = true;
    EXPECT_EQ(ClockGetUtc(), -1);
    g_bClockFails = false;
}

TEST(Pts, DifferenceIsShortAcrossTheWrapAndLongElsewhere) {
    constexpr INT64 nWrap = INT64{1} << 33, nHour = 324'000'000, nFar = nWrap - nHour - 1;
    const INT64 anRows[][3] = {{1000, 4600, 3600}, {nWrap - 1, 1, 2},      {nWrap - nHour, 0, nHour},
                               {nFar, 0, -nFar},   {nWrap, 1, 1 - nWrap},  {nWrap - 1, nWrap, 1},
                               {-1, 0, 1},         {-1, nWrap - 1, nWrap}, {0, INT64_MAX, INT64_MAX}};
    for (const auto &[nFirst, nSecond, nDiff] : anRows) {
        for (const auto Calc : {CalcPTSDiff, CalcPTSDiffEx}) {
            EXPECT_EQ(Calc(UINT64(nFirst), UINT64(nSecond)), nDiff) << nFirst << ' ' << nSecond;
            EXPECT_EQ(Calc(UINT64(nSecond), UINT64(nFirst)), -nDiff) << nSecond << ' ' << nFirst;
        }
    }
}

TEST(Timespec, AbsoluteDifferenceIsNormalisedAndSaturates) {
    const timespec atRows[][3] = {{{5, 999'999'999}, {7, 0}, {1, 1}},
                                  {{-1, 0}, {1, 5}, {2, 5}},
                                  {{1, -1}, {0, 2'000'000'000}, {1, 1}},
                                  {{0, INT64_MAX}, {0, 0}, {9'223'372'036, 854'775'807}},
                                  {{INT64_MAX, INT64_MAX}, {INT64_MIN, INT64_MIN}, {INT64_MAX, 999'999'999}}};
    for (const auto &[tpFirst, tpSecond, tpExpected] : atRows) {
        timespec tpForward = tpFirst, tpBackward{};
        CalcTimeSpecAbsDiff(&tpForward, &tpSecond, &tpForward); // in place
        CalcTimeSpecAbsDiff(&tpSecond, &tpFirst, &tpBackward);
        CalcTimeSpecAbsDiff(nullptr, &tpFirst, &tpBackward);
        for (const timespec &tp : {tpForward, tpBackward})
            EXPECT_EQ(std::pair(tp.tv_sec, tp.tv_nsec), std::pair(tpExpected.tv_sec, tpExpected.tv_nsec))
                << tpFirst.tv_sec;
    }
}

TEST(CopyString, CutsToTheSizeAndEndsTheText) {
    const struct {
        const char *szSource;
        INT64 nSize;
        const char *szExpected;
        BOOL bFits;
    } atRows[] = {{"abc", 4, "abc", TRUE},         {"abc", 3, "ab", FALSE}, {"abc", 1, "", FALSE},
                  {"abc", INT64_MAX, "abc", TRUE}, {nullptr, 4, "", TRUE},  {"abc", 0, "xxxx", FALSE},
                  {"abc", -5, "xxxx", FALSE}};
    for (const auto &tRow : atRows) {
        char acBuffer[] = "xxxx";
        EXPECT_EQ(CopyString(acBuffer, tRow.szSource, UINT64(tRow.nSize)), tRow.bFits) << tRow.nSize;
        EXPECT_STREQ(acBuffer, tRow.szExpected) << tRow.nSize;
    }
    EXPECT_EQ(CopyString(nullptr, "abc", 4), FALSE);
}
