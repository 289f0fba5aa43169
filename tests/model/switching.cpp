// Giving a source up, and taking a better one up again.
#include "model/library.h"
#include "model/rules.h"

namespace model {

namespace {

int NextSource(int enSource) {
    return IsQueued(enSource) ? enSource + 1 : TCSOURCE_NONE;
}

} // namespace

void Library::SetNotAlive(Input &In) {
    In.bAlive = false;
    In.bDiscontinuity = true;
    In.bLocked = false;
}

void Library::CountSwitch(Input &In, const timespec &tpNow) {
    SetNotAlive(In);
    In.tpLastGood = tpNow;
    ++In.nSwitches;
}

void Library::FailOver(Picture &Pic) {
    const timespec Silent = SpanBetween(Pic.tpNow, Pic.In.tpLastGood);
    if (Pic.Asked.bSwitch != TRUE || MsOf(Silent) <= FAILURE_MS)
        return;
    Say(Pic.enSource == TCSOURCE_LDS_TIMESTAMP ? 7 : 6);
    Pic.enSource = NextSource(Pic.enSource);
    CountSwitch(Pic.In, Pic.tpNow);
}

void Library::Recover(Picture &Pic) {
    const int enNew = RecoveredSource(Pic);
    if (Pic.In.enLastSource != enNew)
        CountSwitch(Pic.In, Pic.tpNow);
    Pic.In.enLastSource = enNew;
}

// The first better source that has been usable for long enough, else the one in use.
int Library::RecoveredSource(Picture &Pic) {
    SayAtMost(7, m_Recovery, 4);
    const int enSource = Pic.enSource;
    if (enSource < TCSOURCE_NONE || enSource > TCSOURCE_SYSTEM_TIMESTAMP) {
        Say(3);
        return TCSOURCE_NONE;
    }
    const int enEnd = enSource == TCSOURCE_NONE ? TCSOURCE_SYSTEM_TIMESTAMP + 1 : enSource;
    for (int enCandidate = TCSOURCE_HIGH_PRECISION_TIMESTAMP; enCandidate < enEnd; ++enCandidate) {
        if (!HasReturned(Pic, enCandidate))
            continue;
        Sighting &Seen = Pic.In.Seen.at(static_cast<size_t>(enCandidate) - 1);
        if (!Seen.bPending)
            Seen = {true, Pic.tpNow};
        if (MsOf(SpanBetween(Seen.tpFirst, Pic.tpNow)) <= RECOVERY_MS)
            continue;
        Seen.bPending = false;
        Say(enSource == TCSOURCE_SMPTE12M_TIMESTAMP ? 7 : 6);
        return enCandidate;
    }
    return enSource;
}

// Whether a source has a record for the picture; the system clock, whether it can be read.
bool Library::HasReturned(Picture &Pic, int enCandidate) {
    if (enCandidate == TCSOURCE_SYSTEM_TIMESTAMP) {
        timespec tpNow{};
        const bool bRead = clock_gettime(CLOCK_REALTIME, &tpNow) == 0;
        const bool bUtc = bRead && UsecOfClock(tpNow).value_or(-1) != -1;
        Say(bUtc ? 7 : 3);
        return bUtc;
    }
    const std::optional<Found> Matched = Match(Pic.In, Pic.Asked.nPTS, enCandidate, nullptr);
    if (!Matched || PTSGap(Matched->Stamp.nPTS, Pic.Asked.nPTS) > MATCH_TICKS)
        return false;
    Say(7);
    return true;
}

void Library::CheckSwitch(int nInput, BOOL bAllowed, int *penSource) {
    Report(penSource == nullptr);
    if (ReportInput(nInput) || penSource == nullptr)
        return;
    Input &In = At(nInput);
    const timespec tpNow = ReadClock();
    if (bAllowed != TRUE || MsOf(SpanBetween(tpNow, In.tpLastGood)) <= FAILURE_MS)
        return;
    Say(7);
    *penSource = NextSource(*penSource);
    CountSwitch(In, tpNow);
}

} // namespace model
