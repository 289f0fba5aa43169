"""What stamp-encoder must not lose: sound, KLV, fields, colours, programs, datagrams, stamps of damaged pictures.

FFmpeg makes the inputs and reads the outputs, which must give it no cause to complain.
"""

import socket
from collections import Counter

import pytest
from running import ffmpeg, hashes, pictures, probed, table, tool, unstamped, wait_for, whole
from streams import KLV_TYPES, VIDEO_TYPES, Stream, change

VIDEO, KLV = 0x100, 0x101  # PIDs of the recording
FIRST_PTS, FIRST_UTC = 900000, 1767261600000000


@pytest.fixture
def with_sound(in_ts):
    """The recording with two sounds, whose frames last no whole number of ticks in one, and with a second video."""
    ffmpeg("-i", in_ts, "-itsoffset 10 -f lavfi -i sine=sample_rate=44100:duration=3",
           "-itsoffset 10 -f lavfi -i testsrc2=size=160x120:rate=25:duration=3 -map 0 -map 1 -map 1 -map 2 -c copy",
           "-c:a:0 aac -c:a:1 mp2 -c:v:1 libx264 -preset ultrafast -copyts -muxdelay 0 -muxpreload 0 sound.ts")
    return "sound.ts"


@pytest.mark.parametrize("options", [(), ("--bframes", 0), ("--codec", "hevc")])
def test_sound_and_klv_lost_or_moved(code, with_sound, options):
    run = code("--stream", 0, *options, with_sound).ended(0)
    assert "note: input 1" in run.err and "stream 4 (video, h264) is left out" in run.err
    for kind in "ad":
        came = hashes(with_sound, kind, "-c", "copy")
        assert came and hashes("out.ts", kind, "-c", "copy") == came, kind
    pictures("out.ts")


