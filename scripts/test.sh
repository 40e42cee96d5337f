#!/usr/bin/env bash
# Installs what is needed, builds everything, runs all tests. A fresh clone needs nothing before it.
#
#   scripts/test.sh           form of the sources, the product built by the other compiler, address and undefined behaviour
#                             sanitizers, the thread sanitizer over real processes, Windows, and the release build's tests last
#   scripts/test.sh --quick   the release build and its tests only
#   scripts/test.sh --all     also the tests and benchmarks built by the other compiler, a search for mistakes in the sources, and
#                             all that has threads under the thread sanitizer; takes about twice as long
set -euo pipefail
cd "$(dirname "$0")/.."

quick=false
all=false
case "${1:-}" in
    "") ;;
    --quick) quick=true ;;
    --all) all=true ;;
    *)
        echo "usage: scripts/test.sh [--quick | --all]" >&2
        exit 2
        ;;
esac

jobs=$(nproc)
logs=$(mktemp -d)
trap 'rm -rf "$logs"' EXIT
. scripts/steps.sh

configure() { cmake --preset "$1" -DNUOPLEXA_BUILD_TESTS=ON "${@:2}"; }
build() { cmake --build "build/$1" -j "$jobs"; }
run_tests() { ctest --test-dir "build/$1" --output-on-failure -j "$jobs" "${@:2}" | without_passed; }

build_release() { configure release -DNUOPLEXA_BUILD_BENCHMARKS=ON && build release; }
build_clang() { configure clang -DNUOPLEXA_BUILD_TESTS=$1 -DNUOPLEXA_BUILD_BENCHMARKS=$1 && build clang; }
test_asan() { configure asan && build asan && run_tests asan; }
# The thread sanitizer needs an address space that is laid out as it expects.
test_tsan() {
    configure tsan "-DNUOPLEXA_TEST_COMPONENTS=$1" &&
        steady cmake --build build/tsan -j "$jobs" &&
        steady ctest --test-dir build/tsan --output-on-failure -j "$jobs" | without_passed
}

step "install what is needed" scripts/setup.sh || exit 1
if ! $quick; then
    step "form of the sources" scripts/lint.sh format || true
fi
step "build, GCC, release" build_release || exit 1
if $all; then
    step "build, Clang" build_clang ON || true
    step "mistakes in the sources" scripts/lint.sh tidy || true
elif ! $quick; then
    step "build, Clang, without tests" build_clang OFF || true
fi
if ! $quick; then
    step "address and undefined behaviour sanitizers: build and test" test_asan || true
fi
if $all; then
    step "thread sanitizer: build and test" test_tsan "nuocore;message5;campaign;broker;transport;client" || true
elif ! $quick; then
    step "thread sanitizer: build and test real processes" test_tsan "message5;campaign" || true
fi

if ! $quick; then
    step "Windows: build, and test under Wine" scripts/test-windows.sh || true
fi

for name in "${failed[@]}"; do echo "FAILED: $name"; done
echo "== test, GCC, release"
run_tests release || failed+=("test, GCC, release")
[ ${#failed[@]} -eq 0 ]
