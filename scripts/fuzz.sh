#!/bin/sh
# Builds the fuzzers and runs each for a while from the project's own seeds.
# usage: scripts/fuzz.sh [SECONDS]   (each; default 60)
#
# What a run learns stays in build/fuzz-corpus and is used by the next. A failing input is left in build/fuzz-failures.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
seconds=${1:-60}
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $FUZZ_PACKAGES
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz_library fuzz_settings fuzz_formats fuzz_seeds >/dev/null
build/fuzz/bin/fuzz_seeds build/fuzz-seeds
mkdir -p build/fuzz-failures
for name in library settings formats; do
    mkdir -p "build/fuzz-corpus/$name"
    log=build/fuzz-$name.log
    if ! "build/fuzz/bin/fuzz_$name" "-max_total_time=$seconds" -max_len=8192 -print_final_stats=1 \
        -artifact_prefix=build/fuzz-failures/ "build/fuzz-corpus/$name" "build/fuzz-seeds/$name" >"$log" 2>&1; then
        tail -n 40 "$log" >&2
        exit 1
    fi
    echo "fuzz_$name: $(sed -n 's/^stat::number_of_executed_units: *//p' "$log") executions, nothing found"
done
