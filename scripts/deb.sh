#!/bin/sh
# Builds the Debian packages in build/deb and has lintian look at them. With a folder for it, installs the library into
# a bare Debian there (as root), builds and runs the README's program on it, and removes everything.
# usage: scripts/deb.sh [--arch arm64] [--chroot FOLDER]
#
# For arm64 the libraries alone: Debian's cross compiler comes without FFmpeg.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
arch=$(dpkg --print-architecture)
host=$arch
chroot=""
while [ $# -gt 1 ]; do
    case $1 in
    --arch) host=$2 ;;
    --chroot) chroot=$2 ;;
    esac
    shift 2
done
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES $PACKAGE_PACKAGES
profiles=""
if [ "$host" != "$arch" ]; then
    ensure_packages "crossbuild-essential-$host"
    profiles="nocheck,pkg.timecode.notools"
fi

work=build/deb/$host
rm -rf "$work"
mkdir -p "$work/timecode"
git ls-files -z | tar --create --null --files-from=- | tar --extract --directory="$work/timecode"
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
(
    cd "$work/timecode"
    export DEB_BUILD_OPTIONS="parallel=2 ${profiles:+nocheck}"
    # The packages of the other machine, which -d leaves unlooked for, are those that the profiles leave out.
    dpkg-buildpackage -us -uc -a "$host" ${profiles:+-d -P"$profiles"} >../build.log 2>&1 || {
        tail -n 40 ../build.log >&2
        exit 1
    }
)
lintian --allow-root --fail-on error,warning "$work"/*.changes
ls "$work"/*.deb

[ -n "$chroot" ] || exit 0
ensure_packages mmdebstrap
[ -e "$chroot/etc/debian_version" ] ||
    mmdebstrap --quiet --variant=minbase --include=gcc,libc6-dev,pkg-config bookworm "$chroot"
mkdir -p "$chroot/tmp/packages"
cp "$work"/libtimecode*.deb README.md debian/tests/readme "$chroot/tmp/packages"
rm -f "$chroot"/tmp/packages/*dbgsym*
in_chroot() { chroot "$chroot" env AUTOPKGTEST_TMP=/tmp LC_ALL=C.UTF-8 sh -euc "cd /tmp/packages; $1"; }
in_chroot 'dpkg --install ./*.deb >/dev/null; ./readme; echo "installed, and the program of README.md runs"'
# shellcheck disable=SC2016 # expanded in there
in_chroot 'dpkg --purge $(for package in *.deb; do echo "${package%%_*}"; done) >/dev/null
    ! find /usr /etc /var -path "*timecode*" | grep .; echo "removed without a trace"'
