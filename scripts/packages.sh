# shellcheck shell=sh disable=SC2034 # sourced; the lists below are for those who source it
# Sourced by the scripts beside it: installs Debian packages that are missing, and says so.

# ensure_packages NAME...: does nothing when all are installed; needs root or sudo otherwise.
ensure_packages() {
    missing=""
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    echo "Installing from Debian:$missing"
    as_root=""
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || {
            echo "These packages are missing and need root to be installed:$missing" >&2
            exit 1
        }
        as_root=sudo
    fi
    # shellcheck disable=SC2086 # a list of words
    {
        $as_root apt-get update -qq &&
            $as_root env DEBIAN_FRONTEND=noninteractive \
                apt-get install -y -qq --no-install-recommends $missing >/dev/null
    } || {
        echo "Could not install:$missing" >&2
        exit 1
    }
}

# build_depends [PROFILE]: what debian/control names for a build without tests and documentation, or what it names for
# this profile alone; not debhelper.
build_depends() {
    sed -n '/^Build-Depends:/,/^[^B ]/s/^ \([a-z0-9.+-]*\).*/\1 &/p' debian/control |
        awk -v only="${1:+<!$1>}" '!/debhelper/ && (only != "" ? index($0, only) : !/<!no(check|doc)>/) { print $1 }'
}

BUILD_PACKAGES="g++ make $(build_depends)"
TEST_PACKAGES="libbenchmark-dev binutils git $(build_depends nocheck)"
PACKAGE_PACKAGES="dpkg-dev debhelper fakeroot lintian"
BENCHMARK_PACKAGES="libbenchmark-dev libltc-dev libgstreamer-plugins-base1.0-dev binutils python3"
DEMO_PACKAGES="gnuplot-nox ffmpeg"
ARM_PACKAGES="g++-aarch64-linux-gnu qemu-user googletest mmdebstrap uidmap"
FUZZ_PACKAGES="clang libclang-rt-dev python3"
CHECK_PACKAGES="clang-format clang-tidy cppcheck shellcheck pyflakes3 gcovr abigail-tools"
DOC_PACKAGES=$(build_depends nodoc)
