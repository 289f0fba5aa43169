// The library's life, statistics, queue and conversions, and what it says.
#include "model/library.h"

#include <limits>
#include <utility>

#include "interpose/clock.h"
#include "model/rules.h"

namespace model {

namespace {

constexpr int WORSE_RECORDS = 12; // after so many the search ends

} // namespace

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

Said Library::TakeSaid() {
    return std::exchange(m_Said, {});
}

bool Library::Report(bool bFault) {
    m_Said.nReports += bFault ? 1 : 0;
    return bFault;
}

bool Library::ReportInput(int nInput) {
    return Report(!IsInput(nInput));
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

void Library::Start(int enRevision) {
    m_bHandle = true;
    nMaxLevel = 7;
    Say(7);
    if (!Report(enRevision != MISP_PROFILE_62 && enRevision != MISP_PROFILE_2016_2)) {
        m_enRevision = enRevision;
        Say(5);
    }
    const timespec tpNow = ReadClock();
    const std::optional<INT64> llUTC = interpose::g_Clock.bFails ? std::nullopt : UsecOfClock(tpNow);
    for (Input &In : m_Inputs) {
        In = Input{};
        for (int nRecord = 0; nRecord < RECORDS_PER_INPUT; ++nRecord)
            In.Queue.push_front({nRecord, {}});
        In.Local.Payload.SetUtc(llUTC.value_or(-1));
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
    const Input &In = At(nInput);
    return Statistics{In.enLastSource, In.nSwitches};
}

BOOL Library::ResetStatistics(int nInput) {
    Report(nInput >= NUM_VIDEO_INPUTS);
    Say(7);
    Say(IsInput(nInput) ? 7 : 3);
    if (!IsInput(nInput))
        return FALSE;
    Input &In = At(nInput);
    In.nSwitches = 0;
    In.LastUtc.Payload.SetUtc(0);
    return TRUE;
}

BOOL Library::Queue(int nInput, int enSource, UINT64 nPTS, const TCPayload *pPayload) {
    const bool bPayload = !Report(pPayload == nullptr);
    const bool bInput = !ReportInput(nInput);
    if (!m_bStarted)
        Say(3);
    if (!m_bStarted || !bPayload || !bInput)
        return FALSE;
    const timespec tpNow = ReadClock();
    SayAtMost(6, m_Queued, 4);
    std::deque<Slot> &Queue = At(nInput).Queue;
    Slot Reused = Queue.back();
    Queue.pop_back();
    const Payload Given(*pPayload);
    if (enSource == TCSOURCE_HIGH_PRECISION_TIMESTAMP) {
        Reused.Stamp.Payload.SetStatus(Given.Status());
        Reused.Stamp.Payload.SetUtc(Given.Utc());
    } else {
        Reused.Stamp.Payload.SetTimecode(Given.Timecode());
    }
    Reused.Stamp.nPTS = nPTS;
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
    Input &In = At(nInput);
    if (In64(Wide{Seconds()} - In.tLastFlush) <= 0)
        return Say(6);
    const timespec tpNow = ReadClock();
    for (Slot &Emptied : In.Queue)
        Emptied.Stamp = {.tpInserted = tpNow};
    In.tLastFlush = Seconds();
    Say(6);
}

std::vector<Record> Library::OldestFirst(int nInput) {
    std::vector<Record> Records;
    for (const Slot &Queued : At(nInput).Queue)
        Records.insert(Records.begin(), Queued.Stamp);
    return Records;
}

// The nearest record, the oldest of several; with a cursor the record there. The cursor moves on to the next newer
// record of the source.
std::optional<Library::Found> Library::Match(Input &In, UINT64 nPTS, int enSource, Cursor *pCursor) {
    const std::deque<Slot> &Queue = In.Queue;
    std::optional<size_t> nBest;
    if (pCursor == nullptr || pCursor->enKind == Cursor::Kind::None) {
        UINT64 nBestGap = std::numeric_limits<INT64>::max();
        int nWorse = 0;
        for (size_t nAt = 0; nAt < Queue.size() && nWorse < WORSE_RECORDS; ++nAt) {
            if (Queue[nAt].Stamp.enSource != enSource)
                continue;
            const UINT64 nGap = PTSGap(nPTS, Queue[nAt].Stamp.nPTS);
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
            Match.bSame = PTSGap(nPTS, Queue[nAt].Stamp.nPTS) == PTSGap(nPTS, Match.Stamp.nPTS);
        }
    if (pCursor != nullptr)
        *pCursor = Next;
    return Match;
}

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

void Library::Number(SMPTE12M1_CONTEXT *pContext, UINT64 nPTS, vitc_t *pNew) {
    const bool bNew = !Report(pNew == nullptr);
    if (Report(pContext == nullptr) || !bNew)
        return;
    const bool bRate = pContext->nEncodedPictureRate >= 1 && pContext->nEncodedPictureRate <= 0x7FFF'FFFF;
    if (Report(pContext->PTSTicksPerFrame == 0 || !bRate))
        return;
    const Numbered Made = NumberPicture(*pContext, nPTS, Seconds(), *pNew);
    for (int nMessage = 0; nMessage < 3 + Made.nDetails; ++nMessage)
        Say(7);
    for (int nMessage = 0; nMessage < Made.nSkips; ++nMessage)
        Say(6);
}

} // namespace model
