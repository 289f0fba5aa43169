// One trace message.
//
// A message that cannot be sent at once is dropped and counted; the next one that passes reports the count.
#include "trace_message.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

#include "cancel_guard.h"
#include "clock_api.h"
#include "dbgtrace.h"
#include "source_name.h"
#include "trace_channel.h"

namespace {

std::atomic<UINT64> g_nLostMessages{0};

// A message as it is put together, after the newline that may have to end another one; what does not fit is cut.
class MessageText {
public:
    // cppcheck-suppress uninitMemberVar ; only the first m_nUsed bytes are ever read
    MessageText() { m_acText[0] = '\n'; }

    void Add(const char *szFormat, ...) XTYPES_PRINTF(2, 3) {
        va_list Arguments;
        va_start(Arguments, szFormat);
        AddList(szFormat, Arguments);
        va_end(Arguments);
    }

    void AddList(const char *szFormat, va_list Arguments) XTYPES_PRINTF(2, 0) {
        const int nLength = std::vsnprintf(m_acText + m_nUsed, sizeof m_acText - m_nUsed, szFormat, Arguments);
        if (nLength > 0)
            m_nUsed = std::min(m_nUsed + static_cast<size_t>(nLength), sizeof m_acText - 1);
    }

    // Without the newline before the text, and without the one after it: the next message can end the line.
    size_t TextLength() const { return m_nUsed - (m_bEnded ? 2 : 1); }

    // Makes the message end with one newline, whether its text brought none, one or several.
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

void AddTime(MessageText &Message) {
    date_time_t Now{};
    const INT64 llUTC = ClockGetUtc();
    if (llUTC != -1)
        ClockCvtUtc2DateTime(llUTC, &Now);
    Message.Add("%04d-%02d-%02d %02d:%02d:%02d.%06dZ", Now.year, Now.month, Now.dayOfMonth, Now.hour, Now.min, Now.sec,
                Now.microsec);
}

void AddPlace(MessageText &Message, const TraceOrigin &Origin) {
    Message.Add("%.120s %.120s:%d: ", OrEmpty(Origin.szFunction), BaseName(Origin.szFile), Origin.nLine);
}

// The journal adds time, process and name itself.
void AddPrefix(MessageText &Message, const TraceOrigin &Origin) {
    static constexpr std::array<const char *, 8> LEVEL_WORDS{"emergency", "alert",  "critical", "error",
                                                             "warning",   "notice", "info",     "debug"};
    const int nLevel = std::clamp(Origin.nLevel, 0, static_cast<int>(DBG_LEVEL_DEBUG));
    const bool bJournal = IsJournal();
    if (bJournal) {
        Message.Add("<%d>", nLevel);
    } else {
        AddTime(Message);
        Message.Add(" %s %s [%d] ", Origin.szModule, LEVEL_WORDS[static_cast<size_t>(nLevel)],
                    static_cast<int>(gettid()));
    }
    if (!bJournal || Origin.bPlaceInJournal)
        AddPlace(Message, Origin);
}

// How many messages were lost before this one, and how much of it has to be taken for that to be known.
struct LostBefore {
    UINT64 nMessages;
    size_t nEnd;
};

// Sends the message, or counts it and those it was to report as lost.
void SendMessage(const MessageText &Message, const LostBefore &Lost) {
    const size_t nTaken = WriteTraceLine(Message.Bytes(), Message.Size());
    const UINT64 nUnreported = nTaken < Lost.nEnd ? Lost.nMessages : 0;
    const UINT64 nCut = nTaken < Message.TextLength() ? 1 : 0;
    if (nUnreported + nCut > 0)
        g_nLostMessages.fetch_add(nUnreported + nCut, std::memory_order_relaxed);
}

} // namespace

void WriteTraceMessage(const TraceOrigin &Origin, const char *szFormat, va_list Arguments) {
    const CancelGuard Guard;
    const int nErrorBefore = errno;
    LostBefore Lost{g_nLostMessages.exchange(0, std::memory_order_relaxed), 0};
    MessageText Message;
    AddPrefix(Message, Origin);
    if (Lost.nMessages > 0)
        Message.Add("(%llu messages lost) ", static_cast<unsigned long long>(Lost.nMessages));
    Lost.nEnd = Message.TextLength();
    errno = nErrorBefore; // for %m
    Message.AddList(OrEmpty(szFormat), Arguments);
    Message.EndLine();
    SendMessage(Message, Lost);
    errno = nErrorBefore;
}
