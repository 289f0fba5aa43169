#include "model/library.h"

#include <limits>
#include <utility>

#include "interpose/clock.h"

namespace model {

namespace {

constexpr UINT64 MATCH_TICKS = 359;
constexpr int WORSE_RECORDS = 12; // after so many the search ends
constexpr INT64 FAILURE_MS = 5000;
constexpr INT64 RECOVERY_MS = 750;
constexpr BYTE NOT_LOCKED = 0x80;
constexpr BYTE DISCONTINUITY = 0x40;
constexpr BYTE REVERSE = 0x20;
constexpr BYTE RESERVED = 0x1F;

bool IsInput(int nInput) {
    return nInput >= 0 && nInput < NUM_VIDEO_INPUTS;
}

bool IsQueued(int enSource) {
    return enSource >= TCSOURCE_HIGH_PRECISION_TIMESTAMP && enSource <= TCSOURCE_LDS_TIMESTAMP;
}

int NextSource(int enSource) {
    return IsQueued(enSource) ? enSource + 1 : TCSOURCE_NONE;
}

time_t Seconds() {
    return time(nullptr);
}

// A rate code is an int in a request; the conversions take it as 64 bits.
PictureRate RateOf(const Request &Asked) {
    return {Asked.nRate, static_cast<ULONG>(INT64{Asked.nCode})};
}

BYTE StatusOf(bool bDiscontinuity, bool bLocked, INT64 llOld, INT64 llNew) {
    const BYTE nLock = bLocked ? 0 : NOT_LOCKED;
    if (!bDiscontinuity)
        return nLock | RESERVED;
    return nLock | DISCONTINUITY | (In64(Wide{llNew} - llOld) < 0 ? REVERSE : 0) | RESERVED;
}

} // namespace

// What is said.

void Library::Say(int nLevel) {
    if (m_bHandle && nMaxLevel >= nLevel)
        ++m_Said.nMessages.at(static_cast<size_t>(nLevel));
}

// The time moves also where the level keeps the message back.
void Library::SayAtMost(int nLevel, Throttle &Last, INT64 nSeconds) {
    const time_t tNow = Seconds();
    if (In64(Wide{tNow} - Last) <= nSeconds)
        return;
    Last = tNow;
    Say(nLevel);
}

bool Library::Report(bool bFault) {
    m_Said.nReports += bFault ? 1 : 0;
    return bFault;
}

bool Library::ReportInput(int nInput) {
    return Report(!IsInput(nInput));
}

Said Library::TakeSaid() {
    return std::exchange(m_Said, {});
}

// The instant, or only its second where the clock fails.
timespec Library::ReadClock() {
    timespec tpNow{};
    if (Report(clock_gettime(CLOCK_REALTIME, &tpNow) != 0))
        return {Seconds(), 0};
    return tpNow;
}

bool Library::IsUsable(int nRate) {
    if (nRate == 0)
        Say(7);
    return !Report(nRate < 0) && nRate > 0;
}

// Life.

void Library::Start(int enRevision) {
    m_bHandle = true;
    nMaxLevel = 7;
    Say(7);
    if (!Report(enRevision != MISP_PROFILE_62 && enRevision != MISP_PROFILE_2016_2)) {
        m_enRevision = enRevision;
        Say(5);
    }
    const timespec tpNow = ReadClock();
    const Wide nUtc = Wide{tpNow.tv_sec} * 1'000'000 + tpNow.tv_nsec / 1000;
    const bool bUtc = !interpose::g_Clock.bFails && nUtc == In64(nUtc);
    for (Input &In : m_Inputs) {
        In = Input{};
        for (int nRecord = 0; nRecord < RECORDS_PER_INPUT; ++nRecord)
            In.Queue.push_front({nRecord, {}});
        In.Local.Payload.SetUtc(bUtc ? In64(nUtc) : -1);
        In.Local.Payload.SetStatus(NOT_LOCKED | DISCONTINUITY | RESERVED);
        In.LastUtc = In.Local;
    }
    m_bStarted = true;
}

void Library::Stop() {
    Say(7);
    m_bStarted = false;
    m_bHandle = false;
}

int Library::Revision() {
    if (!m_bStarted)
        Say(3);
    return m_bStarted ? m_enRevision : -1;
}

std::optional<Statistics> Library::ReadStatistics(int nInput, bool bNull) {
    Report(bNull);
    Report(nInput >= NUM_VIDEO_INPUTS);
    Say(7);
    Say(IsInput(nInput) ? 7 : 3);
    if (!IsInput(nInput) || bNull)
        return std::nullopt;
    const Input &In = m_Inputs.at(static_cast<size_t>(nInput));
    return Statistics{In.enLastSource, In.nSwitches};
}

BOOL Library::ResetStatistics(int nInput) {
    Report(nInput >= NUM_VIDEO_INPUTS);
    Say(7);
    Say(IsInput(nInput) ? 7 : 3);
    if (!IsInput(nInput))
        return FALSE;
    Input &In = m_Inputs.at(static_cast<size_t>(nInput));
    In.nSwitches = 0;
    In.LastUtc.Payload.SetUtc(0);
    return TRUE;
}

// The queue.

BOOL Library::Queue(int nInput, int enSource, UINT64 nPts, const TCPayload *pPayload) {
    const bool bPayload = !Report(pPayload == nullptr);
    const bool bInput = !ReportInput(nInput);
    if (!m_bStarted)
        Say(3);
    if (!m_bStarted || !bPayload || !bInput)
        return FALSE;
    const timespec tpNow = ReadClock();
    SayAtMost(6, m_Queued, 4);
    std::deque<Slot> &Queue = m_Inputs.at(static_cast<size_t>(nInput)).Queue;
    Slot Reused = Queue.back();
    Queue.pop_back();
    const Payload Given(*pPayload);
    if (enSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP) {
        Reused.Stamp.Payload.SetStatus(Given.Status());
        Reused.Stamp.Payload.SetUtc(Given.Utc());
    } else {
        Reused.Stamp.Payload.SetTimecode(Given.Timecode());
    }
    Reused.Stamp.nPts = nPts;
    Reused.Stamp.enSource = enSource;
    Reused.Stamp.tpInserted = tpNow;
    Queue.push_front(Reused);
    return TRUE;
}

void Library::Flush(int nInput) {
    const bool bInput = !ReportInput(nInput);
    if (!m_bStarted)
        Say(3);
    if (!m_bStarted || !bInput)
        return;
    Input &In = m_Inputs.at(static_cast<size_t>(nInput));
    if (In64(Wide{Seconds()} - In.tLastFlush) <= 0)
        return Say(6);
    const timespec tpNow = ReadClock();
    for (Slot &Emptied : In.Queue)
        Emptied.Stamp = {.tpInserted = tpNow};
    In.tLastFlush = Seconds();
    Say(6);
}

std::vector<Record> Library::OldestFirst(int nInput) const {
    std::vector<Record> Records;
    for (const Slot &Queued : m_Inputs.at(static_cast<size_t>(nInput)).Queue)
        Records.insert(Records.begin(), Queued.Stamp);
    return Records;
}

// The nearest record, the oldest of several; with a cursor the record there. The cursor moves on to the next newer record
// of the source.
std::optional<Library::Found> Library::Match(Input &In, UINT64 nPts, int enSource, Cursor *pCursor) {
    const std::deque<Slot> &Queue = In.Queue;
    std::optional<size_t> nBest;
    if (pCursor == nullptr || pCursor->enKind == Cursor::Kind::None) {
        UINT64 nBestGap = std::numeric_limits<INT64>::max();
        int nWorse = 0;
        for (size_t nAt = 0; nAt < Queue.size() && nWorse < WORSE_RECORDS; ++nAt) {
            if (Queue[nAt].Stamp.enSource != enSource)
                continue;
            const UINT64 nGap = PtsGap(nPts, Queue[nAt].Stamp.nPts);
            ++nWorse;
            if (nGap > nBestGap)
                continue;
            nBest = nAt;
            nBestGap = nGap;
            nWorse = 0;
        }
        Say(7);
    } else {
        for (size_t nAt = 0; nAt < Queue.size() && pCursor->enKind == Cursor::Kind::Record; ++nAt)
            if (Queue[nAt].nRecord == pCursor->nRecord)
                nBest = nAt;
        if (!nBest)
            *pCursor = {};
        else if (Queue[*nBest].Stamp.enSource != enSource) {
            Say(3);
            nBest.reset();
        }
    }
    if (!nBest)
        return std::nullopt;
    Found Match{Queue[*nBest].Stamp, false};
    Cursor Next;
    for (size_t nAt = *nBest; nAt-- > 0 && Next.enKind == Cursor::Kind::None;)
        if (Queue[nAt].Stamp.enSource == enSource) {
            Next = {Cursor::Kind::Record, Queue[nAt].nRecord};
            Match.bSame = PtsGap(nPts, Queue[nAt].Stamp.nPts) == PtsGap(nPts, Match.Stamp.nPts);
        }
    if (pCursor != nullptr)
        *pCursor = Next;
    return Match;
}

// The match for a picture's source, when it is near enough to serve. Of a timecode that is not, it says so.
std::optional<Library::Found> Library::MatchNear(Picture &Pic) {
    const bool bCursor = Pic.Asked.enNull != Null::Cursor;
    std::optional<Found> Matched = Match(Pic.In, Pic.Asked.nPts, Pic.enSource, bCursor ? &Pic.Given.Cursor : nullptr);
    Pic.bSame = Matched && Matched->bSame;
    if (!Matched || PtsGap(Matched->Stamp.nPts, Pic.Asked.nPts) <= MATCH_TICKS)
        return Matched;
    if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        Say(6);
    return std::nullopt;
}

// Requests.

Answer Library::Ask(const Request &Asked) {
    if (m_enRevision == MISP_PROFILE_62)
        return AskCarrying(Asked);
    if (m_enRevision == MISP_PROFILE_2016_2)
        return AskMatching(Asked);
    Report(true);
    return {.Cursor = Asked.Cursor};
}

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
    Input &In = m_Inputs.at(static_cast<size_t>(Asked.nInput));
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
    Input &In = m_Inputs.at(static_cast<size_t>(Asked.nInput));
    Picture Pic{Asked, In, tpNow, Seconds(), Asked.enSource, Refused};
    SayAtMost(6, In.Entry, 4);
    if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        UseTimecode(Pic);
    else if (IsQueued(Pic.enSource))
        UseUtc(Pic);
    else
        UseNoSource(Pic);
    Remember(Pic);
    const auto IsRecent = [&Asked](const Record &Last) { return (Asked.nPts - Last.nPts) / 90 <= UINT64{RECOVERY_MS}; };
    if (In.LastUtc.enSource != TCSOURCE_NONE && IsRecent(In.LastUtc))
        In.enLastSource = In.LastUtc.enSource;
    else
        In.enLastSource = IsRecent(In.LastTimecode) ? Asked.enSource : TCSOURCE_NONE;
    Say(7);
    if (Asked.enNull != Null::Same)
        Pic.Given.bSame = Pic.bSame ? TRUE : FALSE;
    return Pic.Given;
}

