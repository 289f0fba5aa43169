"""What the tests of programs share. The programs come from the build directory that TIMECODE_BUILD names."""

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

pytest.register_assert_rewrite("running")
from running import INSIDE_A_PACKET, Program, tool

SOURCE = Path(__file__).resolve().parents[2]
# The README's program is the first block of C in it.
README_PROGRAM = re.search(r"^```c\n(.*?)^```", (SOURCE / "README.md").read_text(), re.MULTILINE | re.DOTALL)[1]
README_ANSWER = "1767225600000000 us, status 0x1F\n"


def install(build, *options, **variables):
    return subprocess.run(["cmake", "--install", build, *map(str, options)], env={**os.environ, **variables},
                          stdout=subprocess.DEVNULL, check=True)


def pkg_config(libraries, **variables):
    """What pkg-config has a program compiled and linked with, from what is installed beside these libraries."""
    answer = subprocess.run(["pkg-config", "--cflags", "--libs", "timecode"], stdout=subprocess.PIPE, check=True,
                            text=True, env={**os.environ, "PKG_CONFIG_PATH": libraries / "pkgconfig", **variables})
    return answer.stdout.split()


@pytest.fixture(scope="session")
def build():
    return Path(os.environ.get("TIMECODE_BUILD", SOURCE / "build/release")).resolve()


@pytest.fixture(scope="session")
def prefix(build, tmp_path_factory):
    """A folder of its own with everything installed. Not to be written to."""
    folder = tmp_path_factory.mktemp("prefix")
    install(build, "--prefix", folder)
    return folder


@pytest.fixture(scope="session")
def libraries(prefix):
    return next(prefix.rglob("libtimecode.so")).parent


@pytest.fixture
def folder(tmp_path, monkeypatch):
    """The test's own folder, which is the working directory of test and programs."""
    monkeypatch.chdir(tmp_path)
    return tmp_path


@pytest.fixture
def stamp_encoder(build, folder):
    with Program(build / "bin/stamp-encoder", folder) as program:
        yield program


@pytest.fixture
def stamp_report(build, folder):
    with Program(build / "bin/stamp-report", folder) as program:
        yield program


@pytest.fixture
def code(stamp_encoder):
    """Starts to code inputs into out.ts and table.csv, or into what is named."""
    def start(*inputs, output="out.ts", csv="table.csv", **options):
        fast = () if "--copy" in inputs else ("--preset", "ultrafast")
        return stamp_encoder.start(*fast, *inputs, "-o", output, "--csv", csv, **options)
    return start


@pytest.fixture
def beside():
    """Starts a command that goes on beside the program and is killed when the test ends."""
    started = []

    def start(*command, **options):
        started.append(subprocess.Popen([*map(str, command)], **options))
        return started[-1]

    yield start
    for process in started:
        process.kill()
        process.wait()


@pytest.fixture
def piped(beside):
    """Starts a command likewise; the pipe into which it writes."""
    return lambda *command: beside(*command, stdout=subprocess.PIPE).stdout


@pytest.fixture(scope="session")
def recording(build, tmp_path_factory):
    """3 s of generated video at 25 Hz, each picture with time stamps of all three kinds. Not to be written to."""
    path = tmp_path_factory.mktemp("recording") / "in.ts"
    tool(build / "bin/stamp-encoder", "--generate", path, "--duration", 3, "--rate", 25,
         "--start-utc", "2026-01-01T10:00:00Z")
    return path


@pytest.fixture
def in_ts(recording, folder):
    """The recording as `in.ts` in the test's own folder."""
    return Path(shutil.copy(recording, folder / "in.ts"))


@pytest.fixture
def broken_pipe(piped, in_ts):
    """A pipe with the recording's first part in it, which ends inside a packet, and then no writer any more."""
    return piped("head", "-c", INSIDE_A_PACKET, in_ts)
