"""Gives stamp-report recordings with known faults, made by changing bytes of a sound one, and looks at what it says."""

import json
import os
import random
import re
import signal
import struct
from pathlib import Path

import pytest
from running import FELL_OVER, unstamped
from streams import SIZE, change

SOUND, NOTHING, UNUSABLE, SUSPICIOUS = 0, 1, 2, 3  # exit codes
ALL = 75  # pictures of the recording
PERIOD = 40_000  # microseconds between them
# Where a time stamp begins and how many bytes it has.
STAMPS = {"high-precision": (b"MISPmicrosectime", 28),
          "lds": (bytes.fromhex("060E2B34020B01010E01030101000000"), 34)}
SET_UTC = slice(19, 27)  # in a local set


class Recording(bytearray):
    def places(self, source):
        """Where time stamps begin that lie in one packet of the stream."""
        pattern, size = STAMPS[source]
        found = (match.start() for match in re.finditer(re.escape(pattern), self))
        return [at for at in found if at // SIZE == (at + size - 1) // SIZE]

    def change_utc(self, change):
        """Gives each local set the time that `change` makes of its number and its time, and the right checksum."""
        places = self.places("lds")
        assert len(places) == ALL
        for number, at in enumerate(places):
            local_set = self[at:at + STAMPS["lds"][1]]
            utc, = struct.unpack(">q", local_set[SET_UTC])
            local_set[SET_UTC] = struct.pack(">q", change(number, utc))
            words = struct.unpack(">16H", local_set[:-2])
            local_set[-2:] = struct.pack(">H", sum(words) & 0xFFFF)
            self[at:at + len(local_set)] = local_set


@pytest.fixture
def data(recording):
    return Recording(recording.read_bytes())


@pytest.fixture
def report(stamp_report):
    """The report on a recording, which is changed first, as JSON, with the exit code that it must end with."""
    def run(data, code, *operations):
        Path("changed.ts").write_bytes(data)
        change("changed.ts", "changed.ts", *operations)
        stamp_report("changed.ts", "--json", "report.json").ended(code)
        return json.loads(Path("report.json").read_text())
    return run


def of(report, source):
    found = [each for each in report["sources"] if each["source"] == source]
    assert len(found) == 1, report["sources"]
    return found[0]


def holds(what, expected):
    assert {key: what[key] for key in expected} == expected


GOOD = {"count": ALL, "coverage": 1, "gaps": [], "steps_back": 0, "jumps": 0, "repeated": 0, "absurd": 0,
        "malformed": 0}


def test_a_sound_recording_is_said_to_be_sound(data, report):
    found = report(data, SOUND)
    for source in ("high-precision", "lds"):
        series = of(found, source)
        holds(series, GOOD)
        assert abs(series["drift_ppm"]) < 0.1 and series["jitter_peak_us"] < 1
        assert series["rate_hz"] == pytest.approx(25)
        holds(series["first"], {"pts": 900000, "utc": "2026-01-01T10:00:00.000000Z"})
        holds(series["last"], {"pts": 900000 + 74 * 3600, "utc": "2026-01-01T10:00:02.960000Z"})
    assert of(found, "high-precision")["status_bytes"] == {"0x1F": ALL}
    assert of(found, "vitc")["first"]["timecode"] == "10:00:00:00"
    pair = [each for each in found["agreements"] if (each["first"], each["second"]) == ("high-precision", "lds")][0]
    holds(pair, {"compared": ALL, "offset_us": 0, "peak_us": 0})


def late(number):
    return number >= ALL // 2


@pytest.mark.parametrize("fault, expected, drift", [
    (lambda n, utc: utc - 10_000_000 * late(n), {"steps_back": 1, "jumps": 0}, 0),
    (lambda n, utc: utc + 10_000_000 * late(n), {"steps_back": 0, "jumps": 1}, 0),
    (lambda n, utc: utc - PERIOD * (n == 20), {"repeated": 1, "steps_back": 0}, None),
    (lambda n, utc: utc + 40 * n, {"steps_back": 0, "jumps": 0}, 1000),
    (lambda n, utc: -2 ** 63 + 1000 * utc if n % 7 == 0 else 2 ** 63 - 1 - n, {"absurd": ALL}, None),
    (lambda n, utc: random.Random(n).randrange(-2 ** 63, 2 ** 63), {"count": ALL}, None),
    (lambda n, utc: utc // 1000, {"absurd": ALL}, None),
    (lambda n, utc: utc // 1000, {"absurd": ALL, "without_place": ALL}, None),
], ids=["step back", "jump", "repeat", "drift", "extremes", "noise", "milliseconds", "without place"])
def test_a_fault_of_the_time_is_counted(data, report, fault, expected, drift):
    data.change_utc(fault)
    series = of(report(data, SUSPICIOUS, *["strip-video=0"] * ("without_place" in expected)), "lds")
    holds(series, expected)
    assert drift is None or series["drift_ppm"] == pytest.approx(drift, abs=0.5)


@pytest.mark.parametrize("source, offset, reasons, status", [
    ("high-precision", 16, [], {"0x1F": ALL - 1, "0x9F": 1}),
    ("high-precision", 19, ["a separator that is not 0xFF"], {"0x1F": ALL - 1}),
    ("lds", 33, ["a wrong checksum"], {}),
    ("lds", 18, ["a length that runs past the set, or none"], {}),
    ("lds", 16, ["a length that runs past the set, or none"], {}),
], ids=["status byte", "separator", "checksum", "item's length", "set's length"])
def test_a_malformed_time_stamp_is_told_with_its_reason(data, report, source, offset, reasons, status):
    data[data.places(source)[10] + offset] ^= 0x80
    series = of(report(data, SUSPICIOUS), source)
    assert [each["reason"] for each in series["malformed_reasons"]] == reasons
    assert series["status_bytes"] == status
    holds(series, {"count": ALL - len(reasons), "malformed": len(reasons)})
    assert len(series["gaps"]) == len(reasons)
    for each in series["malformed_reasons"]:
        assert each["first_byte"] > 0 and each["first_seconds"] > 0


@pytest.mark.parametrize("operations, sources, taken", [
    pytest.param([], ["high-precision", "lds", "vitc"], "high-precision", id="all"),
    pytest.param(["hide-stamps"], ["lds", "vitc"], "lds", id="no_SEI"),
    pytest.param(["hide-stamps", "thin-klv=5"], ["lds", "vitc"], "lds", id="sets_at_their_own_rate"),
    pytest.param(["hide-stamps", "thin-klv=0"], ["vitc"], "vitc", id="neither"),
])
def test_report_and_encoder_choose_the_best_source(data, report, code, operations, sources, taken):
    found = report(data, SOUND, *operations)
    assert sorted(each["source"] for each in found["sources"]) == sources
    assert found["inputs"][0]["take"] == f"--source {taken}" + " --timecode vitc" * (taken == "vitc")
    if "thin-klv=5" in operations:
        holds(of(found, "lds"), {"count": ALL / 5, "gaps": [], "coverage": 0.2, "coverage_moved": 1})
    run = code("changed.ts").ended(SOUND)
    assert f"--source {taken} is taken" in run.err
    assert run.claimed() == ALL and run.claimed(what="with their time") == ALL


def test_local_sets_without_a_pts_take_that_of_the_picture_behind_them(data, report):
    # They are sent in display order, so beside B pictures they come out of order.
    found = report(data, SUSPICIOUS, "strip-klv")
    series = of(found, "lds")
    holds(series, {"count": ALL, "without_pts": ALL, "without_place": 0, "gaps": []})
    assert "drift" not in str(found["inputs"][0]["suspicions"])


def test_timecode_in_sei_is_read_without_decoding(recording, stamp_encoder, report):
    stamp_encoder(recording, "-o", "stamped.ts").ended(SOUND)
    series = of(report(Path("stamped.ts").read_bytes(), SOUND), "smpte12m")
    holds(series, GOOD)
    holds(series["last"], {"timecode": "10:00:02:24"})


def test_sets_before_the_first_pts_pile_up(data, report):
    series = of(report(data, SUSPICIOUS, "repeat-klv=40:0", "strip-video=0:70"), "lds")
    assert series["count"] == 40 * ALL and series["without_place"] > 20 * ALL


def test_joined_recordings_are_two_stretches(data, report):
    found = report(data + data, SUSPICIOUS)
    holds(found["inputs"][0], {"pts_steps": 1, "pictures": 2 * ALL})
    series = of(found, "lds")
    assert series["count"] >= 2 * ALL - 2 and abs(series["drift_ppm"]) < 0.1


def test_damaged_recordings_are_reported_on(recording, stamp_report):
    whole = recording.read_bytes()
    for seed in range(12):
        chance = random.Random(seed)
        damaged = bytearray(whole[:chance.randrange(len(whole))])
        for _ in range(chance.choice([0, 20, 2000]) if damaged else 0):
            damaged[chance.randrange(len(damaged))] = chance.randrange(256)
        Path("damaged.ts").write_bytes(damaged)
        run = stamp_report("damaged.ts", "--json", "report.json")
        assert run.code in (SOUND, NOTHING, UNUSABLE, SUSPICIOUS) and not FELL_OVER.search(run.err), run.err
        assert json.loads(Path("report.json").read_text())["exit_code"] == run.code


def test_a_pipe_that_breaks_off_is_reported_with_what_was_read(broken_pipe, stamp_report):
    run = stamp_report("-", stdin=broken_pipe).ended(SUSPICIOUS)
    assert "broke off" in run.out and "time stamps" in run.out


def test_ctrl_c_ends_a_silent_input_with_a_report(data, stamp_report):
    os.mkfifo("live")
    run = stamp_report.start("live")
    with open("live", "wb") as live:
        live.write(data)  # more than a pipe holds, so the most of it is read by then
        run.stop(signal.SIGINT)
    # There is a report of it, or FFmpeg was still looking into what the stream is.
    assert run.code in (SOUND, UNUSABLE, SUSPICIOUS), run.err


def test_a_video_without_time_stamps_has_none(stamp_report):
    assert "no time stamp was found" in stamp_report(unstamped("plain.ts")).ended(NOTHING).out


@pytest.mark.parametrize("arguments, message", [
    ([], "INPUT"),
    (["in.ts", "--plot", "plot.jpg"], ".png or .svg"),
    (["file:in.ts", "--csv", "in.ts"], "is an input"),
    (["in.ts", "--json", "a", "--csv", "./a"], "both"),
    (["in.ts", "--json", "/dev/full"], "cannot write"),
    (["in.ts", "--plot", "no/such/folder.png"], "gnuplot"),
    (["in.ts", "--duration", "x"], "--duration"),
], ids=str)
def test_what_cannot_be_done_is_said(in_ts, stamp_report, arguments, message):
    kept = in_ts.read_bytes()
    run = stamp_report(*arguments)
    assert message in run.err and run.code == UNUSABLE
    assert in_ts.read_bytes() == kept


def test_one_unusable_input_does_not_keep_the_others_from_being_reported(in_ts, stamp_report):
    in_ts.with_name("text.ts").write_text("no video\n" * 100)
    run = stamp_report("text.ts", "missing.ts", "in.ts", "--json", "-").ended(UNUSABLE)
    found = json.loads(run.out)
    assert [each["exit_code"] for each in found["inputs"]] == [UNUSABLE, UNUSABLE, SOUND]
    assert {each["input"] for each in found["sources"]} == {"in.ts"}


def test_table_and_plots_hold_the_time_stamps(in_ts, stamp_report):
    stamp_report("in.ts", "--csv", "table.csv", "--plot", "it's.png").ended(SOUND)
    stamp_report("in.ts", "--plot", "plot.svg", "--duration", 1).ended(SOUND)
    rows = Path("table.csv").read_text().splitlines()
    assert '"in.ts",lds,1,903600,0.040000,1767261600040000,2026-01-01T10:00:00.040000Z,,,0.0' in rows
    assert sum(",high-precision," in row for row in rows) == ALL
    assert Path("it's.png").read_bytes().startswith(b"\x89PNG")
    assert "high-precision" in Path("plot.svg").read_text()


def test_the_encoder_says_why_no_picture_has_a_time(in_ts, code):
    run = code(change(in_ts, "changed.ts", "hide-stamps"), "--source", 1).ended(SOUND)
    assert run.claimed(what="with their time") == 0
    assert "no picture has a time" in run.out and "--source lds" in run.out
