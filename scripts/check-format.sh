#!/usr/bin/env bash
# Checks every C++ and Objective-C++ source against .clang-format; exits non-zero on
# the first difference and shows it. With --fix, rewrites the files instead.
#   scripts/check-format.sh [--fix] [file ...]     (default: everything git tracks)
set -euo pipefail
cd "$(dirname "$0")/.."

fix=0
if [[ "${1:-}" == "--fix" ]]; then fix=1; shift; fi

format="${CLANG_FORMAT:-$(command -v clang-format || command -v clang-format-14 || true)}"
if [[ -z "$format" ]]; then
    echo "check-format: clang-format not found (scripts/install-deps.sh --ci installs it)" >&2
    exit 1
fi

files=("$@")
if [[ ${#files[@]} -eq 0 ]]; then
    mapfile -t files < <(git ls-files -- 'src/*.cpp' 'src/*.h' 'src/*.mm' 'tests/*.cpp' 'tests/*.h' \
                                         'bench/*.cpp' 'bench/*.h' 'fuzz/*.cpp' 'fuzz/*.h')
fi

if [[ $fix -eq 1 ]]; then
    "$format" -i --style=file "${files[@]}"
    exit 0
fi

status=0
for file in "${files[@]}"; do
    if ! "$format" --style=file "$file" | diff -u --label "$file" --label "$file (formatted)" "$file" - ; then
        status=1
    fi
done
if [[ $status -ne 0 ]]; then
    echo "check-format: the files above differ from .clang-format; scripts/check-format.sh --fix rewrites them" >&2
fi
exit $status
