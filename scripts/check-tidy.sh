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
    # Sources built as one unit (the command line) have no compile command of their
    # own: the combined file is checked instead, once.
    listed="$(grep -o '"file": "[^"]*"' "$build/compile_commands.json" | sed 's/"file": "\(.*\)"/\1/')"
    while IFS= read -r source; do
        if grep -qxF "$PWD/$source" <<<"$listed"; then files+=("$source"); fi
    done < <(git ls-files -- 'src/*.cpp' | grep -v '/darwin/')
    mapfile -t -O "${#files[@]}" files < <(grep '/Unity/unity_' <<<"$listed" || true)
fi

# One clang-tidy per file, two at a time; xargs exits non-zero if any of them failed.
# The configuration is named outright: a combined file lives in the build folder,
# outside the tree, and includes .cpp files by design.
printf '%s\n' "${files[@]}" |
    xargs -P "${JOBS:-2}" -n 1 "$tidy" -p "$build" --config-file="$PWD/.clang-tidy" \
          --checks=-bugprone-suspicious-include --quiet --warnings-as-errors='*'
