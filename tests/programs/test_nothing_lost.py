"""What stamp-encoder must not lose: sound, KLV, fields, colours, programs, datagrams, stamps of damaged pictures.

FFmpeg makes the inputs and reads the outputs, which must give it no cause to complain.
"""

import collections
import socket
import subprocess
from pathlib import Path

import pytest
from running import pictures, table, tool, wait_for, whole
from streams import KLV_TYPES, Stream, change

SIZE = 188
VIDEO, KLV = 0x100, 0x101  # PIDs of the recording
PMT = 0x1000


def packets(file, kind):
    """Stream, PTS and hash of each packet of a kind of stream, each stream by itself."""
    text = tool("ffmpeg", "-v", "error", "-copyts", "-i", file, "-map", f"0:{kind}?", "-c", "copy",
                "-f", "framehash", "-hash", "md5", "-")
    rows = [[part.strip() for part in line.split(",")] for line in text.splitlines() if not line.startswith("#")]
    return sorted((int(row[0]), int(row[2]), row[5]) for row in rows)


def shown(file, *entries):
    """Values of ffprobe's entries of the first video stream and the set of those of its frames."""
    def probe(section):
        lines = tool("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                     f"{section}={','.join(entries)}", "-of", "compact=p=0", file).splitlines()
        return {line.strip("|") for line in lines} - {""}
    return "".join(probe("stream")), probe("frame")


def ts_packets(file):
    data = bytearray(file.read_bytes())
    for at in range(0, len(data), SIZE):
        yield data[at:at + SIZE]


def pid(packet):
    return (packet[1] & 0x1F) << 8 | packet[2]


def crc(data):
    value = 0xFFFFFFFF
    for byte in data:
        value ^= byte << 24
        for _ in range(8):
            value = (value << 1 ^ (0x04C11DB7 if value & 0x80000000 else 0)) & 0xFFFFFFFF
    return value.to_bytes(4, "big")


def change_map(packet, to, tag=b"KLVA"):
    """Gives the KLV stream another type and tag in a packet that has the program map."""
    if pid(packet) == PMT and packet[1] & 0x40:
        end = 5 + 3 + ((packet[6] & 0xF) << 8 | packet[7]) - 4
        packet[packet.find(bytes([0x06, 0xE0 | KLV >> 8, KLV & 0xFF]))] = to
        packet[:] = packet.replace(b"KLVA", tag)
        packet[end:end + 4] = crc(packet[5:end])


def as_packets(pes):
    """A PES packet of the KLV stream; its header fills the first packet's end with stuffing if need be."""
    for at in range(0, len(pes), 184):
        part = pes[at:at + 184]
        field = b"" if len(part) == 184 else (bytes([183 - len(part), 0]) + b"\xff" * 184)[:184 - len(part)]
        yield bytearray([0x47, (at == 0) << 6 | KLV >> 8, KLV & 0xFF, 0x30 if field else 0x10]) + field + part


def in_synchronous_carriage(file):
    """Makes the KLV stream one of type 0x15: one cell a PES, but also two, one in two PES, two of more than 64 KiB. The
    file ends with a cell."""
    def cell(number, part, body):
        return bytes([7, number % 256, part << 6 | 0x1F]) + (len(body) % 65536).to_bytes(2, "big") + body
    changed, number, big = [], 0, bytes(range(256)) * 240
    for packet in ts_packets(file):
        change_map(packet, 0x15)
        if pid(packet) == KLV:
            head, body = (pes := packet[5 + packet[4]:])[:9 + pes[8]], bytes(pes[9 + pes[8]:])
            odd = {10: [cell(10, 3, body) * 2], 20: [cell(20, 2, big), cell(21, 1, body)], 30: [cell(30, 3, big) * 2]}
            for data in odd.get(number, [cell(number, 3, body)]):
                size = len(head) - 6 + len(data)
                head[4:6] = (size if size < 65536 else 0).to_bytes(2, "big")
                changed += as_packets(bytes(head) + data)
            number += 1
        else:
            changed.append(packet)
    changed.append(changed.pop(max(at for at, packet in enumerate(changed) if pid(packet) == KLV)))
    file.write_bytes(b"".join(changed))
    change(file, file)  # counts the packets


@pytest.fixture
def with_sound(in_ts):
    """The recording with two sounds, whose frames last no whole number of ticks in one, and with a second video."""
    tool("ffmpeg", "-v", "error", "-i", in_ts,
         "-itsoffset", 10, "-f", "lavfi", "-i", "sine=sample_rate=44100:duration=3",
         "-itsoffset", 10, "-f", "lavfi", "-i", "testsrc2=size=160x120:rate=25:duration=3",
         "-map", 0, "-map", 1, "-map", 1, "-map", 2, "-c", "copy", "-c:a:0", "aac", "-c:a:1", "mp2",
         "-c:v:1", "libx264", "-preset", "ultrafast", "-copyts", "-muxdelay", 0, "-muxpreload", 0, "sound.ts")
    return in_ts.with_name("sound.ts")


@pytest.fixture
def code(stamp_encoder):
    def run(*arguments, output="out.ts", **options):
        fast = () if "--copy" in arguments else ("--preset", "ultrafast")
        stamp_encoder(*fast, *arguments, "-o", output, "--csv", "table.csv", **options)
        return stamp_encoder.runs[-1]
    return run


@pytest.mark.parametrize("options", [(), ("--bframes", 0), ("--codec", "hevc")])
def test_sound_and_klv_lost_or_moved(code, with_sound, options):
    run = code("--stream", 0, *options, with_sound)
    assert "note: input 1" in run.ended(0).err and "stream 4 (video, h264) is left out" in run.err
    for kind in "ad":
        assert packets(with_sound, kind) and packets("out.ts", kind) == packets(with_sound, kind), kind
    pictures("out.ts")


def test_a_step_parts_sound_from_its_picture(code, with_sound):
    with_sound.write_bytes(2 * with_sound.read_bytes())
    code("--stream", 0, with_sound).finish()
    first, both = packets(with_sound, "a"), packets("out.ts", "a")
    assert sorted(row[2] for row in both) == sorted(row[2] for row in first)
    video = [int(picture.pts) for picture in pictures("out.ts")]
    assert len(video) == 150 and len(both) > 200
    for stream in {row[0] for row in both}:
        times = [row[1] for row in both if row[0] == stream]
        assert abs(times[len(times) // 2] - min(times) - (video[75] - video[0])) < 3600


def test_what_is_not_wanted_is_left_out_and_another_video_is_chosen(code, with_sound):
    code("--stream", 4, "--no-pass", with_sound)
    kinds = tool("ffprobe", "-v", "error", "-show_entries", "stream=codec_type", "-of", "csv=p=0", "out.ts")
    assert set(kinds.split()) == {"video"}
    assert "width=160" in shown("out.ts", "width")[0]
    assert "its video streams are: 0, 4" in code("--stream", 1, with_sound).ended(2, "is no video").err


@pytest.mark.parametrize("prepare, kind, live", [
    (lambda file: None, 0x06, False), (lambda file: change(file, file, "strip-klv"), 0x06, False),
    (in_synchronous_carriage, 0x15, False), (in_synchronous_carriage, 0x15, True),
    (lambda file: (in_synchronous_carriage(file), change(file, file, "strip-klv")), 0x15, False)])
def test_klv_changes_its_carriage(code, beside, in_ts, prepare, kind, live):
    prepare(in_ts)
    run = (code("-", stdin=beside("cat", in_ts, stdout=subprocess.PIPE).stdout) if live
           else code("--source", "lds", in_ts))
    assert run.claimed() == 75 and run.claimed(what="with their time") >= 72
    in_stream, out = (Stream(in_ts.with_name(name).read_bytes()) for name in ("in.ts", "out.ts"))
    assert out.types == {0x1B: VIDEO, kind: KLV}
    came, went = in_stream.payloads(KLV_TYPES), out.payloads(KLV_TYPES)
    assert [data for _, data in went] == [data for _, data in came]
    assert not came[5][0] or went == came


def test_klv_that_begins_late_is_not_read_or_not_named(code, beside, in_ts):
    """The program map says at first that its stream is another's, behind all that FFmpeg looks into what it is."""
    early = list(ts_packets(in_ts))
    for packet in early:
        change_map(packet, 0x80, b"NONE")
    in_ts.write_bytes(6 * b"".join(packet for packet in early if pid(packet) != KLV) + in_ts.read_bytes())
    run = code("--source", "lds", "-", stdin=beside("cat", in_ts, stdout=subprocess.PIPE).stdout)
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
def test_a_picture_loses_what_it_is(code, tmp_path, made, kept):
    tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=50:duration=0.6", *made.split(),
         "-preset", "ultrafast", "-f", "mpegts", "in.ts")
    assert code("--source", "system", "in.ts").ended(0)
    entries = ("pix_fmt", "field_order", "sample_aspect_ratio", "color_range", "color_space", "color_primaries",
               "color_transfer", "chroma_location", "interlaced_frame", "top_field_first")
    stream, frames = shown("out.ts", *entries)
    for word in kept.split():
        assert f"={word}|" in stream + "|", word
    assert shown("out.ts", *entries[-2:])[1] == shown("in.ts", *entries[-2:])[1]
    # A clock time stamp for each field.
    text = tool("ffprobe", "-v", "error", "-show_frames", "out.ts")
    assert text.count("[TIMECODE]") == len(pictures("out.ts")) * (2 if "flags" in made else 1)


def test_what_an_encoder_does_not_take_is_changed_silently(code):
    tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=50:duration=0.3", "-c:v", "libx264",
         "-flags", "+ildct", "-x264-params", "tff=1", "-f", "mpegts", "fields.ts")
    code("--codec", "hevc", "fields.ts").ended(4, "libx265 codes no fields")
    tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=0.3", "-c:v", "libx265",
         "-x265-params", "log-level=none", "-pix_fmt", "yuv420p12le", "-f", "mpegts", "deep.ts")
    assert "they are coded as yuv420p10le" in code("deep.ts").ended(0).err