void Library::UseNoSource(Picture &Pic) {
    SetNotAlive(Pic.In);
    SayAtMost(3, Pic.In.Failed, 4);
}

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
        In.LastTimecode.nPts = In.Local.nPts;
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
    In.Local.nPts = bLds ? In.Local.nPts + static_cast<UINT64>(TicksOf(Elapsed)) : Pic.Asked.nPts;
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
    In.LastUtc.nPts += static_cast<UINT64>(TicksOf(Moved));
    In.LastUtc.tpInserted = Pic.bTimecodeUsed ? In.Local.tpInserted : In.LastTimecode.tpInserted;
    Pic.Given.Utc = In.LastUtc;
    if (Pic.Asked.enNull != Null::Timecode)
        Pic.Given.Timecode = In.Local.Payload.Timecode();
}

// The last timecode goes on by the distance of the pictures.
timespec Library::CarryTimecode(Picture &Pic) {
    Input &In = Pic.In;
    const timespec Moved = SpanOfTicks(PtsGap(In.LastTimecode.nPts, Pic.Asked.nPts));
    SayAtMost(6, In.Failed, 4);
    vitc_t Vitc = In.LastTimecode.Payload.Timecode();
    if (IsUsable(Pic.Asked.nRate)) {
        const Advanced New = Advance(Vitc, Moved, RateOf(Pic.Asked));
        Vitc = New.Vitc;
        for (int nDetail = New.bFramesCarried ? 0 : 1; nDetail < 3; ++nDetail)
            Say(7);
        Say(6);
        In.bDiscontinuity = false;
    }
    In.Local.Payload.SetTimecode(Vitc);
    In.LastTimecode.Payload.SetTimecode(Vitc);
    In.LastTimecode.enSource = TCSOURCE_SMPTE12M_TIMESTAMP;
    In.LastTimecode.nPts = Pic.Asked.nPts;
    FailOver(Pic);
    return Moved;
}

