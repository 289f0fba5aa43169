"""Makes real runs of stamp-encoder fail: full disks, readers that stall or go away, inputs that vanish, signals.

After each: the exit code that --help promises, one line that names what failed, no run that hangs, and an output which
FFmpeg decodes without a complaint and which holds the pictures of the summary with the times of the table.

Two things nobody could tell: that a pipe or connection ended too early but between two packets, since a transport
stream has no mark at its end; and what a reader has of a picture inside which it went away. An end inside a packet is
looked for in packets of 188 bytes only, not in those of 192 and 204.
"""

import contextlib
import os
import re
import select
import shutil
import signal
import socket
import time
from pathlib import Path

import pytest
from running import HANG, INSIDE_A_PACKET, pictures, table, unstamped, whole
from streams import KLV_TYPES, Stream

DONE, BROKEN_INPUT, BROKEN_OUTPUT = 0, 2, 3  # exit codes
RATE = 25
ALL = 3 * RATE  # pictures of the recording
STALL = 2  # seconds for which a reader stalls
FULL, NO_ROOM = "/dev/full", "No space left on device"
TEN_ROWS = 1000  # bytes of a table, about
TRACE = {"TIMECODE_TRACE_LEVEL": "7"}

pytestmark = pytest.mark.usefixtures("in_ts")


@pytest.fixture
def silent_writer(beside, in_ts):
    """Writes the recording's first part into in.fifo and then nothing more."""
    os.mkfifo("in.fifo")
    return beside("sh", "-c", f"exec >in.fifo; head -c {INSIDE_A_PACKET} in.ts; exec sleep {10 * HANG}")


# Disks that are full

@pytest.mark.parametrize("inputs, files, message", [
    pytest.param(["in.ts"], {"output": FULL}, f"output '{FULL}': {NO_ROOM}", id="stream"),
    pytest.param(["in.ts", "in.ts"], {"output": FULL}, f"output '{FULL}': {NO_ROOM}", id="stream_of_two_inputs"),
    pytest.param(["in.ts"], {"csv": FULL}, f"table '{FULL}': {NO_ROOM}", id="table"),
    # One message, whichever fails first.
    pytest.param(["in.ts"], {"csv": FULL, "under": ["prlimit", "--fsize=1000"]}, "", id="stream_and_table"),
])
def test_device_without_room(code, inputs, files, message):
    code(*inputs, **files).ended(BROKEN_OUTPUT, message)


def test_one_of_two_streams_has_no_room(code):
    os.symlink(FULL, "out1.ts")
    run = code("in.ts", "in.ts", output="out%d.ts").ended(BROKEN_OUTPUT, f"output 'out1.ts': {NO_ROOM}")
    assert len(whole(run, "out2.ts", 2)) == ALL


@pytest.mark.parametrize("redirection, message", [(f">{FULL}", f"standard output: {NO_ROOM}"), (">&- 2>&-", None)])
def test_summary_has_no_room_or_no_stream(code, redirection, message):
    code("in.ts", under=["sh", "-c", f'exec "$@" {redirection}', "sh"]).ended(BROKEN_OUTPUT, message)
    assert pictures("out.ts") == table()
    assert len(table()) == ALL


# Room for a part of a picture or row, as on a disk: the limit on the size of a file.

def test_stream_reaches_the_largest_size_of_a_file(code):
    whole(code("in.ts", under=["prlimit", "--fsize=200000"]).ended(BROKEN_OUTPUT, "output 'out.ts': File too large"))


def test_table_reaches_the_largest_size_of_a_file(code):
    reader = Reader("stream.fifo")
    run = code("in.ts", output="stream.fifo", under=["prlimit", "--fsize=5120"])
    reader.read_into("out.ts", run)
    run.ended(BROKEN_OUTPUT, "table 'table.csv': File too large")
    assert set(whole(run, in_table=False)) >= set(table()) > set()


def test_generated_input_reaches_the_largest_size_of_a_file(stamp_encoder):
    run = stamp_encoder("--generate", "out.ts", "--duration", 3, under=["prlimit", "--fsize=200000"])
    run.ended(BROKEN_OUTPUT, "output 'out.ts': File too large")
    assert pictures("out.ts")


# Readers that stall or go away

