#!/bin/sh
# Builds the applications for 64-bit Arm, runs them under emulation, and demands the same tables, reports and copied
# streams as on this machine, byte for byte.
# usage: scripts/arm-apps.sh
#
# The FFmpeg of the other machine is unpacked in build/arm-sysroot from Debian's packages. Nothing is installed here,
# and no other architecture is added to this system.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES $ARM_PACKAGES

# The same release of FFmpeg on both machines: the streams that are made of pictures depend on it.
sysroot=$PWD/build/arm-sysroot
wanted=$(build_depends pkg.timecode.notools | sed 's/^/,/' | tr -d '\n')
made_of="$wanted $(dpkg-query --show libavcodec-dev)"
if [ "$made_of" != "$(cat "$sysroot/made-of" 2>/dev/null)" ]; then
    rm -rf "$sysroot"
    mkdir -p "$sysroot"
    suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
    # Through an archive, so that whoever calls owns the files.
    mmdebstrap --quiet --variant=extract --arch=arm64 --format=tar --include="libc6-dev$wanted" "$suite" - |
        tar --extract --directory="$sysroot" --no-same-owner --exclude='./dev/*'
    libraries=usr/lib/aarch64-linux-gnu
    # The links that an installed system has from the packages' scripts.
    for name in blas lapack; do
        ln -s "$name/lib$name.so.3" "$sysroot/$libraries/"
    done
    echo "$made_of" >"$sysroot/made-of"
fi

[ -e build/release/CMakeCache.txt ] || cmake --preset release >/dev/null
cmake --build --preset release --target stamp-encoder stamp-report >/dev/null
cmake --preset aarch64-apps >/dev/null
cmake --build --preset aarch64-apps >/dev/null

work=build/arm-comparison
rm -rf "$work"
mkdir -p "$work/here" "$work/arm"
here() { (cd "$work/here" && program=$1 && shift && "../../release/bin/$program" "$@" >/dev/null 2>messages); }
arm() {
    (cd "$work/arm" && program=$1 && shift &&
        qemu-aarch64 -L "$sysroot" "../../aarch64-apps/bin/$program" "$@" >/dev/null 2>messages)
}

# same FILE PROGRAM ARGUMENT...: on both machines the program ends alike, and leaves the same bytes in the file
same() {
    file=$1
    shift
    rm -f "$work/here/$file" "$work/arm/$file"
    here "$@" && code=0 || code=$?
    arm "$@" && arm_code=0 || arm_code=$?
    [ "$code" -eq "$arm_code" ] || {
        cat "$work/here/messages" "$work/arm/messages" >&2
        echo "$*: exit code $code here, $arm_code on Arm" >&2
        exit 1
    }
    [ -s "$work/here/$file" ] || {
        cat "$work/here/messages" >&2
        echo "$*: nothing in $file" >&2
        exit 1
    }
    cmp "$work/here/$file" "$work/arm/$file"
    echo "$*: exit code $code, $(wc -c <"$work/arm/$file") bytes the same"
}

# generate NAME OPTION...: input for both
generate() {
    name=$1
    shift
    here stamp-encoder --generate "../$name.ts" --start-utc 2026-01-01T10:00:00Z "$@" || {
        cat "$work/here/messages" >&2
        exit 1
    }
}

# What is coded may differ with the machine's arithmetic; times may not, nor may what is copied.
generate slow --rate 29.97 --duration 4 --drop 1:2-3
generate fast --rate 59.94 --duration 3 --drop 3:1-2
generate short --rate 25 --duration 1
same times.csv stamp-encoder ../slow.ts -o out.ts --csv times.csv
same times.csv stamp-encoder ../slow.ts -o out.ts --csv times.csv --timecode vitc --source 2 --preset ultrafast
same times.csv stamp-encoder ../fast.ts -o out.ts --csv times.csv --source 3 --preset ultrafast
same times.csv stamp-encoder ../short.ts -o out.ts --csv times.csv --codec hevc --preset ultrafast
same copy.ts stamp-encoder ../fast.ts -o copy.ts --copy
same report.json stamp-report ../slow.ts --vitc --json report.json
same report.csv stamp-report ../fast.ts --csv report.csv