void Library::FailOver(Picture &Pic) {
    const timespec Silent = SpanBetween(Pic.tpNow, Pic.In.tpLastGood);
    if (Pic.Asked.bSwitch != TRUE || MsOf(Silent) <= FAILURE_MS)
        return;
    Say(Pic.enSource == TCSOURCE_LDS_TIMESTAMP ? 7 : 6);
    Pic.enSource = NextSource(Pic.enSource);
    CountSwitch(Pic.In, Pic.tpNow);
}

// Keeps what a queued record gave.
void Library::Remember(const Picture &Pic) {
    Input &In = Pic.In;
    if (Pic.bUtcUsed) {
        In.LastUtc.enSource = Pic.enSource;
        In.LastUtc.nPts = Pic.Asked.nPts;
        In.LastUtc.tpInserted = In.Local.tpInserted;
        In.LastUtc.Payload.SetUtc(In.Local.Payload.Utc());
        In.LastUtc.Payload.SetStatus(In.Local.Payload.Status());
    }
    if (Pic.bTimecodeUsed) {
        In.LastTimecode.Payload.SetTimecode(In.Local.Payload.Timecode());
        In.LastTimecode.enSource = Pic.enSource;
        In.LastTimecode.nPts = Pic.Asked.nPts;
        In.LastTimecode.tpInserted = In.Local.tpInserted;
    }
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
        const Wide nUtc = Wide{tpNow.tv_sec} * 1'000'000 + tpNow.tv_nsec / 1000;
        const bool bUtc = bRead && nUtc == In64(nUtc) && nUtc != -1;
        Say(bUtc ? 7 : 3);
        return bUtc;
    }
    const std::optional<Found> Matched = Match(Pic.In, Pic.Asked.nPts, enCandidate, nullptr);
    if (!Matched || PtsGap(Matched->Stamp.nPts, Pic.Asked.nPts) > MATCH_TICKS)
        return false;
    Say(7);
    return true;
}

