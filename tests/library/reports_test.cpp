// Callers' errors: the text of each report, and their order. What the calls then do is compared with the model.
#include <functional>

#include "fixture.h"

namespace {

constexpr const char *HIGH_INPUT = "enInputInterface < NUM_VIDEO_INPUTS";
constexpr const char *NEGATIVE_INPUT = "enInputInterface >= 0";
constexpr const char *CLOCK = "clock_gettime(CLOCK_REALTIME, &tpNow) == 0";
constexpr const char *RATE = "nEncodedPictureRate > 0";

class Reports : public LibraryTest {
protected:
    // All that a caller's error brings about.
    void Expect(const std::function<void()> &Error, const Texts &Wanted, int nLine = __builtin_LINE()) const {
        StartDay(m_enRevision);
        g_Clock.bFails = m_bClockFails;
        Error();
        EXPECT_EQ(TakeReports(), Wanted) << "line " << nLine;
        g_Clock.bFails = false;
    }

    int m_enRevision = MISP_PROFILE_62;
    bool m_bClockFails = false;
    int m_enSource = HIGH_PRECISION;
    vitc_t m_Vitc{};
    INT64 m_llUTC = 0;
    SMPTE12M1_CONTEXT m_Context{};
    TIMECODE_STATS m_Stats{};
};

TEST_F(Reports, OfNullPointers) {
    Expect([&] { Timecode_SetUTC(0, 1, 0, nullptr); }, {"pMotionImageryTimestamp != NULL"});
    Expect([&] { Timecode_SetUTC(4, 1, 0, nullptr); }, {"pMotionImageryTimestamp != NULL", HIGH_INPUT});
    Expect([&] { Timecode_GetStats(0, nullptr); }, {"pStats != NULL"});
    Expect([&] { Timecode_GetMISPRevisionFromSystemSettings(nullptr); }, {"penMISPRevision != NULL"});
    Expect([&] { _VerifyTimeSourceSwitch(0, TRUE, nullptr); }, {"penNewTimecodeSouce != NULL"});
    Expect([&] { Timecode_MakeSMPTE12M1VITC(&m_Context, 0, 0, nullptr); }, {"pNewSystemTC != NULL"});
    Expect([&] { Timecode_MakeSMPTE12M1VITC(nullptr, 0, 0, &m_Vitc); }, {"pContext != NULL"});
    Expect([&] { Timecode_CalcFrameCountDiff(30, 0, m_Vitc, m_Vitc, nullptr); }, {"pnFrameCountDiff != NULL"});
    Expect([&] { AskSystem({.enNull = Null::Utc}); }, {"pUTC != NULL"});
    Expect([&] { AskSystem({.enNull = Null::Timecode}); }, {"pVitcRecord != NULL"});
}

TEST_F(Reports, OfARequestsNullPointersInTheOrderOfItsRevision) {
    const auto AskWithNothing = [this] {
        Timecode_GetUTC(4, &m_enSource, FALSE, 25, 25000, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    };
    Expect([] { Ask({.enNull = Null::Source}); }, {"penConfigMISBTimesource != NULL"});
    Expect(AskWithNothing,
           {"pUTC != NULL", "pVitcRecord != NULL", "pbSameTSRecord != NULL", "ppRecordAddress != NULL", HIGH_INPUT});
    m_enRevision = MISP_PROFILE_2016_2;
    Expect([] { Ask({.enNull = Null::Source}); }, {"penConfigMISBTimesource != NULL"});
    Expect(AskWithNothing,
           {HIGH_INPUT, "pUTC != NULL", "pVitcRecord != NULL", "pbSameTSRecord != NULL", "ppRecordAddress != NULL"});
}

TEST_F(Reports, OfInputsThatDoNotExist) {
    for (const int nInput : {-1, 4}) {
        const Texts Wanted = {nInput < 0 ? NEGATIVE_INPUT : HIGH_INPUT};
        const Texts OnlyHigh = nInput < 0 ? Texts{} : Wanted;
        Expect([&] { Queue({.nInput = nInput}); }, Wanted);
        Expect([&] { Timecode_Flush(nInput); }, Wanted);
        Expect([&] { Ask({.nInput = nInput}); }, Wanted);
        Expect([&] { _VerifyTimeSourceSwitch(nInput, TRUE, &m_enSource); }, Wanted);
        Expect([&] { Timecode_GetStats(nInput, &m_Stats); }, OnlyHigh);
        Expect([&] { Timecode_ResetStats(nInput); }, OnlyHigh);
    }
}

TEST_F(Reports, OfRatesThatCannotBe) {
    Expect([&] { TimeCode_UTCToSMPTE12M(&m_llUTC, -1, 0, &m_Vitc); }, {RATE});
    Expect([&] { Ask({.nRate = -1}); }, {RATE});
    Expect([&] { Ask({.enSource = TIMECODE, .nRate = -1}); }, {RATE, RATE});
}

TEST_F(Reports, OfAClockThatFails) {
    m_bClockFails = true;
    Expect([&] { TimecodeLib_Init(m_enRevision); }, {CLOCK});
    Expect([&] { Queue({}); }, {CLOCK});
    Expect([&] { Timecode_Flush(0); }, {CLOCK});
    Expect([&] { Ask({}); }, {CLOCK});
    Expect([&] { Ask({.enSource = TIMECODE}); }, {CLOCK, "clock_gettime(CLOCK_REALTIME, &tpCurrent) == 0"});
    Expect([&] { _VerifyTimeSourceSwitch(0, TRUE, &m_enSource); }, {CLOCK});
    m_enRevision = MISP_PROFILE_2016_2;
    Expect([&] { Ask({}); }, {CLOCK});
}

} // namespace
