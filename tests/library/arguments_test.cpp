// Callers' errors: each is reported to the letter and in order, refused where it must be, and changes nothing.
#include <climits>
#include <cstring>

#include "fixture.h"

using testing::ElementsAre;

namespace {

class Arguments : public LibraryTest {};

constexpr const char *HIGH_INPUT = "enInputInterface < NUM_VIDEO_INPUTS";
constexpr const char *NEGATIVE_INPUT = "enInputInterface >= 0";
constexpr const char *CLOCK = "clock_gettime(CLOCK_REALTIME, &tpNow) == 0";

// Which pointers of a request are null.
enum { SOURCE = 1, UTC = 2, VITC = 4, SAME = 8, CURSOR = 16, ALL = 31 };

BOOL GetUTC(int nInput, int nNulls, std::string *psAnswer = nullptr) {
    int enSource = 1;
    MISP_UTC Utc = {};
    vitc_t Vitc = {};
    BOOL bSame = TRUE;
    void *pCursor = nullptr;
    const BOOL bResult = Timecode_GetUTC(nInput, nNulls & SOURCE ? nullptr : &enSource, FALSE, 25, 25000, 9000, 0, 0,
                                         nNulls & UTC ? nullptr : &Utc, nNulls & VITC ? nullptr : &Vitc,
                                         nNulls & SAME ? nullptr : &bSame, nNulls & CURSOR ? nullptr : &pCursor);
    if (psAnswer)
        *psAnswer = std::to_string(Utc.nTimestamp64) + " " + Text(Vitc) + (bSame ? " same" : "");
    return bResult;
}

// Checks a refused call's reports and its traces of level 4 and below; a failure names the line of the call.
void Refused(BOOL bResult, const Texts &Asserts, const Texts &Traces = {}, int nLine = __builtin_LINE()) {
    SCOPED_TRACE("call of line " + std::to_string(nLine));
    EXPECT_EQ(bResult, FALSE);
    EXPECT_EQ(TakeAsserts(), Asserts);
    EXPECT_EQ(TakeTraces(4), Traces);
}

TEST_F(Arguments, EachFaultIsReportedInOrderAndRefused) {
    TCPayload Payload = {};
    TIMECODE_STATS Read = {7, 7};
    vitc_t Vitc = Timecode("11:22:33:44");
    INT64 llUTC = 0;
    SMPTE12M1_CONTEXT Context = {3003, 30, 29000, 0, {}, 0, 0, 0, 0, FALSE};
    int enSource = 2;
    const std::string sNull = ":(nil) is NULL this should not happen!";
    Queue(1, 9000, "0 1f");
    SetClockMs(6000);
    TakeTraces();
    Refused(Timecode_SetUTC(0, 1, 9000, nullptr), {"pMotionImageryTimestamp != NULL"});
    Refused(Timecode_SetUTC(4, 1, 9000, nullptr), {"pMotionImageryTimestamp != NULL", HIGH_INPUT});
    Refused(Timecode_GetStats(0, nullptr), {"pStats != NULL"});
    Refused(GetUTC(0, SOURCE), {"penConfigMISBTimesource != NULL"});
    Refused(GetUTC(0, UTC), {"pUTC != NULL"}, {"3 pUTC" + sNull});
    Refused((_VerifyTimeSourceSwitch(0, TRUE, nullptr), FALSE), {"penNewTimecodeSouce != NULL"});
    Refused((_VerifyTimeSourceSwitch(4, TRUE, nullptr), FALSE), {"penNewTimecodeSouce != NULL", HIGH_INPUT});
    Refused(TimeCode_UTCToSMPTE12M(nullptr, 0, 0, nullptr), {}, {"3 pllUTC" + sNull});
    Refused(TimeCode_UTCToSMPTE12M(&llUTC, 0, 0, nullptr), {}, {"3 pVitcRecord" + sNull});
    Refused(TimeCode_UTCToSMPTE12M(&llUTC, 0, 0, &Vitc), {});
    Refused(TimeCode_UTCToSMPTE12M(&llUTC, -1, 29000, &Vitc), {"nEncodedPictureRate > 0"});
    Refused(TimeCode_UTCToSMPTE12M(&llUTC, INT_MIN, 0, &Vitc), {"nEncodedPictureRate > 0"});
    Refused((Timecode_MakeSMPTE12M1VITC(&Context, 0, 0, nullptr), FALSE), {"pNewSystemTC != NULL"});
    Refused((Timecode_MakeSMPTE12M1VITC(nullptr, 0, 0, &Vitc), FALSE), {"pContext != NULL"});
    Refused((Timecode_MakeSMPTE12M1VITC(nullptr, 0, 0, nullptr), FALSE), {"pNewSystemTC != NULL", "pContext != NULL"});
    Refused((Timecode_CalcFrameCountDiff(30, 0, Vitc, Vitc, nullptr), FALSE), {"pnFrameCountDiff != NULL"});
    Refused((Timecode_GetMISPRevisionFromSystemSettings(nullptr), FALSE), {"penMISPRevision != NULL"});
    for (const int nInput : {-1, 4, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(nInput);
        const Texts Reported = {nInput < 0 ? NEGATIVE_INPUT : HIGH_INPUT};
        const Texts OnlyHigh = nInput < 0 ? Texts{} : Reported;
        const Texts Unfound = {"3 Couldn't locate Timecode info with enInputInterface:" + std::to_string(nInput) + "."};
        Refused(Timecode_SetUTC(nInput, 1, 9000, &Payload), Reported);
        Refused((Timecode_Flush(nInput), FALSE), Reported);
        Refused(Timecode_GetStats(nInput, &Read), OnlyHigh, Unfound);
        Refused(Timecode_ResetStats(nInput), OnlyHigh, Unfound);
        Refused(GetUTC(nInput, 0), Reported);
        Refused((_VerifyTimeSourceSwitch(nInput, TRUE, &enSource), FALSE), Reported);
    }
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        EXPECT_EQ(Stats(nInput), "57005/0");
    EXPECT_EQ(Text(Vitc), "11:22:33:44");
    EXPECT_EQ(Read.enTimecodeSource, 7);
    EXPECT_EQ(enSource, 2);
    EXPECT_EQ(Text(Ask({1, 9000})), "1 0 1f 9000 1 12:00:00:00");
}

TEST_F(Arguments, RequestReportsAllNullsInTheOrderOfItsRevision) {
    const Texts Outputs = {"pUTC != NULL", "pVitcRecord != NULL", "pbSameTSRecord != NULL", "ppRecordAddress != NULL"};
    Texts Reported = Outputs;
    Reported.insert(Reported.begin(), "penConfigMISBTimesource != NULL");
    Reported.push_back(HIGH_INPUT);
    GetUTC(4, ALL);
    EXPECT_EQ(TakeAsserts(), Reported);
    StartDay(MISP_PROFILE_2016_2);
    Reported = Outputs;
    Reported.insert(Reported.begin(), HIGH_INPUT);
    Refused(GetUTC(4, ALL & ~SOURCE), Reported);
    Refused(GetUTC(0, SOURCE), {"penConfigMISBTimesource != NULL"});
    Refused(GetUTC(-1, 0), {NEGATIVE_INPUT});
}

TEST_F(Arguments, ANullOutputLosesOnlyItsOwnWrite) {
    for (const int enRevision : {MISP_PROFILE_62, MISP_PROFILE_2016_2}) {
        StartDay(enRevision);
        Queue(1, 9000, "40000 1f");
        Queue(1, 9000, "40000 1f");
        const std::string sAll = enRevision == MISP_PROFILE_62 ? "9000 12:00:00:01 same" : "9000 00:00:00:00 same";
        const struct {
            int nNull;
            std::string sExpected, sAssert;
        } Rows[] = {{VITC, "9000 00:00:00:00 same", "pVitcRecord != NULL"},
                    {SAME, sAll, "pbSameTSRecord != NULL"}, // as the caller had it
                    {CURSOR, sAll, "ppRecordAddress != NULL"}};
        for (const auto &Row : Rows) {
            std::string sAnswer;
            EXPECT_EQ(GetUTC(0, Row.nNull, &sAnswer), TRUE) << Row.sAssert;
            EXPECT_EQ(sAnswer, Row.sExpected) << Row.sAssert << " under " << enRevision;
            EXPECT_THAT(TakeAsserts(), ElementsAre(Row.sAssert));
        }
        MISP_UTC Utc = {};
        vitc_t Vitc = {};
        Refused(Timecode_GetSystemUTC(25, 25000, 9000, 0, 0, nullptr, &Vitc), {"pUTC != NULL"});
        // Without a record the conversion refuses, so the formatting has failed.
        EXPECT_EQ(Timecode_GetSystemUTC(25, 25000, 9000, 0, 0, &Utc, nullptr), FALSE);
        EXPECT_THAT(TakeAsserts(), ElementsAre("pVitcRecord != NULL"));
        EXPECT_THAT(TakeTraces(), testing::Contains("3 pVitcRecord:(nil) is NULL this should not happen!"));
        EXPECT_EQ(Utc.nTimestamp64, 9000U);
        Queue(2, 20000, "12:00:00:00");
        int enSource = 2;
        void *pCursor = nullptr;
        BOOL bSame = FALSE;
        EXPECT_EQ(Timecode_GetUTC(0, &enSource, FALSE, 25, 25000, 20000, 0, 0, &Utc, nullptr, &bSame, &pCursor), TRUE);
        EXPECT_THAT(TakeAsserts(), ElementsAre("pVitcRecord != NULL"));
        // A timecode too far away tells of its cursor.
        Timecode_GetUTC(0, &enSource, FALSE, 25, 25000, 20400, 0, 0, &Utc, &Vitc, &bSame, nullptr);
        EXPECT_THAT(TakeAsserts(), ElementsAre("ppRecordAddress != NULL"));
    }
}

TEST_F(Arguments, AFailingClockIsReportedAndTheCallStaysHarmless) {
    TimecodeLib_Shutdown();
    g_Services.bClockFails = true;
    TimecodeLib_Init(MISP_PROFILE_62);
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK));
    EXPECT_EQ(Queue(1, 12600, "40000 9f"), TRUE);
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK));
    EXPECT_EQ(Text(Ask({1, 12600})), "1 40000 9f 12600 1 12:00:00:01");
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK));
    EXPECT_EQ(Text(Ask({2, 12600})), "0 - -") << "a timecode without a date";
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK, "clock_gettime(CLOCK_REALTIME, &tpCurrent) == 0"));
    int enSource = 1;
    _VerifyTimeSourceSwitch(1, FALSE, &enSource);
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK));
    Timecode_Flush(0);
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK));
    EXPECT_THAT(Text(Ask({1, 12600})), testing::Not(testing::HasSubstr("40000 9f 12600"))) << "not flushed";
    g_Services.bClockFails = false;
    SetClockMs(7250);
    g_Services.bClockFails = true;
    Queue(1, 9000, "0 1f", 1);
    g_Services.bClockFails = false;
    Ask({.nPts = 9000, .nInput = 1});
    EXPECT_EQ(Text(Ask({.nPts = 90000, .nInput = 1})), "1 250000 1f 90000 1 12:00:00:06") << "not the second of time()";
    StartDay(MISP_PROFILE_2016_2);
    g_Services.bClockFails = true;
    Queue(1, 9000, "0 1f");
    EXPECT_EQ(Text(Ask({1, 9000})), "1 0 1f 9000 1 -");
    EXPECT_THAT(TakeAsserts(), ElementsAre(CLOCK, CLOCK));
}

