"""What the tests of programs share. The programs come from the build directory that TIMECODE_BUILD names."""

import os
import re
import shutil
import subprocess
from pathlib import Path

import pytest

pytest.register_assert_rewrite("running")
from running import Program, tool

SOURCE = Path(__file__).resolve().parents[2]
# The README's program is the first block of C in it.
README_PROGRAM = re.search(r"^```c\n(.*?)^```", (SOURCE / "README.md").read_text(), re.MULTILINE | re.DOTALL)[1]
README_ANSWER = "1767225600000000 us, status 0x1F\n"


def install(build, *options, **variables):
    return subprocess.run(["cmake", "--install", build, *map(str, options)], env={**os.environ, **variables},
                          stdout=subprocess.DEVNULL, check=True)


@pytest.fixture(scope="session")
def source():
    """The project's own folder."""
    return SOURCE


@pytest.fixture(scope="session")
def build():
    return Path(os.environ.get("TIMECODE_BUILD", SOURCE / "build/release")).resolve()


@pytest.fixture
def program(build, tmp_path, monkeypatch):
    """Gives a program of the build by its name. The test's own folder is the working directory of both."""
    monkeypatch.chdir(tmp_path)
    given = []

    def named(name):
        given.append(Program(build / "bin" / name, tmp_path))
        return given[-1]

    yield named
    for each in given:
        each.quit()


@pytest.fixture
def stamp_encoder(program):
    return program("stamp-encoder")


@pytest.fixture
def stamp_report(program):
    return program("stamp-report")


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


@pytest.fixture(scope="session")
def recording(build, tmp_path_factory):
    """3 s of generated video at 25 Hz, each picture with time stamps of all three kinds. Not to be written to."""
    path = tmp_path_factory.mktemp("recording") / "in.ts"
    tool(build / "bin/stamp-encoder", "--generate", path, "--duration", 3, "--rate", 25,
         "--start-utc", "2026-01-01T10:00:00Z")
    return path


@pytest.fixture
def in_ts(recording, tmp_path):
    """The recording as `in.ts` in the test's own folder."""
    return Path(shutil.copy(recording, tmp_path))