class Reader:
    """Reads from a named pipe when told to. It is there before the writer, so that nobody waits for the other."""

    def __init__(self, name):
        os.mkfifo(name)
        self.pipe = os.fdopen(os.open(name, os.O_RDONLY | os.O_NONBLOCK), "rb", buffering=0)

    def waiting(self):
        return select.select([self.pipe], [], [], 0)[0]

    def read_into(self, name, run, size=None):
        """Copies this many bytes into a file, or all until the writer ends."""
        run.until(self.waiting, "the first byte")
        os.set_blocking(self.pipe.fileno(), True)
        with open(name, "ab") as copy:
            while size != 0 and (data := self.pipe.read(min(size or 65536, 65536))):
                size = size and size - len(data)
                copy.write(data)


@pytest.mark.parametrize("stalled, copy", [("output", "out.ts"), ("csv", "table.csv")])
def test_reader_stalls_and_goes_on(code, stalled, copy):
    reader = Reader("slow.fifo")
    run = code("in.ts", **{stalled: "slow.fifo"}).until(reader.waiting, "the first byte")
    time.sleep(STALL)
    reader.read_into(copy, run)
    assert len(whole(run.ended(DONE))) == ALL


@pytest.mark.parametrize("left, copy, size", [("output", "out.ts", 200000), ("csv", "table.csv", 3000)])
def test_reader_goes_away(code, left, copy, size):
    reader = Reader("left.fifo")
    run = code("in.ts", **{left: "left.fifo"})
    reader.read_into(copy, run, size)
    reader.pipe.close()
    run.ended(BROKEN_OUTPUT, "'left.fifo': Broken pipe")
    if left == "csv":
        whole(run, in_table=False)
    else:  # The reader left inside a picture; those before are right.
        held = pictures(copy, whole=False)
        assert len(held) > 10 and len(set(held) - set(table())) <= 1


def full_pipe():
    """One that is open to be read, but that nobody reads."""
    os.mkfifo("err.fifo")
    pipe = os.open("err.fifo", os.O_RDWR | os.O_NONBLOCK)
    with contextlib.suppress(BlockingIOError):
        while True:
            os.write(pipe, bytes(4096))
    os.set_blocking(pipe, True)
    return pipe


def left_pipe():
    ours, theirs = os.pipe()
    os.close(ours)
    return theirs


@pytest.mark.parametrize("opened", [lambda: os.open(FULL, os.O_WRONLY), full_pipe, left_pipe],
                         ids=["has_no_room", "is_not_read", "has_no_reader"])
def test_messages_and_trace_are_lost_but_no_picture(code, broken_pipe, opened):
    with open(opened(), "wb") as stderr:
        whole(code("-", env=TRACE, stdin=broken_pipe, stderr=stderr).ended(BROKEN_INPUT))


# Inputs that vanish

def until_size(run, least, file="table.csv"):
    """Waits until the file has so many bytes."""
    path = Path(file)
    return run.until(lambda: path.exists() and path.stat().st_size >= least, f"{least} bytes of {file}")


def broke_off(run, name, detail="", number=1):
    """What was read before is coded, and each picture of it brought a time stamp where no datagram can be lost."""
    run.ended(BROKEN_INPUT, f"input '{name}' broke off (what was read before is coded){detail}")
    whole(run, number=number, stream=number - 1)
    assert name.startswith("udp") or run.claimed(number) == run.claimed(number, "source 1")


def test_writer_of_a_pipe_is_killed(code, silent_writer):
    run = until_size(code("--source", 1, "in.fifo"), TEN_ROWS)
    silent_writer.kill()
    broke_off(run, "in.fifo")


def taken(protocol, port):
    """Whether a program listens there."""
    tables = [Path(f"/proc/net/{protocol}{version}") for version in ("", "6")]
    return any(f":{port:04X} " in table.read_text(encoding="ascii") for table in tables if table.exists())


@pytest.mark.parametrize("protocol, kind, options, closes", [
    pytest.param("tcp", socket.SOCK_STREAM, "listen=1", True, id="tcp_is_closed_inside_a_packet"),
    pytest.param("tcp", socket.SOCK_STREAM, "listen=1&timeout=1000000", False, id="tcp_falls_silent"),
    pytest.param("udp", socket.SOCK_DGRAM, "timeout=1000000", False, id="udp_falls_silent"),
])
def test_connection_ends(code, in_ts, protocol, kind, options, closes):
    with socket.socket(type=kind) as trial:
        trial.bind(("127.0.0.1", 0))
        port = trial.getsockname()[1]
    url = f"{protocol}://127.0.0.1:{port}?{options}"
    run = code(url).until(lambda: taken(protocol, port), "a listener")
    part = in_ts.read_bytes()[:INSIDE_A_PACKET]
    with socket.socket(type=kind) as sender:
        sender.connect(("127.0.0.1", port))
        for at in range(0, len(part), 1316):
            sender.send(part[at:at + 1316])
            time.sleep(0.001)  # a busy receiver loses what comes at once
        if closes:
            sender.close()
        broke_off(run, url)


