#!/bin/sh
# Fails when a shared object exports anything but the names listed for it, or misses one, or when it or a program built
# beside it would look for libraries in the working directory.
# usage: check.sh FOLDER_OF_LISTS FOLDER_OF_PROGRAMS SHARED_OBJECT...
set -eu
lists=$1
programs=$2
shift 2
for object in "$@"; do
    name=$(basename "$object" | sed 's/\.so.*//')
    # A (an absolute symbol) is the version node itself.
    nm -D --defined-only "$object" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | LC_ALL=C sort |
        diff "$lists/$name.txt" - || {
        echo "$object does not export what $lists/$name.txt lists" >&2
        exit 1
    }
done
for object in "$@" "$programs"/*; do
    if readelf -d "$object" | grep -E 'R(UN)?PATH.*(\[:|::|:\]|\[\])'; then
        echo "$object has an empty entry in its run path" >&2
        exit 1
    fi
done
