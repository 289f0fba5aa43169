/* List, clock, PTS arithmetic and string copy. */
#include "clock_api.h"
#include "flist_api.h"
#include "pts_api.h"
#include "strutil.h"
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

extern const timespec *g_ptpFakeNow;
const timespec *g_ptpFakeNow = nullptr;

/* Replaces the clock of the process; nanoseconds below zero make it fail. */
extern "C" int clock_gettime(clockid_t nClock, timespec *ptpNow) noexcept {
    if (nClock != CLOCK_REALTIME || g_ptpFakeNow == nullptr)
        return static_cast<int>(syscall(SYS_clock_gettime, nClock, ptpNow));
    *ptpNow = *g_ptpFakeNow;
    return ptpNow->tv_nsec < 0 ? -1 : 0;
}

TEST(List, KeepsOrderAndCountThroughUnlinking) {
    FLIST_D tList;
    FastListInitD(&tList);
    FNODE_D atNodes[4]{};
    for (FNODE_D &tNode : atNodes)
        FastLinkAtStartD(&tNode, &tNode, &tList);
    const std::pair<size_t, std::vector<long>> atRows[] = {
        {2, {3, 1, 0}}, {2, {3, 1, 0}}, {0, {3, 1}}, {3, {1}}, {1, {}}};
    for (const auto &[nUnlinked, anNewestFirst] : atRows) {
        FastUnlinkD(&atNodes[nUnlinked]);
        FastUnlinkD(nullptr);
        std::vector<long> anForward, anBackward;
        for (FNODE_D *p = tList.pHead; p != nullptr; p = p->pNext)
            anForward.push_back(static_cast<FNODE_D *>(p->pvObject) - atNodes);
        for (FNODE_D *p = tList.pTail; p != nullptr; p = p->pPrev)
            anBackward.insert(anBackward.begin(), p - atNodes);
        EXPECT_TRUE(anForward == anNewestFirst && anBackward == anNewestFirst) << "unlinked " << nUnlinked;
        EXPECT_EQ(tList.nNumOfEntries, anNewestFirst.size());
    }
    FastLinkAtStartD(&atNodes[2], &atNodes[2], &tList);
    EXPECT_TRUE(tList.pHead == &atNodes[2] && tList.pTail == &atNodes[2] && tList.nNumOfEntries == 1);
    FastLinkAtStartD(&atNodes[1], &atNodes[1], &tList);
    FastListInitD(&tList);
    FastLinkAtStartD(&atNodes[3], &atNodes[3], &tList);
    FastUnlinkD(&atNodes[2]); // held before the list was made empty
    EXPECT_TRUE(tList.pHead == &atNodes[3] && tList.pTail == &atNodes[3] && tList.nNumOfEntries == 1);
}

