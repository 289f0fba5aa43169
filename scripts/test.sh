#!/bin/sh
# Installs what is missing, builds everything and runs the tests.
# usage: scripts/test.sh [PRESET]   (default: release; see CMakePresets.json)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
preset=${1:-release}
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES
require_all=ON
if [ "${preset#aarch64}" != "$preset" ]; then
    # Debian has the compiler, but neither FFmpeg nor GoogleTest built for the other machine: the tests take
    # GoogleTest's sources, and stamp-encoder is left out.
    # shellcheck disable=SC2086 # a list of words
    ensure_packages $ARM_PACKAGES
    require_all=OFF
fi
cmake --preset "$preset" -DTIMECODE_REQUIRE_ALL=$require_all -DBUILD_TESTING=ON
cmake --build --preset "$preset"
ctest --preset "$preset"