// System time.

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
    Made.Payload.SetUtc(In64(Wide{Asked.llBaseUTC} + UsecOfTicks(PtsDistance(Asked.nBasePts, Asked.nPts))));
    Made.Payload.SetStatus(NOT_LOCKED | RESERVED);
    Made.enSource = TCSOURCE_SYSTEM_TIMESTAMP;
    Made.nPts = Asked.nPts;
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

void Library::CheckSwitch(int nInput, BOOL bAllowed, int *penSource) {
    const bool bSource = !Report(penSource == nullptr);
    if (ReportInput(nInput) || !bSource)
        return;
    Input &In = m_Inputs.at(static_cast<size_t>(nInput));
    const timespec tpNow = ReadClock();
    if (bAllowed != TRUE || MsOf(SpanBetween(tpNow, In.tpLastGood)) <= FAILURE_MS)
        return;
    Say(7);
    *penSource = NextSource(*penSource);
    CountSwitch(In, tpNow);
}

// Conversions.

std::optional<vitc_t> Library::Convert(const INT64 *pllUTC, const PictureRate &Rate, bool bNull) {
    if (pllUTC == nullptr || bNull) {
        Say(3);
        return std::nullopt;
    }
    return FormTimecode(*pllUTC, Rate);
}

std::optional<vitc_t> Library::FormTimecode(INT64 llUTC, const PictureRate &Rate) {
    constexpr INT64 YEAR_2010_USEC = 1'262'304'000'000'000;
    if (!IsUsable(Rate.nWhole))
        return std::nullopt;
    if (llUTC < YEAR_2010_USEC)
        SayAtMost(4, m_Doubtful, 29);
    SayAtMost(7, m_Converted, 4);
    return TimecodeOfUtc(llUTC, Rate);
}

