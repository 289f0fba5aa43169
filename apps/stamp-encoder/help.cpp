// The text of --help: what the program shows, how to try it, and every option.
#include "options.h"

namespace encoder {

const char *const HELP_TEXT =
    R"(stamp-encoder: codes video again and gives every coded picture its time.

  stamp-encoder [options] INPUT [INPUT...] -o OUTPUT
  stamp-encoder --generate FILE [--rate R] [--duration S] [--drop SOURCE:FROM-TO] [--start-utc T]

The program shows how an encoder uses the timecode library. It takes the time stamps out of an input, keeps each with
its picture until that goes to the encoder (libx264 or libx265), and then hands it to the library with the picture's PTS
(Timecode_SetUTC). For each coded picture, in coding order, it asks once which time belongs to it (Timecode_GetUTC). The
answer is written into the stream beside the picture: the UTC and its status byte as a MISB ST 0604 SEI message, a
SMPTE 12M timecode (Timecode_MakeSMPTE12M1VITC) in the pic_timing SEI message, for each field where there are two. Each
input has a thread that reads and one that codes.

Try it:
  stamp-encoder --generate in.ts                            make an input that carries all three kinds of time stamp
  stamp-encoder in.ts -o out.ts --csv times.csv             code it; one row of the table is one coded picture
  ffprobe -show_frames out.ts | grep -i timecode            what other people's tools see
  stamp-encoder --generate gap.ts --duration 30 --drop 1:5-20
  stamp-encoder gap.ts -o out.ts --realtime --revision 20116 --switching --bframes 0 --csv -
                                                            watch source 1 fall silent, source 2 take over, and back
  stamp-encoder --inputs 4 in.ts -o "out%d.ts"              four inputs at once

Input
  INPUT             a file or URL that FFmpeg opens, with H.264, HEVC or MPEG-2 video. Time stamps are taken from
                      source 1  the precision time stamp (MISB ST 0604): SEI of H.264 and HEVC, user data of MPEG-2,
                      source 2  SMPTE 12M timecode in SEI, or VITC lines in the picture,
                      source 3  KLV local sets (MISB ST 0601, tag 2) in data streams.
                    A local set without a PTS (asynchronous carriage) belongs to the picture that is sent next, which
                    with B pictures may be shown up to 100 ms off. Pictures without a PTS, as in elementary streams and
                    AVI, are counted on at the picture rate, those before the first PTS back from it. Where the PTS
                    step back, or ahead by more than 5 s, or the stream marks a discontinuity, all starts anew: time
                    stamps from before serve no picture behind, and the output goes on with moved PTS, without a gap.
                    "-" is the standard input, which serves one input only.
                    A connection that falls silent is waited for; "?timeout=3000000" behind udp:// or tcp:// makes it
                    an error after 3 s, --end-after-silence 3 a good end.
                    At most 4. A time stamp that is cut short or has a wrong checksum is counted, never handed in; one
                    in a damaged packet only where it follows from those before it.
  --stream N        code the video stream with this number in the file (from 0, as ffprobe counts) and not the best one.
                    Video that is not coded is named
  --klv-stream N    take local sets from the KLV stream with this number only. Default: from the one that --source auto
                    found best, else from the first that has a whole set. Sets of other streams are named and counted
  --inputs N        number of inputs, 1 to 4; the last file named serves those that have none
  --timecode FROM   source 2: auto (SEI when a picture has it, else VITC; the default), sei, vitc or none
  --lds-status BYTE status byte of source 3, 0x1F unless given: a local set has none of its own, but the library wants
                    one with every UTC. 0x1F says: locked to the reference
  --lds-reach S     seconds for which a local set serves the pictures behind it, 0 to 60 (default 1). A picture gets its
                    time from the nearest set within half a picture either way, else from the last set before it within
                    the reach: moved by the PTS distance between the two, to the nearest microsecond. 0: only sets
                    within half a picture count
  --rate R          picture rate, such as 25 or 30000/1001, when the input says a wrong one
  --realtime        read the input at the pace of its PTS, as a live video comes
  --start-at T      the same, with the first picture due at the UTC time T, such as 2024-05-01T23:59:50Z, at most a
                    day from now; at once when T has passed
  --end-after-silence S
                    an input that sends nothing for S seconds has ended, without an error (default: it is waited for)
  --hold N          hold the last N decoded pictures back, 0 to 120, until the time stamps that are sent after them have
                    been read. Default: 20 with --source 3 or --switching, since local sets often come half a second
                    after their picture (take 30 at 60 Hz); else 3, and 2 with --realtime. The summary counts the sets
                    that came too late. Each picture costs a picture period of delay and its memory. 0 costs VITC its
                    first picture

Time
  --revision R      20162 (default): the time stamp of the chosen source as it came, or none. Right for files that are
                    coded faster than they play, since nothing in it depends on the wall clock.
                    20116: carries a silent source forward, converts, switches. It counts on the wall clock: use it
                    with --realtime. Before the first time stamp of an input, and of what follows a step of its PTS, no
                    picture gets a time, unless the source is the system clock.
                    It marks a UTC below the one before as going backwards, and with B pictures that happens in
                    coding order all the time: add --bframes 0.
                    settings: what /etc/plixo.ini says
  --source S        1 or klv or high-precision, 2 or vitc or smpte12m, 3 or lds, 4 or system; or auto (default): looks
                    at the first two seconds, says what they hold, and takes source 1 or 3, whichever reaches the
                    pictures, rather than source 2, which has no date. A live input thus begins two seconds late (five
                    where its video stalls), and one that falls silent before is waited for: name its source
  --switching       let the library fall back to the next source after 5 s of silence and return (20116 only)
  --cursor C        keep or clear the library's record cursor between pictures. A kept cursor hands out the time stamps
                    in the order in which they were queued. That is the coding order only when there are no B pictures;
                    with them, each picture must be looked for by its PTS. So: keep when neither the input nor the
                    output has B pictures, else clear

