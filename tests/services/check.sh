#!/bin/sh
# Puts other services beneath the library as it is loaded, in both ways that a dynamic linker knows, and demands the same
# answers over two hours of pictures. usage: check.sh SOAK_PROGRAM FOLDER_OF_THE_OTHER_SERVICES
set -eu
expected=$("$1" 2)
check() {
    messages=$(mktemp)
    answered=$(env "$1" "$2" 2 2>"$messages")
    if [ "$answered" != "$expected" ] || ! grep -q '^timecode: Identified MISP revision as:20162' "$messages"; then
        printf '%s changes the answers or is not in place:\n%s\n' "$1" "$answered" >&2
        cat "$messages" >&2
        exit 1
    fi
    rm "$messages"
}
check "LD_LIBRARY_PATH=$2" "$1"
check "LD_PRELOAD=$2/libtimecode_support.so.1" "$1"
