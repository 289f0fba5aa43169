#!/bin/sh
# Installs into a folder of its own, then builds, links and runs the README's program against the installed files: as C11
# and as C++17, by pkg-config and by CMake. usage: check.sh SOURCE_FOLDER BUILD_FOLDER
set -eu
source=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
# The README's program is the first block of C in it.
awk '/^```c$/ { on = 1; next } /^```$/ { if (on) exit } on' "$source/README.md" >"$work/smallest.c"
cp "$work/smallest.c" "$work/smallest.cpp"
pc=$(find "$work/prefix" -name timecode.pc)
PKG_CONFIG_PATH=$(dirname "$pc")
export PKG_CONFIG_PATH
libraries=$(pkg-config --variable=libdir timecode)
# shellcheck disable=SC2046 # lists of words
gcc -std=c11 -Wall -Wextra -Werror "$work/smallest.c" $(pkg-config --cflags --libs timecode) "-Wl,-rpath,$libraries" -o "$work/c11"
# shellcheck disable=SC2046 # lists of words
g++ -std=c++17 -Wall -Werror "$work/smallest.cpp" $(pkg-config --cflags --libs timecode) "-Wl,-rpath,$libraries" \
    -o "$work/cpp17"
cat >"$work/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(smallest C)
find_package(timecode REQUIRED)
add_executable(smallest smallest.c)
target_link_libraries(smallest timecode::timecode)
CMAKE
cmake -S "$work" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/build" >/dev/null
for program in "$work/c11" "$work/cpp17" "$work/build/smallest"; do
    answer=$("$program")
    [ "$answer" = "1767225600000000 us, status 0x1F" ] || {
        echo "$program answers: $answer" >&2
        exit 1
    }
done
