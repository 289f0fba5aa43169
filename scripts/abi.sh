#!/bin/sh
# Compares the binary interface of both libraries with the baseline in packaging/abi, or writes the baseline anew.
# usage: scripts/abi.sh [--update]   (after the release preset has been built)
#
# A difference that breaks programs needs a new ABI number (TIMECODE_ABI_MAJOR in CMakeLists.txt) and a new baseline.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
ensure_packages abigail-tools
for name in libtimecode libtimecode_support; do
    object=build/release/lib/$name.so
    baseline=packaging/abi/$name.abi
    if [ "${1:-}" = --update ]; then
        abidw --no-show-locs --no-corpus-path --no-comp-dir-path --headers-dir components/include \
            --exported-interfaces-only --drop-private-types "$(realpath "$object")" |
            sed "s#path='[^']*/components/#path='components/#" >"$baseline"
    else
        abidiff --headers-dir2 components/include --drop-private-types --no-show-locs "$baseline" \
            "$(realpath "$object")"
        echo "$name: as in its baseline"
    fi
done
