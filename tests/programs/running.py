"""Runs the project's programs and looks at what they leave: exit code, messages, streams and tables."""

import csv
import os
import re
import signal
import subprocess
import time
from collections import namedtuple
from pathlib import Path

HANG = 60  # seconds that no run here needs, on the busiest machine
INSIDE_A_PACKET = 188 * 3500 + 77  # bytes of the recording, somewhere behind the middle
FELL_OVER = re.compile(r"terminate called|Sanitizer|runtime error|violated")
STAMP_UUID = "4d495350-6d69-6372-6f73-656374696d65|a8687dd4-d759-3758-a5ce-f0338b6545f1"  # ST 0604: H.264, HEVC

Picture = namedtuple("Picture", "pts utc status timecode")  # text of each; "-" for none


def wait_for(condition, what="what must happen", alive=lambda: True):
    """Waits until the condition holds, and fails when it does not come about."""
    end = time.monotonic() + HANG
    while not condition():
        assert alive(), f"ended before {what}"
        assert time.monotonic() < end, f"waited in vain for {what}"
        time.sleep(0.02)


class Run:
    """A run of a program, by another (`under`) if need be. Its streams are kept where no file is given for them."""

    def __init__(self, program, number, arguments, under=(), env=None,
                 stdin=subprocess.DEVNULL, stdout=None, stderr=None):
        self.name = program.path.name
        self.folder = program.folder
        self.kept = [self.folder / f"{self.name}{number}.{stream}" for stream in ("out", "err")]
        with open(self.kept[0], "wb") as out, open(self.kept[1], "wb") as err:
            self.process = subprocess.Popen(
                [*map(str, (*under, program.path, *arguments))], cwd=self.folder, env={**os.environ, **(env or {})},
                stdin=stdin, stdout=stdout or out, stderr=stderr or err)

    def kill(self):
        self.process.kill()
        self.process.wait()

    def alive(self):
        return self.process.poll() is None

    def until(self, condition, what="what must happen"):
        wait_for(condition, what, self.alive)
        return self

    def stop(self, number=signal.SIGTERM):
        self.process.send_signal(number)
        return self.finish()

    def finish(self):
        try:
            self.process.wait(HANG)
        except subprocess.TimeoutExpired:
            self.kill()
            raise AssertionError(f"{self.name} hangs: {self.err}") from None
        return self

    @property
    def code(self):
        return self.process.returncode

    @property
    def out(self):
        return self.kept[0].read_text(errors="replace")

    @property
    def err(self):
        return self.kept[1].read_text(errors="replace")

    @property
    def messages(self):
        """The program's errors on its standard error. Notes and FFmpeg's words may stand beside them."""
        own = [line for line in self.err.splitlines() if line.startswith(f"{self.name}: ")]
        return [line for line in own if not line.startswith(tuple(f"{self.name}: {by}: " for by in ("FFmpeg", "note")))]

    def ended(self, code, message=None):
        """Ended by itself with this exit code, and with one message that has this text in it, or with none."""
        self.finish()
        assert self.code == code, f"exit code {self.code} instead of {code}:\n{self.err}"
        assert not FELL_OVER.search(self.err), self.err
        assert len(self.messages) == (message is not None), self.err
        assert message is None or message in self.messages[0], self.err
        return self

    def claimed(self, number=1, what="pictures coded"):
        """What the summary says of an input."""
        summary = (self.out + self.err).partition(f"input {number} '")[2]
        found = re.search(rf"^ *(\d+) .*{re.escape(what)}", summary, re.MULTILINE)
        assert found, f"no '{what}' of input {number} in the summary:\n{self.out}"
        return int(found[1])


class Program:
    """One of the project's programs, run in the test's folder. Call it for a whole run; `start` goes on beside it."""

    def __init__(self, path, folder):
        assert path.exists(), f"{path} has not been built"
        self.path, self.folder, self.runs = path, folder, []

    def start(self, *arguments, **options):
        self.runs.append(Run(self, len(self.runs), arguments, **options))
        return self.runs[-1]

    def __call__(self, *arguments, **options):
        return self.start(*arguments, **options).finish()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for run in self.runs:
            run.kill()