@pytest.mark.parametrize("bframes", [0, 2, 5])
def test_hevc_carries_another_time(code, in_ts, bframes):
    run = code("--codec", "hevc", "--bframes", bframes, in_ts)
    held = whole(run, "out.ts")
    assert ("900000", "1767261600000000", "1F", "10:00:00:00") in held and len(held) == 75
    types = tool("ffprobe", "-v", "error", "-show_entries", "frame=pict_type", "-of", "csv=p=0", "out.ts")
    assert types.count("P") <= 75 // (bframes + 1) + 1


def test_programs_run_apart(code, in_ts, stamp_encoder):
    """One program is much faster to code than the other."""
    tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=25:duration=3", "-c:v", "libx264",
         "-preset", "ultrafast", "-f", "mpegts", "big.ts")
    code("big.ts", in_ts).ended(0)
    shown_packets = tool("ffprobe", "-v", "error", "-show_entries", "packet=codec_type,stream_index,dts",
                         "-of", "csv=p=0", "out.ts")
    rows = [line.split(",") for line in shown_packets.splitlines()]
    begin, now, worst = {}, {}, 0
    for kind, stream, dts, *_ in (row for row in rows if row[0] == "video"):
        begin.setdefault(stream, int(dts))
        now[stream] = int(dts) - begin[stream]
        worst = max(worst, max(now.values()) - min(now.values()))
    assert len(now) == 2 and worst <= 90000 // 5, f"{worst / 90000} s apart"
    assert len(pictures("out.ts", 0)) == len(pictures("out.ts", 1)) == 75


