/* One trace message.
 *
 * A message that cannot be sent at once is dropped and counted; the next one that passes reports the count. */
#include "trace_message.h"

#include "cancel_guard.h"
#include "clock_api.h"
#include "dbgtrace.h"
#include "source_name.h"
#include "trace_channel.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <stdio.h>
#include <unistd.h>

namespace {

std::atomic<UINT64> nLostMessages{0};

/* A message as it is put together, after the newline that may have to end another one; what does not fit is cut. */
class Message {
public:
    // cppcheck-suppress uninitMemberVar ; only the first m_nUsed bytes are ever read
    Message() { m_acText[0] = '\n'; }

    void Add(const char *szFormat, ...) XTYPES_PRINTF(2, 3) {
        va_list tArguments;
        va_start(tArguments, szFormat);
        AddList(szFormat, tArguments);
        va_end(tArguments);
    }

    void AddList(const char *szFormat, va_list tArguments) XTYPES_PRINTF(2, 0) {
        const int nLength = vsnprintf(m_acText + m_nUsed, sizeof m_acText - m_nUsed, szFormat, tArguments);
        if (nLength > 0)
            m_nUsed = std::min(m_nUsed + static_cast<size_t>(nLength), sizeof m_acText - 1);
    }

    /* Without the newline before the text, and without the one after it: the next message can end the line. */
    size_t TextLength() const { return m_nUsed - (m_bEnded ? 2 : 1); }

    /* Makes the message end with one newline, whether its text brought none, one or several. */
    void EndLine() {
        while (m_nUsed > 1 && m_acText[m_nUsed - 1] == '\n')
            --m_nUsed;
        m_acText[m_nUsed++] = '\n';
        m_bEnded = true;
    }

    const char *Bytes() const { return m_acText; }
    size_t Size() const { return m_nUsed; }

private:
    char m_acText[1 + 1024];
    size_t m_nUsed = 1;
    bool m_bEnded = false;
};

void AddTime(Message &tMessage) {
    date_time_t tNow{};
    const INT64 llUTC = ClockGetUtc();
    if (llUTC != -1)
        ClockCvtUtc2DateTime(llUTC, &tNow);
    tMessage.Add("%04d-%02d-%02d %02d:%02d:%02d.%06dZ", tNow.year, tNow.month, tNow.dayOfMonth, tNow.hour, tNow.min,
                 tNow.sec, tNow.microsec);
}

void AddPlace(Message &tMessage, const TRACE_ORIGIN &tOrigin) {
    tMessage.Add("%.120s %.120s:%d: ", OrEmpty(tOrigin.szFunction), BaseName(tOrigin.szFile), tOrigin.nLine);
}

/* The journal adds time, process and name itself. */
void AddPrefix(Message &tMessage, const TRACE_ORIGIN &tOrigin) {
    static constexpr std::array<const char *, 8> LEVEL_WORDS{"emergency", "alert",  "critical", "error",
                                                             "warning",   "notice", "info",     "debug"};
    const int nLevel = std::clamp(tOrigin.nLevel, 0, static_cast<int>(DBG_LEVEL_DEBUG));
    const bool bJournal = TraceChannel_IsJournal();
    if (bJournal) {
        tMessage.Add("<%d>", nLevel);
    } else {
        AddTime(tMessage);
        tMessage.Add(" %s %s [%d] ", tOrigin.szModule, LEVEL_WORDS[static_cast<size_t>(nLevel)],
                     static_cast<int>(gettid()));
    }
    if (!bJournal || tOrigin.bPlaceInJournal)
        AddPlace(tMessage, tOrigin);
}

/* How many messages were lost before this one, and how much of it has to be taken for that to be known. */
struct LOST_BEFORE {
    UINT64 nMessages;
    size_t nEnd;
};

/* Sends the message, or counts it and those it was to report as lost. */
void SendMessage(const Message &tMessage, const LOST_BEFORE &tLost) {
    const size_t nTaken = TraceChannel_WriteLine(tMessage.Bytes(), tMessage.Size());
    const UINT64 nUnreported = nTaken < tLost.nEnd ? tLost.nMessages : 0;
    const UINT64 nCut = nTaken < tMessage.TextLength() ? 1 : 0;
    if (nUnreported + nCut > 0)
        nLostMessages.fetch_add(nUnreported + nCut, std::memory_order_relaxed);
}

} // namespace

void TraceMessage_Write(const TRACE_ORIGIN &tOrigin, const char *szFormat, va_list tArguments) {
    const CancelGuard tGuard;
    const int nErrorBefore = errno;
    LOST_BEFORE tLost{nLostMessages.exchange(0, std::memory_order_relaxed), 0};
    Message tMessage;
    AddPrefix(tMessage, tOrigin);
    if (tLost.nMessages > 0)
        tMessage.Add("(%llu messages lost) ", static_cast<unsigned long long>(tLost.nMessages));
    tLost.nEnd = tMessage.TextLength();
    errno = nErrorBefore; // for %m
    tMessage.AddList(OrEmpty(szFormat), tArguments);
    tMessage.EndLine();
    SendMessage(tMessage, tLost);
    errno = nErrorBefore;
}
