#!/bin/sh
# Runs the example, whose output must end with the lines that the README shows. usage: check.sh README PROGRAM...
set -eu
readme=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
awk '/^```text$/ { on = 1; next } /^```$/ { if (on) exit } on' "$readme" >"$work/shown"
[ -s "$work/shown" ] || {
    echo "$readme shows no output" >&2
    exit 1
}
"$@" >"$work/all"
tail -n "$(wc -l <"$work/shown")" "$work/all" | diff "$work/shown" -
# Nothing has a time before the first time stamp.
[ "$(grep -c 'no time$' "$work/all")" -eq 11 ]