TEST_F(Arguments, AListThatLosesRecordsIsReportedOnceItHasNoneLeft) {
    g_Services.bListLosesRecords = true;
    for (int nRecord = 0; nRecord < 180; ++nRecord)
        EXPECT_EQ(Queue(1, 9000, "0 1f"), TRUE);
    SetClockMs(1);
    TakeTraces();
    Refused(Queue(1, 9000, "0 1f"), {},
            {"3 Failed to get list tail at time:NOON.1000. Something must be wrong with the list."});
    EXPECT_EQ(Text(Ask({2, 9000})).substr(0, 2), "1 ") << "carried";
    g_Services.bListLosesRecords = false;
    TimecodeLib_Init(MISP_PROFILE_62);
    EXPECT_EQ(Queue(1, 9000, "0 1f"), TRUE);
}

TEST_F(Arguments, ExtremeBasesWrap) {
    for (const auto &[nPts, nBasePts, llBaseUTC] : {std::tuple(UINT64_MAX, 0UL, INT64_MAX),
                                                    {0UL, UINT64_MAX, INT64_MIN},
                                                    {1UL << 63, 0UL, 0L},
                                                    {1UL << 62, 1UL, -1L}}) {
        MISP_UTC Utc;
        vitc_t Vitc;
        EXPECT_EQ(Timecode_GetSystemUTC(25, 25, nPts, nBasePts, llBaseUTC, &Utc, &Vitc), TRUE);
        const auto llWrapped = static_cast<INT64>((nPts - nBasePts) * 11111111UL) / 1'000'000;
        EXPECT_EQ(static_cast<UINT64>(Utc.MotionImageryTimestamp.KLVTC.llUTCTime),
                  static_cast<UINT64>(llBaseUTC) + static_cast<UINT64>(llWrapped))
            << nPts;
    }
}

