"""Codes streams as recordings are and looks at the time of every picture, as FFmpeg reads it from the output.

The streams are made of generated ones (streams.py): picture n was taken n picture periods after START, and PTS tell n.
"""

import csv
import re
from pathlib import Path

import pytest
from running import pictures, tool
from streams import change

DAY = "2024-05-01T"
START = 1714564800_000000  # 12:00:00 of that day
FIRST_PTS = 900000
RATE = 30
SECONDS = 4
ALL = RATE * SECONDS
SILENT = [f"--drop={source}:0-100" for source in (1, 2, 3)]
SETS_ONLY = SILENT[:2]
LIVE = ["--revision", 20116, "--bframes", 0, "--realtime"]


@pytest.fixture(scope="session")
def made(build, tmp_path_factory):
    """Generates an input with these options, once for each."""
    folder, known = tmp_path_factory.mktemp("made"), {}

    def make(*options, start="12:00:00", rate=RATE, duration=SECONDS):
        key = (options, start, rate, duration)
        if key not in known:
            known[key] = folder / f"{len(known)}.ts"
            tool(build / "bin/stamp-encoder", "--generate", known[key], "--rate", rate, "--duration", duration,
                 "--start-utc", f"{DAY}{start}Z", *options)
        return known[key]
    return make


@pytest.fixture
def coded(stamp_encoder):
    """Codes an input without a complaint; gives its run, and its pictures as they are shown."""
    def run(file, *arguments):
        done = stamp_encoder("--preset", "ultrafast", file, "-o", "out.ts", "--csv", "table.csv", *arguments)
        assert done.code == 0, done.err
        return done, sorted(pictures(done.folder / "out.ts"), key=lambda picture: int(picture.pts))
    return run


def errors_ms(shown, off_ms=0.0):
    """How far each picture's UTC lies from the true one."""
    return [(int(each.utc) - START - (int(each.pts) - FIRST_PTS) * 100 / 9) / 1000 + off_ms
            for each in shown if each.utc != "-"]


def flags(shown):
    return {picture.status for picture in shown if picture.utc != "-"}


def seconds_of_day(timecode):
    hours, minutes, seconds, frames = map(int, re.split("[:;]", timecode))
    return hours * 3600 + minutes * 60 + seconds + frames / RATE


def apart_from_utc(shown):
    """Frames between timecode and UTC of each picture that has both."""
    return [abs(seconds_of_day(each.timecode) - int(each.utc) / 1e6 % 86400) * RATE
            for each in shown if "-" not in (each.timecode, each.utc)]


# Local sets at their own rate

@pytest.mark.parametrize("changes, arguments, off_ms", [
    pytest.param(["thin-klv=6"], [], 0, id="five_a_second"),
    pytest.param(["thin-klv=6", "shift-klv=900"], [], 10, id="five_a_second_10_ms_late"),
    pytest.param(["thin-klv=6", "shift-klv=-900"], [], -10, id="five_a_second_10_ms_early"),
    pytest.param(["shift-klv=900"], [], 10, id="each_10_ms_late"),
    pytest.param(["thin-klv=6", "strip-klv"], [], 0, id="without_pts"),
    pytest.param(["strip-begin=20"], [], 0, id="beside_pictures_without_pts"),
    pytest.param(["repeat-klv=100:400000"], [], 0, id="with_ten_thousand_far_ahead"),
    pytest.param(["thin-klv=6", "late-klv=12"], [], 0, id="sent_after_their_pictures"),
    pytest.param(["thin-klv=6"], LIVE, 0, id="five_a_second_live"),
])
def test_local_sets_between_the_pictures(made, coded, changes, arguments, off_ms):
    _, shown = coded(change(made(*SETS_ONLY), "in.ts", *changes), "--source", 3, *arguments)
    assert len(shown) == ALL
    errors = errors_ms(shown, off_ms)
    assert len(errors) >= 0.98 * ALL
    assert max(map(abs, errors)) < 0.001, "moved by another distance than that of the PTS"
    assert flags(shown) == {"1F"}


