// Giving a source up, and taking a better one up again.
#include "model/library.h"

namespace model {

void Library::CountSwitch(Input &In, Wide nNow) {
    In.Now = {};
    In.nLastGood = nNow;
    ++In.nSwitches;
}

void Library::FailOver(Input &In, Wide nNow, BOOL bAllowed, int &enSource, int nLevel) {
    constexpr INT64 FAILURE_MS = 5000;
    if (bAllowed != TRUE || MsBetween(nNow, In.nLastGood) <= FAILURE_MS)
        return;
    Say(nLevel);
    enSource = IsQueued(enSource) ? enSource + 1 : TCSOURCE_NONE;
    CountSwitch(In, nNow);
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
        std::optional<Wide> &nSince = Pic.In.SeenSince.at(static_cast<size_t>(enCandidate) - 1);
        nSince = nSince.value_or(Pic.nNow);
        if (MsBetween(*nSince, Pic.nNow) <= RECOVERY_MS)
            continue;
        nSince.reset();
        Say(enSource == TCSOURCE_SMPTE12M_TIMESTAMP ? 7 : 6);
        return enCandidate;
    }
    return enSource;
}

// Whether a source has a record for the picture; the system clock, whether it can be read.
bool Library::HasReturned(const Picture &Pic, int enCandidate) {
    if (enCandidate == TCSOURCE_SYSTEM_TIMESTAMP) {
        const bool bRead = ClockUsec() != -1;
        Say(bRead ? 7 : 3);
        return bRead;
    }
    const std::optional<size_t> nFound = Nearest(Pic.In, enCandidate, Pic.Asked.nPTS);
    const bool bNear = nFound && PTSGap(Pic.In.Queue[*nFound].Stamp.nPTS, Pic.Asked.nPTS) <= MATCH_TICKS;
    Say(7, bNear ? 1 : 0);
    return bNear;
}

void Library::CheckSwitch(int nInput, BOOL bAllowed, int *penSource) {
    Report(penSource == nullptr);
    if (!Report(!IsInput(nInput)) && penSource != nullptr)
        FailOver(At(nInput), ReadClock(), bAllowed, *penSource, 7);
}

} // namespace model