@pytest.mark.parametrize("scheme, header", [("udp", 0), ("rtp", 12)])
def test_datagrams_are_torn(stamp_encoder, in_ts, scheme, header):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as receiver:
        receiver.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        receiver.bind(("127.0.0.1", 0))
        receiver.settimeout(0.2)
        run = stamp_encoder.start("--preset", "ultrafast", "--bitrate", 300, in_ts, in_ts, "--realtime", "-o",
                                  f"{scheme}://127.0.0.1:{receiver.getsockname()[1]}")
        got = []

        def received():
            try:
                while True:
                    got.append(receiver.recv(65536))
            except TimeoutError:
                return not run.alive()
        wait_for(received)
    run.ended(0)
    sizes = collections.Counter(map(len, got[:-1]))
    assert set(sizes) == {1316 + header}, sizes
    if header:
        numbers = [int.from_bytes(each[2:4], "big") for each in got]
        assert {each[0] for each in got} == {0x80} and {each[1] & 0x7F for each in got} == {33}
        assert all((after - before) % 65536 == 1 for before, after in zip(numbers, numbers[1:]))
    received_ts = in_ts.with_name("received.ts")
    received_ts.write_bytes(b"".join(each[header:] for each in got))
    assert len(pictures(received_ts, 0)) == len(pictures(received_ts, 1)) == 75


