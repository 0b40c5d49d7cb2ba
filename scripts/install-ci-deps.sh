#!/usr/bin/env bash
# What CI needs beyond the build's own packages: clang with its sanitizer and
# libFuzzer runtimes, clang-format and clang-tidy (Debian 12 packages). Safe to run
# again: installed packages are skipped.
set -euo pipefail

if [[ "$(uname -s)" == "Darwin" ]]; then
    brew install llvm
    exit 0
fi

packages=(clang libclang-rt-dev clang-format clang-tidy)
missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=""
[[ "$(id -u)" -ne 0 ]] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
