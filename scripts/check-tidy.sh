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

# A file whose key (tidy-keys.py: its preprocessed text, flags, the configuration and
# clang-tidy's version) passed before is not checked again: the whole tree takes half an
# hour on two cores, a run after a small change a minute. QM_TIDY_CACHE=0 checks all.
cache="${QM_TIDY_CACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/quillmere-tidy}"
jobs=()
if [[ "${QM_TIDY_CACHE:-1}" == 1 ]] && command -v python3 >/dev/null; then
    mkdir -p "$cache"
    declare -A key_of=()
    while IFS=$'\t' read -r key source; do key_of["$source"]="$key"; done \
        < <(python3 scripts/tidy-keys.py "$build" "$tidy" "${files[@]}")
    skipped=0
    for source in "${files[@]}"; do
        key="${key_of[$source]:--}"
        if [[ "$key" != - && -e "$cache/$key" ]]; then
            skipped=$((skipped + 1))
        else
            jobs+=("$key" "$source")
        fi
    done
    echo "check-tidy: $(( ${#jobs[@]} / 2 )) files to check, $skipped unchanged since they passed"
else
    for source in "${files[@]}"; do jobs+=(- "$source"); done
fi
[[ ${#jobs[@]} -eq 0 ]] && exit 0

# One clang-tidy per file, two at a time; xargs exits non-zero if any of them failed.
# The configuration is named outright: a combined file lives in the build folder,
# outside the tree, and includes .cpp files by design. A file that passes leaves its key.
export tidy build cache
printf '%s\n' "${jobs[@]}" |
    xargs -P "${JOBS:-2}" -n 2 bash -c '
        "$tidy" -p "$build" --config-file="$PWD/.clang-tidy" \
                --checks=-bugprone-suspicious-include --quiet --warnings-as-errors="*" "$2" &&
        { [[ "$1" == - ]] || touch "$cache/$1"; }' check-tidy
