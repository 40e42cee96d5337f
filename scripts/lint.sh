#!/usr/bin/env bash
# Checks the form of the sources (clang-format) and looks for mistakes in them (clang-tidy).
#
#   scripts/lint.sh format              form of all sources
#   scripts/lint.sh tidy [FILE...]      mistakes in the files, or in all that are the product's own
set -euo pipefail
cd "$(dirname "$0")/.."

sources() { git ls-files --cached --others --exclude-standard -- "$@"; }

case "${1:-}" in
    format)
        sources '*.h' '*.cpp' | xargs -r clang-format --dry-run --Werror
        ;;
    tidy)
        shift
        # A configuration of its own: Clang reads no precompiled header of another compiler.
        cmake --preset clang -B build/tidy -DNUOPLEXA_BUILD_TESTS=ON -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON >/dev/null
        cmake --build build/tidy --target wire_schema >/dev/null
        if [ $# -gt 0 ]; then files=$(printf '%s\n' "$@"); else
            files=$(sources 'src/*.cpp' 'platform/*.cpp' 'services/*.cpp' 'tools/*.cpp' 'examples/*.cpp' | grep -v '_win32\.cpp$')
        fi
        echo "$files" | xargs -r -n 2 -P "$(nproc)" clang-tidy --quiet -p build/tidy
        ;;
    *)
        echo "usage: scripts/lint.sh format | tidy [FILE...]" >&2
        exit 2
        ;;
esac
