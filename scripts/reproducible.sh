#!/bin/sh
# Builds what is installed in two folders, and demands the same bytes of both.
# usage: scripts/reproducible.sh
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # a list of words
ensure_packages $BUILD_PACKAGES
# A compiler cache may write paths of its own.
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for copy in "$work/one" "$work/the/other"; do
    mkdir -p "$copy"
    git ls-files -z | tar --create --null --files-from=- | tar --extract --directory="$copy"
    cmake -S "$copy" -B "$copy/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTIMECODE_BUILD_TESTS=OFF \
        -DTIMECODE_BUILD_BENCHMARKS=OFF >/dev/null
    cmake --build "$copy/build" -j 2 >/dev/null
done
(cd "$copy/build" && find lib bin -type f) | while read -r file; do
    cmp "$work/one/build/$file" "$copy/build/$file"
    echo "$file: the same bytes"
done