@pytest.mark.parametrize("arguments, off_ms", [
    pytest.param(["--source", 3], 0, id="first"),
    pytest.param([], 0, id="found"),
    pytest.param(["--klv-stream", 2], 3600_000, id="chosen"),
])
def test_local_sets_of_two_streams_are_not_mixed(made, coded, tmp_path, arguments, off_ms):
    both = tmp_path / "both.ts"
    maps = [word for stream in ("0:v", "0:d", "1:d") for word in ("-map", stream)]
    tool("ffmpeg", "-v", "error", "-copyts", "-i", made(*SETS_ONLY), "-i", made(*SETS_ONLY, start="13:00:00"),
         *maps, "-c", "copy", "-muxdelay", 0, "-f", "mpegts", both)
    run, shown = coded(both, *arguments)
    errors = [error - off_ms for error in errors_ms(shown)]
    assert len(errors) >= 0.98 * ALL and max(map(abs, errors)) < 0.001
    assert f"stream {1 if off_ms else 2}: local sets of one KLV stream" in run.err


@pytest.mark.parametrize("reach, timed", [
    pytest.param(0, ALL / 15, id="none"),
    pytest.param(0.1, ALL / 15 * 4, id="three_pictures"),
    pytest.param(0.5, ALL, id="up_to_the_next"),
])
def test_local_sets_reach_as_far_as_told(made, coded, reach, timed):
    _, shown = coded(change(made(*SETS_ONLY), "in.ts", "thin-klv=15"), "--source", 3, "--lds-reach", reach)
    assert len(errors_ms(shown)) == timed


def test_failover_waits_for_late_sets_and_the_table_names_the_source(made, coded):
    source = change(made(*SETS_ONLY, duration=8), "in.ts", "thin-klv=6", "late-klv=12")
    _, shown = coded(source, *LIVE, "--source", 2, "--switching")
    rows = list(csv.DictReader(Path("table.csv").read_text(encoding="ascii").splitlines()))
    assert len(shown) == len(rows) == 8 * RATE
    assert {row["source"] for row in rows if row["utc"]} == {"3"}, "a time of no source that the input has"
    assert {row["source"] for row in rows if not row["utc"]} == {"0"}
    assert len(errors_ms(shown)) >= 2 * RATE
    assert max(map(abs, errors_ms(shown))) < 0.001


# Steps of the PTS, and pictures without one

@pytest.mark.parametrize("shift, arguments", [
    pytest.param(0, [], id="back_to_the_start"),
    pytest.param(3 * 90000, [], id="back_by_a_second"),
    pytest.param(3600 * 90000, [], id="ahead_by_an_hour"),
    pytest.param(0, LIVE, id="back_to_the_start_live"),
])
def test_no_time_of_another_recording_behind_a_step(made, coded, shift, arguments):
    second = change(made(*SILENT), "second.ts", f"shift={shift}")
    run, shown = coded(change(made(), "in.ts", f"join={second}"), *arguments)
    assert len(shown) == 2 * ALL, "a step costs pictures"
    assert {int(b.pts) - int(a.pts) for a, b in zip(shown, shown[1:])} == {90000 / RATE}
    assert all(each.utc != "-" for each in shown[:ALL]) and all(each.utc == "-" for each in shown[ALL:])
    assert max(map(abs, errors_ms(shown))) < 0.001
    assert run.claimed(what="steps of the input's PTS") == 1


@pytest.mark.parametrize("join, timed", [pytest.param("join", 2 * ALL, id="a_gap"),
                                         pytest.param("mark-join", ALL, id="a_marked_step")])
def test_no_local_set_reaches_over_a_marked_step(made, coded, join, timed):
    second = change(made(*SILENT), "second.ts", f"shift={(SECONDS + 2) * 90000}")
    _, shown = coded(change(made(*SETS_ONLY), "in.ts", f"{join}={second}"), "--source", 3, "--lds-reach", 7)
    assert (len(shown), len(errors_ms(shown))) == (2 * ALL, timed)


