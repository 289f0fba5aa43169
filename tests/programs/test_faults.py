"""Makes real runs of stamp-encoder fail: full disks, readers that stall or go away, inputs that vanish, signals.

After each: the exit code that --help promises, one line that names what failed, no run that hangs, and an output which
FFmpeg decodes without a complaint and which holds the pictures of the summary with the times of the table.

Two things nobody could tell: that a pipe or connection ended too early but between two packets, since a transport
stream has no mark at its end; and what a reader has of a picture inside which it went away. An end inside a packet is
looked for in packets of 188 bytes only, not in those of 192 and 204.
"""

import contextlib
import fcntl
import os
import re
import shutil
import signal
import socket
import struct
import subprocess
import termios
import time
from pathlib import Path

import pytest
from running import HANG, pictures, table, whole
from streams import KLV_TYPES, Stream

DONE, BROKEN_INPUT, BROKEN_OUTPUT = 0, 2, 3  # exit codes
RATE = 25
ALL = 3 * RATE  # pictures of the recording
INSIDE_A_PACKET = 188 * 3500 + 77  # bytes, somewhere behind the middle
STALL = 2  # seconds for which a reader stalls
NO_ROOM = "No space left on device"
TRACE = {"TIMECODE_TRACE_LEVEL": "7"}


@pytest.fixture
def code(stamp_encoder, in_ts):
    """Starts to code inputs into out.ts and table.csv, or into what is named."""
    def start(*inputs, output="out.ts", csv="table.csv", **options):
        fast = () if "--copy" in inputs else ("--preset", "ultrafast")
        return stamp_encoder.start(*fast, *inputs, "-o", output, "--csv", csv, **options)
    return start


@pytest.fixture
def broken_off(in_ts):
    """The recording's first part, which ends inside a packet."""
    return in_ts.read_bytes()[:INSIDE_A_PACKET]


@pytest.fixture
def broken_pipe(beside):
    """A pipe with that part in it, and no writer any more when it has been read."""
    return beside("head", "-c", INSIDE_A_PACKET, "in.ts", stdout=subprocess.PIPE).stdout


@pytest.fixture
def silent_writer(beside, in_ts):
    """Writes that part into in.fifo and then nothing more."""
    os.mkfifo("in.fifo")
    return beside("sh", "-c", f"exec >in.fifo; head -c {INSIDE_A_PACKET} in.ts; exec sleep {10 * HANG}")


# Disks that are full

@pytest.mark.parametrize("inputs, files, message", [
    pytest.param(["in.ts"], {"output": "/dev/full"}, "output '/dev/full'", id="stream"),
    pytest.param(["in.ts", "in.ts"], {"output": "/dev/full"}, "output '/dev/full'", id="stream_of_two_inputs"),
    pytest.param(["in.ts"], {"csv": "/dev/full"}, "table '/dev/full'", id="table"),
])
def test_device_without_room(code, inputs, files, message):
    code(*inputs, **files).ended(BROKEN_OUTPUT, f"{message}: {NO_ROOM}")


def test_one_of_two_streams_has_no_room(code):
    os.symlink("/dev/full", "out1.ts")
    run = code("in.ts", "in.ts", output="out%d.ts").ended(BROKEN_OUTPUT, f"output 'out1.ts': {NO_ROOM}")
    assert len(whole(run, "out2.ts", 2)) == ALL


def test_summary_has_no_room(code):
    with open("/dev/full", "wb") as full:
        code("in.ts", stdout=full).ended(BROKEN_OUTPUT, f"standard output: {NO_ROOM}")
    assert len(pictures("out.ts")) == ALL
    assert pictures("out.ts") == table("table.csv")


def test_messages_and_trace_have_no_room(code):
    with open("/dev/full", "wb") as full:
        whole(code("in.ts", env=TRACE, stderr=full).ended(DONE), "out.ts")


# Room for a part of a picture or row, as on a disk: the limit on the size of a file.

def test_stream_reaches_the_largest_size_of_a_file(code):
    run = code("in.ts", under=["prlimit", "--fsize=512000"]).ended(BROKEN_OUTPUT, "output 'out.ts': File too large")
    whole(run, "out.ts")


def test_table_reaches_the_largest_size_of_a_file(code, beside):
    os.mkfifo("stream.fifo")
    with open("out.ts", "wb") as out:
        reader = beside("cat", "stream.fifo", stdout=out)
    run = code("in.ts", output="stream.fifo", under=["prlimit", "--fsize=5120"])
    run.ended(BROKEN_OUTPUT, "table 'table.csv': File too large")
    reader.wait(HANG)
    assert set(whole(run, "out.ts", rows=None)) >= set(table("table.csv")) > set()


def test_generated_input_reaches_the_largest_size_of_a_file(stamp_encoder):
    run = stamp_encoder("--generate", "out.ts", "--duration", 3, under=["prlimit", "--fsize=512000"])
    run.ended(BROKEN_OUTPUT, "output 'out.ts': File too large")
    assert pictures("out.ts")


