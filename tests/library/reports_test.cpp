// Callers' errors: the text of each report, and their order. How many a call makes, and what it then does, is compared
// with the model.
#include "fixture.h"

namespace {

constexpr const char *HIGH_INPUT = "enInputInterface < NUM_VIDEO_INPUTS";

class Reports : public LibraryTest {
protected:
    // All that a caller's error brings about.
    void Expect(const auto &Error, const Texts &Wanted, int nLine = __builtin_LINE()) const {
        StartDay(m_enRevision);
        Error();
        EXPECT_EQ(TakeReports(), Wanted) << "line " << nLine;
    }

    int m_enRevision = MISP_PROFILE_62;
    int m_enSource = HIGH_PRECISION;
    vitc_t m_Vitc{};
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
    Expect([&] { GetSystemUtc({.enNull = Null::Utc}); }, {"pUTC != NULL"});
    Expect([&] { GetSystemUtc({.enNull = Null::Timecode}); }, {"pVitcRecord != NULL"});
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
    Expect([] { Queue({.nInput = 4}); }, {HIGH_INPUT});
    Expect([] { Queue({.nInput = -1}); }, {"enInputInterface >= 0"});
    Expect([&] { Timecode_GetStats(4, &m_Stats); }, {HIGH_INPUT});
    Expect([] { Timecode_ResetStats(4); }, {HIGH_INPUT});
}

TEST_F(Reports, OfARateThatCannotBe) {
    Expect([] { Ask({.nRate = -1}); }, {"nEncodedPictureRate > 0"});
}

TEST_F(Reports, OfAClockThatFails) {
    g_Clock.bFails = true;
    Ask({.enSource = TIMECODE});
    EXPECT_EQ(TakeReports(),
              (Texts{"clock_gettime(CLOCK_REALTIME, &tpNow) == 0", "clock_gettime(CLOCK_REALTIME, &tpCurrent) == 0"}));
}

} // namespace
