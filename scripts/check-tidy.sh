#!/usr/bin/env bash
# Runs clang-tidy with .clang-tidy over the portable and Linux sources, using the
# compile commands of a configured build; any finding fails the run.
#   scripts/check-tidy.sh [build-folder] [file ...]    (default: build)
# macOS sources (darwin/, .mm) are left out: they do not compile here.
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build}"
shift || true

tidy="${CLANG_TIDY:-$(command -v clang-tidy || command -v clang-tidy-14 || true)}"
if [[ -z "$tidy" ]]; then
    echo "check-tidy: clang-tidy not found (scripts/install-deps.sh --ci installs it)" >&2
    exit 1
fi
if [[ ! -f "$build/compile_commands.json" ]]; then
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi

files=("$@")
if [[ ${#files[@]} -eq 0 ]]; then
    mapfile -t files < <(git ls-files -- 'src/*.cpp' | grep -v '/darwin/')
fi

# One clang-tidy per file, two at a time; xargs exits non-zero if any of them failed.
printf '%s\n' "${files[@]}" |
    xargs -P "${JOBS:-2}" -n 1 "$tidy" -p "$build" --quiet --warnings-as-errors='*'
