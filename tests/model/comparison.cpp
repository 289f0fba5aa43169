#include "model/comparison.h"

#include <algorithm>
#include <cstring>

#include "model/calls.h"

namespace model {

namespace {

// The throttles of some messages live as long as the process, and so does the model of them.
Library g_Model;

// The library's records stay where they are, so their addresses are learned once for all runs.
std::array<std::array<void *, RECORDS_PER_INPUT>, NUM_VIDEO_INPUTS> g_Addresses;

// Which record an address is. If a record is expected there that has not been met yet, this is how it is met.
int CursorOf(int nInput, void *pCursor, int nExpected) {
    if (pCursor == nullptr)
        return NO_CURSOR;
    if (!IsInput(nInput))
        return FOREIGN_CURSOR;
    auto &Known = g_Addresses.at(static_cast<size_t>(nInput));
    auto *pFound = std::find(Known.begin(), Known.end(), pCursor);
    if (pFound == Known.end() && nExpected >= 0 && Known.at(static_cast<size_t>(nExpected)) == nullptr) {
        pFound = &Known.at(static_cast<size_t>(nExpected));
        *pFound = pCursor;
    }
    return pFound == Known.end() ? FOREIGN_CURSOR : static_cast<int>(pFound - Known.begin());
}

std::optional<Record> RecordIn(const Written &Got) {
    return Got.Utc ? std::optional(RecordOf(*Got.Utc)) : std::nullopt;
}

Said TakeCounted(interpose::Services &Counting) {
    Said Counted;
    for (size_t nLevel = 0; nLevel < Counted.nMessages.size(); ++nLevel)
        Counted.nMessages.at(nLevel) = Counting.nMessages.at(nLevel).exchange(0);
    Counted.nReports = Counting.nReports.exchange(0);
    return Counted;
}

// The generator's context and the timecode that it wrote.
struct NumberedPicture {
    SMPTE12M1_CONTEXT Context;
    vitc_t New;
    friend bool operator==(const NumberedPicture &Left, const NumberedPicture &Right) {
        const void *const pvLeft = &Left.Context;
        const void *const pvRight = &Right.Context;
        return std::memcmp(pvLeft, pvRight, sizeof Left.Context) == 0 && Left.New == Right.New;
    }
    friend std::ostream &operator<<(std::ostream &Out, const NumberedPicture &Told) {
        const SMPTE12M1_CONTEXT &Of = Told.Context;
        return Out << Told.New << ", back-fill " << Of.BackFillStateCount << ", extra skip " << Of.bExtraSkipAllowed
                   << ", last skip at " << Of.tDropFrameOccurred << " s; after " << Of.OldSystemTC << " of PTS "
                   << Of.OldTimestamp64 << " at rate " << Of.nEncodedPictureRate << ", code " << Of.nVUIFramerate
                   << ", " << Of.PTSTicksPerFrame << " ticks a frame, " << Of.nBframes << " B";
    }
};

} // namespace

template <class T, class... OF>
void Comparison::Same(const T &Wanted, const T &Got, const char *szCall, const OF &...Of) {
    ++m_nCalls;
    DemandEqual(Wanted, Got, szCall, ", call ", m_nCalls, Of...);
    const Said Expected = g_Model.TakeSaid();
    if (m_pCounting != nullptr)
        DemandEqual(Expected, TakeCounted(*m_pCounting), "messages and reports of ", szCall, ", call ", m_nCalls);
}

void Comparison::Start(int enRevision) {
    TimecodeLib_Init(enRevision);
    g_Model.Start(enRevision);
    Same(0, 0, "a start");
}

void Comparison::Stop() {
    TimecodeLib_Shutdown();
    g_Model.Stop();
    Same(true, g_hTCLibDbg == nullptr, "a stop closes the handle");
}

void Comparison::Revision() {
    Same(g_Model.Revision(), Timecode_GetMISPRevision(), "the revision");
}

void Comparison::SetMaxLevel(int nLevel) {
    if (g_hTCLibDbg != nullptr)
        g_hTCLibDbg->nMaxLevel = g_Model.nMaxLevel = nLevel;
}

void Comparison::Queue(int nInput, int enSource, UINT64 nPTS, const Payload &Given, bool bNull) {
    TCPayload Handed = Given.Whole();
    const BOOL bQueued = Timecode_SetUTC(nInput, enSource, nPTS, bNull ? nullptr : &Handed);
    Same(g_Model.Queue(nInput, enSource, nPTS, bNull ? nullptr : &Given), bQueued, "queuing");
    Demand(Payload(Handed) == Given, "queuing leaves the caller's payload alone");
}

void Comparison::Flush(int nInput) {
    Timecode_Flush(nInput);
    g_Model.Flush(nInput);
    Same(0, 0, "a flush");
}

std::optional<Statistics> Comparison::ReadStatistics(int nInput, bool bNull) {
    Marked<TIMECODE_STATS> Stats;
    const BOOL bRead = Timecode_GetStats(nInput, Stats.Unless(bNull));
    std::optional<Statistics> Got;
    if (const auto Read = Stats.Written())
        Got = Statistics{Read->enTimecodeSource, Read->nTimeSourceSwitches};
    Same(g_Model.ReadStatistics(nInput, bNull), Got, "statistics");
    Demand((bRead == TRUE) == Got.has_value(), "statistics are read when it says so");
    return Got;
}

void Comparison::ResetStatistics(int nInput) {
    const BOOL bReset = Timecode_ResetStats(nInput);
    Same(g_Model.ResetStatistics(nInput), bReset, "a reset of the statistics");
}

Answer Comparison::Ask(Request Asked, void *&pCursor) {
    Asked.nCursor = CursorOf(Asked.nInput, pCursor, NO_CURSOR);
    const Written Raw = GetUtc(Asked, pCursor);
    const Answer Expected = g_Model.Ask(Asked);
    const bool bMoved = Raw.pCursor != pCursor;
    const int nCursor = bMoved ? CursorOf(Asked.nInput, Raw.pCursor, Expected.nCursor) : Asked.nCursor;
    const Answer Got{Raw.bResult, RecordIn(Raw), Raw.Label, Raw.bSame, nCursor};
    Same(Expected, Got, "a request", "\n  asked:  ", Asked);
    pCursor = Raw.pCursor;
    return Got;
}

void Comparison::ReadAllRecords() {
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        for (int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enSource <= TCSOURCE_LDS_TIMESTAMP; ++enSource) {
            void *pCursor = nullptr;
            for (const Record &Queued : g_Model.OldestFirst(nInput))
                if (Queued.enSource == enSource)
                    Ask({.nInput = nInput, .enSource = enSource, .nPTS = Queued.nPTS}, pCursor);
        }
}

void Comparison::AskSystem(const Request &Asked) {
    const Written Raw = GetSystemUtc(Asked);
    const Answer Got{.bResult = Raw.bResult, .Utc = RecordIn(Raw), .Timecode = Raw.Label, .nCursor = Asked.nCursor};
    Same(g_Model.AskSystem(Asked), Got, "a request for system time", "\n  asked:  ", Asked);
}

void Comparison::CheckSwitch(int nInput, BOOL bAllowed, int enSource, bool bNull) {
    int enExpected = enSource;
    _VerifyTimeSourceSwitch(nInput, bAllowed, bNull ? nullptr : &enSource);
    g_Model.CheckSwitch(nInput, bAllowed, bNull ? nullptr : &enExpected);
    Same(enExpected, enSource, "the switch check");
}

void Comparison::Convert(INT64 llUTC, const PictureRate &Rate, bool bNullUtc, bool bNullTimecode) {
    Marked<vitc_t> Vitc;
    INT64 llGiven = llUTC;
    const BOOL bResult =
        TimeCode_UTCToSMPTE12M(bNullUtc ? nullptr : &llGiven, Rate.nWhole, Rate.nCode, Vitc.Unless(bNullTimecode));
    Same(g_Model.Convert(llUTC, Rate, bNullUtc || bNullTimecode), Vitc.Written(), "a conversion");
    Demand((bResult == TRUE) == Vitc.Written().has_value() && llGiven == llUTC, "a conversion writes when it says so");
}

void Comparison::CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull) {
    Marked<int> nFrames;
    Timecode_CalcFrameCountDiff(nRate, nCode, Old, New, nFrames.Unless(bNull));
    Same(g_Model.CountFrames(nRate, nCode, Old, New, bNull), nFrames.Written(), "a frame count");
}

vitc_t Comparison::Number(SMPTE12M1_CONTEXT &Context, UINT64 nPTS, bool bNullContext, bool bNullNew) {
    NumberedPicture Expected{Context, {}};
    std::memset(static_cast<void *>(&Expected.New), 0xA5, sizeof Expected.New); // all but the digits stays
    NumberedPicture Got = Expected;
    Timecode_MakeSMPTE12M1VITC(bNullContext ? nullptr : &Got.Context, 0, nPTS, bNullNew ? nullptr : &Got.New);
    g_Model.Number(bNullContext ? nullptr : &Expected.Context, nPTS, bNullNew ? nullptr : &Expected.New);
    Same(Expected, Got, "a coded picture's number");
    Context = Got.Context;
    return Got.New;
}

} // namespace model
