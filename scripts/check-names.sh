#!/bin/sh
# Tells which of the libraries' names programs or shared objects define themselves. The dynamic linker takes those in
# place of the libraries' own, silently: wanted where a platform has services of its own, a fault anywhere else.
# usage: scripts/check-names.sh PROGRAM...   (exit code 1 where there are any, 2 where a program cannot be read)
set -eu
[ $# -gt 0 ] || { echo "usage: scripts/check-names.sh PROGRAM..." >&2 && exit 2; }
names=$(cat "$(dirname "$0")"/../tests/exports/*.txt)
found=0
for program in "$@"; do
    symbols=$(nm --dynamic --defined-only "$program") || exit 2
    # A name with a version is the library's own variable, for which the linker made room in the program.
    for name in $(echo "$symbols" | awk '$NF !~ /@/ { print $NF }' | grep -Fx "$names"); do
        echo "$program: $name" >&2
        found=1
    done
done
exit "$found"
