#!/bin/sh
# Builds the reference of the public headers (build/docs/html) and the man pages (build/docs/man), and refuses
# anything that is undocumented or that mandoc finds fault with.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # a list of words
ensure_packages $DOC_PACKAGES
rm -rf build/docs
mkdir -p build/docs
doxygen docs/Doxyfile
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH
release=$(sed -n 's/^#define TIMECODE_VERSION_STRING "\(.*\)"/\1/p' components/include/timecode.h)
scripts/man.py build/docs/xml build/docs/man "$release"
mandoc -T lint -W warning build/docs/man/man*/*