TEST(Clock, ConvertsEveryInstantBothWays) {
    const std::pair<INT64, date_time_t> atRows[] = {{-1, {1969, 12, 31, 23, 59, 59, 999999}},
                                                    {-86'400'000'000, {1969, 12, 31, 0, 0, 0, 0}},
                                                    {951'782'400'000'000, {2000, 2, 29, 0, 0, 0, 0}},
                                                    {-2'203'891'200'000'001, {1900, 2, 28, 23, 59, 59, 999999}},
                                                    {4'107'542'400'000'000, {2100, 3, 1, 0, 0, 0, 0}},
                                                    {253'402'300'800'000'000, {10000, 1, 1, 0, 0, 0, 0}},
                                                    {1'221'522'163'200'000'000, {40678, 7, 1, 0, 0, 0, 0}},
                                                    {INT64_MAX, {294247, 1, 10, 4, 0, 54, 775807}},
                                                    {INT64_MIN, {-290308, 12, 21, 19, 59, 5, 224192}}};
    for (const auto &[llInstant, tExpected] : atRows) {
        date_time_t tDate{}, tTime{};
        INT64 llUTC = 42;
        EXPECT_EQ(ClockCvtUtc2DateTime(llInstant, &tDate) | ClockCvtUtc2Time(llInstant, &tTime), CLOCK_OK);
        EXPECT_EQ(memcmp(&tDate, &tExpected, sizeof tDate), 0) << llInstant << " became year " << tDate.year;
        EXPECT_EQ(memcmp(&tTime, &tExpected, sizeof tTime), 0) << llInstant;
        EXPECT_EQ(ClockCvtDateTime2Utc(&tExpected, &llUTC), CLOCK_OK);
        EXPECT_EQ(llUTC, llInstant);
    }
}

TEST(Clock, RefusesFieldsThatNameNoInstantAndLeavesTheOutput) {
    constexpr int anLast[] = {294247, 1, 10, 4, 0, 54, 775807}, anFebruary[] = {2100, 2, 28, 0, 0, 0, 0};
    // A field of 28 February 2100, and a value that it cannot take.
    const int anRows[][2] = {{0, INT32_MAX}, {0, INT32_MIN}, {0, -290308}, {1, 0},       {1, 13}, {1, 257},
                             {2, 0},         {2, 29},        {2, 257},     {3, 24},      {3, -1}, {4, 60},
                             {4, -1},        {5, 60},        {5, -1},      {6, 1000000}, {6, -1}, {7, 775808}};
    for (const auto &[nField, nValue] : anRows) {
        int an[7];
        std::copy_n(nField == 7 ? anLast : anFebruary, 7, an);
        an[nField == 7 ? 6 : nField] = nValue;
        const date_time_t tDate{an[0], an[1], an[2], an[3], an[4], an[5], an[6]};
        INT64 llUTC = 42;
        EXPECT_EQ(ClockCvtDateTime2Utc(&tDate, &llUTC), CLOCK_ERROR_FIELD_RANGE) << testing::PrintToString(an);
        EXPECT_EQ(llUTC, 42);
    }
}

TEST(Clock, NowIsMicrosecondsOrMinusOne) {
    constexpr INT64 nLast = INT64_MAX / 1'000'000;
    const INT64 anRows[][3] = {{17, 123'456'999, 17'123'456},
                               {nLast, 775'807'999, INT64_MAX},
                               {nLast, 775'808'000, -1},
                               {nLast + 1, 0, -1},
                               {17, -1, -1}};
    for (const auto &[nSeconds, nNsec, llUTC] : anRows) {
        const timespec tpNow{nSeconds, nNsec};
        g_ptpFakeNow = &tpNow;
        EXPECT_EQ(ClockGetUtc(), llUTC) << nSeconds << "s " << nNsec << "ns";
    }
    g_ptpFakeNow = nullptr;
}

TEST(Pts, DifferenceKnowsTheWrapOfA33BitCount) {
    constexpr INT64 nWrap = INT64{1} << 33, nHalf = nWrap / 2, nMinute = 5'400'000;
    const struct {
        const char *szFault;
        INT64 nFirst = 0, nSecond, nDiff;
    } atRows[] = {
        {.szFault = "later is positive", .nFirst = 1000, .nSecond = 4600, .nDiff = 3600},
        {.szFault = "earlier is negative", .nFirst = 4600, .nSecond = 1000, .nDiff = -3600},
        {.szFault = "a picture after the wrap", .nFirst = nWrap - 1, .nSecond = 1, .nDiff = 2},
        {.szFault = "a base of 13 hours before it", .nFirst = nHalf + 1, .nSecond = 0, .nDiff = nHalf - 1},
        {.szFault = "half a wrap back is not later yet", .nFirst = nHalf, .nSecond = 0, .nDiff = -nHalf},
        {.szFault = "a minute earlier across the wrap", .nFirst = 0, .nSecond = nWrap - nMinute, .nDiff = -nMinute},
        {.szFault = "beyond it a count that does not wrap",
         .nSecond = nWrap - nMinute - 1,
         .nDiff = nWrap - nMinute - 1},
        {.szFault = "a value of 2^33 does not wrap", .nFirst = nWrap, .nSecond = 1, .nDiff = 1 - nWrap},
        {.szFault = "nor does one below beside it", .nFirst = 1, .nSecond = nWrap, .nDiff = nWrap - 1},
        {.szFault = "64 bits wrap", .nFirst = -1, .nSecond = 0, .nDiff = 1},
        {.szFault = "to a 33-bit value", .nFirst = -1, .nSecond = nWrap - 1, .nDiff = nWrap},
        {.szFault = "the longest", .nFirst = 0, .nSecond = INT64_MAX, .nDiff = INT64_MAX},
        {.szFault = "the longest back", .nFirst = 0, .nSecond = INT64_MIN, .nDiff = INT64_MIN},
    };
    for (const auto &tRow : atRows)
        for (const auto Calc : {CalcPTSDiff, CalcPTSDiffEx})
            EXPECT_EQ(Calc(UINT64(tRow.nFirst), UINT64(tRow.nSecond)), tRow.nDiff) << tRow.szFault;
}

TEST(Timespec, AbsoluteDifferenceIsNormalisedAndSaturates) {
    const timespec atRows[][3] = {{{5, 999'999'999}, {7, 0}, {1, 1}},
                                  {{1, -1}, {0, 2'000'000'000}, {1, 1}},
                                  {{0, INT64_MAX}, {0, 0}, {9'223'372'036, 854'775'807}},
                                  {{INT64_MAX, INT64_MAX}, {INT64_MIN, INT64_MIN}, {INT64_MAX, 999'999'999}}};
    for (const auto &[tpFirst, tpSecond, tpExpected] : atRows) {
        timespec tpForward = tpFirst, tpBackward{};
        CalcTimeSpecAbsDiff(&tpForward, &tpSecond, &tpForward); // in place
        CalcTimeSpecAbsDiff(&tpSecond, &tpFirst, &tpBackward);
        for (const timespec &tp : {tpForward, tpBackward})
            EXPECT_TRUE(tp.tv_sec == tpExpected.tv_sec && tp.tv_nsec == tpExpected.tv_nsec) << tpFirst.tv_sec;
    }
}

TEST(Null, IsRefusedAndNothingIsWritten) {
    const date_time_t tDate{2000, 1, 1, 0, 0, 0, 0};
    INT64 llUTC = 42;
    EXPECT_EQ(ClockCvtUtc2DateTime(0, nullptr), CLOCK_ERROR_NULL);
    EXPECT_EQ(ClockCvtDateTime2Utc(nullptr, &llUTC), CLOCK_ERROR_NULL);
    EXPECT_EQ(ClockCvtDateTime2Utc(&tDate, nullptr), CLOCK_ERROR_NULL);
    timespec tpOne{1, 0}, tpDiff{42, 42};
    CalcTimeSpecAbsDiff(&tpOne, nullptr, &tpDiff);
    CalcTimeSpecAbsDiff(nullptr, &tpOne, &tpDiff);
    CalcTimeSpecAbsDiff(&tpOne, &tpOne, nullptr);
    FNODE_D tNode{};
    FLIST_D tList{}; // never initialised
    FastListInitD(nullptr);
    FastLinkAtStartD(&tNode, &tNode, &tList);
    FastLinkAtStartD(&tNode, &tNode, nullptr);
    EXPECT_TRUE(llUTC == 42 && tpDiff.tv_sec == 42 && tNode.pList == nullptr && tList.pHead == nullptr);
    EXPECT_EQ(CopyString(nullptr, "x", 2), FALSE);
}

TEST(CopyString, CutsToTheSizeAndEndsTheText) {
    const std::tuple<const char *, INT64, const char *, BOOL> atRows[] = {
        {"abc", 4, "abc", TRUE}, {"abc", 3, "ab", FALSE},   {"abc", INT64_MAX, "abc", TRUE},
        {nullptr, 4, "", TRUE},  {"abc", 0, "xxxx", FALSE}, {"abc", -5, "xxxx", FALSE}};
    for (const auto &[szSource, nSize, szExpected, bFits] : atRows) {
        char acBuffer[] = "xxxx";
        EXPECT_EQ(CopyString(acBuffer, szSource, UINT64(nSize)), bFits) << nSize;
        EXPECT_STREQ(acBuffer, szExpected) << nSize;
    }
}