def test_file_becomes_shorter_while_it_is_read(code):
    """Its reader holds the run up until the file has become shorter."""
    reader = Reader("stream.fifo")
    shutil.copy("in.ts", "shrinking.ts")
    run = code("shrinking.ts", output="stream.fifo")
    reader.read_into("out.ts", run, 50000)
    os.truncate("shrinking.ts", 0)
    reader.read_into("out.ts", run)
    broke_off(run, "shrinking.ts", ": the file has become shorter")


def test_one_of_two_inputs_breaks_off(code, broken_pipe):
    run = code("in.ts", "-", stdin=broken_pipe)
    broke_off(run, "-", number=2)
    assert len(whole(run, number=1, stream=0)) == ALL


def test_one_of_two_inputs_ends_early(code):
    run = code("in.ts", unstamped("short.ts")).ended(DONE)
    assert len(whole(run, number=1, stream=0)) == ALL
    assert len(whole(run, number=2, stream=1)) == RATE


def undecodable(stream):
    """The recording, then five times the same with slices of a type that there is not."""
    slices = re.compile(rb"(\x00\x00\x01[\x01\x21\x41\x61\x65])..", re.DOTALL)
    stream.packets += 5 * Stream(slices.sub(lambda each: each[1] + b"\x80\x01", stream.bytes())).packets


def klv_only(stream):
    """Less video than is looked into for the source."""
    stream.seconds(0, 1)
    stream.packets += 60000 * stream.starts_of(KLV_TYPES)[-1:]


@pytest.mark.parametrize("change, arguments", [(undecodable, ["--copy"]), (klv_only, [])])
def test_what_gets_no_picture_piles_up(code, piped, in_ts, change, arguments):
    stream = Stream(in_ts.read_bytes())
    change(stream)
    in_ts.write_bytes(stream.bytes())
    run = code("-", *arguments, stdin=piped("sh", "-c", f"cat in.ts; exec sleep {HANG}"))
    until_size(run, in_ts.stat().st_size // 2, "out.ts").stop().ended(DONE)


# Signals

@pytest.mark.parametrize("number, options", [(signal.SIGINT, ["--source", 1]), (signal.SIGTERM, [])],
                         ids=["while_it_is_coded", "while_its_source_is_looked_for"])
def test_signal_while_the_input_is_silent(code, silent_writer, number, options):
    """What has been read is coded; the source is looked for in the first two seconds."""
    run = code("in.fifo", *options)
    command = Path(f"/proc/{silent_writer.pid}/cmdline")
    run.until(lambda: command.read_bytes().startswith(b"sleep"), "a writer that has written all")
    assert len(whole(run.stop(number).ended(DONE))) > RATE


def test_sigterm_while_pictures_flow(code, stamp_encoder):
    """The writer of the input is left alone."""
    os.mkfifo("in.fifo")
    writer = stamp_encoder.start("--generate", "in.fifo", "--duration", 3600)
    whole(until_size(code("in.fifo"), TEN_ROWS).stop().ended(DONE))
    writer.ended(BROKEN_OUTPUT, "output 'in.fifo': Broken pipe")


def test_sigterm_while_an_input_is_generated(stamp_encoder):
    run = stamp_encoder.start("--generate", "out.ts", "--duration", 3600)
    until_size(run, 300000, "out.ts").stop().ended(DONE)
    assert f"stopped after {len(pictures('out.ts'))} pictures" in run.out


def test_sigterm_while_nobody_reads_the_stream(code):
    reader = Reader("stream.fifo")
    run = code("in.ts", output="stream.fifo").until(reader.waiting, "the first byte")
    run.stop().ended(BROKEN_OUTPUT, "output 'stream.fifo' takes no more data")


def test_sigint_before_the_inputs_have_come(code):
    """The second one is opened although the first one has not come."""
    os.mkfifo("in.fifo")
    os.mkfifo("second.fifo")
    writers = []

    def is_read():
        with contextlib.suppress(OSError):
            writers.append(os.open("second.fifo", os.O_WRONLY | os.O_NONBLOCK))
        return writers
    run = code("in.fifo", "second.fifo").until(is_read, "a reader of the second input")
    run.stop(signal.SIGINT).ended(DONE, "stopped before input '")
    os.close(writers[0])
    assert not Path("out.ts").exists()