def test_file_system_is_full(code):
    """A file system of one's own: as root of a name space where the kernel grants one, else as root."""
    os.mkdir("disk")
    mount = "mount -t tmpfs -o size=600k none disk"
    ways = [["unshare", option, "sh", "-c"] for option in ("-rm", "-m")]
    way = next((way for way in ways if subprocess.run([*way, mount], stderr=subprocess.DEVNULL).returncode == 0), None)
    if way is None:
        pytest.skip("no file system can be mounted here; the limit and the device stand for it")
    # It vanishes with the command, so what it holds is copied.
    script = f'{mount} && {{ "$@"; code=$?; cp disk/out.ts disk/table.csv .; exit $code; }}'
    run = code("in.ts", output="disk/out.ts", csv="disk/table.csv", under=[*way, script, "sh"])
    run.ended(BROKEN_OUTPUT, f": {NO_ROOM}")  # whichever of the two comes first
    assert set(whole(run, "out.ts", rows=None)) >= set(table("table.csv")) > set()


# Readers that stall or go away

class Reader:
    """Reads from a named pipe when told to. It is there before the writer, so that nobody waits for the other."""

    def __init__(self, name):
        os.mkfifo(name)
        self.pipe = os.fdopen(os.open(name, os.O_RDONLY | os.O_NONBLOCK), "rb", buffering=0)

    def waiting(self):
        return struct.unpack("i", fcntl.ioctl(self.pipe, termios.FIONREAD, bytes(4)))[0]

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
    run.ended(DONE)
    assert len(whole(run, "out.ts")) == ALL


def test_reader_of_the_stream_goes_away(code):
    reader = Reader("stream.fifo")
    run = code("in.ts", output="stream.fifo")
    reader.read_into("out.ts", run, 400000)
    reader.pipe.close()
    run.ended(BROKEN_OUTPUT, "output 'stream.fifo': Broken pipe")
    # The reader left inside a picture; those before are right.
    held = pictures("out.ts", whole=False)
    assert len(held) > 10
    assert len(set(held) - set(table("table.csv"))) <= 1


def test_reader_of_the_table_goes_away(code):
    reader = Reader("table.fifo")
    run = code("in.ts", csv="table.fifo")
    reader.read_into("table.csv", run, 3000)
    reader.pipe.close()
    run.ended(BROKEN_OUTPUT, "table 'table.fifo': Broken pipe")
    whole(run, "out.ts", rows=None)


@pytest.fixture
def unread():
    """A named pipe that is open, but that nobody reads."""
    os.mkfifo("err.fifo")
    with open(os.open("err.fifo", os.O_RDWR), "wb", buffering=0) as pipe:
        yield pipe


def test_nobody_reads_the_trace(code, unread):
    whole(code("in.ts", env=TRACE, stderr=unread).ended(DONE), "out.ts")


def test_nobody_reads_the_messages_and_the_pipe_is_full(code, broken_pipe, unread):
    os.set_blocking(unread.fileno(), False)
    while unread.write(bytes(4096)):
        pass
    os.set_blocking(unread.fileno(), True)
    whole(code("-", env=TRACE, stdin=broken_pipe, stderr=unread).ended(BROKEN_INPUT), "out.ts")


def test_reader_of_messages_and_trace_goes_away(code):
    ours, theirs = os.pipe()
    run = code("in.ts", env=TRACE, stderr=theirs)
    os.close(ours)
    os.close(theirs)
    whole(run.ended(DONE), "out.ts")


def test_no_standard_output_and_no_standard_error(code):
    code("in.ts", under=["sh", "-c", 'exec "$@" >&- 2>&-', "sh"]).ended(BROKEN_OUTPUT)
    assert pictures("out.ts") == table("table.csv")


# Inputs that vanish

def until_rows(run, count):
    """Waits until the table has them."""
    path = run.folder / "table.csv"
    return run.until(lambda: path.exists() and path.read_bytes().count(b"\n") > count, f"row {count}")


def broke_off(run, name, detail=""):
    """What was read before is coded."""
    run.ended(BROKEN_INPUT, f"input '{name}' broke off (what was read before is coded){detail}")
    whole(run, "out.ts")


def all_read_is_coded(run, number=1):
    """Every picture brought a time stamp."""
    assert run.claimed(number) == run.claimed(number, "source 1")


def test_writer_of_a_pipe_ends_inside_a_packet(code, broken_pipe):
    run = code("-", stdin=broken_pipe)
    broke_off(run, "-")
    all_read_is_coded(run)


def test_writer_of_a_pipe_is_killed(code, silent_writer):
    run = until_rows(code("--source", 1, "in.fifo"), 10)
    silent_writer.kill()
    broke_off(run, "in.fifo")
    all_read_is_coded(run)


def port_for(kind):
    """One that is free now."""
    with socket.socket(type=kind) as trial:
        trial.bind(("127.0.0.1", 0))
        return trial.getsockname()[1]


def taken(protocol, port):
    """Whether a program listens there."""
    tables = [Path(f"/proc/net/{protocol}{version}") for version in ("", "6")]
    return any(f":{port:04X} " in table.read_text(encoding="ascii") for table in tables if table.exists())


