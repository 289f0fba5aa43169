#!/bin/sh
# Puts other services beneath the library as it is loaded, in both ways that a dynamic linker knows, and demands the
# same answers over two hours of pictures; and that they keep the contracts of the headers.
# usage: check.sh SOAK_PROGRAM SUPPORT_TESTS TOGETHER_TESTS FOLDER_OF_THE_OTHER_SERVICES
set -eu
messages=$(mktemp)
trap 'rm -f "$messages"' EXIT
expected=$("$1" 2)
check() {
    answered=$(env "$1" "$2" 2 2>"$messages")
    if [ "$answered" != "$expected" ] || ! grep -q '^timecode: Identified MISP revision as:20162' "$messages"; then
        printf '%s changes the answers or is not in place:\n%s\n' "$1" "$answered" >&2
        cat "$messages" >&2
        exit 1
    fi
}
check "LD_LIBRARY_PATH=$4" "$1"
check "LD_PRELOAD=$4/libtimecode_support.so.1" "$1"
LD_PRELOAD=$4/libtimecode_support.so.1 "$2" --gtest_brief=1 \
    --gtest_filter='Clock.*:PTS.*:Timespec.*:CopyString.*:Null.*'
LD_PRELOAD=$4/libtimecode_support.so.1 "$3" --gtest_brief=1 --gtest_filter='*Cancelled*'
