// A picture's request under both revisions, and system time.
#include "model/library.h"
#include "model/rules.h"

namespace model {

Answer Library::Ask(const Request &Asked) {
    if (m_enRevision == MISP_PROFILE_62)
        return AskCarrying(Asked);
    if (m_enRevision == MISP_PROFILE_2016_2)
        return AskMatching(Asked);
    Report(true);
    return {.Cursor = Asked.Cursor};
}

// MISP_PROFILE_62.
Answer Library::AskCarrying(const Request &Asked) {
    Answer Refused{.Cursor = Asked.Cursor};
    if (Asked.enNull != Null::Same)
        Refused.bSame = FALSE;
    Report(Asked.enNull != Null::Nothing);
    const bool bInput = !ReportInput(Asked.nInput);
    if (!m_bStarted || Asked.enNull == Null::Utc)
        Say(3);
    if (!m_bStarted || Asked.enNull == Null::Utc || Asked.enNull == Null::Source || !bInput)
        return Refused;
    Input &In = At(Asked.nInput);
    Picture Pic{Asked, In, ReadClock(), Seconds(), Asked.enSource, Refused};
    if (In.tpLastGood == timespec{})
        In.tpLastGood = Pic.tpNow;
    if (Asked.bSwitch == TRUE && In.enLastSource != TCSOURCE_NOT_CHOSEN)
        Pic.enSource = In.enLastSource;
    SayAtMost(6, In.Entry, 4);
    if (Pic.enSource == TCSOURCE_SYSTEM_TIMESTAMP) {
        SayAtMost(6, In.Announced, 4);
        const Answer System = AskSystem(Asked);
        Pic.Given.bResult = System.bResult;
        Pic.Given.Utc = System.Utc;
        Pic.Given.Timecode = System.Timecode;
        if (System.bResult == FALSE)
            Say(4);
    } else if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP) {
        UseTimecodeSource(Pic);
    } else if (!IsQueued(Pic.enSource)) {
        UseNoSource(Pic);
    } else if (!UseUtcSource(Pic)) {
        return Pic.Given;
    }
    Remember(Pic);
    if (Asked.bSwitch == TRUE)
        Recover(Pic);
    Say(7);
    if (Asked.enNull != Null::Same)
        Pic.Given.bSame = Pic.bSame ? TRUE : FALSE;
    return Pic.Given;
}

// MISP_PROFILE_2016_2.
Answer Library::AskMatching(const Request &Asked) {
    Answer Refused{.Cursor = Asked.Cursor};
    if (Report(Asked.enNull == Null::Source))
        return Refused;
    if (Asked.enNull != Null::Same)
        Refused.bSame = FALSE;
    Report(Asked.enNull != Null::Nothing);
    const bool bInput = !ReportInput(Asked.nInput);
    const timespec tpNow = ReadClock();
    if (!m_bStarted)
        Say(3);
    if (!m_bStarted || Asked.enNull == Null::Utc || !bInput)
        return Refused;
    Input &In = At(Asked.nInput);
    Picture Pic{Asked, In, tpNow, Seconds(), Asked.enSource, Refused};
    SayAtMost(6, In.Entry, 4);
    if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        UseTimecode(Pic);
    else if (IsQueued(Pic.enSource))
        UseUtc(Pic);
    else
        UseNoSource(Pic);
    Remember(Pic);
    const auto IsRecent = [&Asked](const Record &Last) { return (Asked.nPTS - Last.nPTS) / 90 <= UINT64{RECOVERY_MS}; };
    if (In.LastUtc.enSource != TCSOURCE_NONE && IsRecent(In.LastUtc))
        In.enLastSource = In.LastUtc.enSource;
    else
        In.enLastSource = IsRecent(In.LastTimecode) ? Asked.enSource : TCSOURCE_NONE;
    Say(7);
    if (Asked.enNull != Null::Same)
        Pic.Given.bSame = Pic.bSame ? TRUE : FALSE;
    return Pic.Given;
}

// The match for a picture's source, when it is near enough to serve. Of a timecode that is not, it says so.
std::optional<Library::Found> Library::MatchNear(Picture &Pic) {
    const bool bCursor = Pic.Asked.enNull != Null::Cursor;
    std::optional<Found> Matched = Match(Pic.In, Pic.Asked.nPTS, Pic.enSource, bCursor ? &Pic.Given.Cursor : nullptr);
    Pic.bSame = Matched && Matched->bSame;
    if (!Matched || PTSGap(Matched->Stamp.nPTS, Pic.Asked.nPTS) <= MATCH_TICKS)
        return Matched;
    if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        Say(6);
    return std::nullopt;
}

// Keeps what a queued record gave.
void Library::Remember(const Picture &Pic) {
    Input &In = Pic.In;
    if (Pic.bUtcUsed) {
        In.LastUtc.enSource = Pic.enSource;
        In.LastUtc.nPTS = Pic.Asked.nPTS;
        In.LastUtc.tpInserted = In.Local.tpInserted;
        In.LastUtc.Payload.SetUtc(In.Local.Payload.Utc());
        In.LastUtc.Payload.SetStatus(In.Local.Payload.Status());
    }
    if (Pic.bTimecodeUsed) {
        In.LastTimecode.Payload.SetTimecode(In.Local.Payload.Timecode());
        In.LastTimecode.enSource = Pic.enSource;
        In.LastTimecode.nPTS = Pic.Asked.nPTS;
        In.LastTimecode.tpInserted = In.Local.tpInserted;
    }
}

void Library::UseNoSource(Picture &Pic) {
    SetNotAlive(Pic.In);
    SayAtMost(3, Pic.In.Failed, 4);
}

Answer Library::AskSystem(const Request &Asked) {
    Answer Given{.Cursor = Asked.Cursor};
    if (!m_bStarted) {
        Say(3);
        return Given;
    }
    const bool b62 = m_enRevision == MISP_PROFILE_62;
    if (Report(!b62 && m_enRevision != MISP_PROFILE_2016_2))
        return Given;
    if (Report(Asked.enNull == Null::Utc))
        return Given;
    const bool bTimecode = !Report(Asked.enNull == Null::Timecode);
    if (b62)
        Say(6);
    Record Made;
    Made.Payload.SetUtc(In64(Wide{Asked.llBaseUTC} + UsecOfTicks(PTSDistance(Asked.nBasePTS, Asked.nPTS))));
    Made.Payload.SetStatus(NOT_LOCKED | RESERVED);
    Made.enSource = TCSOURCE_SYSTEM_TIMESTAMP;
    Made.nPTS = Asked.nPTS;
    Given.Utc = Made;
    SayAtMost(6, b62 ? m_System62 : m_System2016, b62 ? 9 : 4);
    if (!bTimecode)
        Say(3);
    else
        Given.Timecode = FormTimecode(Made.Payload.Utc(), RateOf(Asked));
    Given.bResult = Given.Timecode ? TRUE : FALSE;
    if (!Given.Timecode)
        Say(b62 ? 3 : 6);
    return Given;
}

} // namespace model
