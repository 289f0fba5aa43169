// Callers' errors: the text of each report, and their order. What the calls then do is compared with the model.
#include <functional>

#include "fixture.h"

namespace {

class Reports : public LibraryTest {};

constexpr const char *HIGH_INPUT = "enInputInterface < NUM_VIDEO_INPUTS";
constexpr const char *NEGATIVE_INPUT = "enInputInterface >= 0";
constexpr const char *CLOCK = "clock_gettime(CLOCK_REALTIME, &tpNow) == 0";

struct Fault {
    const char *szFault;
    Texts Wanted;
    std::function<void()> Commit;
    int enRevision = MISP_PROFILE_62;
};

void CommitEach(const std::vector<Fault> &Faults) {
    for (const Fault &Each : Faults) {
        StartDay(Each.enRevision);
        Each.Commit();
        EXPECT_EQ(TakeReports(), Each.Wanted) << Each.szFault;
    }
}

std::function<void()> AskWithout(Null enNull, int enSource = HIGH_PRECISION) {
    return [=] { Ask({.enSource = enSource, .enNull = enNull}); };
}

void AskWithNothing() {
    int enSource = HIGH_PRECISION;
    Timecode_GetUTC(4, &enSource, FALSE, 25, 25000, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
}

TEST_F(Reports, OfNullPointers) {
    static vitc_t Vitc;
    static SMPTE12M1_CONTEXT Context;
    const Texts Nothing62 = {"pUTC != NULL", "pVitcRecord != NULL", "pbSameTSRecord != NULL", "ppRecordAddress != NULL",
                             HIGH_INPUT};
    const Texts Nothing20162 = {HIGH_INPUT, "pUTC != NULL", "pVitcRecord != NULL", "pbSameTSRecord != NULL",
                                "ppRecordAddress != NULL"};
    CommitEach({
        {"payload", {"pMotionImageryTimestamp != NULL"}, [] { Timecode_SetUTC(0, 1, 0, nullptr); }},
        {"payload and input",
         {"pMotionImageryTimestamp != NULL", HIGH_INPUT},
         [] { Timecode_SetUTC(4, 1, 0, nullptr); }},
        {"statistics", {"pStats != NULL"}, [] { Timecode_GetStats(0, nullptr); }},
        {"settings", {"penMISPRevision != NULL"}, [] { Timecode_GetMISPRevisionFromSystemSettings(nullptr); }},
        {"switch check", {"penNewTimecodeSouce != NULL"}, [] { _VerifyTimeSourceSwitch(0, TRUE, nullptr); }},
        {"generated timecode", {"pNewSystemTC != NULL"}, [] { Timecode_MakeSMPTE12M1VITC(&Context, 0, 0, nullptr); }},
        {"generator's context", {"pContext != NULL"}, [] { Timecode_MakeSMPTE12M1VITC(nullptr, 0, 0, &Vitc); }},
        {"frame count", {"pnFrameCountDiff != NULL"}, [] { Timecode_CalcFrameCountDiff(30, 0, Vitc, Vitc, nullptr); }},
        {"configured source", {"penConfigMISBTimesource != NULL"}, AskWithout(Null::Source)},
        {"record", {"pUTC != NULL"}, AskWithout(Null::Utc)},
        {"timecode", {"pVitcRecord != NULL"}, AskWithout(Null::Timecode)},
        {"same-record flag", {"pbSameTSRecord != NULL"}, AskWithout(Null::Same)},
        {"cursor", {"ppRecordAddress != NULL"}, AskWithout(Null::Cursor)},
        {"all of a request", Nothing62, AskWithNothing},
        {"all of a request", Nothing20162, AskWithNothing, MISP_PROFILE_2016_2},
        {"system time's record", {"pUTC != NULL"}, [] { AskSystem({.enNull = Null::Utc}); }},
        {"system time's timecode", {"pVitcRecord != NULL"}, [] { AskSystem({.enNull = Null::Timecode}); }},
    });
}

TEST_F(Reports, OfInputsThatDoNotExist) {
    static TIMECODE_STATS Stats;
    static int enSource = HIGH_PRECISION;
    for (const int nInput : {-1, 4}) {
        const Texts Reported = {nInput < 0 ? NEGATIVE_INPUT : HIGH_INPUT};
        const Texts OnlyHigh = nInput < 0 ? Texts{} : Reported;
        CommitEach({
            {"queuing", Reported, [=] { Queue({.nInput = nInput}); }},
            {"flush", Reported, [=] { Timecode_Flush(nInput); }},
            {"request", Reported, [=] { Ask({.nInput = nInput}); }},
            {"request", Reported, [=] { Ask({.nInput = nInput}); }, MISP_PROFILE_2016_2},
            {"switch check", Reported, [=] { _VerifyTimeSourceSwitch(nInput, TRUE, &enSource); }},
            {"statistics", OnlyHigh, [=] { Timecode_GetStats(nInput, &Stats); }},
            {"reset", OnlyHigh, [=] { Timecode_ResetStats(nInput); }},
        });
    }
}

TEST_F(Reports, OfRatesThatCannotBe) {
    static vitc_t Vitc;
    static INT64 llUTC;
    CommitEach({
        {"conversion", {"nEncodedPictureRate > 0"}, [] { TimeCode_UTCToSMPTE12M(&llUTC, -1, 0, &Vitc); }},
        {"request", {"nEncodedPictureRate > 0"}, [] { Ask({.nRate = -1}); }},
    });
}

TEST_F(Reports, OfAClockThatFails) {
    const auto Failing = [](const std::function<void()> &Act) {
        return [=] {
            g_Clock.bFails = true;
            Act();
            g_Clock.bFails = false;
        };
    };
    static int enSource = HIGH_PRECISION;
    CommitEach({
        {"start", {CLOCK}, Failing([] { TimecodeLib_Init(MISP_PROFILE_62); })},
        {"queuing", {CLOCK}, Failing([] { Queue({}); })},
        {"flush", {CLOCK}, Failing([] { Timecode_Flush(0); })},
        {"request", {CLOCK}, Failing([] { Ask({}); })},
        {"request", {CLOCK}, Failing([] { Ask({}); }), MISP_PROFILE_2016_2},
        {"date of a timecode", {CLOCK, "clock_gettime(CLOCK_REALTIME, &tpCurrent) == 0"}, Failing([] {
             Ask({.enSource = TIMECODE});
         })},
        {"switch check", {CLOCK}, Failing([] { _VerifyTimeSourceSwitch(0, TRUE, &enSource); })},
    });
}

} // namespace
