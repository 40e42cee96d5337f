#!/bin/sh
# Installs the Debian packages that this project needs. Quiet and quick when nothing is missing.
#
#   scripts/setup.sh          what building, testing and checking needs
#   scripts/setup.sh build    what building alone needs
#   scripts/setup.sh windows  what building and testing for Windows needs
set -eu

build_packages="
    g++ cmake ninja-build pkg-config
    libboost1.81-dev libboost-json1.81-dev
    libexpat1-dev libfmt-dev libglib2.0-dev libspdlog-dev libcli11-dev
    libarchive-dev libbz2-dev libcurl4-openssl-dev liblzma-dev libssl-dev libzstd-dev zlib1g-dev
    libflatbuffers-dev flatbuffers-compiler
    libjavascriptcoregtk-4.1-dev
"
test_packages="
    libgtest-dev libgmock-dev libbenchmark-dev libpugixml-dev nlohmann-json3-dev locales
    openssl curl zsh fish
    clang clang-format clang-tidy ccache
"
windows_packages="
    cmake ninja-build ccache
    g++-mingw-w64-x86-64-posix wine64 dpkg-dev
    libboost1.81-dev libfmt-dev libspdlog-dev googletest
"

case "${1:-all}" in
    all) wanted="$build_packages $test_packages" ;;
    build) wanted="$build_packages" ;;
    windows) wanted="$windows_packages" ;;
    *)
        echo "setup.sh: unknown argument \"$1\"; use \"build\", \"windows\" or nothing" >&2
        exit 2
        ;;
esac

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    echo "setup.sh: this system has no apt-get. Install the equivalents of these Debian packages by hand:" >&2
    echo $wanted >&2
    exit 1
fi

missing=""
for package in $wanted; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

as_root=""
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "setup.sh: cannot install packages: neither root nor sudo. As root, run:" >&2
        echo "    apt-get install --no-install-recommends$missing" >&2
        exit 1
    fi
    as_root="sudo"
fi

echo "installing:$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! {
    $as_root apt-get -qq update &&
        $as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -y install --no-install-recommends $missing
} >"$log" 2>&1 </dev/null; then
    cat "$log" >&2
    echo "setup.sh: cannot install packages; the lines above say why. Is there a network and a Debian 12 mirror?" >&2
    exit 1
fi
