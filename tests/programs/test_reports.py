"""What stamp-encoder tells while it runs: to a person at a terminal, to a file or the journal, to a service."""

import os
import re
import shlex

import pytest
from running import tool
from streams import change

DONE = 0


@pytest.fixture
def stepped(in_ts):
    """The recording twice: a step of the PTS in the middle."""
    return change(in_ts, "stepped.ts", "join=in.ts")


def at_terminal(*command):
    """What a terminal shows that is both streams of the command."""
    return tool("script", "--quiet", "--return", "--command", shlex.join(map(str, command)), "/dev/null")


@pytest.mark.parametrize("interval, some", [(1, True), (0, False)])
def test_a_log_has_a_status_line_each_interval(code, in_ts, interval, some):
    run = code(in_ts, "--realtime", "--log-interval", interval).finish()
    lines = re.findall(r"^stamp-encoder: status: 1: \d+ pictures \d+/s,.* \d+ %, .*0 untimed, status 1F, "
                       r"2026-01-01T10:", run.err, re.MULTILINE)
    assert bool(lines) == some and len(lines) <= 5


@pytest.mark.parametrize("journal", [False, True])
def test_a_log_is_told_what_is_first_met(code, stepped, tmp_path, journal):
    log = tmp_path / "log"
    with open(log, "wb") as err:
        place = os.fstat(err.fileno())
        env = {"JOURNAL_STREAM": f"{place.st_dev}:{place.st_ino}"} if journal else {}
        run = code(stepped, stderr=err, env=env).ended(DONE)
    note = f"{'<5>' if journal else ''}stamp-encoder: note: input 1 '{stepped}': the PTS step"
    assert any(line.startswith(note) for line in log.read_text().splitlines())
    assert re.search(r"\([\d.]+ s, [1-9][\d.]* pictures/s\)", run.out)
    assert re.search(r"the library took [\d.]+ ms of [\d.]+ s of CPU time, [\d.]+ %", run.out)


def test_table_and_status_never_share_a_terminal(stamp_encoder, in_ts):
    command = [stamp_encoder.path, in_ts, "-o", "out.ts", "--realtime"]
    assert "/s, " in at_terminal(*command)
    shown = at_terminal(*command, "--csv", "-")
    assert "/s, " not in shown.partition("input 1 ")[0] and shown.count("TRUE,1,") == 75


def test_an_input_that_falls_silent_has_ended_when_asked_for(code, in_ts, beside):
    os.mkfifo("in.fifo")
    beside("sh", "-c", f"exec >in.fifo; head -c {in_ts.stat().st_size - 100} in.ts; exec sleep 600")
    run = code("in.fifo", "--end-after-silence", 1).ended(DONE)
    assert run.claimed() >= 74
    assert "note: input 1 'in.fifo': it has fallen silent" in run.err
