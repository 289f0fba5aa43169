#!/bin/sh
# A long run under a fake clock: four inputs at 59.94 Hz, all sources with drop-outs, both revisions, beside the model.
# usage: scripts/soak.sh [HOURS]   (of fake time; default 24, which take a minute)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # a list of words
ensure_packages $BUILD_PACKAGES
cmake --preset release >/dev/null
cmake --build --preset release --target timecode_soak >/dev/null
build/release/bin/timecode_soak "$@"
