#!/usr/bin/env bash
# Checks the form of the sources (clang-format) and looks for mistakes in them (clang-tidy).
#
#   scripts/lint.sh format              form of all sources
#   scripts/lint.sh tidy [FILE...]      mistakes in the files, or in all that are the product's own; needs build/clang
set -euo pipefail
cd "$(dirname "$0")/.."

sources() { git ls-files --cached --others --exclude-standard -- "$@"; }

case "${1:-}" in
    format)
        sources '*.h' '*.cpp' | xargs -r clang-format --dry-run --Werror
        ;;
    tidy)
        shift
        if [ ! -f build/clang/compile_commands.json ]; then
            echo "lint.sh: cannot check: configure first, with cmake --preset clang" >&2
            exit 1
        fi
        if [ $# -gt 0 ]; then files=$(printf '%s\n' "$@"); else
            files=$(sources 'src/*.cpp' 'platform/*.cpp' 'tools/*.cpp' 'examples/*.cpp' | grep -v '_win32\.cpp$')
        fi
        # What is written with other warnings than Clang knows must not count as a mistake.
        echo "$files" | xargs -r -n 2 -P "$(nproc)" clang-tidy --quiet -p build/clang \
            --extra-arg=-Wno-unknown-warning-option
        ;;
    *)
        echo "usage: scripts/lint.sh format | tidy [FILE...]" >&2
        exit 2
        ;;
esac
