// A source's time stamp for a picture, or under MISP_PROFILE_62 the time carried while there is none.
#include "model/library.h"
#include "model/rules.h"

namespace model {

namespace {

BYTE StatusOf(bool bDiscontinuity, bool bLocked, INT64 llOld, INT64 llNew) {
    const BYTE nLock = bLocked ? 0 : NOT_LOCKED;
    if (!bDiscontinuity)
        return nLock | RESERVED;
    return nLock | DISCONTINUITY | (In64(Wide{llNew} - llOld) < 0 ? REVERSE : 0) | RESERVED;
}

} // namespace

// A queued UTC is handed out as it is, but for the byte of one that went back.
bool Library::UseUtc(Picture &Pic) {
    Input &In = Pic.In;
    SayAtMost(6, In.Announced, 4);
    const std::optional<Found> Matched = MatchNear(Pic);
    if (!Matched)
        return false;
    Record Used = Matched->Stamp;
    In.bLocked = (Used.Payload.Status() & NOT_LOCKED) == 0;
    In.bDiscontinuity = (Used.Payload.Status() & DISCONTINUITY) != 0;
    In.bAlive = true;
    In.tpLastGood = Pic.tpNow;
    In.Local = Used;
    if (m_enRevision == MISP_PROFILE_62 && Used.Payload.Utc() < In.LastUtc.Payload.Utc()) {
        Say(6);
        Used.Payload.SetStatus((In.bLocked ? 0 : NOT_LOCKED) | DISCONTINUITY | REVERSE | RESERVED);
    }
    Pic.Given.Utc = Used;
    Pic.Given.bResult = TRUE;
    Pic.bUtcUsed = true;
    SayAtMost(6, In.Ok, 4);
    return true;
}

void Library::UseTimecode(Picture &Pic) {
    Input &In = Pic.In;
    SayAtMost(7, In.Announced, 0);
    const std::optional<Found> Matched = MatchNear(Pic);
    if (!Matched)
        return;
    In.Local = Matched->Stamp;
    In.bDiscontinuity = !In.bAlive;
    In.bAlive = true;
    In.bLocked = false;
    const bool bMatching = m_enRevision == MISP_PROFILE_2016_2;
    if (bMatching || Pic.Asked.bSwitch == TRUE)
        In.tpLastGood = Pic.tpNow;
    if (bMatching)
        Pic.Given.Utc = Matched->Stamp;
    if (bMatching && Pic.Asked.enNull != Null::Timecode)
        Pic.Given.Timecode = Matched->Stamp.Payload.Timecode();
    Pic.Given.bResult = TRUE;
    Pic.bTimecodeUsed = true;
    SayAtMost(6, In.Ok, 0);
}

// False where the picture gets no timecode: its request ends there.
bool Library::UseUtcSource(Picture &Pic) {
    Input &In = Pic.In;
    const int enSource = Pic.enSource;
    if (!UseUtc(Pic))
        CarryUtc(Pic, enSource);
    const std::optional<vitc_t> Vitc = FormTimecode(Pic.Given.Utc->Payload.Utc(), RateOf(Pic.Asked));
    if (!Vitc) {
        Say(6);
        Pic.Given.bResult = FALSE;
        return false;
    }
    In.LastTimecode.Payload.SetTimecode(*Vitc);
    if (Pic.Asked.enNull != Null::Timecode)
        Pic.Given.Timecode = *Vitc;
    if (enSource == TCSOURCE_LDS_TIMESTAMP) {
        In.LastTimecode.enSource = In.Local.enSource;
        In.LastTimecode.nPTS = In.Local.nPTS;
    }
    return true;
}

// The working UTC goes on by the time that has passed by the clock.
void Library::CarryUtc(Picture &Pic, int enSource) {
    Input &In = Pic.In;
    const bool bLds = enSource == TCSOURCE_LDS_TIMESTAMP;
    const bool bTimecodeLost = !In.bAlive && In.bDiscontinuity && !In.bLocked;
    if (bLds && bTimecodeLost && In.LastUtc.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        In.Local.Payload.SetUtc(In.LastUtc.Payload.Utc());
    const timespec Elapsed = SpanBetween(Pic.tpNow, In.LastUtc.tpInserted);
    SayAtMost(6, In.Failed, 4);
    const INT64 llUTC = In64(Wide{In.Local.Payload.Utc()} + UsecOf(Elapsed));
    In.Local.Payload.SetUtc(llUTC);
    Say(bLds ? 6 : 7);
    Say(7);
    constexpr INT64 YEAR_2000_USEC = 946'684'800'000'000;
    if (llUTC < YEAR_2000_USEC)
        SayAtMost(4, m_Year, 9);
    In.bDiscontinuity = false;
    In.Local.Payload.SetStatus(StatusOf(false, In.bLocked, In.LastUtc.Payload.Utc(), llUTC));
    In.Local.enSource = enSource;
    In.Local.nPTS = bLds ? In.Local.nPTS + static_cast<UINT64>(TicksOf(Elapsed)) : Pic.Asked.nPTS;
    Pic.Given.Utc = In.Local;
    In.LastUtc = In.Local;
    In.LastUtc.tpInserted = Pic.tpNow;
    if (!bLds)
        In.LastTimecode = In.LastUtc;
    FailOver(Pic);
    Pic.Given.bResult = TRUE;
}

void Library::UseTimecodeSource(Picture &Pic) {
    Input &In = Pic.In;
    UseTimecode(Pic);
    const timespec Moved = Pic.bTimecodeUsed ? timespec{} : CarryTimecode(Pic);
    const INT64 llBefore = In.LastUtc.Payload.Utc();
    INT64 llUTC = llBefore;
    const bool bConverted = ConvertTimecode(In.Local.Payload.Timecode(), RateOf(Pic.Asked), llUTC);
    In.LastUtc.Payload.SetUtc(llUTC);
    Pic.Given.bResult = bConverted ? TRUE : FALSE;
    if (!bConverted)
        return;
    Say(7);
    In.LastUtc.Payload.SetStatus(StatusOf(In.bDiscontinuity, In.bLocked, llBefore, llUTC));
    In.LastUtc.enSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    In.LastUtc.nPTS += static_cast<UINT64>(TicksOf(Moved));
    In.LastUtc.tpInserted = Pic.bTimecodeUsed ? In.Local.tpInserted : In.LastTimecode.tpInserted;
    Pic.Given.Utc = In.LastUtc;
    if (Pic.Asked.enNull != Null::Timecode)
        Pic.Given.Timecode = In.Local.Payload.Timecode();
}

// The last timecode goes on by the distance of the pictures.
timespec Library::CarryTimecode(Picture &Pic) {
    Input &In = Pic.In;
    const timespec Moved = SpanOfTicks(PTSGap(In.LastTimecode.nPTS, Pic.Asked.nPTS));
    SayAtMost(6, In.Failed, 4);
    vitc_t Vitc = In.LastTimecode.Payload.Timecode();
    if (IsUsable(Pic.Asked.nRate)) {
        const Advanced New = Advance(Vitc, Moved, RateOf(Pic.Asked));
        Vitc = New.Vitc;
        for (int nDetail = New.bBeyondSecond ? 0 : 1; nDetail < 3; ++nDetail)
            Say(7);
        Say(6);
        In.bDiscontinuity = false;
    }
    In.Local.Payload.SetTimecode(Vitc);
    In.LastTimecode.Payload.SetTimecode(Vitc);
    In.LastTimecode.enSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    In.LastTimecode.nPTS = Pic.Asked.nPTS;
    FailOver(Pic);
    return Moved;
}

} // namespace model
