// Callers' errors: each is reported to the letter and in order, refused where it must be, and changes nothing.
#include <climits>
#include <functional>

#include "fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

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

TEST_F(Arguments, EachFaultIsReportedInOrderAndRefused) {
    TCPayload Payload = {};
    TIMECODE_STATS Read = {7, 7};
    vitc_t Vitc = Timecode("11:22:33:44");
    INT64 llUTC = 0;
    SMPTE12M1_CONTEXT Context = {3003, 30, 29000, 0, {}, 0, 0, 0, 0, FALSE};
    int enSource = 2;
    const auto Set = [&](int nInput, TCPayload *pPayload) { return Timecode_SetUTC(nInput, 1, 9000, pPayload); };
    const auto Flush = [](int nInput) { return Timecode_Flush(nInput), FALSE; };
    const auto Verify = [&](int nInput, int *penSource) { return _VerifyTimeSourceSwitch(nInput, TRUE, penSource), FALSE; };
    const auto Convert = [&](INT64 *pllUTC, int nRate, vitc_t *pVitc) {
        return TimeCode_UTCToSMPTE12M(pllUTC, nRate, 29000, pVitc);
    };
    const auto Make = [&](SMPTE12M1_CONTEXT *pContext, vitc_t *pVitc) {
        return Timecode_MakeSMPTE12M1VITC(pContext, 0, 3003, pVitc), FALSE;
    };
    struct Row {
        std::string sWhat;
        std::function<BOOL()> Call;
        Texts Asserts, Traces; // traces of level 4 and below
    };
    const std::string sNullVitc = "pVitcRecord:(nil) is NULL this should not happen!";
    std::vector<Row> Rows = {
        {"SetUTC null", [&] { return Set(0, nullptr); }, {"pMotionImageryTimestamp != NULL"}, {}},
        {"SetUTC both", [&] { return Set(4, nullptr); }, {"pMotionImageryTimestamp != NULL", HIGH_INPUT}, {}},
        {"GetStats null", [&] { return Timecode_GetStats(0, nullptr); }, {"pStats != NULL"}, {}},
        {"GetUTC source", [] { return GetUTC(0, SOURCE); }, {"penConfigMISBTimesource != NULL"}, {}},
        {"GetUTC pUTC", [] { return GetUTC(0, UTC); }, {"pUTC != NULL"}, {"3 pUTC:(nil) is NULL this should not happen!"}},
        {"Verify null", [&] { return Verify(0, nullptr); }, {"penNewTimecodeSouce != NULL"}, {}},
        {"Verify both", [&] { return Verify(4, nullptr); }, {"penNewTimecodeSouce != NULL", HIGH_INPUT}, {}},
        {"Convert null", [&] { return Convert(nullptr, 0, nullptr); }, {}, {"3 pllUTC:(nil) is NULL this should not happen!"}},
        {"Convert null record", [&] { return Convert(&llUTC, 0, nullptr); }, {}, {"3 " + sNullVitc}},
        {"Convert rate 0", [&] { return Convert(&llUTC, 0, &Vitc); }, {}, {}},
        {"Convert rate -1", [&] { return Convert(&llUTC, -1, &Vitc); }, {"nEncodedPictureRate > 0"}, {}},
        {"Convert rate min", [&] { return Convert(&llUTC, INT_MIN, &Vitc); }, {"nEncodedPictureRate > 0"}, {}},
        {"Make null", [&] { return Make(&Context, nullptr); }, {"pNewSystemTC != NULL"}, {}},
        {"Make nulls", [&] { return Make(nullptr, nullptr); }, {"pNewSystemTC != NULL", "pContext != NULL"}, {}},
        {"Diff null", [&] { return Timecode_CalcFrameCountDiff(30, 0, Vitc, Vitc, nullptr), FALSE; }, {"pnFrameCountDiff != NULL"}, {}},
        {"Settings", [] { return Timecode_GetMISPRevisionFromSystemSettings(nullptr), FALSE; }, {"penMISPRevision != NULL"}, {}},
    };
    for (const int nInput : {-1, 4, INT_MIN, INT_MAX}) {
        const std::string sInput = " " + std::to_string(nInput);
        const std::string sLocate = "3 Couldn't locate Timecode info with enInputInterface:" + std::to_string(nInput) + ".";
        const Texts Reported = {nInput < 0 ? NEGATIVE_INPUT : HIGH_INPUT};
        const Texts OnlyHigh = nInput < 0 ? Texts{} : Reported;
        Rows.push_back({"SetUTC" + sInput, [&, nInput] { return Set(nInput, &Payload); }, Reported, {}});
        Rows.push_back({"Flush" + sInput, [&, nInput] { return Flush(nInput); }, Reported, {}});
        Rows.push_back({"Stats" + sInput, [&, nInput] { return Timecode_GetStats(nInput, &Read); }, OnlyHigh, {sLocate}});
        Rows.push_back({"Reset" + sInput, [nInput] { return Timecode_ResetStats(nInput); }, OnlyHigh, {sLocate}});
        Rows.push_back({"GetUTC" + sInput, [nInput] { return GetUTC(nInput, 0); }, Reported, {}});
        Rows.push_back({"Verify" + sInput, [&, nInput] { return Verify(nInput, &enSource); }, Reported, {}});
    }
    Queue(1, 9000, "0 1f");
    SetClockMs(6000);
    for (const auto &Row : Rows) {
        TakeTraces();
        TakeAsserts();
        EXPECT_EQ(Row.Call(), FALSE) << Row.sWhat;
        EXPECT_EQ(TakeAsserts(), Row.Asserts) << Row.sWhat;
        EXPECT_EQ(TakeTraces(4), Row.Traces) << Row.sWhat;
    }
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        EXPECT_EQ(Stats(nInput), "57005/0");
    EXPECT_EQ(Text(Vitc), "11:22:33:44");
    EXPECT_EQ(Read.enTimecodeSource, 7);
    EXPECT_EQ(enSource, 2);
    EXPECT_EQ(Text(Ask({1, 9000})), "1 0 1f 9000 1 12:00:00:00");
}

