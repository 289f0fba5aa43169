// FFmpeg's own messages: errors only, and after the first few they are counted instead of shown.
#include "common/ffmpeg_log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

extern "C" {
#include <libavutil/log.h>
}

namespace encoder {

namespace {

constexpr unsigned MESSAGES_SHOWN = 10;

// FFmpeg's callback takes no argument of its own.
std::atomic<Console *> g_pConsole{nullptr};
std::atomic<unsigned> g_nMessages{0};

void PassMessage(void *pObject, int nLevel, const char *szFormat, va_list Arguments) {
    Console *const pConsole = g_pConsole;
    if (nLevel > AV_LOG_ERROR || pConsole == nullptr || g_nMessages++ >= MESSAGES_SHOWN)
        return;
    char szLine[512];
    int nPrefix = 1;
    av_log_format_line2(pObject, nLevel, szFormat, Arguments, szLine, sizeof(szLine), &nPrefix);
    std::string szText(szLine);
    szText.erase(szText.find_last_not_of('\n') + 1);
    pConsole->Error("FFmpeg: " + szText);
}

} // namespace

FfmpegLog::FfmpegLog(Console &Out) {
    g_pConsole = &Out;
    av_log_set_callback(PassMessage);
}

FfmpegLog::~FfmpegLog() {
    av_log_set_callback(av_log_default_callback);
    Console *const pConsole = g_pConsole.exchange(nullptr);
    if (g_nMessages > MESSAGES_SHOWN)
        pConsole->Error("FFmpeg: " + std::to_string(g_nMessages - MESSAGES_SHOWN) + " more messages");
}

} // namespace encoder