def test_time_and_timecode_begin_anew_behind_a_step(made, coded):
    second = made(start="18:30:00")
    _, shown = coded(change(made(), "in.ts", f"join={second}"))
    assert flags(shown) == {"1F"}
    assert max(map(abs, errors_ms(shown[:ALL]))) < 0.001
    moved_ms = (6.5 * 3600 - SECONDS) * 1000  # against the PTS, which go on
    assert max(abs(error - moved_ms) for error in errors_ms(shown[ALL:])) < 0.001
    assert max(apart_from_utc(shown)) < 1.1, "the timecode is that of another recording"


@pytest.mark.parametrize("form", ["strip-video=15", "strip-video=0", "strip-begin=20", "in.h264", "in.avi"])
def test_pictures_without_a_pts_are_coded_with_their_times(made, coded, form):
    if form.startswith("in."):
        tool("ffmpeg", "-v", "error", "-i", made(), "-map", "0:v", "-c", "copy", form)
    else:
        form = change(made(), "in.ts", form)
    _, shown = coded(form)
    assert len(shown) == ALL
    assert [int(each.utc) for each in shown] == [START + (n * 2000000 + RATE) // (2 * RATE) for n in range(ALL)]
    assert {int(b.pts) - int(a.pts) for a, b in zip(shown, shown[1:])} == {90000 / RATE}


# What is not known is not written

@pytest.mark.parametrize("source, timed", [pytest.param(1, 0, id="none"), pytest.param(4, ALL, id="system_clock")])
def test_no_time_before_the_first_stamp(made, coded, source, timed):
    _, shown = coded(made(*SILENT), *LIVE, "--source", source)
    assert [len(errors_ms(shown)), sum(each.timecode != "-" for each in shown)] == [timed, timed]


@pytest.mark.parametrize("first", [[], ["--first-timecode", "10:00:00:00"]], ids=["none", "as_told"])
def test_the_timecode_follows_from_the_first_time(made, coded, first):
    silent_first = [f"--drop={source}:0-1" for source in (1, 2, 3)]
    _, shown = coded(made(*silent_first), "--bframes", 0, *first)
    before, after = shown[:RATE], shown[RATE:]
    assert {each.timecode for each in before} == (
        {f"10:00:00:{n:02}" for n in range(RATE)} if first else {"-"})
    assert [each.timecode for each in after] == [f"12:00:0{1 + n // RATE}:{n % RATE:02}" for n in range(ALL - RATE)]


@pytest.mark.parametrize("resync, far", [pytest.param([], False, id="seeded_again"),
                                         pytest.param(["--resync", 0], True, id="never")])
def test_the_timecode_follows_where_the_time_leaps(made, coded, resync, far):
    second = change(made(start="18:30:00"), "second.ts", f"shift={SECONDS * 90000}")  # the PTS go on
    run, shown = coded(change(made(), "in.ts", f"join={second}"), "--bframes", 0, *resync)
    assert (max(apart_from_utc(shown)) > 1.1) == far
    assert far or run.claimed(what="seeded again") == 1


def test_a_pictures_own_label_is_written(made, coded):
    """Drop-frame labels over a minute's start; the UTC beside them, of source 1, is not asked for."""
    _, shown = coded(made(start="12:00:58", rate="29.97"), "--source", 2)
    labels = [each.timecode for each in shown]
    assert labels[58:62] == ["12:00:59;28", "12:00:59;29", "12:01:00;02", "12:01:00;03"]
    rows = csv.DictReader(Path("table.csv").read_text(encoding="ascii").splitlines())
    assert all(row["timecode"] == row["stream_timecode"] for row in rows)


def test_no_timecode_above_60_hz(coded):
    tool("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=320x180:rate=120:duration=0.5", "in.ts")
    run, shown = coded("in.ts", "--source", 4)
    assert {each.timecode for each in shown} == {"-"} and len(errors_ms(shown)) == len(shown) == 60
    assert run.claimed(what="above 60") == 60
