#!/usr/bin/env bash
# Builds the library for Windows and runs its tests there, under Wine. Needs nothing before it; nothing of the user's own Wine is touched.
set -euo pipefail
cd "$(dirname "$0")/.."

# What is tested on Windows: all that stands on nothing but the library, the core library and the doubles.
components="nuocore;xml;transport;client;modules;control;boundary;exports"

scripts/setup.sh windows
sources=$PWD/build/windows-sources
scripts/fetch-expat.sh "$sources/expat"

wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
folder=$(mktemp -d)
export WINEPREFIX="$folder/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" LC_ALL=C.UTF-8
# The server ends itself a few seconds after the last program; its folder goes then.
finish() {
    "${wine%/*}/wineserver" -k 2>/dev/null || true
    rm -rf "$folder"
}
trap finish EXIT

export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
mkdir -p build/windows
step() {
    local began=$SECONDS
    printf '== %s ... ' "$1"
    shift
    if "$@" >build/windows/step.log 2>&1 </dev/null; then
        printf '%d s\n' $((SECONDS - began))
    else
        printf 'FAILED\n'
        tail -n 120 build/windows/step.log
        exit 1
    fi
}
# Its services keep the output of what started them open: whoever reads that would wait for them.
boot() {
    if ! "$wine" wineboot --init >/dev/null 2>&1 || [ ! -d "$WINEPREFIX/drive_c" ]; then
        echo "Wine ($wine) can't make its folder $WINEPREFIX: is there room, and may this user write there?"
        return 1
    fi
}
build() {
    cmake --preset windows -DNUOPLEXA_BUILD_TESTS=ON "-DNUOPLEXA_TEST_COMPONENTS=$components" \
        "-DNUOPLEXA_EXPAT_SOURCE=$sources/expat" &&
        cmake --build build/windows -j "$(nproc)"
}

step "start of Wine" boot
step "build, MinGW-w64, Windows" build
ctest --test-dir build/windows --output-on-failure -j "$(nproc)" | grep -vE '^ +Start +[0-9]+: | Passed +[0-9.]+ sec'
