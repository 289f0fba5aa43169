// A picture's request under both revisions, and system time.
#include "model/library.h"

namespace model {

// MISP_PROFILE_62 carries a silent source's time on, and may change the source; MISP_PROFILE_2016_2 only matches.
Answer Library::Ask(const Request &Asked) {
    Answer Given{.nCursor = Asked.nCursor};
    if (Report(!Carries() && m_enRevision != MISP_PROFILE_2016_2))
        return Given;
    if (!Carries() && Report(Asked.enNull == Null::Source))
        return Given;
    if (Asked.enNull != Null::Same)
        Given.bSame = FALSE;
    Report(Asked.enNull != Null::Nothing);
    const bool bInput = !Report(!IsInput(Asked.nInput));
    if (!m_bStarted || (Carries() && Asked.enNull == Null::Utc))
        Say(3);
    const bool bRefused = !m_bStarted || !bInput || Asked.enNull == Null::Utc || Asked.enNull == Null::Source;
    // Under MISP_PROFILE_2016_2 the clock is read, and its failure reported, also for what is refused.
    const Wide nNow = bRefused && Carries() ? 0 : ReadClock();
    if (bRefused)
        return Given;
    Picture Pic{Asked, At(Asked.nInput), nNow, Asked.enSource, Given};
    if (Carries() && Pic.In.nLastGood == 0)
        Pic.In.nLastGood = nNow;
    if (Carries() && Asked.bSwitch == TRUE && Pic.In.enLastSource != TCSOURCE_NOT_CHOSEN)
        Pic.enSource = Pic.In.enLastSource;
    SayAtMost(6, Pic.In.Entry, 4);
    if (UseSource(Pic))
        Finish(Pic);
    if (Asked.enNull == Null::Timecode)
        Pic.Given.Timecode.reset();
    return Pic.Given;
}

// False where the request ends at once.
bool Library::UseSource(Picture &Pic) {
    if (IsQueued(Pic.enSource) && Pic.enSource != TCSOURCE_SMPTE12M_TIMESTAMP)
        return UseUtcSource(Pic);
    if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP) {
        UseTimecodeSource(Pic);
    } else if (Pic.enSource == TCSOURCE_SYSTEM_TIMESTAMP && Carries()) {
        SayAtMost(6, Pic.In.Announced, 4);
        Pic.Given = AskSystem(Pic.Asked);
        Say(4, Pic.Given.bResult == TRUE ? 0 : 1);
    } else {
        Pic.In.Now = {};
        SayAtMost(3, Pic.In.Failed, 4);
    }
    return true;
}

// Settles the source in use.
void Library::Finish(Picture &Pic) {
    Input &In = Pic.In;
    const Request &Asked = Pic.Asked;
    const auto IsRecent = [&Asked](const Record &Last) { return (Asked.nPTS - Last.nPTS) / 90 <= UINT64{RECOVERY_MS}; };
    if (Carries() && Asked.bSwitch == TRUE) {
        const int enNew = RecoveredSource(Pic);
        if (In.enLastSource != enNew)
            CountSwitch(In, Pic.nNow);
        In.enLastSource = enNew;
    } else if (!Carries()) {
        const bool bUtc = In.LastUtc.enSource != TCSOURCE_NONE && IsRecent(In.LastUtc);
        const int enOther = IsRecent(In.LastTimecode) ? Asked.enSource : TCSOURCE_NONE;
        In.enLastSource = bUtc ? In.LastUtc.enSource : enOther;
    }
    Say(7);
    if (Asked.enNull != Null::Same)
        Pic.Given.bSame = Pic.bSame ? TRUE : FALSE;
}

Answer Library::AskSystem(const Request &Asked) {
    Answer Given{.nCursor = Asked.nCursor};
    if (!m_bStarted)
        Say(3);
    if (!m_bStarted || Report(!Carries() && m_enRevision != MISP_PROFILE_2016_2) || Report(Asked.enNull == Null::Utc))
        return Given;
    Report(Asked.enNull == Null::Timecode);
    Say(6, Carries() ? 1 : 0);
    const INT64 nUsec = In64(Wide{PTSDistance(Asked.nBasePTS, Asked.nPTS)} * PSEC_PER_TICK) / 1'000'000;
    Record Made{.nPTS = Asked.nPTS, .enSource = TCSOURCE_SYSTEM_TIMESTAMP};
    Made.Payload.SetUtc(In64(Wide{Asked.llBaseUTC} + nUsec));
    Made.Payload.SetStatus(NOT_LOCKED | RESERVED);
    Given.Utc = Made;
    SayAtMost(6, Carries() ? m_System62 : m_System2016, Carries() ? 9 : 4);
    Given.Timecode = Convert(Made.Payload.Utc(), Asked.Rate(), Asked.enNull == Null::Timecode);
    if (!Given.Timecode)
        Say(Carries() ? 3 : 6);
    Given.bResult = Given.Timecode ? TRUE : FALSE;
    return Given;
}

} // namespace model
