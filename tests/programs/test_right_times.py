"""Codes streams as recordings are and looks at the time of every picture, as FFmpeg reads it from the output.

The streams are made of generated ones (streams.py): picture n was taken n picture periods after START, and PTS tell n.
"""

import re

import pytest
from running import ffmpeg, pictures, rows, table, tool, unstamped
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
def coded(code):
    """Codes an input without a complaint; gives its run, and its pictures as they are shown."""
    def run(file, *arguments):
        done = code(file, *arguments).ended(0)
        return done, sorted(pictures("out.ts"), key=lambda picture: int(picture.pts))
    return run


@pytest.fixture
def joined(coded):
    """Codes two inputs one behind the other, the PTS of the second one shifted."""
    def run(first, second, *arguments, shift=0, marked=""):
        shifted = change(second, "second.ts", f"shift={shift}")
        return coded(change(first, "in.ts", f"join={shifted}{marked}"), *arguments)
    return run


def errors_ms(shown):
    """How far each picture's UTC lies from the true one."""
    return [(int(each.utc) - START - (int(each.pts) - FIRST_PTS) * 100 / 9) / 1000
            for each in shown if each.utc != "-"]


def times_right(shown, off_ms=0):
    """Each picture that has a time has the right one, or one that lies so far from it."""
    return max(abs(error - off_ms) for error in errors_ms(shown)) < 0.001


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
    pytest.param(["strip-video=0:20"], [], 0, id="beside_pictures_without_pts"),
    pytest.param(["repeat-klv=100:400000"], [], 0, id="with_ten_thousand_far_ahead"),
    pytest.param(["thin-klv=6", "late-klv=12"], [], 0, id="sent_after_their_pictures"),
    pytest.param(["thin-klv=6"], LIVE, 0, id="five_a_second_live"),
])
def test_local_sets_between_the_pictures(made, coded, changes, arguments, off_ms):
    _, shown = coded(change(made(*SETS_ONLY), "in.ts", *changes), "--source", 3, *arguments)
    assert len(shown) == ALL
    assert len(errors_ms(shown)) >= 0.98 * ALL
    assert times_right(shown, -off_ms), "moved by another distance than that of the PTS"
    assert flags(shown) == {"1F"}


@pytest.mark.parametrize("arguments, off_ms", [
    pytest.param(["--source", 3], 0, id="first"),
    pytest.param([], 0, id="found"),
    pytest.param(["--klv-stream", 2], 3600_000, id="chosen"),
])
def test_local_sets_of_two_streams_are_not_mixed(made, coded, arguments, off_ms):
    ffmpeg("-copyts -i", made(*SETS_ONLY), "-i", made(*SETS_ONLY, start="13:00:00"),
           "-map 0:v -map 0:d -map 1:d -c copy -muxdelay 0 both.ts")
    run, shown = coded("both.ts", *arguments)
    assert len(errors_ms(shown)) >= 0.98 * ALL and times_right(shown, off_ms)
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
    assert len(shown) == len(rows()) == 8 * RATE
    assert {row["source"] for row in rows() if row["utc"]} == {"3"}, "a time of no source that the input has"
    assert {row["source"] for row in rows() if not row["utc"]} == {"0"}
    assert len(errors_ms(shown)) >= 2 * RATE and times_right(shown)


# Steps of the PTS, and pictures without one

@pytest.mark.parametrize("shift, arguments", [
    pytest.param(0, [], id="back_to_the_start"),
    pytest.param(3 * 90000, [], id="back_by_a_second"),
    pytest.param(3600 * 90000, [], id="ahead_by_an_hour"),
    pytest.param(0, LIVE, id="back_to_the_start_live"),
])
def test_no_time_of_another_recording_behind_a_step(made, joined, shift, arguments):
    run, shown = joined(made(), made(*SILENT), *arguments, shift=shift)
    assert len(shown) == 2 * ALL, "a step costs pictures"
    assert {int(b.pts) - int(a.pts) for a, b in zip(shown, shown[1:])} == {90000 / RATE}
    assert all(each.utc != "-" for each in shown[:ALL]) and all(each.utc == "-" for each in shown[ALL:])
    assert times_right(shown)
    assert run.claimed(what="steps of the input's PTS") == 1


@pytest.mark.parametrize("marked, timed", [pytest.param("", 2 * ALL, id="a_gap"),
                                           pytest.param(":marked", ALL, id="a_marked_step")])
def test_no_local_set_reaches_over_a_marked_step(made, joined, marked, timed):
    _, shown = joined(made(*SETS_ONLY), made(*SILENT), "--source", 3, "--lds-reach", 7,
                      shift=(SECONDS + 2) * 90000, marked=marked)
    assert (len(shown), len(errors_ms(shown))) == (2 * ALL, timed)


@pytest.mark.parametrize("shift, arguments, far", [
    pytest.param(0, [], False, id="with_a_step"),
    pytest.param(SECONDS * 90000, ["--bframes", 0], False, id="and_the_pts_go_on"),
    pytest.param(SECONDS * 90000, ["--bframes", 0, "--resync", 0], True, id="but_is_never_seeded_again"),
])
def test_time_and_timecode_follow_where_the_time_leaps(made, joined, shift, arguments, far):
    run, shown = joined(made(), made(start="18:30:00"), *arguments, shift=shift)
    assert flags(shown) == {"1F"}
    # The PTS of the output go on.
    assert times_right(shown[:ALL]) and times_right(shown[ALL:], (6.5 * 3600 - SECONDS) * 1000)
    assert (max(apart_from_utc(shown)) > 1.1) == far, "the timecode is that of another recording"
    assert far or not shift or run.claimed(what="seeded again") == 1


@pytest.mark.parametrize("form", ["strip-video=15", "strip-video=0", "strip-video=0:20", "in.h264", "in.avi"])
def test_pictures_without_a_pts_are_coded_with_their_times(made, coded, form):
    if form.startswith("in."):
        ffmpeg("-i", made(), "-map 0:v -c copy", form)
    else:
        form = change(made(), "in.ts", form)
    _, shown = coded(form)
    assert len(shown) == ALL
    assert [int(each.utc) for each in shown] == [START + (n * 2000000 + RATE) // (2 * RATE) for n in range(ALL)]
    assert {int(b.pts) - int(a.pts) for a, b in zip(shown, shown[1:])} == {90000 / RATE}


@pytest.mark.parametrize("arguments", [[], ["--copy"]], ids=["coded", "copied"])
def test_pictures_that_cannot_be_decoded_keep_their_place(made, code, arguments):
    code(change(made(), "in.ts", "strip-video=7", "lose-video=0:4"), "--source", 1, *arguments).ended(0)
    assert len(errors_ms(table())) == ALL / 2 and times_right(table()), "of other pictures"


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


def test_a_pictures_own_label_is_written(made, coded):
    """Drop-frame labels over a minute's start; the UTC beside them, of source 1, is not asked for."""
    _, shown = coded(made(start="12:00:58", rate="29.97"), "--source", 2)
    labels = [each.timecode for each in shown]
    assert labels[58:62] == ["12:00:59;28", "12:00:59;29", "12:01:00;02", "12:01:00;03"]
    assert all(row["timecode"] == row["stream_timecode"] for row in rows())


def test_no_timecode_above_60_hz(coded):
    run, shown = coded(unstamped("in.ts", rate=120, seconds=0.5), "--source", 4)
    assert {each.timecode for each in shown} == {"-"} and len(errors_ms(shown)) == len(shown) == 60
    assert run.claimed(what="above 60") == 60
