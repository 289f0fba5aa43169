// A source's time stamp for a picture, or under MISP_PROFILE_62 the time carried while there is none.
#include "model/library.h"

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
    const std::optional<Record> Matched = Match(Pic);
    if (!Matched)
        return false;
    In.Local = *Matched;
    const BYTE nStatus = In.Local.Payload.Status();
    In.Now = {.bAlive = true, .bDiscontinuity = (nStatus & DISCONTINUITY) != 0, .bLocked = (nStatus & NOT_LOCKED) == 0};
    In.nLastGood = Pic.nNow;
    Pic.Given.Utc = In.Local;
    if (Carries() && In.Local.Payload.Utc() < In.LastUtc.Payload.Utc()) {
        Say(6);
        Pic.Given.Utc->Payload.SetStatus((nStatus & NOT_LOCKED) | DISCONTINUITY | REVERSE | RESERVED);
    }
    Pic.Given.bResult = TRUE;
    SayAtMost(6, In.Ok, 4);
    return true;
}

bool Library::UseTimecode(Picture &Pic) {
    Input &In = Pic.In;
    SayAtMost(7, In.Announced, 0);
    const std::optional<Record> Matched = Match(Pic);
    if (!Matched)
        return false;
    In.Local = *Matched;
    In.LastTimecode = In.Local;
    In.LastTimecode.nPTS = Pic.Asked.nPTS;
    In.Now = {.bAlive = true, .bDiscontinuity = !In.Now.bAlive, .bLocked = false};
    if (!Carries() || Pic.Asked.bSwitch == TRUE)
        In.nLastGood = Pic.nNow;
    if (!Carries()) {
        Pic.Given.Utc = In.Local;
        Pic.Given.Timecode = In.Local.Payload.Timecode();
        Pic.Given.bResult = TRUE;
    }
    SayAtMost(6, In.Ok, 0);
    return true;
}

// False where the picture gets no timecode: its request ends there.
bool Library::UseUtcSource(Picture &Pic) {
    Input &In = Pic.In;
    const int enSource = Pic.enSource;
    const bool bMatched = UseUtc(Pic);
    if (Carries()) {
        if (!bMatched)
            CarryUtc(Pic);
        Pic.Given.Timecode = Convert(Pic.Given.Utc->Payload.Utc(), Pic.Asked.Rate());
        if (!Pic.Given.Timecode) {
            Say(6);
            Pic.Given.bResult = FALSE;
            return false;
        }
        In.LastTimecode.Payload.SetTimecode(*Pic.Given.Timecode);
        if (enSource == TCSOURCE_LDS_TIMESTAMP) {
            In.LastTimecode.enSource = In.Local.enSource;
            In.LastTimecode.nPTS = In.Local.nPTS;
        }
    }
    if (bMatched) {
        In.LastUtc.Payload.SetUtc(In.Local.Payload.Utc());
        In.LastUtc.Payload.SetStatus(In.Local.Payload.Status());
        In.LastUtc.enSource = enSource;
        In.LastUtc.nPTS = Pic.Asked.nPTS;
        In.LastUtc.nInserted = In.Local.nInserted;
    }
    return true;
}

// The working UTC goes on by the time that has passed by the clock.
void Library::CarryUtc(Picture &Pic) {
    Input &In = Pic.In;
    const int enSource = Pic.enSource;
    const bool bLds = enSource == TCSOURCE_LDS_TIMESTAMP;
    const bool bTimecodeLost = !In.Now.bAlive && In.Now.bDiscontinuity && !In.Now.bLocked;
    if (bLds && bTimecodeLost && In.LastUtc.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        In.Local.Payload.SetUtc(In.LastUtc.Payload.Utc());
    const Wide nElapsed = SpanBetween(Pic.nNow, In.LastUtc.nInserted);
    SayAtMost(6, In.Failed, 4);
    const INT64 llUTC = In64(In.Local.Payload.Utc() + nElapsed / 1000);
    In.Local.Payload.SetUtc(llUTC);
    Say(bLds ? 6 : 7);
    Say(7);
    constexpr INT64 YEAR_2000_USEC = 946'684'800'000'000;
    if (llUTC < YEAR_2000_USEC)
        SayAtMost(4, m_Year, 9);
    In.Now.bDiscontinuity = false;
    In.Local.Payload.SetStatus(StatusOf(false, In.Now.bLocked, In.LastUtc.Payload.Utc(), llUTC));
    In.Local.enSource = enSource;
    In.Local.nPTS = bLds ? In.Local.nPTS + static_cast<UINT64>(TicksOf(nElapsed)) : Pic.Asked.nPTS;
    Pic.Given.Utc = In.Local;
    In.LastUtc = In.Local;
    In.LastUtc.nInserted = Pic.nNow;
    if (!bLds)
        In.LastTimecode = In.LastUtc;
    FailOver(In, Pic.nNow, Pic.Asked.bSwitch, Pic.enSource, bLds ? 7 : 6);
    Pic.Given.bResult = TRUE;
}

void Library::UseTimecodeSource(Picture &Pic) {
    Input &In = Pic.In;
    const bool bMatched = UseTimecode(Pic);
    if (!Carries())
        return;
    const Wide nMoved = bMatched ? 0 : CarryTimecode(Pic);
    if (!IsUsable(Pic.Asked.nRate))
        return;
    const vitc_t Vitc = In.Local.Payload.Timecode();
    const std::optional<INT64> nDay = LocalDay();
    const std::optional<INT64> llUTC = nDay ? UtcOfTimecode(Vitc, *nDay, Pic.Asked.Rate()) : std::nullopt;
    const INT64 llBefore = In.LastUtc.Payload.Utc();
    In.LastUtc.Payload.SetUtc(llUTC.value_or(0));
    if (!llUTC)
        return Say(3);
    SayAtMost(7, m_Dated, 4);
    Say(7);
    In.LastUtc.Payload.SetStatus(StatusOf(In.Now.bDiscontinuity, In.Now.bLocked, llBefore, *llUTC));
    In.LastUtc.enSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    In.LastUtc.nPTS += static_cast<UINT64>(TicksOf(nMoved));
    In.LastUtc.nInserted = In.LastTimecode.nInserted;
    Pic.Given.bResult = TRUE;
    Pic.Given.Utc = In.LastUtc;
    Pic.Given.Timecode = Vitc;
}

// The last timecode goes on by the distance of the pictures. The product is one of 64 bits.
Wide Library::CarryTimecode(Picture &Pic) {
    Input &In = Pic.In;
    const Wide nMoved = PTSGap(In.LastTimecode.nPTS, Pic.Asked.nPTS) * PSEC_PER_TICK / 1000;
    SayAtMost(6, In.Failed, 4);
    vitc_t Vitc = In.LastTimecode.Payload.Timecode();
    if (IsUsable(Pic.Asked.nRate)) {
        const Advanced New = Advance(Vitc, nMoved, Pic.Asked.Rate());
        Vitc = New.Vitc;
        Say(7, New.bBeyondSecond ? 3 : 2);
        Say(6);
        In.Now.bDiscontinuity = false;
    }
    In.Local.Payload.SetTimecode(Vitc);
    In.LastTimecode.Payload.SetTimecode(Vitc);
    In.LastTimecode.enSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    In.LastTimecode.nPTS = Pic.Asked.nPTS;
    FailOver(In, Pic.nNow, Pic.Asked.bSwitch, Pic.enSource, 6);
    return nMoved;
}

} // namespace model
