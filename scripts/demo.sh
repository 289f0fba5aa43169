#!/bin/sh
# Shows the library at work: real coded video is stamped in real time while its time sources fail and come back.
set -eu

usage() {
    cat <<TEXT
usage: scripts/demo.sh [options] [FILE]

Installs what is missing, builds, and codes FILE (or half a minute of generated video) in real time, with the time of
every picture in the stream beside it. The generated video loses its time sources one after the other and gets them
back; the status line and the picture at the end show what the library makes of it.

  --drop SOURCE:FROM-TO  silence source 1 (high precision), 2 (VITC) or 3 (LDS) from second FROM to second TO of the
                         generated video; may be given again. Instead of: 1:3-27 2:10-25.5 3:17-24
  --duration SECONDS     of the generated video (default 30)
  --rate RATE            of the generated video: 29.97 (default), 25, 50 or 59.94
  --bframes NUMBER       B pictures between two others (default 0: carried time wants pictures in display order)
  --revision REVISION    20116 (default: carries time forward, fails over, recovers) or 20162
  --output FOLDER        where the results go (default demo-output)
TEXT
}

drops=""
duration=30
rate=29.97
bframes=0
revision=20116
output=""
input=""
while [ $# -gt 0 ]; do
    case $1 in
    --drop | --duration | --rate | --bframes | --revision | --output)
        [ $# -ge 2 ] || {
            echo "$1 needs a value" >&2
            exit 1
        }
        case $1 in
        --drop) drops="$drops --drop $2" ;;
        --duration) duration=$2 ;;
        --rate) rate=$2 ;;
        --bframes) bframes=$2 ;;
        --revision) revision=$2 ;;
        --output) output=$(realpath -m "$2") ;;
        esac
        shift
        ;;
    -h | --help)
        usage
        exit 0
        ;;
    -*)
        usage >&2
        exit 1
        ;;
    *)
        [ -r "$1" ] || {
            echo "Cannot read $1" >&2
            exit 1
        }
        input=$(realpath "$1")
        ;;
    esac
    shift
done
[ -n "$drops" ] || drops="--drop 1:3-27 --drop 2:10-25.5 --drop 3:17-24"

cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # a list of words
ensure_packages $BUILD_PACKAGES $DEMO_PACKAGES
echo "Building ..."
build=build/release
if [ ! -x $build/bin/stamp-encoder ]; then
    # Alone, in a folder of its own: the preset builds tests and benchmarks too, which need more packages.
    build=build/tools
    cmake --preset release -B $build -DTIMECODE_BUILD_TESTS=OFF -DTIMECODE_BUILD_BENCHMARKS=OFF \
        -DTIMECODE_BUILD_EXAMPLES=OFF >/dev/null
fi
cmake --build $build --parallel "$(nproc)" --target stamp-encoder >/dev/null
encoder=$build/bin/stamp-encoder
output=${output:-$PWD/demo-output}
mkdir -p "$output"

start_at=""
if [ -z "$input" ]; then
    input=$output/input.ts
    # The video says that it begins a little later than now, so that coding it begins just when it says.
    start=$(date -u -d '+12 seconds' +%Y-%m-%dT%H:%M:%SZ)
    echo "Generating $duration s of video with three kinds of time stamps ..."
    # shellcheck disable=SC2086 # a list of words
    "$encoder" --generate "$input" --duration "$duration" --rate "$rate" $drops \
        --start-utc "$start" >/dev/null
    start_at="--start-at $start"
fi

echo "Coding in real time, revision $revision, switching allowed ..."
# shellcheck disable=SC2086 # an option with its value
"$encoder" "$input" -o "$output/stamped.ts" --csv "$output/times.csv" --realtime $start_at --revision "$revision" \
    --switching --bframes "$bframes"
silent=""
[ -z "$start_at" ] || silent=$(echo "$drops" | sed 's/--drop//g')
# shellcheck disable=SC2086 # a list of words
scripts/timeline.sh "$output/times.csv" "$output/timeline.png" $silent

# A folder as the shell must be given it, blanks and quotes included.
quoted="'$(printf '%s' "$output" | sed "s/'/'\\\\''/g")'"
cat <<TEXT

Written to $output:
  stamped.ts     the coded video; every picture carries its UTC and its timecode
  times.csv      a row for each coded picture
  timeline.png   the source in use, the status byte and the accuracy over time

Look at them with (and see $encoder --help)
  ffprobe -v error -select_streams v -show_frames $quoted/stamped.ts | grep timecode
  ffmpeg -v info -i $quoted/stamped.ts -vf showinfo -f null - 2>&1 | grep 'User Data'
  xdg-open $quoted/timeline.png
TEXT
