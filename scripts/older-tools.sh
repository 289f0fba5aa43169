#!/bin/sh
# Builds with older and other tools, warnings being errors, and runs the tests: gcc 11; clang; clang with libc++ (the
# libraries and their tests). For use before a release.
# usage: scripts/older-tools.sh [gcc-11|clang|libc++]...
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES g++-11 clang libc++-dev libc++abi-dev googletest

# build NAME C-COMPILER C++-COMPILER [CMAKE-OPTION...]
build() {
    folder=build/older-$1
    c=$2
    cxx=$3
    shift 3
    cmake -S . -B "$folder" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
        -DCMAKE_C_COMPILER="$c" -DCMAKE_CXX_COMPILER="$cxx" -DTIMECODE_BUILD_BENCHMARKS=OFF "$@" >/dev/null
    cmake --build "$folder" -j 2
}

[ $# -gt 0 ] || set -- gcc-11 clang libc++
for tools in "$@"; do
    printf '\n== %s\n' "$tools"
    case $tools in
    gcc-11) build gcc-11 gcc-11 g++-11 ;;
    clang) build clang clang clang++ ;;
    libc++)
        # Debian's GoogleTest is built for the other library.
        build libc++ clang clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++ -DTIMECODE_BUILD_APPS=OFF \
            -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
        ;;
    *)
        echo "no tools called '$tools'" >&2
        exit 2
        ;;
    esac
    # The cases about programs are the release build's.
    ctest --test-dir "build/older-$tools" --output-on-failure --exclude-regex 'programs|services'
done
