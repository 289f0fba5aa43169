#!/usr/bin/env python3
"""Writes the tables of docs/performance.md from the files that scripts/bench.sh leaves in a directory."""
import json
import pathlib
import re
import statistics
import sys

FILES = pathlib.Path(sys.argv[1])
BUILDS = [name for name in ("now", "before") if (FILES / name).is_dir()]


def results(pattern, field):
    """Of all files of the pattern: the values of a field by file and call. Calls that time themselves have one time."""
    values = {}
    for path in FILES.glob(pattern):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run["run_type"] == "iteration":
                call = run["run_name"].split("/", 1)[1]
                name = re.sub(r"(/iterations:1)?/manual_time$", "", call)
                value = run["real_time"] if field == "cpu_time" and name != call else run[field]
                values.setdefault(name, {}).setdefault(path.name, []).append(value)
    return values


def least_by_placement(build):
    """Of each call: the least time in every placement of the code."""
    least = {}
    for call, by_file in results(f"{build}-*-warm*.json", "cpu_time").items():
        for name, times in by_file.items():
            placements = least.setdefault(call, {})
            shift = name.split("-")[1]
            placements[shift] = min(times + [placements.get(shift, times[0])])
    return {call: sorted(placements.values()) for call, placements in least.items()}


def row(cells):
    return "| " + " | ".join(cells) + " |"


def table(heads, rows):
    return "\n".join([row(heads), row(["---"] + ["---:"] * (len(heads) - 1))] + [row(r) for r in rows]) + "\n"


def warm():
    by_build = {build: least_by_placement(build) for build in BUILDS}
    floors = [time for least in by_build.values() for time in least["floor"]]
    floor = min(floors)
    heads, rows = ["call"], []
    for build in BUILDS:
        heads += [f"ns {build}", "placements", f"floors {build}"]
    for call in sorted(by_build["now"], key=order):
        cells = [call]
        for build in BUILDS:
            times = by_build[build][call]
            middle = statistics.median(times)
            cells += [number(middle), f"{number(times[0])} to {number(times[-1])}", f"{middle / floor:.2f}"]
        rows.append(cells)
    print(f"The floor: {floor:.1f} ns at least, {max(floors):.1f} ns in the placement in which it was slowest.\n")
    print(table(heads, rows))


def number(time):
    return f"{time:.1f}" if time < 100 else f"{time:.0f}"


def order(call):
    calls = ["floor", "SetUTC", "GetUTC 20162", "GetUTC 20116", "UTCTo", "Make", "Calc", "Flush"]
    return next(i for i, start in enumerate(calls) if call.startswith(start)), natural(call)


def natural(text):
    return [(int(part), "") if part.isdigit() else (0, part) for part in re.split(r"(\d+)", text)]


def medians(pattern, field):
    """Of each call: the median of all its runs."""
    return {call: statistics.median(sum(by_file.values(), [])) for call, by_file in results(pattern, field).items()}


def cold():
    by_build = {build: medians(f"{build}-64-cold*.json", "real_time") for build in BUILDS}
    rows = []
    for call in sorted(by_build["now"], key=order):
        rows.append([call] + [f"{by_build[build][call] / 1000:.2f}" for build in BUILDS])
    print(table(["call from a cold cache"] + [f"µs {build}" for build in BUILDS], rows))


def contention():
    fields = ["calls_per_second", "p50", "p99", "p99_9"]
    heads = ["threads", "build", "million calls/s", "ns, 50 %", "99 %", "99.9 %"]
    rows = []
    by_build = {build: [medians(f"{build}-64-contention*.json", field) for field in fields] for build in BUILDS}
    for call in by_build["now"][0]:
        for build in BUILDS:
            rate, *percentiles = [figures[call] for figures in by_build[build]]
            rows.append([call, build, f"{rate / 1e6:.1f}"] + [f"{p:.0f}" for p in percentiles])
    print(table(heads, rows))


def peers():
    least = {}
    for path in FILES.glob("peers-*.json"):
        for run in json.loads(path.read_text())["benchmarks"]:
            if run["run_type"] == "iteration":
                least[run["run_name"]] = min(run["cpu_time"], least.get(run["run_name"], run["cpu_time"]))
    whose = list(dict.fromkeys(call.split("/")[0] for call in least))
    what = list(dict.fromkeys(call.split("/")[1] for call in least))
    rows = [[who] + [number(least[f"{who}/{w}"]) if f"{who}/{w}" in least else "–" for w in what] for who in whose]
    print(table(["ns"] + what, rows))


def main():
    for write in (warm, cold, contention, peers):
        write()


main()
