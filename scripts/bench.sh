#!/bin/sh
# What the calls cost, as multiples of what no implementation can avoid: tables in Markdown, in a minute once built.
# usage: scripts/bench.sh [--against BUILD] [--rounds N] [--write]
#   --against BUILD  beside it, what an earlier build gives: a build directory, or a commit, which is built first
#   --rounds N       how often each placement of the code runs (10)
#   --write          puts the tables into docs/performance.md as well
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
against=""
rounds=10
write=""
while [ $# -gt 0 ]; do
    case $1 in
    --against) against=$2 && shift ;;
    --rounds) rounds=$2 && shift ;;
    --write) write=yes ;;
    *) echo "usage: scripts/bench.sh [--against BUILD] [--rounds N] [--write]" >&2 && exit 1 ;;
    esac
    shift
done
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $BENCHMARK_PACKAGES
out=build/bench
rm -rf $out
mkdir -p $out

# build SOURCE DIRECTORY: the libraries of a state of the project, as the preset release builds them.
build() {
    cmake -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTIMECODE_BUILD_TESTS=OFF \
        -DTIMECODE_BUILD_APPS=OFF -DTIMECODE_BUILD_EXAMPLES=OFF >/dev/null
    cmake --build "$2" -j 2 --target timecode >/dev/null
}

if [ -n "$against" ] && [ ! -d "$against" ]; then
    commit=$(git rev-parse --verify --short "$against^{commit}")
    against=build/against-$commit
    mkdir -p "$against/source"
    git archive "$commit" | tar -x -C "$against/source"
    build "$against/source" "$against"
fi
cmake --preset release >/dev/null
cmake --build --preset release --target timecode_benchmark timecode_peers >/dev/null

# link BUILD NAME SHIFT LIBRARY OPTION...: a library of a build with all its code moved on by SHIFT bytes.
link() {
    source=$(sed -n 's/^CMAKE_HOME_DIRECTORY:INTERNAL=//p' "$1/CMakeCache.txt")
    build=$1 to=$out/$2/$3 shift=$3 library=$4
    shift 4
    mkdir -p "$to"
    printf '.text\n.balign 64\n.skip %d\n.section .note.GNU-stack,"",%%progbits\n' "$shift" | as -o "$to/shift.o" -
    # shellcheck disable=SC2046 # a list of files without blanks
    c++ -shared -o "$to/lib$library.so.1" "-Wl,-soname,lib$library.so.1" -Wl,-z,relro,-z,now \
        -Wl,--version-script="$source/components/libraries/${library#timecode_}/exports.map" "$to/shift.o" \
        $(sed -n "s|.* -o \(.*/\)\{0,1\}\(CMakeFiles/${library}_objects.dir/[^ ]*\.o\) .*|$build/components/\2|p" \
            "$build/compile_commands.json") "$@"
}

# Where its code happens to lie changes the speed of a loop by up to a quarter: each build comes in several places.
shifts="16 32 48 64"
names="now${against:+ before}"
for name in $names; do
    for shift in $shifts; do
        build=build/release
        [ "$name" = now ] || build=$against
        link "$build" "$name" "$shift" timecode_support
        link "$build" "$name" "$shift" timecode "$out/$name/$shift/libtimecode_support.so.1"
    done
done

# measure NAME SHIFT ROUND FILTER OPTION...: one short process on one placement of a build.
measure() {
    libraries=$out/$1/$2 file=$out/$1-$2-$3.json filter=$4
    shift 4
    LD_LIBRARY_PATH=$libraries build/release/bin/timecode_benchmark --benchmark_filter="$filter" \
        --benchmark_format=json "$@" >"$file" 2>/dev/null
}

round=1
while [ "$round" -le "$rounds" ]; do
    echo "round $round of $rounds" >&2
    for shift in $shifts; do
        for name in $names; do
            measure "$name" "$shift" "warm$round" warm/ --benchmark_min_time=0.002 --benchmark_repetitions=3 \
                --benchmark_enable_random_interleaving=true
        done
    done
    build/release/bin/timecode_peers --benchmark_min_time=0.002 --benchmark_repetitions=3 --benchmark_format=json \
        >"$out/peers-$round.json" 2>/dev/null
    round=$((round + 1))
done
echo "cold caches and contention" >&2
for turn in 1 2 3 4 5; do
    for name in $names; do
        measure "$name" 64 "cold$turn" cold/ --benchmark_repetitions=7
        measure "$name" 64 "contention$turn" contention/
    done
done
python3 benchmarks/tables.py $out >$out/tables.md
cat $out/tables.md
if [ -n "$write" ]; then
    sed -i -e '/<!-- figures -->/,/<!-- end of figures -->/{//!d}' -e "/<!-- figures -->/r $out/tables.md" \
        docs/performance.md
fi
