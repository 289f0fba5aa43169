// What the library says of its work: the text of every message with its arguments, and how often it is repeated.
#include <functional>

#include "fixture.h"

using testing::Contains;
using testing::IsSupersetOf;
using testing::StartsWith;

namespace {

class Messages : public LibraryTest {};

constexpr INT64 YEAR_2000_USEC = 946'684'800'000'000;
constexpr INT64 YEAR_1999_USEC = YEAR_2000_USEC - 3'600'000'000;

// A silent high-precision time, so that its date is checked.
void AskSilentAt(INT64 llUTC, int nInput) {
    Queue(1, 9000, (std::to_string(llUTC - StartUsec()) + " 1f").c_str(), nInput);
    Ask({.nPts = 9000, .nInput = nInput});
    Ask({.nPts = 900000, .nInput = nInput});
}

void AskGood(int enSource, int nInput) {
    Queue(enSource, 9000, enSource == 2 ? "12:34:56:07" : "5 1f", nInput);
    Ask({.enSource = enSource, .nPts = 9001, .nInput = nInput});
}

void ConvertUsec(INT64 llUTC) {
    vitc_t Vitc;
    TimeCode_UTCToSMPTE12M(&llUTC, 25, 25000, &Vitc);
}

TEST_F(Messages, RepeatedOnesAreThrottledPerInputOrForAll) {
    using Act = std::function<void(int)>;
    const auto AskFor = [](int enSource, BOOL bSwitch = FALSE) -> Act {
        return [=](int nInput) { Ask({.enSource = enSource, .bSwitch = bSwitch, .nInput = nInput}); };
    };
    const auto Good = [](int enSource) -> Act { return [=](int nInput) { AskGood(enSource, nInput); }; };
    const Act System = [](int) { AskSystem({.nPts = 991, .nBasePts = 1000, .llBaseUsec = 1099}); };
    // The beginning of the message at noon on input 0, its revision, the seconds after which it is not yet repeated,
    // whether all inputs share it, and what brings it about.
    const std::tuple<std::string, int, int, bool, Act> Rows[] = {
        {"6 SetUTC - enTimeCodeSource:1(High Precision TimeStamp), ", 20116, 4, true, Good(1)},
        {"6 TC Flush finished for inputInterface:0.", 20116, 0, false, Timecode_Flush},
        {"6 enTimecodeSource:0(None), SwitchingAllowed:FALSE at the ", 20116, 4, false, AskFor(0)},
        {"3 Failed to get UTC. enTimecodeSource:77 is Unknown or Failed!", 20116, 4, false, AskFor(77)},
        {"6 Timecode source:1, is high precision timecode coming from VANC KLV.", 20116, 4, false, AskFor(1)},
        {"6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:1(Hi", 20116, 4, false, Good(1)},
        {"6 Fail to get timecode. OLD UTC::  NOON000000, TimeDiff:NOON.000000000s.", 20116, 4, false, AskFor(1)},
        {"6 Timecode source:3, is UTC coming from LDS.", 20116, 4, false, AskFor(3)},
        {"6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:3(LD", 20116, 4, false, Good(3)},
        {"6 Fail to get timecode. OLD UTC:: NOON000000, TimeDiff:NOON.000000000s.", 20116, 4, false, AskFor(3)},
        {"7 Timecode source:2, is commercial timecode coming from VITC.", 20116, 0, false, AskFor(2)},
        {"6 Retreived TC on interface:0:: H:M:S:F(12:34:56:7). enTimecod", 20116, 0, false, Good(2)},
        {"6 Fail to get timecode on interface:0. OLD TC:: H:M:S:F(0:0:0:0) ", 20116, 4, false, AskFor(2)},
        {"7 Sucessfully converted Date time to UTC. Date:: TODAY-", 20116, 4, true, Good(2)},
        {"6 Timecode source:4, is system time.", 20116, 4, false, AskFor(4)},
        {"6 Success getting system UTC:H:M:S:mS:(12:00:00.001). UTC64:", 20116, 9, true, System},
        {"7 Recovery - enConfiguredMISBTimeSource:1, enCurrent", 20116, 4, true, AskFor(1, TRUE)},
        {"4 Year:1999 is below 2000.", 20116, 9, true, [](int nInput) { AskSilentAt(YEAR_1999_USEC, nInput); }},
        {"7 Sucessfully converted UTC:0000000000000005 to (1970", 20116, 4, true, [](int) { ConvertUsec(5); }},
        {"4 Date information might be wrong on system! UTC:1844", 20116, 29, true, [](int) { ConvertUsec(-1); }},
        {"6 enConfigMISBTimesource:0(None), enInputInterface:0 ", 20162, 4, false, AskFor(0)},
        {"3 Failed to get UTC. enConfigMISBTimesource:4 is Unknown or Failed!", 20162, 4, false, AskFor(4)},
        {"6 Success retrieved MTSPack UTC:: NOON000005. UTC enC", 20162, 4, false, Good(1)},
        {"6 Success retrieved LDS Tag2 UTC::  NOON000005. UTC en", 20162, 4, false, Good(3)},
        {"6 Retreived TC on interface:0:: H:M:S:F(12:34:56:7). enC", 20162, 0, false, Good(2)},
        {"6 Success getting system UTC:H:M:S:mS:(12:0:0.1). UTC64:NOON001000, ", 20162, 4, true, System},
    };
    for (const auto &[sText, enRevision, nSec, bShared, Repeat] : Rows) {
        SCOPED_TRACE(sText + " under " + std::to_string(enRevision));
        StartDay(enRevision);
        Repeat(0);
        EXPECT_THAT(TakeTraces(), Contains(StartsWith(sText)).Times(1));
        for (const auto &[nAtSec, nInput, nMaxLevel, nExpected, szWhat] :
             {std::tuple(nSec, 0, 7, 0, "too early"),
              {nSec + 1, 0, 7, 1, "too late"},
              {nSec + 1, 1, 7, bShared ? 0 : 1, "on another input"},
              {2 * nSec + 2, 0, sText[0] - '0' - 1, 0, "level not tested"},
              {3 * nSec + 2, 0, 7, 0, "a suppressed message must move the throttle"},
              {-100, 0, 7, 0, "clock set back"},
              {3 * nSec + 3, 0, 7, 1, "too late"}}) {
            SetClockMs(nAtSec * 1000);
            TakeTraces();
            g_hTCLibDbg->nMaxLevel = nMaxLevel;
            Repeat(nInput);
            EXPECT_EQ(CountTraces(sText.substr(0, 26)), nExpected) << szWhat; // the arguments follow
        }
    }
}

// Brings about nearly all messages of a revision.
void SayAll62() {
    const Request Lost = {.nPts = 90000, .bSwitch = TRUE, .nInput = 1};
    AskSystem({.nPts = 991, .nBasePts = 1000, .llBaseUsec = 2'096'001'099});
    Queue(2, 9000, "12:59:50:07", 3);
    Ask({.enSource = 2, .nPts = 8999, .nInput = 3});
    for (int nTime = 0; nTime < 2; ++nTime)
        Timecode_Flush(2);
    Queue(2, 9000, "10:59:59:29");
    Ask({2, 9359, FALSE, 30, 30});
    SetClockMs(500);
    Ask({2, 10259, FALSE, 30, 30}); // silent
    Ask({.enSource = 2, .nPts = 6'758'999, .nInput = 3});
    AskGood(1, 1);
    AskGood(3, 2);
    SetClockMs(540);
    Ask({.nPts = 90000, .nInput = 1});
    Ask({.enSource = 3, .nPts = 90000, .nInput = 2});
    Queue(1, 9000, "0 1f", 3);
    Ask({.enSource = 0, .nPts = 9000, .bSwitch = TRUE, .nInput = 3});
    for (const INT64 nMs : {7500, 20000, 30000}) {
        SetClockMs(nMs);
        Ask(Lost);
    }
    Queue(2, 1000, "12:00:00:31");
    Ask({2, 1000});
    Ask({.nRate = 0});
    Ask({.enSource = 4, .nPts = 991, .nRate = 0, .nBasePts = 1000});
}

void SayAll20162() {
    Queue(2, UINT64_MAX / 2 - 1, "10:00:00:00");
    Ask({2, 0});
    Queue(3, UINT64_MAX / 2 + 1, "0 1f");
    Ask({3, 0});
    SetClockMs(89);
    Queue(1, 9000, "5 7f", 1);
    Ask({.nPts = 9000, .nInput = 1});
    for (const UINT64 nPts : {0U, 800U})
        Queue(2, nPts, "12:00:00:00", 2);
    Ask({.enSource = 2, .nPts = 400, .nInput = 2});
    AskSystem({.nRate = 0});
    AskGood(2, 2);
    AskGood(3, 3);
}

// Above 100 frames a second the tens digit is cut to a byte, and the message shows what the record then says.
TEST_F(Messages, TheAdvancedFrameNumberIsThatOfTheRecord) {
    TCPayload Payload = {};
    Payload.vitc.FrameTens = 255;
    Payload.vitc.FrameUnits = 9;
    Timecode_SetUTC(0, 2, 9000, &Payload);
    Ask({2, 9000, FALSE, 3000, 3000});
    TakeTraces();
    Ask({2, 10000, FALSE, 3000, 3000});
    EXPECT_THAT(TakeTraces(), Contains("7 Beginning to deal with overflow. Current TC H:0M:0S:0F:32. Overflows "
                                       "H:0M:0S:0"));
}

TEST_F(Messages, CarryTheirArguments) {
    SayAll62();
    const std::string sSystemUsec = std::to_string(StartUsec() + 2'096'001'000);
    EXPECT_THAT(
        TakeTraces(),
        IsSupersetOf(Texts{
            "7 BestDiff:359(0x167), pBestUTCBuffer:ADDRESS, CodedPicturePTS64:9359, timecode desired type:2(VITC "
            "Commercial TimeStamp) for inputInterface:0.",
            "6 SetUTC - enTimeCodeSource:2(VITC Commercial TimeStamp), enInputInterface:3, Putting it in the list.",
            "6 Retreived TC on interface:3:: H:M:S:F(12:59:50:7). enTimecodeSource:2(VITC Commercial TimeStamp), "
            "CodedPicturePTS64:8999, TCPTS:9000.",
            "7 Sucessfully converted Date time to UTC. Date:: TODAY-12h59m50s280000us --> UTC:: " +
                std::to_string(StartUsec() + 3'590'280'000) + ".",
            "6 TC Flush finished for inputInterface:2.",
            "6 Last Timecode flush for enInputInterface:2 was less than 1 seconds ago. Skipping.",
            "6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:1(High Precision TimeStamp)",
            "6 Success retrieved MSPack UTC::  NOON000005. UTC enTimecodeSource:3(LDS Timestamp)",
            "6 Success getting system UTC:H:M:S:mS:(12:34:56.001). UTC64:" + sSystemUsec +
                ", CodedPicPTS64:0x3df, UTC "
                "enTimecodeSource:4(System TimeStamp)",
            "7 Recovery - enConfiguredMISBTimeSource:0, enCurrentTimecodeSouce:0(None).",
            "7 Recovered local time:TODAY-12h0m0s.",
            "7 Timecode source:2, successfully converted SMPTE12M to UTC time.",
            "6 PTSDiff:1259(13ms) is bigger than threshold:3ms, CodedPicturePTS64:10259, TCPTS:9000. "
            "enTimecodeSource:2(VITC Commercial TimeStamp), *ppRecordAddress:(nil).",
            "6 Fail to get timecode on interface:0. OLD TC:: H:M:S:F(10:59:59:29) TimeDiff:0.009999999s.",
            "7 ElapsedTime:0.009999999s, nPicRate:30, VUIFramerate:30.",
            "7 Overflow happened. nValue:30, nPictrate:30, OverflowsFrames:1. Remainder:0.",
            "7 Beginning to deal with overflow. Current TC H:10M:59S:59F:0. Overflows H:0M:0S:1",
            "6 NowTime:NOON.500000000s, LasRetrivedTime:NOON.000000000s, TimeDiff:0.009999999s. After correction, NEW "
            "TC:: H:M:S:F(11:0:0:0) on interface:0.",
            "7 Beginning to deal with overflow. Current TC H:12M:0S:4F:6. Overflows H:1M:1S:1",
            "6 NowTime:NOON.500000000s, LasRetrivedTime:NOON.000000000s, TimeDiff:74.999999250s. After correction, NEW "
            "TC:: H:M:S:F(13:1:5:6) on interface:3.",
            "6 Fail to get timecode. OLD UTC::  NOON000005, TimeDiff:0.040000000s.",
            "7 After correction, NEW UTC::  NOON040005.",
            "6 After correction, NEW UTC:: NOON040005.",
            "7 Sucessfully converted UTC time:: NOON040005 to date time:: TODAY-12h0m0s40005us.",
            "7 Successfully retreived UTC time from system time:NOON540000.",
            "6 enTimecodeSource:1(High Precision TimeStamp), SwitchingAllowed:TRUE at the beginning of the function!",
            "7 Recovery - Identified Node carrying timecode source:1(High Precision TimeStamp). Starting Recovery.",
            "6 Timecode source:1, Failed to extract timecode for:7.000000000s. Defined Period:5000 ms before failure "
            "is announced.",
            "6 Interface:1, Timecode source:2, Failed to extract timecode for:12.500000000s. Defined Period:5000 ms "
            "before failure is announced.",
            "7 Timecode source:3, Failed to extract timecode for:10.000000000s. Defined Period:5000 ms before failure "
            "is announced.",
            "3 Fail to convert date time to UTC time. RetCode:2",
            "6 TCBasePTS64:1000, UnchangedEncoderPTS64:991, Diff64:-9.",
            "3 Failed to format SMPTE12M VITC from UTC.",
            "6 Failed to format SMPTE12M VITC from UTC.",
            "7 nEncodedPictureRate:0 is 0. Cannot translate.",
            "7  DEBUG - Function end, enTimecodeSource:1, MISPStatusByte:0x1f, GPSLocked:LOCKED, Status:NORMAL, "
            "Disc:FORWARD",
            "4 Failed to get system timecode."}));
    StartDay(MISP_PROFILE_2016_2);
    SayAll20162();
    EXPECT_THAT(
        TakeTraces(),
        IsSupersetOf(Texts{
            "7 BestDiff:9223372036854775806(0x7ffffffffffffffe), pBestUTCBuffer:ADDRESS, CodedPicturePTS64:0, timecode "
            "desired type:2(VITC Commercial TimeStamp) for inputInterface:0.",
            "6 PTSDiff:9223372036854775806(102481911520608620ms) is bigger than threshold:3ms, CodedPicturePTS64:0, "
            "TCPTS:9223372036854775806. enConfigMISBTimesource:2(VITC Commercial TimeStamp), *ppRecordAddress:(nil).",
            "6 PTSDiff:400(4ms) is bigger than threshold:3ms, CodedPicturePTS64:400, TCPTS:0. "
            "enConfigMISBTimesource:2(VITC Commercial TimeStamp), *ppRecordAddress:ADDRESS.",
            "7 pBestUTCBuffer:(nil) is NULL after walking the list. pCurrentUTCBuffer:(nil), nNextRecordsToCheck:11, "
            "timecode desired type:3(LDS Timestamp) for inputInterface:0.",
            "6 enConfigMISBTimesource:1(High Precision TimeStamp), enInputInterface:1 at the beginning of the "
            "function! tpNow:NOON.089000s.",
            "7  DEBUG - Function end, enConfigMISBTimesource:1, MISPStatusByte:0x7f, GPSLocked:LOCKED, "
            "Status:DISCONTINUITY, Disc:REVERSE",
            "6 Success retrieved MTSPack UTC:: NOON000005. UTC enConfigMISBTimesource:1(High Precision TimeStamp)",
            "6 Success retrieved LDS Tag2 UTC::  NOON000005. UTC enConfigMISBTimesource:3(LDS Timestamp)",
            "6 Retreived TC on interface:2:: H:M:S:F(12:34:56:7). enConfigMISBTimesource:2(VITC Commercial TimeStamp), "
            "CodedPicturePTS64:9001, TCPTS:9000.",
            "6 Success getting system UTC:H:M:S:mS:(12:0:0.0). UTC64:NOON000000, CodedPicPTS64:0x0, UTC "
            "enTimecodeSource:4(System TimeStamp)",
            "6 Failed to format SMPTE12M VITC from UTC."}));
}

TEST_F(Messages, OfSuppressedLevelsAreNotWritten) {
    for (const auto &[enRevision, SayAll] : {std::pair(20116, &SayAll62), {20162, &SayAll20162}}) {
        StartDay(enRevision);
        g_hTCLibDbg->nMaxLevel = DBG_LEVEL_ERROR - 1;
        SayAll();
        EXPECT_EQ(TakeTraces(), Texts{});
    }
}

TEST_F(Messages, ImplausibleDatesAreWarnedAbout) {
    ConvertUsec(1'262'349'296'000'007);
    EXPECT_EQ(TakeTraces(), Texts{"7 Sucessfully converted UTC:1262349296000007 to (2010-Jan-1-12h34m56s000007us)"});
    ConvertUsec(1'262'304'000'000'000);
    EXPECT_EQ(TakeTraces(), Texts{});
    ConvertUsec(-1);
    EXPECT_EQ(
        TakeTraces(),
        Texts{"4 Date information might be wrong on system! UTC:18446744073709551615 (1969-Dec-31-23h59m59s999999us)"});
    SetClockMs(30'000);
    ConvertUsec(1'262'303'999'999'999);
    EXPECT_EQ(CountTraces("4 Date information"), 1);
    for (const int nEarlier : {0, 1}) {
        AskSilentAt(YEAR_2000_USEC - nEarlier, nEarlier);
        EXPECT_EQ(CountTraces("4 Year:1999 is below 2000."), nEarlier);
    }
}

TEST_F(Messages, OfFailuresDoNotMoveTheThrottleOfSuccesses) {
    for (const int enRevision : {MISP_PROFILE_62, MISP_PROFILE_2016_2}) {
        StartDay(enRevision);
        AskGood(1, 0);
        SetClockMs(3000);
        Ask({1, 900000});
        SetClockMs(5000);
        TakeTraces();
        AskGood(1, 0);
        EXPECT_EQ(CountTraces("6 Success retrieved M"), 1);
    }
}

} // namespace
