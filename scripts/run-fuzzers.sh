#!/usr/bin/env bash
# Builds the libFuzzer programs (clang) and runs each for a bounded time from its seed
# corpus in fuzz/corpus/<target>/. A crash, leak, hang, out-of-memory or sanitizer
# report fails the run; the input that caused it is kept in <build>/artifacts/.
#   scripts/run-fuzzers.sh [-t seconds] [-j parallel] [-b build-folder] [target ...]
# New inputs the fuzzers find go to <build>/corpus/<target>/, never into the tree;
# copy interesting ones into fuzz/corpus/<target>/ by hand.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=20
parallel=2
build=build-fuzz
while getopts "t:j:b:" option; do
    case "$option" in
        t) seconds="$OPTARG" ;;
        j) parallel="$OPTARG" ;;
        b) build="$OPTARG" ;;
        *) echo "usage: $0 [-t seconds] [-j parallel] [-b build-folder] [target ...]" >&2; exit 2 ;;
    esac
done
shift $((OPTIND - 1))

cxx="${FUZZ_CXX:-$(command -v clang++ || command -v clang++-14 || true)}"
if [[ -z "$cxx" ]]; then
    echo "run-fuzzers: clang++ not found (scripts/install-deps.sh --ci installs it)" >&2
    exit 1
fi

# Optimised, with line tables and assertions on.
cmake -S . -B "$build" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
      -DQUILLMERE_FUZZ=ON \
      -DQUILLMERE_TESTS=OFF -DQUILLMERE_BENCH=OFF -DQUILLMERE_APP=OFF >/dev/null
cmake --build "$build" --target fuzzers -j"${JOBS:-2}"

targets=("$@")
if [[ ${#targets[@]} -eq 0 ]]; then
    for source in fuzz/*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi

export ASAN_OPTIONS="halt_on_error=1:abort_on_error=0${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

mkdir -p "$build/artifacts" "$build/logs"
run_one() {
    local target="$1"
    mkdir -p "$build/corpus/$target" "fuzz/corpus/$target"
    # The first folder receives new inputs; the seeds are only read.
    if "$build/fuzz/fuzz_$target" "$build/corpus/$target" "fuzz/corpus/$target" \
            -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=8192 \
            -print_final_stats=1 -artifact_prefix="$build/artifacts/$target-" \
            >"$build/logs/$target.log" 2>&1; then
        echo "fuzz $target: ok ($(grep -m1 -o 'stat::number_of_executed_units: *[0-9]*' "$build/logs/$target.log" | grep -o '[0-9]*$') runs)"
    else
        echo "fuzz $target: FAILED (log: $build/logs/$target.log)"
        tail -n 60 "$build/logs/$target.log"
        return 1
    fi
}

failed=0
pids=()
for target in "${targets[@]}"; do
    run_one "$target" &
    pids+=($!)
    if [[ ${#pids[@]} -ge $parallel ]]; then
        wait "${pids[0]}" || failed=1
        pids=("${pids[@]:1}")
    fi
done
for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
exit "$failed"
