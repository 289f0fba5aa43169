// The text of every message, with its arguments, and what brings it about. How often each is repeated, and at which
// levels it is held back, is compared with the model.
#include <functional>

#include "fixture.h"

namespace {

class Messages : public LibraryTest {};

using Act = std::function<void()>;

struct Row {
    std::string sText; // "level text"
    Act BringAbout;
};

void Expect(int enRevision, const std::vector<Row> &Rows) {
    for (const Row &Each : Rows) {
        StartDay(enRevision);
        Each.BringAbout();
        EXPECT_THAT(TakeTraces(), testing::Contains(Each.sText));
    }
}

Act Asking(const Request &Asked) {
    return [=] { Ask(Asked); };
}

// A time stamp of PTS 9000 and a picture one tick later.
Act Good(int enSource) {
    return [=] {
        Queue({.enSource = enSource, .llUsec = 5, .Label = Timecode(12, 34, 56, 7)});
        Ask({.enSource = enSource, .nPts = 9001});
    };
}

// Then, 40 ms later, a picture so many ticks behind the time stamp that has none, at 30 Hz.
Act Carried(int enSource, UINT64 nTicks = 81'000) {
    return [=] {
        Good(enSource)();
        SetClockMs(40);
        Ask({.enSource = enSource, .nRate = 30, .nCode = 30, .nPts = 9001 + nTicks});
    };
}

// A source that falls silent while it is in use.
Act Lost(int enSource) {
    return [=] {
        Ask({.enSource = enSource, .bSwitch = TRUE, .nPts = 9000});
        SetClockMs(5001);
        Ask({.enSource = enSource, .bSwitch = TRUE, .nPts = 900'000});
    };
}

// A better source that returns for long enough.
Act Returned(int enSource, int enFrom) {
    return [=] {
        Queue({.enSource = enSource});
        for (const INT64 nMs : {0, 751}) {
            SetClockMs(nMs);
            Ask({.enSource = enFrom, .bSwitch = TRUE, .nPts = 9000});
        }
    };
}

Act Converting(INT64 llUTC, int nRate = 25) {
    return [=]() mutable {
        vitc_t Vitc;
        TimeCode_UTCToSMPTE12M(&llUTC, nRate, 25000, &Vitc);
    };
}

Act SystemTime(int nRate = 25) {
    return [=] { AskSystem({.nRate = nRate, .nPts = 991, .nBasePts = 1000, .llBaseUTC = NoonUsec() + 1099}); };
}

// A picture that lands on a dropped label, and those coded behind it.
void Generate() {
    SMPTE12M1_CONTEXT Context{3003, 30, 29000, 2, Timecode(0, 1, 59, 27), 7, 900'000, 0, 0, FALSE};
    for (const int nFrames : {3, -2, 1, 4}) {
        const UINT64 nPts = Context.OldTimestamp64 + static_cast<UINT64>(nFrames * 3003);
        Timecode_MakeSMPTE12M1VITC(&Context, 8, nPts, &Context.OldSystemTC);
        Context.OldTimestamp64 = nPts;
    }
}

TEST_F(Messages, OfTheLibraryAndItsQueue) {
    Expect(
        MISP_PROFILE_62,
        {
            {"7 Called.", [] { Timecode_ResetStats(0); }},
            {"5 Identified MISP revision as:20116.", [] { TimecodeLib_Init(MISP_PROFILE_62); }},
            {"7 Successfully located Timecode info with input interface:3.", [] { Stats(3); }},
            {"3 Couldn't locate Timecode info with enInputInterface:4.", [] { Timecode_ResetStats(4); }},
            {"6 SetUTC - enTimeCodeSource:2(VITC Commercial TimeStamp), enInputInterface:3, Putting it in the list.",
             [] { Queue({.enSource = TIMECODE, .nInput = 3}); }},
            {"6 TC Flush finished for inputInterface:2.", [] { Timecode_Flush(2); }},
            {"6 Last Timecode flush for enInputInterface:2 was less than 1 seconds ago. Skipping.",
             [] { Timecode_Flush(2), Timecode_Flush(2); }},
            {"7 BestDiff:1(0x1), pBestUTCBuffer:ADDRESS, CodedPicturePTS64:9001, timecode desired type:2(VITC "
             "Commercial "
             "TimeStamp) for inputInterface:0.",
             Good(TIMECODE)},
            {"7 pBestUTCBuffer:(nil) is NULL after walking the list. pCurrentUTCBuffer:(nil), nNextRecordsToCheck:12, "
             "timecode desired type:3(LDS Timestamp) for inputInterface:1.",
             Asking({.nInput = 1, .enSource = LOCAL_SET})},
            {"3 BestRecord: Timecodesource:0(None), located at address:ADDRESS is not of the expected type:1(High "
             "Precision TimeStamp).",
             [] {
                 Queue({}), Queue({});
                 void *const pCursor = Ask({.nPts = 9000}).pCursor;
                 Timecode_Flush(0);
                 Ask({.nPts = 9000}, pCursor);
             }},
        });
}

TEST_F(Messages, OfRequests) {
    Expect(
        MISP_PROFILE_62,
        {
            {"3 pUTC:(nil) is NULL this should not happen!", Asking({.enNull = Null::Utc})},
            {"6 enTimecodeSource:1(High Precision TimeStamp), SwitchingAllowed:TRUE at the beginning of the function!",
             Asking({.bSwitch = TRUE})},
            {"3 Failed to get UTC. enTimecodeSource:77 is Unknown or Failed!", Asking({.enSource = 77})},
            {"7  DEBUG - Function end, enTimecodeSource:1, MISPStatusByte:0x1f, GPSLocked:LOCKED, Status:NORMAL, "
             "Disc:FORWARD",
             Good(HIGH_PRECISION)},
        });
    Expect(
        MISP_PROFILE_2016_2,
        {
            {"6 enConfigMISBTimesource:1(High Precision TimeStamp), enInputInterface:1 at the beginning of the "
             "function! "
             "tpNow:NOON.089000s.",
             [] { SetClockMs(89), Ask({.nInput = 1}); }},
            {"3 Failed to get UTC. enConfigMISBTimesource:4 is Unknown or Failed!", Asking({.enSource = SYSTEM_CLOCK})},
            {"7  DEBUG - Function end, enConfigMISBTimesource:1, MISPStatusByte:0xff, GPSLocked:FLYWHEEL, "
             "Status:DISCONTINUITY, Disc:REVERSE",
             [] { Queue({.nStatus = 0xFF}), Ask({.nPts = 9000}); }},
        });
}

TEST_F(Messages, OfUtcSources) {
    Expect(
        MISP_PROFILE_62,
        {
            {"6 Timecode source:1, is high precision timecode coming from VANC KLV.", Asking({})},
            {"6 Timecode source:3, is UTC coming from LDS.", Asking({.enSource = LOCAL_SET})},
            {"6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:1(High Precision TimeStamp)",
             Good(HIGH_PRECISION)},
            {"6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:3(LDS Timestamp)", Good(LOCAL_SET)},
            {"6 Discontinuity identified. Time jumped backward!",
             [] { Good(HIGH_PRECISION)(), Queue({.nPts = 9001}), Ask({.nPts = 9001}); }},
            {"6 Fail to get timecode. OLD UTC::  NOON000005, TimeDiff:0.040000000s.", Carried(HIGH_PRECISION)},
            {"6 Fail to get timecode. OLD UTC:: NOON000005, TimeDiff:0.040000000s.", Carried(LOCAL_SET)},
            {"7 After correction, NEW UTC::  NOON040005.", Carried(HIGH_PRECISION)},
            {"6 After correction, NEW UTC:: NOON040005.", Carried(LOCAL_SET)},
            {"7 Sucessfully converted UTC time:: NOON040005 to date time:: TODAY-12h0m0s40005us.", Carried(LOCAL_SET)},
            {"4 Year:1999 is below 2000.",
             [] {
                 Queue({.llUsec = 946'684'799'000'000 - NoonUsec()});
                 Ask({.nPts = 9000}), Ask({.nPts = 90'000});
             }},
            {"6 Failed to format SMPTE12M VITC from UTC.", Asking({.nRate = 0})},
        });
    Expect(MISP_PROFILE_2016_2,
           {
               {"6 Success retrieved MTSPack UTC:: NOON000005. UTC enConfigMISBTimesource:1(High Precision TimeStamp)",
                Good(HIGH_PRECISION)},
               {"6 Success retrieved LDS Tag2 UTC::  NOON000005. UTC enConfigMISBTimesource:3(LDS Timestamp)",
                Good(LOCAL_SET)},
           });
}

TEST_F(Messages, OfTimecodeAsTheSource) {
    Expect(
        MISP_PROFILE_62,
        {
            {"7 Timecode source:2, is commercial timecode coming from VITC.", Asking({.enSource = TIMECODE})},
            {"6 Retreived TC on interface:0:: H:M:S:F(12:34:56:7). enTimecodeSource:2(VITC Commercial TimeStamp), "
             "CodedPicturePTS64:9001, TCPTS:9000.",
             Good(TIMECODE)},
            {"7 Recovered local time:TODAY-12h0m0s.", Good(TIMECODE)},
            {"7 Sucessfully converted Date time to UTC. Date:: TODAY-12h00m00s280000us --> UTC:: NOON280000.",
             [] {
                 Queue({.enSource = TIMECODE, .Label = Timecode(12, 0, 0, 7)}),
                     Ask({.enSource = TIMECODE, .nPts = 9000});
             }},
            {"3 Fail to convert date time to UTC time. RetCode:2",
             [] {
                 Queue({.enSource = TIMECODE, .Label = Timecode(24, 0, 0, 0)}),
                     Ask({.enSource = TIMECODE, .nPts = 9000});
             }},
            {"3 Fail to convert date time to UTC time. RetCode:-1",
             [] { g_Clock.bLocalTimeFails = true, Ask({.enSource = TIMECODE}), g_Clock.bLocalTimeFails = false; }},
            {"7 Timecode source:2, successfully converted SMPTE12M to UTC time.", Good(TIMECODE)},
            {"6 PTSDiff:81001(900ms) is bigger than threshold:3ms, CodedPicturePTS64:90001, TCPTS:9000. "
             "enTimecodeSource:2(VITC Commercial TimeStamp), *ppRecordAddress:(nil).",
             Carried(TIMECODE)},
            {"6 Fail to get timecode on interface:0. OLD TC:: H:M:S:F(12:34:56:7) TimeDiff:0.899999991s.",
             Carried(TIMECODE)},
            {"7 ElapsedTime:0.899999991s, nPicRate:30, VUIFramerate:30.", Carried(TIMECODE)},
            {"7 Overflow happened. nValue:34, nPictrate:30, OverflowsFrames:1. Remainder:4.", Carried(TIMECODE)},
            {"7 Beginning to deal with overflow. Current TC H:12M:34S:56F:4. Overflows H:0M:0S:1", Carried(TIMECODE)},
            {"7 Beginning to deal with overflow. Current TC H:12M:1S:1F:3. Overflows H:1M:1S:1",
             Carried(TIMECODE, 90'000ULL * 1625 + 81'000)},
            {"6 NowTime:NOON.040000000s, LasRetrivedTime:NOON.000000000s, TimeDiff:0.899999991s. After correction, NEW "
             "TC:: H:M:S:F(12:34:57:4) on interface:0.",
             Carried(TIMECODE)},
        });
    Expect(MISP_PROFILE_2016_2,
           {
               {"6 Retreived TC on interface:0:: H:M:S:F(12:34:56:7). enConfigMISBTimesource:2(VITC Commercial "
                "TimeStamp), "
                "CodedPicturePTS64:9001, TCPTS:9000.",
                Good(TIMECODE)},
               {"6 PTSDiff:360(4ms) is bigger than threshold:3ms, CodedPicturePTS64:9360, TCPTS:9000. "
                "enConfigMISBTimesource:2(VITC Commercial TimeStamp), *ppRecordAddress:ADDRESS.",
                [] {
                    Queue({.enSource = TIMECODE}), Queue({.enSource = TIMECODE, .nPts = 20'000});
                    Ask({.enSource = TIMECODE, .nPts = 9360});
                }},
           });
}

TEST_F(Messages, OfTheSystemClock) {
    const std::string sUtc = "UTC64:NOON001000, CodedPicPTS64:0x3df, UTC enTimecodeSource:4(System TimeStamp)";
    Expect(
        MISP_PROFILE_62,
        {
            {"6 Timecode source:4, is system time.", Asking({.enSource = SYSTEM_CLOCK})},
            {"6 TCBasePTS64:1000, UnchangedEncoderPTS64:991, Diff64:-9.", SystemTime()},
            {"6 Success getting system UTC:H:M:S:mS:(12:00:00.001). " + sUtc, SystemTime()},
            {"3 Failed to format SMPTE12M VITC from UTC.", SystemTime(0)},
            {"4 Failed to get system timecode.", Asking({.enSource = SYSTEM_CLOCK, .nRate = 0})},
            {"7 Successfully retreived UTC time from system time:NOON000000.",
             Asking({.enSource = TCSOURCE_NONE, .bSwitch = TRUE})},
            {"3 Fail to retreive UTC time from system time. RetCode:-1",
             [] { g_Clock.bFails = true, Ask({.enSource = TCSOURCE_NONE, .bSwitch = TRUE}), g_Clock.bFails = false; }},
        });
    Expect(MISP_PROFILE_2016_2, {
                                    {"6 Success getting system UTC:H:M:S:mS:(12:0:0.1). " + sUtc, SystemTime()},
                                    {"6 Failed to format SMPTE12M VITC from UTC.", SystemTime(0)},
                                });
}

TEST_F(Messages, OfFailoverAndRecovery) {
    const std::string sLost = ", Failed to extract timecode for:5.001000000s. Defined Period:5000 ms before failure is "
                              "announced.";
    Expect(MISP_PROFILE_62,
           {
               {"6 Timecode source:1" + sLost, Lost(HIGH_PRECISION)},
               {"6 Interface:0, Timecode source:2" + sLost, Lost(TIMECODE)},
               {"7 Timecode source:3" + sLost, Lost(LOCAL_SET)},
               {"7 Timecode source:1" + sLost,
                [] {
                    int enSource = HIGH_PRECISION;
                    Ask({}), SetClockMs(5001);
                    _VerifyTimeSourceSwitch(0, TRUE, &enSource);
                }},
               {"7 Recovery - enConfiguredMISBTimeSource:3, enCurrentTimecodeSouce:3(LDS Timestamp).",
                Asking({.enSource = LOCAL_SET, .bSwitch = TRUE})},
               {"7 Recovery - Identified Node carrying timecode source:1(High Precision TimeStamp). Starting Recovery.",
                Returned(HIGH_PRECISION, LOCAL_SET)},
               {"6 Timecode source:1(High Precision TimeStamp), recovered.", Returned(HIGH_PRECISION, LOCAL_SET)},
               {"7 Timecode source:1(High Precision TimeStamp), recovered.", Returned(HIGH_PRECISION, TIMECODE)},
               {"6 Timecode source:2(VITC Commercial TimeStamp), recovered.", Returned(TIMECODE, LOCAL_SET)},
               {"6 Timecode source:4(System TimeStamp), recovered.", Returned(SYSTEM_CLOCK, TCSOURCE_NONE)},
               {"3 We have a enTimeSource:77((Unknown)) that is unknown! Put it back to NONE.",
                Asking({.enSource = 77, .bSwitch = TRUE})},
           });
}

TEST_F(Messages, OfConversions) {
    Expect(
        MISP_PROFILE_62,
        {
            {"7 Sucessfully converted UTC:1262349296000007 to (2010-Jan-1-12h34m56s000007us)",
             Converting(1'262'349'296'000'007)},
            {"4 Date information might be wrong on system! UTC:18446744073709551615 (1969-Dec-31-23h59m59s999999us)",
             Converting(-1)},
            {"7 nEncodedPictureRate:0 is 0. Cannot translate.", Converting(0, 0)},
            {"3 pllUTC:(nil) is NULL this should not happen!", [] { TimeCode_UTCToSMPTE12M(nullptr, 25, 0, nullptr); }},
            {"3 pVitcRecord:(nil) is NULL this should not happen!",
             [] {
                 INT64 llUTC = 0;
                 TimeCode_UTCToSMPTE12M(&llUTC, 25, 0, nullptr);
             }},
            {"7 OldFrameCount:1357529, NewFrameCount:1357530, FrameCountDiff:1.",
             [] {
                 int nFrames;
                 Timecode_CalcFrameCountDiff(30, 29000, Timecode(12, 34, 56, 7), Timecode(12, 34, 56, 8), &nFrames);
             }},
            {"7 nEncodedPictureRate:30, nVUIFramerate:29000.", Generate},
            {"7 OldPoc:7, NewPoc:8, DiffPoc:-4, DiffTS64:-6006(FR-Diff:-2), FramesTotal:0.", Generate},
            {"7 H:M:S:F before drop frame adjustements:[00:02:00:00].", Generate},
            {"6 NTSC drop frame.", Generate},
            {"7 BackFill State count:3, after frame drop.", Generate},
            {"7 Extra Skip frame.", Generate},
            {"7 BackFill State end.", Generate},
        });
}

} // namespace