@pytest.mark.parametrize("options, closes", [("listen=1", True), ("listen=1&timeout=1000000", False)],
                         ids=["is_closed_inside_a_packet", "falls_silent"])
def test_tcp_connection(code, broken_off, options, closes):
    port = port_for(socket.SOCK_STREAM)
    url = f"tcp://127.0.0.1:{port}?{options}"
    run = code(url).until(lambda: taken("tcp", port), "a listener")
    with socket.create_connection(("127.0.0.1", port), HANG) as connection:
        connection.sendall(broken_off)
        if closes:
            connection.close()
        broke_off(run, url)
    all_read_is_coded(run)


def test_udp_falls_silent(code, in_ts):
    port = port_for(socket.SOCK_DGRAM)
    url = f"udp://127.0.0.1:{port}?timeout=1000000"
    run = code(url).until(lambda: taken("udp", port), "a listener")
    stream = in_ts.read_bytes()[:12 * 50 * 1316]
    with socket.socket(type=socket.SOCK_DGRAM) as sender:
        sender.connect(("127.0.0.1", port))
        for at in range(0, len(stream), 1316):
            sender.send(stream[at:at + 1316])
            if at % (50 * 1316) == 0:
                time.sleep(0.05)  # a busy receiver loses what comes at once
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
    run = code("in.ts", "-", stdin=broken_pipe).ended(BROKEN_INPUT, "input '-' broke off")
    assert len(whole(run, "out.ts", 1, stream=0)) == ALL
    whole(run, "out.ts", 2, stream=1)
    all_read_is_coded(run, 2)


def test_one_of_two_inputs_ends_early(code, stamp_encoder):
    stamp_encoder("--generate", "short.ts", "--duration", 1, "--rate", RATE).ended(DONE)
    run = code("in.ts", "short.ts").ended(DONE)
    assert len(whole(run, "out.ts", 1, stream=0)) == ALL
    assert len(whole(run, "out.ts", 2, stream=1)) == RATE


def undecodable(stream):
    """The recording, then five times the same with slices of a type that there is not."""
    slices = re.compile(rb"(\x00\x00\x01[\x01\x21\x41\x61\x65])..", re.DOTALL)
    stream.packets += 5 * Stream(slices.sub(lambda each: each[1] + b"\x80\x01", stream.bytes())).packets


def klv_only(stream):
    """Less video than is looked into for the source."""
    stream.seconds("0:1")
    stream.packets += 60000 * stream.starts_of(KLV_TYPES)[-1:]


@pytest.mark.parametrize("change, arguments", [(undecodable, ["--copy"]), (klv_only, [])])
def test_what_gets_no_picture_piles_up(code, beside, in_ts, change, arguments):
    stream = Stream(in_ts.read_bytes())
    change(stream)
    in_ts.write_bytes(stream.bytes())
    live = beside("sh", "-c", f"cat in.ts; exec sleep {HANG}", stdout=subprocess.PIPE).stdout
    out = Path("out.ts")
    run = code("-", *arguments, stdin=live)
    run.until(lambda: out.exists() and out.stat().st_size > in_ts.stat().st_size / 2, "output without pictures")
    run.process.terminate()
    run.ended(DONE)


# Signals

@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_signal_while_the_input_is_silent(code, silent_writer, number):
    run = until_rows(code("--source", 1, "in.fifo"), 10)
    run.process.send_signal(number)
    whole(run.ended(DONE), "out.ts")


def test_signal_while_the_source_is_looked_for(code, silent_writer):
    """What has been read of an input that falls silent within two seconds is coded."""
    run = code("in.fifo")
    command = Path(f"/proc/{silent_writer.pid}/cmdline")
    run.until(lambda: command.read_bytes().startswith(b"sleep"), "a writer that has written all")
    run.process.terminate()
    assert len(whole(run.ended(DONE), "out.ts")) > RATE


def test_sigterm_while_pictures_flow(code, stamp_encoder):
    """The writer of the input is left alone."""
    os.mkfifo("in.fifo")
    writer = stamp_encoder.start("--generate", "in.fifo", "--duration", 3600)
    run = until_rows(code("in.fifo"), 10)
    run.process.terminate()
    whole(run.ended(DONE), "out.ts")
    writer.ended(BROKEN_OUTPUT, "output 'in.fifo': Broken pipe")


def test_sigterm_while_an_input_is_generated(stamp_encoder):
    run = stamp_encoder.start("--generate", "out.ts", "--duration", 3600)
    run.until(lambda: Path("out.ts").exists() and Path("out.ts").stat().st_size >= 300000, "300,000 bytes")
    run.process.terminate()
    run.ended(DONE)
    assert f"stopped after {len(pictures('out.ts'))} pictures" in run.out


def test_sigterm_while_nobody_reads_the_stream(code):
    reader = Reader("stream.fifo")
    run = until_rows(code("in.ts", output="stream.fifo"), 1)
    run.process.terminate()
    run.ended(BROKEN_OUTPUT, "output 'stream.fifo' takes no more data")
    reader.pipe.close()


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
    run.process.send_signal(signal.SIGINT)
    run.ended(DONE, "stopped before input '")
    os.close(writers[0])
    assert not Path("out.ts").exists()
