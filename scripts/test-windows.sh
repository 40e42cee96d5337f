#!/usr/bin/env bash
# Builds the library for Windows and runs its tests there, under Wine. Needs nothing before it; nothing of the user's own Wine is touched.
set -euo pipefail
cd "$(dirname "$0")/.."

temporary=${TMPDIR:-/tmp}
if [ ! -d "$temporary" ] || [ ! -w "$temporary" ]; then
    echo "test-windows.sh: no folder for Wine: $temporary (TMPDIR) has to be there, and this user has to be allowed to write there" >&2
    exit 1
fi

scripts/setup.sh windows
# The folder that the preset names.
scripts/fetch-expat.sh build/windows-sources/expat

wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
server=${wine%/*}/wineserver
for program in "$wine" "$server"; do
    if [ ! -x "$program" ]; then
        echo "test-windows.sh: there is no $program: apt-get install wine64" >&2
        exit 1
    fi
done

folder=$(mktemp -d)
export WINEPREFIX="$folder/prefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe=" LC_ALL=C.UTF-8
mkdir "$WINEPREFIX"
# The server's own folder stands among those of the user's session, and otherwise among the temporary ones; it leaves it there.
export TMPDIR=$folder
session_folder=/run/user/$(id -u)/wine/server-$(stat -c %D "$WINEPREFIX")-$(printf %x "$(stat -c %i "$WINEPREFIX")")
# What still ran while its folder is removed would put files back into it.
finish() {
    "$server" -k 2>/dev/null || true
    timeout 10 "$server" -w || true
    rm -rf "$folder" "$session_folder" || true
}
trap finish EXIT

logs=build/windows
mkdir -p "$logs"
. scripts/steps.sh

# Wine's services keep the output of what started them open, and whoever reads that waits for them. The server that is started here
# stays, so they are started once, and no test starts them.
start_wine() {
    if ! { "$server" -p && steady timeout 120 "$wine" wineboot --init; } >"$logs/wine.log" 2>&1 </dev/null ||
        [ ! -d "$WINEPREFIX/drive_c/windows" ]; then
        cat "$logs/wine.log"
        echo "Wine ($wine) can't make its folder $WINEPREFIX: is there room, and may this user write there?"
        return 1
    fi
}
build() { cmake --preset windows "-DWINE_PROGRAM=$wine" && cmake --build --preset windows -j "$(nproc)"; }
# The library alone, against what it is tested with, arranged as an SDK.
build_against_sdk() {
    local tree=$PWD/build/windows-sdk part library
    local sdk=$tree/sdk
    mkdir -p "$sdk/include" "$sdk/lib" "$sdk/boost" && ln -sfn /usr/include/boost "$sdk/boost/boost" || return 1
    for part in nuocore message5 control nuoscripting; do cp -Rp "platform/$part/include/." "$sdk/include" || return 1; done
    for library in nuocore PlexaMessage5 PlexaControl nuoscripting; do cp -p "build/windows/lib/lib$library.dll.a" "$sdk/lib" || return 1; done
    cmake -S . -B "$tree" -G Ninja --toolchain cmake/windows-toolchain.cmake "-DNUOPLEXA_PLATFORM_SDK=$sdk" "-DBoost_INCLUDE_DIR=$sdk/boost" &&
        cmake --build "$tree" -j "$(nproc)" && cmake --install "$tree" --prefix "$tree/installed"
}

step "start of Wine" start_wine || exit 1
step "build, MinGW-w64, Windows" build || exit 1
step "build against an SDK, MinGW-w64, Windows" build_against_sdk || exit 1
ctest --preset windows -j "$(nproc)" | without_passed