def test_a_step_parts_sound_from_its_picture(code, with_sound):
    change(with_sound, "twice.ts", f"join={with_sound}")
    code("--stream", 0, "twice.ts").ended(0)
    once, both = (hashes(file, "a", "-c", "copy") for file in ("twice.ts", "out.ts"))
    assert Counter(row[2] for row in both) == Counter(row[2] for row in once)
    video = [int(picture.pts) for picture in pictures("out.ts")]
    assert len(video) == 150 and len(both) > 200
    for stream in {row[0] for row in both}:
        times = [row[1] for row in both if row[0] == stream]
        assert abs(times[len(times) // 2] - min(times) - (video[75] - video[0])) < 3600


def test_what_is_not_wanted_is_left_out_and_another_video_is_chosen(code, with_sound):
    code("--stream", 4, "--no-pass", with_sound).ended(0)
    assert set(probed("out.ts", "stream=codec_type,width")) == {("video", "160")}
    assert "its video streams are: 0, 4" in code("--stream", 1, with_sound).ended(2, "is no video").err


@pytest.mark.parametrize("operations, kind, live", [
    ([], 0x06, False), (["strip-klv"], 0x06, False), (["cell-klv"], 0x15, False), (["cell-klv"], 0x15, True),
    (["cell-klv", "strip-klv"], 0x15, False), (["cell-klv", "junk-klv"], 0x15, False),
    (["cell-klv", "behind-map"], 0x15, True)])
def test_klv_changes_its_carriage(code, piped, in_ts, operations, kind, live):
    change(in_ts, in_ts, *operations)
    run = (code("-", stdin=piped("cat", in_ts)) if live else code("--source", "lds", in_ts)).ended(0)
    assert run.claimed() == 75 and run.claimed(what="with their time") >= (72 if live else 75)
    came, went = (Stream(in_ts.with_name(name).read_bytes()) for name in ("in.ts", "out.ts"))
    assert went.types == {0x1B: VIDEO, kind: KLV}
    came, went = came.payloads(KLV_TYPES), went.payloads(KLV_TYPES)
    assert [data for _, data in went] == [data for _, data in came]
    assert not came[5][0] or went == came


def test_klv_that_begins_late_is_not_read_or_not_named(code, piped, in_ts):
    """The program map says at first that its stream is another's, behind all that FFmpeg looks into what it is."""
    change(in_ts, "early.ts", "name-klv=128:NONE", "thin-klv=0")
    run = code("--source", "lds", "-", stdin=piped("cat", *["early.ts"] * 6, in_ts)).ended(0)
    assert 70 <= run.claimed(what="with their time") <= 75
    assert "stream 1 (data, klv) is left out: it began too late" in run.err


@pytest.mark.parametrize("made, kept", [
    ("-vf tinterlace=interleave_top,setfield=tff,setsar=16/11 -c:v libx264 -flags +ildct+ilme -x264-params tff=1 "
     "-colorspace bt470bg -color_primaries bt470bg -color_trc gamma28", "yuv420p tv bt470bg tt"),
    ("-vf tinterlace=interleave_bottom,setfield=bff -c:v libx264 -flags +ildct+ilme -x264-params bff=1", "bb"),
    ("-vf tinterlace=interleave_top,setfield=tff,setdar=16/9 -c:v mpeg2video -flags +ildct+ilme", "4:3 tt"),
    ("-c:v libx265 -x265-params log-level=none -pix_fmt yuv422p10le -color_primaries bt2020 -color_trc smpte2084 "
     "-colorspace bt2020nc", "yuv422p10le bt2020 smpte2084 progressive"),
    ("-c:v libx264 -pix_fmt yuvj420p -color_range pc -chroma_sample_location topleft", "yuvj420p pc topleft"),
    ("-c:v libx264 -pix_fmt yuv444p", "yuv444p"),
])
def test_a_picture_loses_what_it_is(code, made, kept):
    unstamped("in.ts", f"{made} -preset ultrafast", rate=50, seconds=0.6)
    code("--source", "system", "in.ts").ended(0)
    shown = probed("out.ts", "stream=pix_fmt,field_order,sample_aspect_ratio,color_range,color_space,"
                             "color_primaries,color_transfer,chroma_location")
    assert set(kept.split()) <= set(shown[0])
    came, went = (probed(file, "frame=interlaced_frame,top_field_first") for file in ("in.ts", "out.ts"))
    assert {row[:2] for row in went} == {row[:2] for row in came}
    assert clock_time_stamps("out.ts") == len(pictures("out.ts")) * (2 if "flags" in made else 1), "one for each field"


@pytest.mark.parametrize("bframes", [0, 2, 5])
def test_hevc_carries_another_time(code, in_ts, bframes):
    held = whole(code("--codec", "hevc", "--bframes", bframes, in_ts).ended(0))
    assert (str(FIRST_PTS), str(FIRST_UTC), "1F", "10:00:00:00") in held and len(held) == 75
    types = [kind for kind, *_ in probed("out.ts", "frame=pict_type")]
    assert types.count("P") <= 75 // (bframes + 1) + 1


def test_programs_run_apart(code, in_ts):
    """One program is much faster to code than the other."""
    code(unstamped("big.ts", size="1920x1080", seconds=3), in_ts).ended(0)
    begin, now, worst = {}, {}, 0
    for kind, stream, dts, *_ in probed("out.ts", "packet=codec_type,stream_index,dts"):
        if kind == "video":
            now[stream] = int(dts) - begin.setdefault(stream, int(dts))
            worst = max(worst, max(now.values()) - min(now.values()))
    assert len(now) == 2 and worst <= 90000 // 5, f"{worst / 90000} s apart"
    assert len(pictures("out.ts", 0)) == len(pictures("out.ts", 1)) == 75


@pytest.mark.parametrize("scheme, header", [("udp", 0), ("rtp", 12)])
def test_datagrams_are_torn(stamp_encoder, in_ts, scheme, header):
    got = []
    with socket.socket(type=socket.SOCK_DGRAM) as receiver:
        receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        receiver.bind(("127.0.0.1", 0))
        receiver.settimeout(0.2)
        run = stamp_encoder.start("--preset", "ultrafast", "--bitrate", 300, in_ts, in_ts, "--realtime", "-o",
                                  f"{scheme}://127.0.0.1:{receiver.getsockname()[1]}")

        def received():
            try:
                while True:
                    got.append(receiver.recv(65536))
            except TimeoutError:
                return not run.alive()
        wait_for(received)
    run.ended(0)
    assert {len(each) for each in got[:-1]} == {1316 + header}
    if header:
        numbers = [int.from_bytes(each[2:4], "big") for each in got]
        assert {each[0] for each in got} == {0x80} and {each[1] & 0x7F for each in got} == {33}
        assert all((after - before) % 65536 == 1 for before, after in zip(numbers, numbers[1:]))
    in_ts.write_bytes(b"".join(each[header:] for each in got))
    assert len(pictures(in_ts, 0)) == len(pictures(in_ts, 1)) == 75


def off_us(row, stretch=1 << 33):
    """How far a picture's UTC lies from the true one; the recording may be repeated after so many ticks of the PTS."""
    return int(row.utc) - FIRST_UTC - (int(row.pts) - FIRST_PTS) % stretch * 100 // 9


def test_a_lost_packet_costs_the_stamp_before_it(code, in_ts):
    """One packet is lost behind the first of every fifth picture; in one of them, a bit of the stamp is turned too."""
    stream = Stream(in_ts.read_bytes())
    video = stream.pes(VIDEO_TYPES)
    stamp, = (packet.data for packet in video[54] if b"MISPmicrosectime" in packet.data)
    stamp[stamp.find(b"MISPmicrosectime") + 21] ^= 0x10  # some thousand seconds
    stream.remove(pes[4] for pes in video[4::5])
    broken = in_ts.with_name("broken.ts")
    broken.write_bytes(b"".join(packet.data for packet in stream.packets))
    run = code(broken).ended(0)
    timed = [row for row in table() if row.utc != "-"]
    assert run.claimed(what="packets damaged on their way") >= 15
    assert len(table()) - len(timed) == run.claimed(what="that were not believed") == 1
    assert all(abs(off_us(row)) < 1000 for row in timed)


def clock_time_stamps(file):
    return tool("ffprobe", "-v", "error", "-show_frames", file).count("[TIMECODE]")


def decoded(file):
    return [row[2] for row in hashes(file, "v:0", "-vsync", "passthrough")]


def slices(file, codec):
    """The bytes of what is coded of each picture, without the messages beside it."""
    kinds = {"h264": "1-5", "hevc": "0-31"}[codec]
    return [row[2] for row in hashes(file, "v:0", "-c", "copy", "-bsf:v",
                                     f"{codec}_mp4toannexb,filter_units=pass_types={kinds}")]


X264 = "-c:v libx264 -preset medium -b:v 1M -x264-params vbv-maxrate=1000:vbv-bufsize=1000:"
X265 = "-c:v libx265 -preset ultrafast -x265-params log-level=none:"


@pytest.mark.parametrize("made, file, timecodes", [
    (X264 + "nal-hrd=vbr:pic-struct=1:bframes=3:slices=4", "in.ts", 1),
    (X264 + "nal-hrd=cbr:tff=1 -flags +ildct -vf setfield=tff", "in.ts", 2),
    (X264 + "pic-struct=1", "in.mp4", 1),
    (X264 + "bframes=2", "in.ts", 0),
    (X265 + "bframes=4:b-pyramid=1:hrd=1:vbv-maxrate=1000:vbv-bufsize=1000", "in.ts", 1),
    (X265 + "bframes=0 -tag:v hvc1", "in.mp4", 1),
])
def test_copying_changes_pictures_or_doubles_their_times(code, made, file, timecodes):
    unstamped(file, made, seconds=1.2)
    first = code("--copy", "--source", "system", file).ended(0)
    assert first.claimed(what="with their time") == 30
    again = code("--copy", "--source", "system", "out.ts", output="again.ts").ended(0)
    assert (again.claimed(what="leave no place") if timecodes == 0 else 30) == 30
    for output in ("out.ts", "again.ts"):
        assert decoded(output) == decoded(file), output
        codec = "hevc" if "x265" in made else "h264"
        assert slices(output, codec) == slices(file, codec), output
        assert [picture.status for picture in pictures(output)] == ["9F"] * 30, output
        assert clock_time_stamps(output) == 30 * timecodes, output


def test_copying_moves_times_or_loses_pictures(code, in_ts):
    """At a step of the PTS, and where a damaged picture cannot be decoded."""
    broken = Stream(in_ts.read_bytes())
    for packet in broken.pes(VIDEO_TYPES)[40][1:]:
        packet.data[20:] = bytes(len(packet.data) - 20)
    in_ts.write_bytes(in_ts.read_bytes() + broken.bytes())
    run = code("--copy", in_ts).ended(0)
    assert run.claimed(what="steps") == 1 and run.claimed(what="without a time") <= 1
    assert decoded("out.ts") == decoded(in_ts) and slices("out.ts", "h264") == slices(in_ts, "h264")
    timed = [row for row in table() if row.utc != "-"]
    assert len(timed) >= 148 and {off_us(row, 270000) for row in timed} == {0}


@pytest.mark.parametrize("made, options, ends, message", [
    ("-c:v libx264 -flags +ildct -x264-params tff=1", ["--codec", "hevc"], 4, "libx265 codes no fields"),
    ("-c:v mpeg2video", ["--copy"], 2, "--copy writes into H.264 and HEVC"),
    ("-c:v libx264", ["--copy", "--bframes", 1], 1, "--copy codes nothing"),
])
def test_what_cannot_be_done_is_not_refused(code, made, options, ends, message):
    code(*options, unstamped("in.ts", made)).ended(ends, message)


def test_depth_that_no_encoder_takes_is_changed_silently(code):
    unstamped("deep.ts", "-c:v libx265 -x265-params log-level=none -pix_fmt yuv420p12le")
    assert "they are coded as yuv420p10le" in code("deep.ts").ended(0).err