TEST_F(Arguments, RequestReportsAllNullsInTheOrderOfItsRevision) {
    GetUTC(4, ALL);
    EXPECT_THAT(TakeAsserts(), ElementsAre("penConfigMISBTimesource != NULL", "pUTC != NULL", "pVitcRecord != NULL",
                                           "pbSameTSRecord != NULL", "ppRecordAddress != NULL", HIGH_INPUT));
    TimecodeLib_Shutdown();
    StartDay(MISP_PROFILE_2016_2);
    EXPECT_EQ(GetUTC(4, ALL & ~SOURCE), FALSE);
    EXPECT_THAT(TakeAsserts(), ElementsAre(HIGH_INPUT, "pUTC != NULL", "pVitcRecord != NULL", "pbSameTSRecord != NULL",
                                           "ppRecordAddress != NULL"));
    EXPECT_EQ(GetUTC(0, SOURCE), FALSE);
    EXPECT_THAT(TakeAsserts(), ElementsAre("penConfigMISBTimesource != NULL"));
    for (const int nInput : {-1, INT_MIN}) {
        EXPECT_EQ(GetUTC(nInput, 0), FALSE);
        EXPECT_THAT(TakeAsserts(), ElementsAre(NEGATIVE_INPUT));
    }
}

TEST_F(Arguments, ANullOutputLosesOnlyItsOwnWrite) {
    for (const int enRevision : {MISP_PROFILE_62, MISP_PROFILE_2016_2}) {
        TimecodeLib_Shutdown();
        StartDay(enRevision);
        Queue(1, 9000, "40000 1f");
        Queue(1, 9000, "40000 1f");
        const std::string sVitc = enRevision == MISP_PROFILE_62 ? " 12:00:00:01" : " 00:00:00:00";
        const struct {
            int nNull;
            std::string sExpected, sAssert;
        } Rows[] = {{VITC, "9000 00:00:00:00 same", "pVitcRecord != NULL"},
                    {SAME, "9000" + sVitc + " same", "pbSameTSRecord != NULL"}, // as the caller had it
                    {CURSOR, "9000" + sVitc + " same", "ppRecordAddress != NULL"}};
        for (const auto &Row : Rows) {
            std::string sAnswer;
            EXPECT_EQ(GetUTC(0, Row.nNull, &sAnswer), TRUE) << Row.sAssert;
            EXPECT_EQ(sAnswer, Row.sExpected) << Row.sAssert << " under " << enRevision;
            EXPECT_THAT(TakeAsserts(), ElementsAre(Row.sAssert));
        }
        MISP_UTC Utc = {};
        vitc_t Vitc = {};
        EXPECT_EQ(Timecode_GetSystemUTC(25, 25000, 9000, 0, 0, nullptr, &Vitc), FALSE);
        EXPECT_THAT(TakeAsserts(), ElementsAre("pUTC != NULL"));
        EXPECT_EQ(Timecode_GetSystemUTC(25, 25000, 9000, 0, 0, &Utc, nullptr), FALSE);
        EXPECT_THAT(TakeAsserts(), ElementsAre("pVitcRecord != NULL"));
        EXPECT_EQ(Utc.nTimestamp64, 9000U);
    }
}

TEST_F(Arguments, AFailingClockIsReportedAndTheCallStaysHarmless) {
    Queue(1, 9000, "0 1f");
    g_Services.bClockFails = true;
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
}

TEST_F(Arguments, ExtremeRatesAndBasesStayDefined) {
    for (const int nCode : {29000, 30, INT_MIN, INT_MAX})
        for (const int nRate : {1, 90089, 90090, 90091, INT_MAX}) {
            INT64 llUTC = 999999;
            vitc_t Vitc = {};
            EXPECT_EQ(TimeCode_UTCToSMPTE12M(&llUTC, nRate, static_cast<ULONG>(nCode), &Vitc), TRUE);
            EXPECT_TRUE(nCode != 29000 || nRate < 90090 || Text(Vitc) == "00:00:00:00") << nRate;
        }
    struct {
        UINT64 nPts, nBasePts;
        INT64 llBaseUTC;
    } const Rows[] = {{UINT64_MAX, 0, INT64_MAX}, {0, UINT64_MAX, INT64_MIN}, {1ULL << 63, 0, 0}, {1ULL << 62, 1, -1}};
    for (const auto &Row : Rows) {
        MISP_UTC Utc;
        vitc_t Vitc;
        EXPECT_EQ(Timecode_GetSystemUTC(25, 25, Row.nPts, Row.nBasePts, Row.llBaseUTC, &Utc, &Vitc), TRUE);
        const auto llWrapped = static_cast<INT64>((Row.nPts - Row.nBasePts) * 11111111ULL) / 1'000'000;
        EXPECT_EQ(Utc.MotionImageryTimestamp.KLVTC.llUTCTime,
                  static_cast<INT64>(static_cast<UINT64>(Row.llBaseUTC) + static_cast<UINT64>(llWrapped))) << Row.nPts;
    }
}

} // namespace
