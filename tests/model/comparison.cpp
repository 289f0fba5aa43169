#include "model/comparison.h"

#include <algorithm>
#include <cstring>

#include "model/calls.h"
#include "model/rules.h"

namespace model {

constinit std::array<Comparison::Addresses, NUM_VIDEO_INPUTS> Comparison::s_Addresses{};
Library Comparison::s_Model;

namespace {

std::optional<Record> RecordIn(const Written &Got) {
    return Got.Utc ? std::optional(RecordOf(*Got.Utc)) : std::nullopt;
}

// The generator's context and the timecode that it wrote.
struct NumberedPicture {
    SMPTE12M1_CONTEXT Context;
    vitc_t New;
    friend bool operator==(const NumberedPicture &Left, const NumberedPicture &Right) {
        return std::memcmp(static_cast<const void *>(&Left.Context), static_cast<const void *>(&Right.Context),
                           sizeof Left.Context) == 0 &&
               Left.New == Right.New;
    }
    friend std::ostream &operator<<(std::ostream &Out, const NumberedPicture &Told) {
        const SMPTE12M1_CONTEXT &After = Told.Context;
        return Out << Told.New << ", back-fill " << After.BackFillStateCount << ", extra skip "
                   << After.bExtraSkipAllowed << ", last skip at " << After.tDropFrameOccurred << " s; after "
                   << After.OldSystemTC << " of PTS " << After.OldTimestamp64 << " at rate "
                   << After.nEncodedPictureRate << ", code " << After.nVUIFramerate << ", " << After.PTSTicksPerFrame
                   << " ticks a frame, " << After.nBframes << " B";
    }
};

} // namespace

template <class T, class... OF>
void Comparison::Same(const T &Wanted, const T &Got, const char *szCall, const OF &...Of) {
    ++m_nCalls;
    DemandEqual(Wanted, Got, szCall, ", call ", m_nCalls, Of...);
    const model::Said Expected = s_Model.TakeSaid();
    if (m_pTakeSaid != nullptr)
        DemandEqual(Expected, m_pTakeSaid(), "messages and reports of ", szCall, ", call ", m_nCalls);
}

void Comparison::Start(int enRevision) {
    TimecodeLib_Init(enRevision);
    s_Model.Start(enRevision);
    Same(0, 0, "a start");
}

void Comparison::Stop() {
    TimecodeLib_Shutdown();
    s_Model.Stop();
    Same(true, g_hTCLibDbg == nullptr, "a stop closes the handle");
}

void Comparison::Revision() {
    Same(s_Model.Revision(), Timecode_GetMISPRevision(), "the revision");
}

void Comparison::SetMaxLevel(int nLevel) {
    if (g_hTCLibDbg != nullptr)
        g_hTCLibDbg->nMaxLevel = s_Model.nMaxLevel = nLevel;
}

void Comparison::Queue(int nInput, int enSource, UINT64 nPTS, const TCPayload *pPayload) {
    TCPayload Given{};
    if (pPayload != nullptr)
        std::memcpy(static_cast<void *>(&Given), pPayload, sizeof Given);
    const BOOL bQueued = Timecode_SetUTC(nInput, enSource, nPTS, pPayload == nullptr ? nullptr : &Given);
    Same(s_Model.Queue(nInput, enSource, nPTS, pPayload), bQueued, "queuing");
    Demand(pPayload == nullptr || Payload(Given) == Payload(*pPayload), "queuing leaves the caller's payload alone");
}

void Comparison::Flush(int nInput) {
    Timecode_Flush(nInput);
    s_Model.Flush(nInput);
    Same(0, 0, "a flush");
}

std::optional<Statistics> Comparison::ReadStatistics(int nInput, bool bNull) {
    Marked<TIMECODE_STATS> Stats;
    const BOOL bRead = Timecode_GetStats(nInput, Stats.Unless(bNull));
    std::optional<Statistics> Got;
    if (const auto Read = Stats.Written())
        Got = Statistics{Read->enTimecodeSource, Read->nTimeSourceSwitches};
    Same(s_Model.ReadStatistics(nInput, bNull), Got, "statistics");
    Demand((bRead == TRUE) == Got.has_value(), "statistics are read when it says so");
    return Got;
}

void Comparison::ResetStatistics(int nInput) {
    const BOOL bReset = Timecode_ResetStats(nInput);
    Same(s_Model.ResetStatistics(nInput), bReset, "a reset of the statistics");
}

Cursor Comparison::CursorOf(int nInput, void *pCursor) {
    if (pCursor == nullptr)
        return {};
    if (!IsInput(nInput))
        return {Cursor::Kind::Foreign};
    const Addresses &Known = s_Addresses.at(static_cast<size_t>(nInput));
    const auto *const pFound = std::find(Known.begin(), Known.end(), pCursor);
    if (pFound == Known.end())
        return {Cursor::Kind::Foreign};
    return {Cursor::Kind::Record, static_cast<int>(pFound - Known.begin())};
}

Cursor Comparison::MovedCursor(const Request &Asked, const Cursor &Expected, void *pBefore, void *pAfter) {
    if (pAfter == pBefore)
        return Asked.Cursor;
    const Cursor Got = CursorOf(Asked.nInput, pAfter);
    if (Got.enKind != Cursor::Kind::Foreign || Expected.enKind != Cursor::Kind::Record)
        return Got;
    void *&pKnown = s_Addresses.at(static_cast<size_t>(Asked.nInput)).at(static_cast<size_t>(Expected.nRecord));
    if (pKnown != nullptr)
        return Got;
    pKnown = pAfter;
    return Expected;
}

Answer Comparison::Ask(Request Asked, void *&pCursor) {
    Asked.Cursor = CursorOf(Asked.nInput, pCursor);
    const Written Raw = GetUtc(Asked, pCursor);
    const Answer Expected = s_Model.Ask(Asked);
    const Answer Got{Raw.bResult, RecordIn(Raw), Raw.Label, Raw.bSame,
                     MovedCursor(Asked, Expected.Cursor, pCursor, Raw.pCursor)};
    Same(Expected, Got, "a request", "\n  asked:  ", Asked);
    pCursor = Raw.pCursor;
    return Got;
}

void Comparison::ReadAllRecords() {
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        for (int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enSource <= TCSOURCE_LDS_TIMESTAMP; ++enSource) {
            void *pCursor = nullptr;
            for (const Record &Queued : s_Model.OldestFirst(nInput))
                if (Queued.enSource == enSource)
                    Ask({.nInput = nInput, .enSource = enSource, .nPTS = Queued.nPTS}, pCursor);
        }
}

Answer Comparison::AskSystem(const Request &Asked) {
    const Written Raw = GetSystemUtc(Asked);
    const Answer Got{.bResult = Raw.bResult, .Utc = RecordIn(Raw), .Timecode = Raw.Label, .Cursor = Asked.Cursor};
    Same(s_Model.AskSystem(Asked), Got, "a request for system time", "\n  asked:  ", Asked);
    return Got;
}

void Comparison::CheckSwitch(int nInput, BOOL bAllowed, int enSource, bool bNull) {
    int enExpected = enSource;
    _VerifyTimeSourceSwitch(nInput, bAllowed, bNull ? nullptr : &enSource);
    s_Model.CheckSwitch(nInput, bAllowed, bNull ? nullptr : &enExpected);
    Same(enExpected, enSource, "the switch check");
}

void Comparison::Convert(INT64 llUTC, const PictureRate &Rate, bool bNullUtc, bool bNullTimecode) {
    Marked<vitc_t> Vitc;
    INT64 llGiven = llUTC;
    const BOOL bResult =
        TimeCode_UTCToSMPTE12M(bNullUtc ? nullptr : &llGiven, Rate.nWhole, Rate.nCode, Vitc.Unless(bNullTimecode));
    Same(s_Model.Convert(bNullUtc ? nullptr : &llUTC, Rate, bNullTimecode), Vitc.Written(), "a conversion");
    Demand((bResult == TRUE) == Vitc.Written().has_value() && llGiven == llUTC, "a conversion writes when it says so");
}

void Comparison::CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull) {
    Marked<int> nFrames;
    Timecode_CalcFrameCountDiff(nRate, nCode, Old, New, nFrames.Unless(bNull));
    Same(s_Model.CountFrames(nRate, nCode, Old, New, bNull), nFrames.Written(), "a frame count");
}

vitc_t Comparison::Number(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, bool bNullContext, bool bNullNew) {
    NumberedPicture Expected{Context, {}};
    std::memset(static_cast<void *>(&Expected.New), 0xA5, sizeof Expected.New); // all but the digits stays
    NumberedPicture Got = Expected;
    Timecode_MakeSMPTE12M1VITC(bNullContext ? nullptr : &Got.Context, 0, nPTS, bNullNew ? nullptr : &Got.New);
    s_Model.Number(bNullContext ? nullptr : &Expected.Context, nPTS, bNullNew ? nullptr : &Expected.New);
    Same(Expected, Got, "a coded picture's number");
    Context = Got.Context;
    return Got.New;
}

} // namespace model