TEST_F(Arguments, PointersNeedNotBeAligned) {
    alignas(MISP_UTC) char acRecord[sizeof(MISP_UTC) + 1], acContext[sizeof(SMPTE12M1_CONTEXT) + 1];
    MISP_UTC Utc;
    SMPTE12M1_CONTEXT Context = {3003, 30, 29000, 2, Timecode("00:00:59:29"), 0, 0, 0, 0, FALSE};
    memcpy(acContext + 1, &Context, sizeof(Context));
    int enSource = 1;
    vitc_t Vitc = {};
    BOOL bSame = FALSE;
    void *pCursor = nullptr;
    Queue(1, 9000, "40000 1f");
    EXPECT_EQ(Timecode_GetUTC(0, &enSource, FALSE, 25, 25000, 9000, 0, 0, reinterpret_cast<MISP_UTC *>(acRecord + 1),
                              &Vitc, &bSame, &pCursor),
              TRUE);
    memcpy(&Utc, acRecord + 1, sizeof(Utc));
    EXPECT_EQ(Utc.nTimestamp64, 9000U);
    Timecode_MakeSMPTE12M1VITC(reinterpret_cast<SMPTE12M1_CONTEXT *>(acContext + 1), 0, 3003, &Vitc);
    memcpy(&Context, acContext + 1, sizeof(Context));
    EXPECT_EQ(Text(Vitc) + " " + std::to_string(Context.BackFillStateCount), "00:01:00:02 3");
}

} // namespace