// The local day of now, since 1970.
std::optional<INT64> Library::LocalDay() {
    timespec tpNow{};
    tm Local{};
    constexpr int LAST_YEAR = std::numeric_limits<int>::max() - 1900;
    if (Report(clock_gettime(CLOCK_REALTIME, &tpNow) != 0) || localtime_r(&tpNow.tv_sec, &Local) == nullptr ||
        Local.tm_year > LAST_YEAR)
        return std::nullopt;
    Say(7);
    const Wide nLocal = Wide{tpNow.tv_sec} + Local.tm_gmtoff;
    return In64((nLocal - (nLocal % 86'400 + 86'400) % 86'400) / 86'400);
}

// A timecode that is refused for its rate leaves the UTC, every other one that fails leaves 0.
bool Library::ConvertTimecode(const vitc_t &Vitc, const PictureRate &Rate, INT64 &llUTC) {
    if (!IsUsable(Rate.nWhole))
        return false;
    const std::optional<INT64> nDay = LocalDay();
    const std::optional<INT64> llConverted = nDay ? UtcOfTimecode(Vitc, *nDay, Rate) : std::nullopt;
    llUTC = llConverted.value_or(0);
    if (llConverted)
        SayAtMost(7, m_Dated, 4);
    else
        Say(3);
    return llConverted.has_value();
}

std::optional<int> Library::CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull) {
    Say(7);
    return Report(bNull) ? std::nullopt : std::optional(FrameCountDiff(nRate, nCode, Old, New));
}

void Library::Number(SMPTE12M1_CONTEXT *pContext, UINT64 nPts, vitc_t *pNew) {
    const bool bNew = !Report(pNew == nullptr);
    if (Report(pContext == nullptr) || !bNew)
        return;
    const bool bRate = pContext->nEncodedPictureRate >= 1 && pContext->nEncodedPictureRate <= 0x7FFF'FFFF;
    if (Report(pContext->PTSTicksPerFrame == 0 || !bRate))
        return;
    const Numbered Made = NumberPicture(*pContext, nPts, Seconds(), *pNew);
    for (int nMessage = 0; nMessage < 3 + Made.nDetails; ++nMessage)
        Say(7);
    for (int nMessage = 0; nMessage < Made.nSkips; ++nMessage)
        Say(6);
}

// In words.

std::ostream &operator<<(std::ostream &Out, const Cursor &Told) {
    if (Told.enKind == Cursor::Kind::Record)
        return Out << "at record " << Told.nRecord;
    return Out << (Told.enKind == Cursor::Kind::None ? "none" : "foreign");
}

std::ostream &operator<<(std::ostream &Out, const Request &Told) {
    constexpr std::array NULLS = {"nothing", "source", "record", "timecode", "same-record flag", "cursor"};
    return Out << "input " << Told.nInput << ", " << SourceText(Told.enSource) << ", switching " << Told.bSwitch
               << ", rate " << Told.nRate << ", code " << Told.nCode << ", PTS " << Told.nPts << ", base PTS "
               << Told.nBasePts << ", base UTC " << Told.llBaseUTC
               << ", null: " << NULLS.at(static_cast<size_t>(Told.enNull)) << ", cursor " << Told.Cursor;
}

std::ostream &operator<<(std::ostream &Out, const Answer &Told) {
    Out << (Told.bResult == TRUE ? "TRUE" : Told.bResult == FALSE ? "FALSE" : "neither TRUE nor FALSE");
    Out << "\n    record: ";
    Told.Utc ? Out << *Told.Utc : Out << "untouched";
    Out << "\n    timecode: ";
    Told.Timecode ? Out << *Told.Timecode : Out << "untouched";
    Out << "\n    same-record flag: ";
    Told.bSame ? Out << *Told.bSame : Out << "untouched";
    return Out << "\n    cursor: " << Told.Cursor;
}

std::ostream &operator<<(std::ostream &Out, const Statistics &Told) {
    return Out << SourceText(Told.enSource) << " in use, " << Told.nSwitches << " switches";
}

std::ostream &operator<<(std::ostream &Out, const Said &Told) {
    for (size_t nLevel = 0; nLevel < Told.nMessages.size(); ++nLevel)
        if (Told.nMessages.at(nLevel) != 0)
            Out << Told.nMessages.at(nLevel) << " of level " << nLevel << ", ";
    return Out << Told.nReports << " reports";
}

} // namespace model
