// The library's life, statistics, queue and conversions, and what it says.
#include "model/library.h"

#include <limits>
#include <utility>

namespace model {

INT64 ClockUsec() {
    timespec tpNow{};
    if (clock_gettime(CLOCK_REALTIME, &tpNow) != 0)
        return -1;
    const Wide nUsec = FloorDiv(NsecOf(tpNow), 1000);
    return nUsec == In64(nUsec) ? In64(nUsec) : -1;
}

void Library::Say(int nLevel, int nTimes) {
    if (m_bHandle && nMaxLevel >= nLevel)
        m_Said.nMessages.at(static_cast<size_t>(nLevel)) += nTimes;
}

// The time moves also where the level keeps the message back.
void Library::SayAtMost(int nLevel, Throttle &Last, INT64 nSeconds) {
    const time_t tNow = time(nullptr);
    if (In64(Wide{tNow} - Last) <= nSeconds)
        return;
    Last = tNow;
    Say(nLevel);
}

Said Library::TakeSaid() {
    return std::exchange(m_Said, {});
}

bool Library::Report(bool bFault) {
    m_Said.nReports += bFault ? 1 : 0;
    return bFault;
}

// The instant, or only its second where the clock fails.
Wide Library::ReadClock() {
    timespec tpNow{};
    return NsecOf(Report(clock_gettime(CLOCK_REALTIME, &tpNow) != 0) ? timespec{time(nullptr), 0} : tpNow);
}

bool Library::IsUsable(int nRate) {
    Say(7, nRate == 0 ? 1 : 0);
    return !Report(nRate < 0) && nRate > 0;
}

void Library::Start(int enRevision) {
    m_bHandle = true;
    nMaxLevel = 7;
    Say(7);
    if (!Report(enRevision != MISP_PROFILE_62 && enRevision != MISP_PROFILE_2016_2)) {
        m_enRevision = enRevision;
        Say(5);
    }
    ReadClock();
    for (Input &In : m_Inputs) {
        In = Input{};
        for (int nRecord = 0; nRecord < RECORDS_PER_INPUT; ++nRecord)
            In.Queue.push_front({nRecord, {}});
        In.Local.Payload.SetUtc(ClockUsec());
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
    Say(3, m_bStarted ? 0 : 1);
    return m_bStarted ? m_enRevision : -1;
}

std::optional<Statistics> Library::ReadStatistics(int nInput, bool bNull) {
    Report(bNull);
    Report(nInput >= NUM_VIDEO_INPUTS);
    Say(7);
    Say(IsInput(nInput) ? 7 : 3);
    if (!IsInput(nInput) || bNull)
        return std::nullopt;
    return Statistics{At(nInput).enLastSource, At(nInput).nSwitches};
}

BOOL Library::ResetStatistics(int nInput) {
    Report(nInput >= NUM_VIDEO_INPUTS);
    Say(7);
    Say(IsInput(nInput) ? 7 : 3);
    if (!IsInput(nInput))
        return FALSE;
    At(nInput).nSwitches = 0;
    At(nInput).LastUtc.Payload.SetUtc(0);
    return TRUE;
}

BOOL Library::Queue(int nInput, int enSource, UINT64 nPTS, const Payload *pGiven) {
    const bool bGiven = !Report(pGiven == nullptr);
    const bool bInput = !Report(!IsInput(nInput));
    Say(3, m_bStarted ? 0 : 1);
    if (!m_bStarted || !bGiven || !bInput)
        return FALSE;
    const Wide nNow = ReadClock();
    SayAtMost(6, m_Queued, 4);
    std::deque<Slot> &Queue = At(nInput).Queue;
    Slot Reused = Queue.back();
    Queue.pop_back();
    if (enSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP) {
        Reused.Stamp.Payload.SetStatus(pGiven->Status());
        Reused.Stamp.Payload.SetUtc(pGiven->Utc());
    } else {
        Reused.Stamp.Payload.SetTimecode(pGiven->Timecode());
    }
    Reused.Stamp = {Reused.Stamp.Payload, nPTS, enSource, nNow};
    Queue.push_front(Reused);
    return TRUE;
}

void Library::Flush(int nInput) {
    const bool bInput = !Report(!IsInput(nInput));
    Say(3, m_bStarted ? 0 : 1);
    if (!m_bStarted || !bInput)
        return;
    Say(6);
    Input &In = At(nInput);
    if (In64(Wide{time(nullptr)} - In.tLastFlush) <= 0)
        return;
    In.tLastFlush = time(nullptr);
    const Wide nNow = ReadClock();
    for (Slot &Emptied : In.Queue)
        Emptied.Stamp = {.nInserted = nNow};
}

std::vector<Record> Library::OldestFirst(int nInput) {
    std::vector<Record> Records;
    for (const Slot &Queued : At(nInput).Queue)
        Records.insert(Records.begin(), Queued.Stamp);
    return Records;
}

// Where the nearest record of a source is, the oldest of several. The search ends when a dozen in a row lie farther.
std::optional<size_t> Library::Nearest(const Input &In, int enSource, UINT64 nPTS) {
    Say(7);
    std::optional<size_t> nBest;
    UINT64 nBestGap = std::numeric_limits<INT64>::max();
    int nFarther = 0;
    for (size_t nAt = 0; nAt < In.Queue.size() && nFarther < 12; ++nAt) {
        if (In.Queue[nAt].Stamp.enSource != enSource)
            continue;
        const UINT64 nGap = PTSGap(nPTS, In.Queue[nAt].Stamp.nPTS);
        nFarther = nGap > nBestGap ? nFarther + 1 : 0;
        if (nFarther == 0) {
            nBest = nAt;
            nBestGap = nGap;
        }
    }
    return nBest;
}

// The record at the cursor or else the nearest, when it is near enough to serve. Near or not, the cursor moves on to
// the next newer record of the source. Of a timecode that is too far it says so.
std::optional<Record> Library::Match(Picture &Pic) {
    const std::deque<Slot> &Queue = Pic.In.Queue;
    const UINT64 nPTS = Pic.Asked.nPTS;
    const bool bCursor = Pic.Asked.enNull != Null::Cursor;
    int &nCursor = Pic.Given.nCursor;
    std::optional<size_t> nBest;
    if (!bCursor || nCursor == NO_CURSOR) {
        nBest = Nearest(Pic.In, Pic.enSource, nPTS);
    } else if (nCursor == FOREIGN_CURSOR) {
        nCursor = NO_CURSOR;
    } else {
        for (nBest = 0; Queue.at(*nBest).nRecord != nCursor;)
            ++*nBest;
        if (Queue[*nBest].Stamp.enSource != Pic.enSource) {
            Say(3);
            nBest.reset();
        }
    }
    if (!nBest)
        return std::nullopt;
    const Record &Best = Queue[*nBest].Stamp;
    int nNext = NO_CURSOR;
    for (size_t nAt = *nBest; nAt-- > 0 && nNext == NO_CURSOR;)
        if (Queue[nAt].Stamp.enSource == Pic.enSource) {
            nNext = Queue[nAt].nRecord;
            Pic.bSame = PTSGap(nPTS, Queue[nAt].Stamp.nPTS) == PTSGap(nPTS, Best.nPTS);
        }
    if (bCursor)
        nCursor = nNext;
    if (PTSGap(Best.nPTS, nPTS) <= MATCH_TICKS)
        return Best;
    if (Pic.enSource == TCSOURCE_SMPTE12M_TIMESTAMP)
        Say(6);
    return std::nullopt;
}

std::optional<vitc_t> Library::Convert(INT64 llUTC, const PictureRate &Rate, bool bNull) {
    constexpr INT64 YEAR_2010_USEC = 1'262'304'000'000'000;
    Say(3, bNull ? 1 : 0);
    if (bNull || !IsUsable(Rate.nWhole))
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
    return In64(FloorDiv(Wide{tpNow.tv_sec} + Local.tm_gmtoff, 86'400));
}

std::optional<int> Library::CountFrames(UINT nRate, UINT nCode, const vitc_t &Old, const vitc_t &New, bool bNull) {
    Say(7);
    return Report(bNull) ? std::nullopt : std::optional(FrameCountDiff(nRate, nCode, Old, New));
}

void Library::Number(SMPTE12M1_CONTEXT *pContext, UINT64 nPTS, vitc_t *pNew) {
    const bool bNew = !Report(pNew == nullptr);
    if (Report(pContext == nullptr) || !bNew)
        return;
    const bool bRate = pContext->nEncodedPictureRate >= 1 && pContext->nEncodedPictureRate <= 0x7FFF'FFFF;
    if (Report(pContext->PTSTicksPerFrame == 0 || !bRate))
        return;
    const Numbered Made = NumberPicture(*pContext, nPTS, time(nullptr), *pNew);
    Say(7, 3 + Made.nDetails);
    Say(6, Made.nSkips);
}

} // namespace model
