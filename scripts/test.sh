#!/bin/sh
# Installs what is missing, builds everything and runs the tests.
# usage: scripts/test.sh [PRESET]   (default: release; see CMakePresets.json)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
preset=${1:-release}
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES
if [ "${preset#aarch64}" != "$preset" ]; then
    # The cross compiler's own folder has neither FFmpeg nor GoogleTest: the tests take GoogleTest's sources, and the
    # applications are left out.
    # shellcheck disable=SC2086 # a list of words
    ensure_packages $ARM_PACKAGES
fi
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
