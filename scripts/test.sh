#!/bin/sh
# Installs what is missing, builds everything and runs the tests.
# usage: scripts/test.sh [PRESET]   (default: release; see CMakePresets.json)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
preset=${1:-release}
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES
cmake --preset "$preset" -DTIMECODE_REQUIRE_ALL=ON -DBUILD_TESTING=ON
cmake --build --preset "$preset"
ctest --preset "$preset"
