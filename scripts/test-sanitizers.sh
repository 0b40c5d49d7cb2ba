#!/usr/bin/env bash
# Builds the libraries and tests with AddressSanitizer and UndefinedBehaviorSanitizer
# and runs the whole test suite; the first report stops the test and fails the run.
#   scripts/test-sanitizers.sh [build-folder]      (default build-asan)
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build-asan}"
jobs="${JOBS:-2}"

# -O1 with line tables only: quick to build, fast enough to run, readable stacks;
# assertions stay on.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" -DQUILLMERE_SANITIZE=ON \
      -DQUILLMERE_BENCH=OFF -DQUILLMERE_WERROR=ON >/dev/null
cmake --build "$build" -j"$jobs"

# halt_on_error: the first report ends the program with a failure, so ctest sees it.
# Leak checking stays on (the default on Linux).
export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:strict_string_checks=1${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="halt_on_error=1:abort_on_error=1:print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"
# print_suppressions=0: commands under test keep their stderr to what they say themselves.
export LSAN_OPTIONS="suppressions=$PWD/scripts/lsan.supp:print_suppressions=0${LSAN_OPTIONS:+:$LSAN_OPTIONS}"
cd "$build" && ctest --output-on-failure -j"$jobs"