def tool(*command):
    """What a program that is not under test prints on both streams; it must succeed."""
    done = subprocess.run([*map(str, command)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=HANG, check=False, text=True, errors="replace")
    assert done.returncode == 0, done.stdout
    return done.stdout


def ffmpeg(*arguments):
    """Makes a file with FFmpeg. A text is parted at its blanks, a path is not."""
    words = [word for each in arguments for word in (each.split() if isinstance(each, str) else [each])]
    tool("ffmpeg", "-nostdin", "-v", "error", "-y", *words)


def unstamped(file, options="-c:v libx264 -preset ultrafast", size="320x240", rate=25, seconds=1):
    """A generated video in which no picture has a time stamp."""
    ffmpeg("-f lavfi -i", f"testsrc2=size={size}:rate={rate}:duration={seconds}", options, file)
    return file


def probed(file, entries):
    """The values that ffprobe finds of these entries, in rows; those of a program's stream come twice."""
    lines = tool("ffprobe", "-v", "error", "-show_entries", entries, "-of", "csv=p=0", file).splitlines()
    return [tuple(line.split(",")) for line in lines if line]


def hashes(file, streams, *options):
    """Stream, PTS and hash of each packet or decoded picture, each stream by itself."""
    text = tool("ffmpeg", "-v", "fatal", "-copyts", "-i", file, "-map", f"0:{streams}?", *options,
                "-f", "framehash", "-hash", "md5", "-")
    found = [re.split(r", *", line) for line in text.splitlines() if not line.startswith("#")]
    return sorted(((int(row[0]), int(row[2]), row[5]) for row in found), key=lambda row: row[0])


def pictures(file, stream=0, whole=True):
    """The pictures of a video stream as FFmpeg decodes them, sorted; a whole stream gives it no cause to complain."""
    # One thread, so that no complaint falls into the middle of another line.
    log = tool("ffmpeg", "-nostdin", "-nostats", "-hide_banner", "-v", "level+info", "-threads", 1, "-copyts",
               "-i", file, "-map", f"0:v:{stream}", "-vf", "showinfo", "-f", "null", "-")
    # The end of a file is searched for durations, and a stream that is announced may be silent: no fault of the stream.
    complaints = [line for line in log.splitlines() if re.search(r"\[(warning|error|fatal|panic)\]", line)
                  and not re.search("duration not set|start time for stream . is not set", line)]
    assert not whole or not complaints, complaints
    return sorted(map(_picture, re.split(r" n: *\d+ pts: *(?=\d)", log)[1:]))


def _picture(text):
    pts = text.split()[0]
    stamp = re.search(rf"UUID=(?:{STAMP_UUID})\n.*User Data=(\w+)", text)
    timecode = re.search(r"side data - timecode - (\S+)", text)
    utc = status = "-"
    if stamp:  # a status byte, then four pairs of bytes with 0xff between them
        digits = stamp[1]
        status = digits[0:2].upper()
        utc = str(int("".join(digits[at:at + 4] for at in (2, 8, 14, 20)), 16))
    return Picture(pts, utc, status, timecode[1] if timecode else "-")


def rows(file="table.csv"):
    """The rows of a table that does not end inside one."""
    text = Path(file).read_text(encoding="ascii")
    assert text.endswith("\n"), "the table ends inside a row"
    names, *lines = csv.reader(text.splitlines())
    assert {len(line) for line in lines} <= {len(names)}, "a row is cut short"
    return [dict(zip(names, line)) for line in lines]


def table(file="table.csv", number=1):
    """The rows of an input as pictures, sorted."""
    return sorted(Picture(row["pts"], row["utc_us"] or "-", row["status"].removeprefix("0x") or "-",
                          row["stream_timecode"] or "-") for row in rows(file) if row["input"] == str(number))


def whole(run, file="out.ts", number=1, stream=0, in_table=True):
    """An output that can be read to its end, with as many pictures as the summary claims and the times of the table."""
    held = pictures(file, stream)
    assert held, f"no picture in {file}"
    assert len(held) == run.claimed(number), "pictures in the stream and in the summary"
    assert not in_table or held == table(number=number)
    return held
