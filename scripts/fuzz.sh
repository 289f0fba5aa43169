#!/bin/sh
# Builds the fuzzers and runs each for a while from the project's own seeds.
# usage: scripts/fuzz.sh [SECONDS [NAME...]]   (each; default 60)
#
# Names: library_thorough (looks at everything after each call), library_fast (looks at the input just used, in
# sequences four times as long: for a night), settings, formats; all of them without a name.
# What a run learns stays in build/fuzz-corpus and is used by the next. A failing input is left in build/fuzz-failures.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
seconds=${1:-60}
[ $# -eq 0 ] || shift
[ $# -gt 0 ] || set -- library_thorough library_fast settings formats
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $FUZZ_PACKAGES
cmake --preset fuzz >/dev/null
targets=""
for name; do targets="$targets fuzz_$name"; done
# shellcheck disable=SC2086 # a list of words
cmake --build --preset fuzz --target $targets >/dev/null
mkdir -p build/fuzz-failures build/fuzz-seeds
cp -r fuzz/seeds/. build/fuzz-seeds
# Any bytes are a session of calls of the library; every run begins with the same.
mkdir -p build/fuzz-seeds/library
for number in 1 2 3 4 5 6 7 8; do
    python3 -c "import random, sys; sys.stdout.buffer.write(random.Random($number).randbytes(8192))" \
        >"build/fuzz-seeds/library/$number"
done
for name; do
    corpus=${name%_*} # both forms of the library's fuzzer learn from each other
    length=8192
    [ "$name" != library_fast ] || length=32768
    mkdir -p "build/fuzz-corpus/$corpus"
    log=build/fuzz-$name.log
    if ! "build/fuzz/bin/fuzz_$name" "-max_total_time=$seconds" "-max_len=$length" -print_final_stats=1 \
        -artifact_prefix=build/fuzz-failures/ "build/fuzz-corpus/$corpus" "build/fuzz-seeds/$corpus" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        exit 1
    fi
    echo "fuzz_$name: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") executions," \
        "$(sed -n 's/^\([0-9]* calls\).*/\1, /p' "$log")nothing found"
done
