#!/bin/sh
# Runs the tests with counters in the code and prints which lines and branches of components/ they reach.
# usage: scripts/coverage.sh [gcovr options, such as --html-details build/coverage.html]
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
ensure_packages gcovr
find build/coverage -name '*.gcda' -delete 2>/dev/null || true
scripts/test.sh coverage
# The compiler counts a branch for each call that might throw; nothing in components/ throws.
gcovr --root . --filter components/ --exclude-throw-branches --branches --print-summary "$@" build/coverage |
    sed 's/ *$//'
gcovr --root . --filter components/ --exclude-throw-branches build/coverage | sed 's/ *$//'
