#!/bin/sh
# Builds the Debian packages in build/deb and has lintian look at them. With a folder for it, unpacks a bare Debian
# there (as root), in which autopkgtest installs them and runs their own tests, and removes everything.
# usage: scripts/deb.sh [--chroot FOLDER] | scripts/deb.sh --arch arm64
#
# For another machine they are built in a Debian that is unpacked for the time of it, with that machine's packages, and
# without man pages: its programs cannot be asked here.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
arch=$(dpkg --print-architecture)
host=$arch
chroot=""
case $#${1-} in
0) ;;
2--arch) host=$2 ;;
2--chroot) chroot=$2 ;;
*) echo "usage: scripts/deb.sh [--chroot FOLDER] | scripts/deb.sh --arch arm64" >&2 && exit 2 ;;
esac
if [ -n "$chroot" ] && [ -e "$chroot" ] && ! [ -e "$chroot/made-by-deb.sh" ]; then
    echo "$chroot is there already and not of this script's making" >&2
    exit 2
fi
# shellcheck disable=SC2086 # a list of words
ensure_packages $PACKAGE_PACKAGES

unwanted=""
work=$PWD/build/deb/$host
rm -rf "$work"
mkdir -p "$work/timecode"
git ls-files -z | tar --create --null --files-from=- | tar --extract --directory="$work/timecode"
unset CMAKE_C_COMPILER_LAUNCHER CMAKE_CXX_COMPILER_LAUNCHER
# build COMMAND...: which leaves the packages in the folder
build() {
    "$@" >"$work/build.log" 2>&1 || {
        tail -n 40 "$work/build.log" >&2
        exit 1
    }
}
if [ "$host" = "$arch" ]; then
    # shellcheck disable=SC2046 # lists of words
    ensure_packages g++ make $(build_depends) $(build_depends nocheck) $(build_depends nodoc)
    export DEB_BUILD_OPTIONS=parallel=2
    build env --chdir="$work/timecode" dpkg-buildpackage -us -uc
else
    ensure_packages mmdebstrap
    unwanted="--suppress-tags no-manual-page" # which are made by asking the programs
    make="cd /build/timecode
        export DEB_BUILD_OPTIONS='parallel=2 nocheck nodoc' DEB_BUILD_PROFILES='cross nocheck nodoc'
        apt-get -y -qq --no-install-recommends -a $host build-dep .; dpkg-buildpackage -us -uc -b -a $host"
    build mmdebstrap --variant=apt --architectures="$arch,$host" --format=null \
        --include="build-essential,crossbuild-essential-$host" --essential-hook="mkdir \"\$1/build\"" \
        --customize-hook="copy-in $work/timecode /build" \
        --customize-hook="chroot \"\$1\" sh -euc \"$make\"" \
        --customize-hook="sync-out /build $work" bookworm
fi
# shellcheck disable=SC2086 # an option with its value
lintian --allow-root --fail-on error,warning $unwanted "$work"/*.changes
ls "$work"/*.deb

[ -n "$chroot" ] || exit 0
ensure_packages mmdebstrap autopkgtest
rm -rf "$chroot"
mmdebstrap --quiet --variant=apt --include=apt-utils bookworm "$chroot"
touch "$chroot/made-by-deb.sh"
rm -f "$work"/*dbgsym*
autopkgtest --apt-upgrade --summary-file="$work/autopkgtest" "$work"/*.deb "$work/timecode/" -- chroot "$chroot" \
    >"$work/autopkgtest.log" 2>&1 || {
    tail -n 40 "$work/autopkgtest.log" >&2
    exit 1
}
cat "$work/autopkgtest"
# shellcheck disable=SC2016 # expanded in there
chroot "$chroot" sh -euc 'dpkg --purge $(dpkg-query --show --showformat="\${Package} " "*timecode*") >/dev/null
    if find /usr /etc /var -path "*timecode*" | grep .; then exit 1; fi; echo "removed without a trace"'
