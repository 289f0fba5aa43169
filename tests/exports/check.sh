#!/bin/sh
# Fails when a shared object exports anything but the names listed for it, or misses one.
set -eu
lists=$1
shift
for object in "$@"; do
    name=$(basename "$object" | sed 's/\.so.*//')
    # A (an absolute symbol) is the version node itself.
    nm -D --defined-only "$object" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' | LC_ALL=C sort |
        diff "$lists/$name.txt" - || {
        echo "$object does not export what $lists/$name.txt lists" >&2
        exit 1
    }
done
