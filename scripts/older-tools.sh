#!/bin/sh
# Builds with older and other tools, warnings being errors, and runs the tests: gcc 11; clang; clang with libc++ (all
# but the applications); musl (the libraries and the example, which must print what the README shows); the oldest CMake
# (which knows no warnings as errors), with the cases of how others find what it built. For use before a release.
# usage: scripts/older-tools.sh [gcc-11|clang|libc++|musl|cmake]...
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
# shellcheck disable=SC2086 # lists of words
ensure_packages $BUILD_PACKAGES $TEST_PACKAGES g++-11 clang libc++-dev libc++abi-dev googletest musl-tools \
    mmdebstrap

# build NAME C-COMPILER C++-COMPILER [CMAKE-OPTION...]
build() {
    folder=build/older-$1
    c=$2
    cxx=$3
    shift 3
    cmake -S . -B "$folder" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_COMPILE_WARNING_AS_ERROR=ON \
        -DCMAKE_C_COMPILER="$c" -DCMAKE_CXX_COMPILER="$cxx" -DTIMECODE_BUILD_BENCHMARKS=OFF "$@" >/dev/null
    cmake --build "$folder" -j 2
}

# Debian has a C compiler for musl alone. libc++ is the C++ library whose headers know musl; nothing is taken from it.
build_musl() {
    includes=/usr/include/$(uname -m)-linux-musl
    for folder in "$(clang -print-resource-dir)/include" /usr/lib/llvm-*/include/c++/v1; do
        includes="$folder -isystem $includes"
    done
    build musl musl-gcc clang++ -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY \
        -DCMAKE_CXX_FLAGS="-nostdinc -isystem $includes -D_LIBCPP_HAS_MUSL_LIBC" \
        -DCMAKE_CXX_CREATE_SHARED_LIBRARY="musl-gcc -shared <LINK_FLAGS> <SONAME_FLAG><TARGET_SONAME> -o <TARGET> \
            <OBJECTS> <LINK_LIBRARIES>" -DTIMECODE_BUILD_APPS=OFF -DTIMECODE_BUILD_TESTS=OFF
    tests/minimal/check.sh README.md build/older-musl/bin/minimal
    readelf -d build/older-musl/lib/libtimecode*.so >build/older-musl/needed
    if grep NEEDED build/older-musl/needed | grep -v '\[libc\.so\]\|\[libtimecode_support\.so\.1\]'; then
        echo "the libraries need more than musl's libc" >&2
        exit 1
    fi
}

# That of Debian 11, with the one library that Debian 12 has no more. What else is unpacked with it is not used.
take_oldest_cmake() {
    debian=$PWD/build/older-cmake-debian
    [ -e "$debian/usr/bin/cmake" ] ||
        mmdebstrap --quiet --variant=extract --include=cmake bullseye "$debian"
    mkdir -p "$debian/taken"
    ln -sf "$debian/usr/bin/cmake" "$debian/usr/bin/ctest" "$debian"/usr/lib/*/libjsoncpp.so.* "$debian/taken"
    export PATH="$debian/taken:$PATH" LD_LIBRARY_PATH="$debian/taken"
    cmake --version | head -n 1
}

# run_tests FOLDER: the cases about programs are the release build's.
run_tests() { (cd "$1" && ctest --output-on-failure --exclude-regex 'programs|services'); }

[ $# -gt 0 ] || set -- gcc-11 clang libc++ musl cmake
for tools in "$@"; do
    printf '\n== %s\n' "$tools"
    case $tools in
    gcc-11) build gcc-11 gcc-11 g++-11 ;;
    clang) build clang clang clang++ ;;
    libc++)
        # Debian's GoogleTest is built for the other library.
        build libc++ clang clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++ -DTIMECODE_BUILD_APPS=OFF \
            -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
        ;;
    musl)
        build_musl
        continue
        ;;
    cmake)
        (
            take_oldest_cmake
            build cmake cc c++
            run_tests build/older-cmake
            TIMECODE_BUILD=$PWD/build/older-cmake pytest-3 -q tests/programs -k 'find_package or subproject'
        )
        continue
        ;;
    *)
        echo "no tools called '$tools'" >&2
        exit 2
        ;;
    esac
    run_tests "build/older-$tools"
done
