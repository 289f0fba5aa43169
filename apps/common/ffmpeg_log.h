// FFmpeg's own messages: errors only, and after the first few they are counted instead of shown.
// A damaged stream makes FFmpeg write hundreds of lines that say the same.
#ifndef ENCODER_COMMON_FFMPEG_LOG_H
#define ENCODER_COMMON_FFMPEG_LOG_H

#include "common/console.h"

namespace encoder {

// While it lives, FFmpeg's messages go to the console. At most one at a time.
class FfmpegLog {
public:
    explicit FfmpegLog(Console &Out);
    ~FfmpegLog(); // tells how many were not shown
    FfmpegLog(const FfmpegLog &) = delete;
    FfmpegLog &operator=(const FfmpegLog &) = delete;
};

} // namespace encoder

#endif
