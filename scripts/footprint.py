#!/usr/bin/env python3
"""Measures what the libraries take of a board: sections, relocations, stack and time of calls, and what hardening adds.

usage: scripts/footprint.py            prints the tables, in Markdown
       scripts/footprint.py --write    puts them into docs/platform.md
       scripts/footprint.py --check    fails where the document's figures are off by more than a tenth (and 64 bytes)

Builds the libraries for x86-64, where it runs, with and without hardening, and for 64-bit Arm, in build/footprint. The
figures are those of one compiler: --check has nothing to say about another one's, and leaves times alone.
"""

import json
import os
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
DOCUMENT = ROOT / "docs/platform.md"
BUILD = ROOT / "build/footprint"
MARK = "<!-- figures of scripts/footprint.py -->\n"
ROUNDS = 15
WITH_TIMES = "--check" not in sys.argv
TIMED = "SetUTC, source 1|20162, null cursor, depth 5|silent source 1|all on one input"
LIBRARIES = ("timecode", "timecode_support")
MACHINES = {  # triplet, more for CMake, and what runs the machine's programs here
    "x86-64": ("x86_64-linux-gnu", [], []),
    "aarch64": ("aarch64-linux-gnu", [f"-DCMAKE_TOOLCHAIN_FILE={ROOT}/cmake/aarch64.cmake"],
                ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu"]),
}


def output(*command, **options):
    return subprocess.run([*map(str, command)], stdout=subprocess.PIPE, check=True, text=True, **options).stdout


def build(machine, hardening):
    """The folder of the libraries as the preset `library` builds them."""
    folder = BUILD / f"{machine}-{hardening}"
    parts = [f"-DTIMECODE_BUILD_{part}=OFF" for part in ("TESTS", "APPS", "EXAMPLES")]
    times = "ON" if machine == "x86-64" and WITH_TIMES else "OFF"
    output("cmake", "-S", ROOT, "-B", folder, "-DCMAKE_BUILD_TYPE=RelWithDebInfo", *parts, *MACHINES[machine][1],
           f"-DTIMECODE_HARDENING={hardening}", f"-DTIMECODE_BUILD_BENCHMARKS={times}")
    output("cmake", "--build", folder, "-j2", "--target", "timecode")
    return folder / "lib"


def sections(machine, libraries, name):
    """text, data and bss in bytes, relocations at load, and the size of the stripped file."""
    tool, file = MACHINES[machine][0], libraries / f"lib{name}.so"
    stripped = BUILD / "stripped"
    output(f"{tool}-strip", "-o", stripped, file)
    sizes = [int(word) for word in output(f"{tool}-size", file).splitlines()[1].split()[:3]]
    relocations = re.findall(r"R_(?:X86_64|AARCH64)_", output(f"{tool}-readelf", "-rW", file))
    return [*sizes, len(relocations), stripped.stat().st_size]


def stacks(machine, libraries):
    """Bytes of stack by call: with the messages that are written by themselves, and with all."""
    triplet, _, runner = MACHINES[machine]
    program = BUILD / f"stack-{machine}"
    output(f"{triplet}-gcc", "-O2", ROOT / "scripts/stack.c", f"-I{ROOT}/components/include", f"-L{libraries}",
           "-ltimecode", "-ltimecode_support", f"-Wl,-z,now,-rpath,{libraries}", "-o", program)
    lines = [output(*runner, program, *more, stderr=subprocess.DEVNULL).splitlines() for more in ([], ["all"])]
    return [(quiet.split("\t")[0], quiet.split("\t")[1], loud.split("\t")[1]) for quiet, loud in zip(*lines)]


def times(built):
    """Least nanoseconds of a call, and calls a second where eight threads fight for one input, by variant."""
    inherit = BUILD / "inherit.so"
    output("gcc", "-O2", "-shared", "-fPIC", ROOT / "examples/services/priority_inheritance.c", "-o", inherit)
    output("cmake", "--build", BUILD / "x86-64-ON", "-j2", "--target", "timecode_benchmark")
    hardened, plain = (str(built["x86-64", hardening]) for hardening in ("ON", "OFF"))
    variants = [{"LD_LIBRARY_PATH": hardened}, {"LD_LIBRARY_PATH": plain},
                {"LD_LIBRARY_PATH": hardened, "LD_PRELOAD": str(inherit)}]
    found = {}
    for _ in range(ROUNDS):
        for number, variant in enumerate(variants):
            runs = json.loads(output(BUILD / "x86-64-ON/bin/timecode_benchmark", "--benchmark_format=json",
                                     "--benchmark_min_time=0.02", f"--benchmark_filter={TIMED}",
                                     stderr=subprocess.DEVNULL, env={**os.environ, **variant}))["benchmarks"]
            for run in runs:
                kind, name = run["name"].split("/")[:2]
                figure = -run["calls_per_second"] / 1e6 if kind == "contention" else run["cpu_time"]
                best = found.setdefault(f"{name}, {'million calls/s' if kind == 'contention' else 'ns'}", {})
                best[number] = min(best.get(number, figure), figure)
    return [(name, *(f"{abs(best[number]):.1f}" for number in range(len(variants)))) for name, best in found.items()]


def table(head, rows):
    yield "| " + " | ".join(head) + " |"
    yield "| --- |" + " ---: |" * (len(head) - 1)
    for row in rows:
        yield "| " + " | ".join(map(str, row)) + " |"
    yield ""


def called(name):
    """The name of a function, if it is one, in code marks."""
    function, comma, rest = name.partition(",")
    return f"`{function}`{comma}{rest}" if "_" in function else name


def measure():
    built = {key: build(*key) for key in (("x86-64", "ON"), ("aarch64", "ON"), ("x86-64", "OFF"))}
    yield f"Built by gcc {output('gcc', '-dumpfullversion').strip()} as the preset `library` does. Bytes:"
    yield ""
    yield from table(["", "text", "data", "bss", "relocations", "file, stripped"], [
        [f"`lib{name}.so`, {machine}{'' if hardening == 'ON' else ', without hardening'}",
         *sections(machine, libraries, name)]
        for (machine, hardening), libraries in built.items() for name in LIBRARIES])
    yield "Stack below a call, the C library's part included, in bytes:"
    yield ""
    found = {machine: stacks(machine, built[machine, "ON"]) for machine in MACHINES}
    yield from table(["", *(f"{machine}{more}" for machine in MACHINES for more in ("", ", all messages"))],
                     [[called(rows[0][0]), *(n for row in rows for n in row[1:])] for rows in zip(*found.values())])
    if WITH_TIMES:
        yield f"Time on x86-64, the best of {ROUNDS} runs:"
        yield ""
        yield from table(["", "as built", "without hardening", "with priority inheritance"], times(built))


def differences(before, after):
    """Lines of which a figure has left the range of the document's, or that the document does not have."""
    for old, new in zip(before.splitlines(), after.splitlines()):
        figures = [[int(cell) for cell in line.split("|") if cell.strip().isdigit()] for line in (old, new)]
        named = old.split("|")[1:2] == new.split("|")[1:2]
        if not named or any(abs(a - b) > a / 10 + 64 for a, b in zip(*figures)):
            yield f"the document says {old}\n         now it is {new}"


def main():
    packages = "$BUILD_PACKAGES $ARM_PACKAGES" + (" libbenchmark-dev" if WITH_TIMES else "")
    subprocess.run(["sh", "-c", f". scripts/packages.sh; ensure_packages {packages}"], cwd=ROOT, check=True)
    figures = "\n".join(measure()) + "\n"
    head, _, rest = DOCUMENT.read_text().partition(MARK)
    before, _, tail = rest.partition(MARK)
    if "--write" in sys.argv:
        DOCUMENT.write_text(head + MARK + figures + MARK + tail)
    elif "--check" not in sys.argv:
        print(figures, end="")
    elif before.split("\n")[0] == figures.split("\n")[0]:
        wrong = [*differences(before, figures)]
        sys.exit("\n".join(wrong) if wrong else 0)


if __name__ == "__main__":
    main()
