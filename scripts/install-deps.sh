#!/usr/bin/env bash
# Installs what building and testing Quillmere needs: Debian/Ubuntu packages, or
# Homebrew formulae on macOS. With --ci, also what CI adds: clang with its sanitizer
# and libFuzzer runtimes, clang-format and clang-tidy. Safe to run again: installed
# packages are skipped.
set -euo pipefail

ci=0
[[ "${1:-}" == "--ci" ]] && ci=1

if [[ "$(uname -s)" == "Darwin" ]]; then
    brew install cmake sqlite icu4c nlohmann-json cli11 asio googletest google-benchmark qt yaml-cpp openssl@3
    [[ $ci -eq 1 ]] && brew install llvm
    exit 0
fi

# One line per need, so that adding a package touches one line.
packages=(cmake g++ make pkg-config procps)
packages+=(libsqlite3-dev sqlite3)                      # the history database
packages+=(libicu-dev nlohmann-json3-dev libcli11-dev libasio-dev)
packages+=(libgtest-dev libgmock-dev libbenchmark-dev)  # tests and benchmarks
packages+=(libssl-dev)                                  # checksums for package provenance
packages+=(libncurses-dev tmux)                         # the terminal view of `top`; tmux is its test's terminal
packages+=(qt6-base-dev qt6-svg-dev libgl-dev)          # the desktop app
packages+=(libsdbus-c++-dev libsystemd-dev dbus)         # desktop notifications; dbus-daemon for their tests
packages+=(libsystemd-dev)                              # the privileged helper's socket activation
packages+=(libyaml-cpp-dev libcrypt-dev)                # the exporter's web configuration (TLS, bcrypt users)
packages+=(prometheus openssl curl)                     # the exporter's tests: promtool, a real server, TLS
[[ $ci -eq 1 ]] && packages+=(clang libclang-rt-dev clang-format clang-tidy ccache python3)
[[ $ci -eq 1 ]] && packages+=(clang-19 libc++-19-dev libgnustep-base-dev libgnustep-gui-dev)  # macOS syntax check
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