  --first-timecode T
                    timecode of the first picture, such as 10:00:00:00, until a picture has a time (default: none)
  --resync N        the timecode in the stream is the picture's own label where source 2 gave it one. Otherwise it is
                    counted on from the first picture with a time, and seeded again, which is said and counted, where
                    it and the time are more than N frames apart (default 2; 0: never). Numbers that nobody drops drift
                    by nature: at 23.976 and 14.985 Hz, as they would at 119.88 Hz, by a frame in 1000, so that 23.976
                    Hz is seeded again every 83 s. Drop-frame numbers at 29.97 and 59.94 Hz drift by 2.6 and 5.2 frames
                    a day. Above 60 Hz SMPTE ST 12-1 has no numbers: such a stream gets no timecode, and none is read.
                    At 59.94 Hz four numbers are dropped, which pic_timing can only call "unspecified" (counting_type 6)

Output
  -o, --output FILE MPEG-TS; "-" for the standard output. "%d" in the name: a file for each input, numbered from 1.
                    Otherwise one stream with a program for each input, side by side in time. PTS are those of the
                    input, while they do not step. udp://HOST:PORT gets datagrams of 1316 bytes, rtp://HOST:PORT the
                    same in RTP packets
  --no-pass         leave sound, subtitles and KLV out. They are in the output otherwise, with the PTS that they have in
                    the input: what belongs to the video's program and has a place in an MPEG-TS. What is left out is
                    named, and so is what begins in mid-input, when the output's tables are written: of KLV among it,
                    the time stamps are read all the same. KLV keeps its carriage: stream type 0x06, or 0x15 with its
                    metadata cells as they are; FFmpeg reads a PES packet beyond 200 KiB as two, the second of which
                    then has no cell header
  --csv FILE        a table with a row for each coded picture, in coding order; "-" for the standard output. Columns:
                      input            from 1
                      coding_index     from 0
                      pts              in the output, 90 kHz
                      result           TRUE: the picture has a time
                      source           that the time came from, 1 to 4; 0 without a time
                      source_name      the same in words
                      status           status byte beside the UTC (MISB ST 0603)
                      status_words     the same in words
                      utc              in the stream, as text; empty for a timecode that was not converted
                      timecode         the time as a time of day, in numbers of the picture rate
                      stream_timecode  in the stream: see --resync
                      same_record      TRUE: the library had a second time stamp as near
                      utc_us           utc in microseconds since 1970
  --bframes N       B pictures between two others, 0 to 6 (default 2)
  --bitrate K       kbit/s of each input (default 4000)
  --copy            stamp without coding again (H.264, HEVC): the messages go into the input's own coded pictures, whose
                    bytes stay. Messages of the same kinds are replaced. Pictures are decoded all the same, since their
                    time stamps are asked for when they would have gone to the encoder. In H.264 the timecode needs a
                    place that the stream's headers provide (pic_struct); without it the UTC goes in alone. Drop-frame
                    numbers are counted by the PTS
  --codec C         h264 (libx264, the default) or hevc (libx265), which carries the timecode in a time_code SEI message
  --preset P        the encoder's preset, ultrafast to placebo (default veryfast)
                    Fields and their order, colour description and range, aspect, bit depth and chroma are kept. What an
                    encoder does not take (more than 10 bits in libx264) is coded as the nearest that it does, and said;
                    fields are refused with hevc

An input of one's own
  --generate FILE   write a test pattern with time stamps of sources 1, 2 and 3 into FILE
  --rate R          29.97 (default), 25, 50 or 59.94
  --duration S      seconds (default 20)
  --drop S:FROM-TO  silence source S from second FROM to second TO; may be given again
  --start-utc T     UTC of the first picture, such as 2024-05-01T23:59:50Z (default: now)

Messages
  --log-interval S  seconds between two status lines where the standard error is no terminal (default 60; 0: none). What
                    is first met is told at once there ("note:"), and the journal is told how grave a line is. On a
                    terminal the status is one line that changes: for one input its number, pictures and their pace,
                    percent and time left of a file, pictures without a time, status byte, UTC and source of the last
                    one; for several, source, status byte and time of day of each. None while the table goes there

  -h, --help        this text
  --version         the library's release

Ctrl-C ends the run with a whole, playable output, unless nobody reads the output for a second: then it ends where it
is (exit code 3). A second Ctrl-C ends the run at once. TIMECODE_TRACE_LEVEL=6 in the environment shows what the library
does.

Exit code: 0 done, or ended by Ctrl-C; 1 command line; 2 an input could not be read (what was coded is kept), or
came through a pipe or connection that ended inside a packet of its transport stream (packets of 192 and 204 bytes are
not examined); 3 an output could not be written; 4 coding failed.
)";

} // namespace encoder
