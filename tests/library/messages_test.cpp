// The text of every message, with its arguments, and what brings it about. How often each is repeated, and at which
// levels it is held back, is compared with the model.
#include "fixture.h"

namespace {

class Messages : public LibraryTest {
protected:
    // What an act brings about, among other messages, each as "level text".
    void Expect(const auto &Act, const Texts &Wanted, int nLine = __builtin_LINE()) const {
        StartDay(m_enRevision);
        Act();
        EXPECT_THAT(TakeTraces(), testing::IsSupersetOf(Wanted)) << "line " << nLine;
    }

    int m_enRevision = MISP_PROFILE_62;
};

// A time stamp of PTS 9000 and a picture one tick later.
void Match(int enSource) {
    Queue({.enSource = enSource, .llUsec = 5, .Label = Timecode(12, 34, 56, 7)});
    Ask({.enSource = enSource, .nPTS = 9001});
}

// Then, 40 ms later, a picture so many ticks behind the time stamp that has none, at 30 Hz.
void Carry(int enSource, UINT64 nTicks = 81'000) {
    Match(enSource);
    SetClockMs(40);
    Ask({.enSource = enSource, .nRate = 30, .nCode = 30, .nPTS = 9001 + nTicks});
}

// A source that falls silent while it is in use.
void Lose(int enSource) {
    Ask({.enSource = enSource, .bSwitch = TRUE, .nPTS = 9000});
    SetClockMs(5001);
    Ask({.enSource = enSource, .bSwitch = TRUE, .nPTS = 900'000});
}

// A better source that returns for long enough.
void Return(int enSource, int enFrom) {
    Queue({.enSource = enSource});
    for (const INT64 nMs : {0, 751}) {
        SetClockMs(nMs);
        Ask({.enSource = enFrom, .bSwitch = TRUE, .nPTS = 9000});
    }
}

void AskForSystemTime(int nRate) {
    GetSystemUtc({.nRate = nRate, .nPTS = 991, .nBasePTS = 1000, .llBaseUTC = NoonUsec() + 1099});
}

// A picture that lands on a dropped label, and those coded behind it.
void Generate() {
    SMPTE12M1_CONTEXT Context{3003, 30, 29000, 2, Timecode(0, 1, 59, 27), 7, 900'000, 0, 0, FALSE};
    for (const int nFrames : {3, -2, 1, 4}) {
        const UINT64 nPTS = Context.OldTimestamp64 + static_cast<UINT64>(nFrames * 3003);
        Timecode_MakeSMPTE12M1VITC(&Context, 8, nPTS, &Context.OldSystemTC);
        Context.OldTimestamp64 = nPTS;
    }
}

TEST_F(Messages, OfTheLibraryAndItsQueue) {
    const auto FlushUnderTheCursor = [] {
        Queue({}), Queue({});
        void *const pCursor = Ask({.nPTS = 9000}).pCursor;
        Timecode_Flush(0), Timecode_Flush(0);
        Ask({.nPTS = 9000}, pCursor);
    };
    Expect([] { TimecodeLib_Init(MISP_PROFILE_62); }, {"7 Called.", "5 Identified MISP revision as:20116."});
    Expect([] { Timecode_ResetStats(3); },
           {"7 Called.", "7 Successfully located Timecode info with input interface:3."});
    Expect([] { Timecode_ResetStats(4); }, {"3 Couldn't locate Timecode info with enInputInterface:4."});
    Expect([] { Match(TIMECODE); },
           {"6 SetUTC - enTimeCodeSource:2(VITC Commercial TimeStamp), enInputInterface:0, Putting it in the list.",
            "7 BestDiff:1(0x1), pBestUTCBuffer:ADDRESS, CodedPicturePTS64:9001, timecode desired type:2(VITC "
            "Commercial TimeStamp) for inputInterface:0."});
    Expect([] { Ask({.nInput = 1, .enSource = LOCAL_SET}); },
           {"7 pBestUTCBuffer:(nil) is NULL after walking the list. pCurrentUTCBuffer:(nil), nNextRecordsToCheck:12, "
            "timecode desired type:3(LDS Timestamp) for inputInterface:1."});
    Expect(FlushUnderTheCursor, {"6 TC Flush finished for inputInterface:0.",
                                 "6 Last Timecode flush for enInputInterface:0 was less than 1 seconds ago. Skipping.",
                                 "3 BestRecord: Timecodesource:0(None), located at address:ADDRESS is not of the "
                                 "expected type:1(High Precision TimeStamp)."});
}

TEST_F(Messages, OfUtcSources) {
    const auto Before2000 = [] {
        Queue({.llUsec = 946'684'799'000'000 - NoonUsec()});
        Ask({.nPTS = 9000}), Ask({.nPTS = 90'000});
    };
    const auto Backwards = [] { Match(HIGH_PRECISION), Queue({.nPTS = 9001}), Ask({.nPTS = 9001}); };
    Expect([] { Match(HIGH_PRECISION); },
           {"6 enTimecodeSource:1(High Precision TimeStamp), SwitchingAllowed:FALSE at the beginning of the function!",
            "6 Timecode source:1, is high precision timecode coming from VANC KLV.",
            "6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:1(High Precision TimeStamp)",
            "7  DEBUG - Function end, enTimecodeSource:1, MISPStatusByte:0x1f, GPSLocked:LOCKED, Status:NORMAL, "
            "Disc:FORWARD"});
    Expect([] { Match(LOCAL_SET); },
           {"6 Timecode source:3, is UTC coming from LDS.",
            "6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:3(LDS Timestamp)"});
    Expect(Backwards, {"6 Discontinuity identified. Time jumped backward!"});
    Expect([] { Carry(HIGH_PRECISION); }, {"6 Fail to get timecode. OLD UTC::  NOON000005, TimeDiff:0.040000000s.",
                                           "7 After correction, NEW UTC::  NOON040005."});
    Expect([] { Carry(LOCAL_SET); },
           {"6 Fail to get timecode. OLD UTC:: NOON000005, TimeDiff:0.040000000s.",
            "6 After correction, NEW UTC:: NOON040005.",
            "7 Sucessfully converted UTC time:: NOON040005 to date time:: TODAY-12h0m0s40005us."});
    Expect(Before2000, {"4 Year:1999 is below 2000."});
    Expect([] { Ask({.nRate = 0}); },
           {"7 nEncodedPictureRate:0 is 0. Cannot translate.", "6 Failed to format SMPTE12M VITC from UTC."});
    Expect([] { Ask({.enNull = Null::Utc}); }, {"3 pUTC:(nil) is NULL this should not happen!"});
    Expect([] { Ask({.enSource = 77, .bSwitch = TRUE}); },
           {"6 enTimecodeSource:77((Unknown)), SwitchingAllowed:TRUE at the beginning of the function!",
            "3 Failed to get UTC. enTimecodeSource:77 is Unknown or Failed!",
            "3 We have a enTimeSource:77((Unknown)) that is unknown! Put it back to NONE."});
}

TEST_F(Messages, OfTimecodeAsTheSource) {
    const auto NoTimeOfDay = [] {
        Queue({.enSource = TIMECODE, .Label = Timecode(24, 0, 0, 0)}), Ask({.enSource = TIMECODE, .nPTS = 9000});
    };
    Expect([] { Match(TIMECODE); },
           {"7 Timecode source:2, is commercial timecode coming from VITC.",
            "6 Retreived TC on interface:0:: H:M:S:F(12:34:56:7). enTimecodeSource:2(VITC Commercial TimeStamp), "
            "CodedPicturePTS64:9001, TCPTS:9000.",
            "7 Recovered local time:TODAY-12h0m0s.",
            "7 Sucessfully converted Date time to UTC. Date:: TODAY-12h34m56s280000us --> UTC:: 12:34:56.280000.",
            "7 Timecode source:2, successfully converted SMPTE12M to UTC time."});
    Expect(NoTimeOfDay, {"3 Fail to convert date time to UTC time. RetCode:2"});
    Expect([] { g_Clock.bLocalTimeFails = true, Ask({.enSource = TIMECODE}), g_Clock.bLocalTimeFails = false; },
           {"3 Fail to convert date time to UTC time. RetCode:-1"});
    Expect([] { Carry(TIMECODE); },
           {"6 PTSDiff:81001(900ms) is bigger than threshold:3ms, CodedPicturePTS64:90001, TCPTS:9000. "
            "enTimecodeSource:2(VITC Commercial TimeStamp), *ppRecordAddress:(nil).",
            "6 Fail to get timecode on interface:0. OLD TC:: H:M:S:F(12:34:56:7) TimeDiff:0.899999991s.",
            "7 ElapsedTime:0.899999991s, nPicRate:30, VUIFramerate:30.",
            "7 Overflow happened. nValue:34, nPictrate:30, OverflowsFrames:1. Remainder:4.",
            "7 Beginning to deal with overflow. Current TC H:12M:34S:56F:4. Overflows H:0M:0S:1",
            "6 NowTime:NOON.040000000s, LasRetrivedTime:NOON.000000000s, TimeDiff:0.899999991s. After correction, NEW "
            "TC:: H:M:S:F(12:34:57:4) on interface:0."});
    Expect([] { Carry(TIMECODE, 90'000ULL * 1625 + 81'000); },
           {"7 Beginning to deal with overflow. Current TC H:12M:1S:1F:3. Overflows H:1M:1S:1"});
}

TEST_F(Messages, OfSourcesUnderTheOtherRevision) {
    m_enRevision = MISP_PROFILE_2016_2;
    const auto Reverse = [] { SetClockMs(89), Queue({.nStatus = 0xFF}), Ask({.nPTS = 9000}); };
    const auto TooFar = [] {
        Queue({.enSource = TIMECODE}), Queue({.enSource = TIMECODE, .nPTS = 20'000});
        Ask({.enSource = TIMECODE, .nPTS = 9360});
    };
    Expect(Reverse,
           {"6 enConfigMISBTimesource:1(High Precision TimeStamp), enInputInterface:0 at the beginning of the "
            "function! tpNow:NOON.089000s.",
            "6 Success retrieved MTSPack UTC:: NOON000000. UTC enConfigMISBTimesource:1(High Precision TimeStamp)",
            "7  DEBUG - Function end, enConfigMISBTimesource:1, MISPStatusByte:0xff, GPSLocked:FLYWHEEL, "
            "Status:DISCONTINUITY, Disc:REVERSE"});
    Expect([] { Match(LOCAL_SET); },
           {"6 Success retrieved LDS Tag2 UTC::  NOON000005. UTC enConfigMISBTimesource:3(LDS Timestamp)"});
    Expect([] { Match(TIMECODE); },
           {"6 Retreived TC on interface:0:: H:M:S:F(12:34:56:7). enConfigMISBTimesource:2(VITC Commercial TimeStamp), "
            "CodedPicturePTS64:9001, TCPTS:9000."});
    Expect(TooFar, {"6 PTSDiff:360(4ms) is bigger than threshold:3ms, CodedPicturePTS64:9360, TCPTS:9000. "
                    "enConfigMISBTimesource:2(VITC Commercial TimeStamp), *ppRecordAddress:ADDRESS."});
    Expect([] { Ask({.enSource = SYSTEM_CLOCK}); },
           {"3 Failed to get UTC. enConfigMISBTimesource:4 is Unknown or Failed!"});
}

TEST_F(Messages, OfTheSystemClock) {
    const std::string szUtc = "UTC64:NOON001000, CodedPicPTS64:0x3df, UTC enTimecodeSource:4(System TimeStamp)";
    const auto Candidate = [] { Ask({.enSource = TCSOURCE_NONE, .bSwitch = TRUE}); };
    const auto FailingCandidate = [=] { g_Clock.bFails = true, Candidate(), g_Clock.bFails = false; };
    Expect([] { AskForSystemTime(25); }, {"6 TCBasePTS64:1000, UnchangedEncoderPTS64:991, Diff64:-9.",
                                          "6 Success getting system UTC:H:M:S:mS:(12:00:00.001). " + szUtc});
    Expect([] { Ask({.enSource = SYSTEM_CLOCK, .nRate = 0}); },
           {"6 Timecode source:4, is system time.", "3 Failed to format SMPTE12M VITC from UTC.",
            "4 Failed to get system timecode."});
    Expect(Candidate, {"7 Successfully retreived UTC time from system time:NOON000000."});
    Expect(FailingCandidate, {"3 Fail to retreive UTC time from system time. RetCode:-1"});
    m_enRevision = MISP_PROFILE_2016_2;
    Expect([] { AskForSystemTime(25); }, {"6 Success getting system UTC:H:M:S:mS:(12:0:0.1). " + szUtc});
    Expect([] { AskForSystemTime(0); }, {"6 Failed to format SMPTE12M VITC from UTC."});
}

TEST_F(Messages, OfFailoverAndRecovery) {
    const std::string szLost =
        ", Failed to extract timecode for:5.001000000s. Defined Period:5000 ms before failure is announced.";
    int enSource = HIGH_PRECISION;
    Expect([] { Lose(HIGH_PRECISION); }, {"6 Timecode source:1" + szLost});
    Expect([] { Lose(TIMECODE); }, {"6 Interface:0, Timecode source:2" + szLost});
    Expect([] { Lose(LOCAL_SET); }, {"7 Timecode source:3" + szLost});
    Expect([&] { Ask({}), SetClockMs(5001), _VerifyTimeSourceSwitch(0, TRUE, &enSource); },
           {"7 Timecode source:1" + szLost});
    Expect([] { Return(HIGH_PRECISION, LOCAL_SET); },
           {"7 Recovery - enConfiguredMISBTimeSource:3, enCurrentTimecodeSouce:3(LDS Timestamp).",
            "7 Recovery - Identified Node carrying timecode source:1(High Precision TimeStamp). Starting Recovery.",
            "6 Timecode source:1(High Precision TimeStamp), recovered."});
    Expect([] { Return(HIGH_PRECISION, TIMECODE); }, {"7 Timecode source:1(High Precision TimeStamp), recovered."});
    Expect([] { Return(TIMECODE, LOCAL_SET); }, {"6 Timecode source:2(VITC Commercial TimeStamp), recovered."});
    Expect([] { Return(SYSTEM_CLOCK, TCSOURCE_NONE); }, {"6 Timecode source:4(System TimeStamp), recovered."});
}

TEST_F(Messages, OfConversions) {
    INT64 ll1969 = -1, ll2010 = 1'262'349'296'000'007;
    vitc_t Vitc{};
    int nFrames = 0;
    Expect([&] { TimeCode_UTCToSMPTE12M(&ll2010, 25, 25000, &Vitc); },
           {"7 Sucessfully converted UTC:1262349296000007 to (2010-Jan-1-12h34m56s000007us)"});
    Expect([&] { TimeCode_UTCToSMPTE12M(&ll1969, 25, 25000, &Vitc); },
           {"4 Date information might be wrong on system! UTC:18446744073709551615 (1969-Dec-31-23h59m59s999999us)"});
    Expect([&] { TimeCode_UTCToSMPTE12M(nullptr, 25, 0, &Vitc); }, {"3 pllUTC:(nil) is NULL this should not happen!"});
    Expect([&] { TimeCode_UTCToSMPTE12M(&ll1969, 25, 0, nullptr); },
           {"3 pVitcRecord:(nil) is NULL this should not happen!"});
    Expect([&] { Timecode_CalcFrameCountDiff(30, 29000, Timecode(12, 34, 56, 7), Timecode(12, 34, 56, 8), &nFrames); },
           {"7 OldFrameCount:1357529, NewFrameCount:1357530, FrameCountDiff:1."});
    Expect(Generate, {"7 nEncodedPictureRate:30, nVUIFramerate:29000.",
                      "7 OldPoc:7, NewPoc:8, DiffPoc:-4, DiffTS64:-6006(FR-Diff:-2), FramesTotal:0.",
                      "7 H:M:S:F before drop frame adjustements:[00:02:00:00].", "6 NTSC drop frame.",
                      "7 BackFill State count:3, after frame drop.", "7 Extra Skip frame.", "7 BackFill State end."});
}

} // namespace
