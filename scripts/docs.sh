#!/bin/sh
# Builds the reference of the public headers (build/docs/html) and the man pages (build/docs/man), those of the programs
# from their own help, and refuses anything that is undocumented or that mandoc finds fault with.
# usage: scripts/docs.sh [FOLDER]   (of the programs; default: build/release/bin, which is brought up to date)
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # a list of words
ensure_packages $DOC_PACKAGES
programs=${1:-build/release/bin}
if [ $# -eq 0 ]; then
    # shellcheck disable=SC2086 # lists of words
    ensure_packages $BUILD_PACKAGES $TEST_PACKAGES
    cmake --preset release >/dev/null
    cmake --build --preset release --target stamp-encoder stamp-report
fi
if [ ! -x "$programs/stamp-encoder" ] || [ ! -x "$programs/stamp-report" ]; then
    echo "the programs are not in $programs" >&2
    exit 2
fi
rm -rf build/docs
mkdir -p build/docs
doxygen docs/Doxyfile
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH
release=$(sed -n 's/^#define TIMECODE_VERSION_STRING "\(.*\)"/\1/p' components/include/timecode.h)
scripts/man.py build/docs/xml build/docs/man "$release"
PYTHONDONTWRITEBYTECODE=1 scripts/man_tools.py "$programs" build/docs/man "$release"
mandoc -T lint -W warning build/docs/man/man*/*
