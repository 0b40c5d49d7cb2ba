#!/usr/bin/env bash
# Builds the test programs whose code crosses threads (the sampler's queue, the history
# store's queue, the main loop, the formatters' caches, the notification thread) with
# ThreadSanitizer and runs them; the first data race or lock-order report stops the
# test and fails the run.
#   scripts/test-thread-sanitizer.sh [build-folder]      (default build-tsan)
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build-tsan}"
jobs="${JOBS:-2}"
programs=(test_core test_history test_fmt test_alerts)

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" -DQUILLMERE_TSAN=ON \
      -DQUILLMERE_BENCH=OFF -DQUILLMERE_APP=OFF -DQUILLMERE_WERROR=ON >/dev/null
cmake --build "$build" --target "${programs[@]}" -j"$jobs"

export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$PWD/scripts/tsan.supp${TSAN_OPTIONS:+:$TSAN_OPTIONS}"
failed=0
for program in "${programs[@]}"; do
    if "$build/$program" --gtest_brief=1 >"$build/$program.log" 2>&1; then
        echo "tsan $program: ok ($(grep -o '[0-9]* tests\? from [0-9]* test suites\? ran' "$build/$program.log"))"
    else
        echo "tsan $program: FAILED"
        tail -n 80 "$build/$program.log"
        failed=1
    fi
done
exit "$failed"