def test_a_lost_packet_costs_the_stamp_before_it(code, in_ts):
    """One packet is lost behind the first of every fifth picture; in one of them, a bit of the stamp is turned too."""
    kept, picture, place = [], -1, 0
    for packet in ts_packets(in_ts):
        if pid(packet) == VIDEO:
            picture, place = (picture + 1, 0) if packet[1] & 0x40 else (picture, place + 1)
            if picture % 5 == 4 and place == 4:
                continue
            if picture == 54 and b"MISPmicrosectime" in packet:
                packet[packet.find(b"MISPmicrosectime") + 21] ^= 0x10  # some thousand seconds
        kept.append(packet)
    in_ts.write_bytes(b"".join(kept))
    run = code(in_ts)
    rows = table("table.csv")
    assert run.claimed(what="packets damaged on their way") >= 15
    assert [row.utc for row in rows].count("-") == run.claimed(what="that were not believed") == 1
    assert all(abs(int(row.utc) - 1767261600000000 - (int(row.pts) - 900000) * 100 // 9) < 1000
               for row in rows if row.utc != "-")


def slices(file):
    """The NAL units that hold pictures, as their bytes stand in the file."""
    codec = tool("ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "stream=codec_name",
                 "-of", "csv=p=0", file).split()[0].strip(",")
    tool("ffmpeg", "-v", "error", "-y", "-i", file, "-map", "0:v:0", "-c", "copy", "-f", codec, "bare")
    kinds = range(32) if codec == "hevc" else range(1, 6)
    units = [unit.rstrip(b"\0") for unit in Path("bare").read_bytes().split(b"\0\0\1")[1:]]
    return [unit for unit in units if (unit[0] >> 1 & 63 if codec == "hevc" else unit[0] & 31) in kinds]


def decoded(file):
    text = tool("ffmpeg", "-v", "error", "-i", file, "-map", "0:v:0", "-f", "framemd5", "-")
    return [line.split(",")[-1] for line in text.splitlines() if not line.startswith("#")]


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
def test_copying_changes_pictures_or_doubles_their_times(code, tmp_path, made, file, timecodes):
    tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=1.2",
         *made.split(), file)
    first = code("--copy", "--source", "system", file).ended(0)
    assert first.claimed(what="with their time") == 30
    again = code("--copy", "--source", "system", "out.ts", output="again.ts").ended(0)
    assert (again.claimed(what="leave no place") if timecodes == 0 else 30) == 30
    for output in ("out.ts", "again.ts"):
        assert slices(output) == slices(file) and decoded(output) == decoded(file), output
        held = pictures(output)
        assert len(held) == 30 and all(picture.status == "9F" for picture in held), output
        frames = tool("ffprobe", "-v", "error", "-show_frames", output)
        assert frames.count("[TIMECODE]") == 30 * timecodes, output


def test_copying_moves_times_or_loses_pictures(code, in_ts):
    """At a step of the PTS, and where a damaged picture cannot be decoded."""
    broken, picture = [], -1
    for packet in ts_packets(in_ts):
        picture += pid(packet) == VIDEO and bool(packet[1] & 0x40)
        if picture == 40 and pid(packet) == VIDEO and not packet[1] & 0x40:
            packet[20:] = bytes(SIZE - 20)
        broken.append(packet)
    in_ts.write_bytes(in_ts.read_bytes() + b"".join(broken))
    run = code("--copy", in_ts).ended(0)
    assert run.claimed(what="steps") == 1 and run.claimed(what="without a time") <= 1
    assert slices("out.ts") == slices(in_ts) and decoded("out.ts") == decoded(in_ts)
    rows = [row for row in table("table.csv") if row.utc != "-"]
    assert len(rows) >= 148
    assert all(int(row.utc) - 1767261600000000 == (int(row.pts) - 900000) % 270000 * 100 // 9 for row in rows)


def test_copying_takes_what_it_cannot_do(code, in_ts):
    code("--copy", "--bframes", 1, in_ts).ended(1, "--copy codes nothing")
    tool("ffmpeg", "-v", "error", "-i", in_ts, "-t", 0.2, "-c:v", "mpeg2video", "mpeg2.ts")
    code("--copy", "mpeg2.ts").ended(2, "--copy writes into H.264 and HEVC")
