#include "model/comparison.h"

#include <algorithm>
#include <ctime>
#include <string>

namespace model {

constinit std::array<Comparison::Addresses, NUM_VIDEO_INPUTS> Comparison::s_Addresses{};
Library Comparison::s_Model;

namespace {

constexpr unsigned char UNTOUCHED = 0xA5;

// A variable of the caller before a call, so that a write shows.
template <class T>
struct Marked {
    T Value;
    Marked() { std::memset(static_cast<void *>(&Value), UNTOUCHED, sizeof Value); }
    [[nodiscard]] bool IsUntouched() const {
        const auto *const pBytes = reinterpret_cast<const unsigned char *>(&Value);
        return std::all_of(pBytes, pBytes + sizeof Value, [](unsigned char nByte) { return nByte == UNTOUCHED; });
    }
    [[nodiscard]] T *Unless(bool bNull) { return bNull ? nullptr : &Value; }
    [[nodiscard]] std::optional<T> Written() const { return IsUntouched() ? std::nullopt : std::optional(Value); }
};

std::optional<Record> WrittenRecord(const Marked<MISP_UTC> &Utc) {
    return Utc.IsUntouched() ? std::nullopt : std::optional(RecordOf(Utc.Value));
}

// A request of system time and its difference, told together.
struct Call {
    const Request &Asked;
    const Answer &Given;
    friend bool operator==(const Call &Left, const Call &Right) { return Left.Given == Right.Given; }
    friend std::ostream &operator<<(std::ostream &Out, const Call &Told) {
        return Out << Told.Given << "\n    asked: " << Told.Asked;
    }
};

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

template <class T>
void Comparison::Same(const T &Wanted, const T &Got, const char *szCall) {
    ++m_nCalls;
    if (!(Wanted == Got))
        DemandEqual(Wanted, Got, (std::string(szCall) + ", call " + std::to_string(m_nCalls)).c_str());
    SameWords(szCall);
}

void Comparison::SameWords(const char *szCall) {
    const model::Said Expected = s_Model.TakeSaid();
    if (m_pTakeSaid == nullptr)
        return;
    const model::Said Got = m_pTakeSaid();
    if (!(Expected == Got))
        DemandEqual(Expected, Got,
                    ("what " + std::string(szCall) + ", call " + std::to_string(m_nCalls) + ", says").c_str());
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

int Comparison::Revision() {
    const int enRevision = Timecode_GetMISPRevision();
    Same(s_Model.Revision(), enRevision, "the revision");
    return enRevision;
}

void Comparison::SetMaxLevel(int nLevel) {
    if (g_hTCLibDbg != nullptr)
        g_hTCLibDbg->nMaxLevel = s_Model.nMaxLevel = nLevel;
}

BOOL Comparison::Queue(int nInput, int enSource, UINT64 nPts, const TCPayload *pPayload) {
    TCPayload Given{};
    if (pPayload != nullptr)
        std::memcpy(static_cast<void *>(&Given), pPayload, sizeof Given);
    const BOOL bQueued = Timecode_SetUTC(nInput, enSource, nPts, pPayload == nullptr ? nullptr : &Given);
    Same(s_Model.Queue(nInput, enSource, nPts, pPayload), bQueued, "queuing");
    Demand(pPayload == nullptr || Payload(Given) == Payload(*pPayload), "queuing leaves the caller's payload alone");
    return bQueued;
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
    if (!Stats.IsUntouched())
        Got = Statistics{Stats.Value.enTimecodeSource, Stats.Value.nTimeSourceSwitches};
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
    if (nInput < 0 || nInput >= NUM_VIDEO_INPUTS)
        return {Cursor::Kind::Foreign};
    const Addresses &Known = s_Addresses.at(static_cast<size_t>(nInput));
    const auto *const pFound = std::ranges::find(Known, pCursor);
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
    Marked<MISP_UTC> Utc;
    Marked<vitc_t> Vitc;
    Marked<BOOL> bSame;
    void *pMoved = pCursor;
    int enSource = Asked.enSource;
    const BOOL bResult =
        Timecode_GetUTC(Asked.nInput, Asked.enNull == Null::Source ? nullptr : &enSource, Asked.bSwitch, Asked.nRate,
                        Asked.nCode, Asked.nPts, Asked.nBasePts, Asked.llBaseUTC, Utc.Unless(Asked.enNull == Null::Utc),
                        Vitc.Unless(Asked.enNull == Null::Timecode), bSame.Unless(Asked.enNull == Null::Same),
                        Asked.enNull == Null::Cursor ? nullptr : &pMoved);
    const Answer Expected = s_Model.Ask(Asked);
    const Answer Got{bResult, WrittenRecord(Utc), Vitc.Written(), bSame.Written(),
                     MovedCursor(Asked, Expected.Cursor, pCursor, pMoved)};
    Same(Call{Asked, Expected}, Call{Asked, Got}, "a request");
    Demand(enSource == Asked.enSource, "a request leaves the configured source alone");
    pCursor = pMoved;
    return Got;
}

void Comparison::ReadAllRecords() {
    for (int nInput = 0; nInput < NUM_VIDEO_INPUTS; ++nInput)
        for (int enSource = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enSource <= TCSOURCE_LDS_TIMESTAMP; ++enSource) {
            void *pCursor = nullptr;
            for (const Record &Queued : s_Model.OldestFirst(nInput))
                if (Queued.enSource == enSource)
                    Ask({.nInput = nInput, .enSource = enSource, .nPts = Queued.nPts}, pCursor);
        }
}

Answer Comparison::AskSystem(const Request &Asked) {
    Marked<MISP_UTC> Utc;
    Marked<vitc_t> Vitc;
    const BOOL bResult =
        Timecode_GetSystemUTC(Asked.nRate, Asked.nCode, Asked.nPts, Asked.nBasePts, Asked.llBaseUTC,
                              Utc.Unless(Asked.enNull == Null::Utc), Vitc.Unless(Asked.enNull == Null::Timecode));
    const Answer Got{.bResult = bResult, .Utc = WrittenRecord(Utc), .Timecode = Vitc.Written(), .Cursor = Asked.Cursor};
    Same(Call{Asked, s_Model.AskSystem(Asked)}, Call{Asked, Got}, "a request for system time");
    return Got;
}

int Comparison::CheckSwitch(int nInput, BOOL bAllowed, int enSource, bool bNull) {
    int enExpected = enSource;
    _VerifyTimeSourceSwitch(nInput, bAllowed, bNull ? nullptr : &enSource);
    s_Model.CheckSwitch(nInput, bAllowed, bNull ? nullptr : &enExpected);
    Same(enExpected, enSource, "the switch check");
    return enSource;
}

void Comparison::Convert(INT64 llUTC, const PictureRate &Rate, bool bNullUtc, bool bNullTimecode) {
    Marked<vitc_t> Vitc;
    INT64 llGiven = llUTC;
    const BOOL bResult =
        TimeCode_UTCToSMPTE12M(bNullUtc ? nullptr : &llGiven, Rate.nWhole, Rate.nCode, Vitc.Unless(bNullTimecode));
    Same(s_Model.Convert(bNullUtc ? nullptr : &llUTC, Rate, bNullTimecode), Vitc.Written(), "a conversion");
    Demand((bResult == TRUE) == !Vitc.IsUntouched() && llGiven == llUTC, "a conversion writes when it says so");
}

void Comparison::CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull) {
    Marked<int> nFrames;
    Timecode_CalcFrameCountDiff(nRate, nCode, Old, New, nFrames.Unless(bNull));
    Same(s_Model.CountFrames(nRate, nCode, Old, New, bNull), nFrames.Written(), "a frame count");
}

vitc_t Comparison::Number(SMPTE12M1_CONTEXT &Context, UINT64 nPts, bool bNullContext, bool bNullNew) {
    NumberedPicture Expected{Context, Marked<vitc_t>().Value};
    NumberedPicture Got = Expected;
    Timecode_MakeSMPTE12M1VITC(bNullContext ? nullptr : &Got.Context, 0, nPts, bNullNew ? nullptr : &Got.New);
    s_Model.Number(bNullContext ? nullptr : &Expected.Context, nPts, bNullNew ? nullptr : &Expected.New);
    Same(Expected, Got, "a coded picture's number");
    Context = Got.Context;
    return Got.New;
}

} // namespace model
