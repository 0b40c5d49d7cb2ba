#!/usr/bin/env bash
# Type-checks the macOS sources on Linux, -Wall -Wextra -Werror, nothing compiled to
# code or linked. Every src/**/darwin/*.cpp is parsed by clang 19 for
# arm64-apple-macos13 and x86_64-apple-macos13 against Apple's open-source headers in
# third_party/macos-headers (never glibc's), with libc++ as the standard library; every
# src/**/darwin/*.mm as Objective-C++ against GNUstep and stand-ins (see objc_flags).
#
#   scripts/check-macos-syntax.sh [file ...]    check these files (default: all of them)
#   scripts/check-macos-syntax.sh --self-test   show that broken copies fail, and why
#
# A failure prints one line per file and target, "check-macos-syntax: FILE (TARGET):
# first error", with the likely cause when it is one of the usual ones (a header the
# open-source releases lack, a Linux header, an availability macro newer than the
# headers). Declarations the headers lack sit in scripts/macos-check/MissingDeclarations.h.
set -euo pipefail
cd "$(dirname "$0")/.."

clangxx="${CLANGXX:-clang++-19}"
libcxx="${LIBCXX_INCLUDE:-/usr/lib/llvm-19/include/c++/v1}"
tree="third_party/macos-headers/tree"
targets=(arm64-apple-macos13 x86_64-apple-macos13)
jobs="${JOBS:-2}"

if ! command -v "$clangxx" >/dev/null || [[ ! -d "$libcxx" ]]; then
    echo "check-macos-syntax: $clangxx or libc++ headers missing (scripts/install-deps.sh --ci installs clang-19 and libc++-19-dev)" >&2
    exit 1
fi

# The portable code includes a few header-only libraries from /usr/include; only they
# are linked into a folder of their own, so that nothing else of /usr/include is seen.
third="$(mktemp -d)"
trap 'rm -rf "$third"' EXIT
for name in nlohmann asio asio.hpp sqlite3.h unicode; do
    [[ -e "/usr/include/$name" ]] && ln -s "/usr/include/$name" "$third/$name"
done

# Why a first error happened, when it is one of the usual causes.
explain() {
    case "$1" in
        *"file not found"*)
            case "$1" in
                *"'features.h'"* | *"'bits/"* | *"'gnu/"* | *"'linux/"* | *"'sys/epoll.h'"* | *"'sys/inotify.h'"* | \
                    *"'sys/sysinfo.h'"* | *"'sys/prctl.h'"* | *"'malloc.h'"*)
                    echo " (a Linux header: macOS has no such file)" ;;
                *) echo " (not in Apple's open-source headers: declare what is needed in scripts/macos-check/MissingDeclarations.h)" ;;
            esac ;;
        *"__MAC_"* | *"__API_"* | *"macos("*)
            echo " (an availability macro newer than the vendored headers)" ;;
    esac
}

# The Objective-C++ files: Apple's Foundation and AppKit are not open source, so they
# are parsed on Linux against GNUstep's (on GCC's Objective-C runtime, hence without
# ARC), Qt's Linux headers, and scripts/macos-check/objc for the rest (stand-ins that
# declare, from Apple's documentation, what GNUstep lacks).
objc_flags() {
    echo -x objective-c++ -fobjc-runtime=gnustep-2.0 -fobjc-weak -fblocks -fobjc-exceptions -fPIC \
        -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_GUI_LIBRARY=1 -DGNU_RUNTIME=1 \
        -Wno-arc-bridge-casts-disallowed-in-nonarc -I scripts/macos-check/objc -isystem /usr/include/GNUstep \
        -isystem "$(gcc -print-file-name=include)" $(pkg-config --cflags-only-I Qt6Widgets | sed 's/-I/-isystem /g')
}

# Checks one file for one target; prints one line and fails when it does not parse.
check_one() {
    local target="$1" file="$2" output first
    local flags=(-target "$target" -isysroot "$tree" -nostdinc++ -isystem "$libcxx" -isystem "$tree/fw"
        -isystem "$third" -include scripts/macos-check/MissingDeclarations.h)
    # shellcheck disable=SC2207
    [[ "$file" == *.mm ]] && flags=(-target x86_64-linux-gnu $(objc_flags))
    if output="$("$clangxx" -fsyntax-only -Wall -Wextra -Werror -std=c++20 "${flags[@]}" -I src \
        -fno-color-diagnostics "$file" 2>&1)"; then
        return 0
    fi
    first="$(grep -m1 -E '(fatal )?error: ' <<<"$output" || true)"
    [[ -z "$first" ]] && first="$(head -n1 <<<"$output")"
    # clang names the file and line itself; keep only the message after "error: ".
    local where="${first%%: *error: *}" message="${first#*error: }"
    [[ "$where" == "$first" ]] && where="$file"
    echo "check-macos-syntax: $file ($target): $message at ${where#./}$(explain "$message")"
    return 1
}

# Runs every (target, file) pair, $jobs at a time; returns the number of failures.
check_all() {
    local failures=0 pair
    export -f check_one explain objc_flags
    export clangxx libcxx tree third
    while IFS= read -r pair; do
        [[ "$pair" == FAIL ]] && failures=$((failures + 1)) || echo "$pair"
    done < <(for file in "$@"; do
        # An Objective-C++ file is parsed once, for Linux: see objc_flags.
        if [[ "$file" == *.mm ]]; then printf '%s\0%s\0' gnustep "$file"; continue; fi
        for target in "${targets[@]}"; do printf '%s\0%s\0' "$target" "$file"; done
    done |
        xargs -0 -n2 -P "$jobs" bash -c 'check_one "$0" "$1" || echo FAIL')
    return "$failures"
}

if [[ "${1:-}" == "--self-test" ]]; then
    # Copies of three real sources, each with one fault a Mac build would reject, must
    # fail with one line naming the copy; the originals must pass. One target is enough.
    targets=(arm64-apple-macos13)
    broken="$third/broken"
    mkdir -p "$broken"
    sed 's/host_statistics64(/host_statistic64(/' src/readers/darwin/DarwinSystemSources.cpp >"$broken/Statistics.cpp"
    sed 's/proc_pid_rusage(\([^,]*\), \([^,]*\), /proc_pid_rusage(\1, /' src/processes/darwin/DarwinProcessSource.cpp \
        >"$broken/Rusage.cpp"
    printf '#include <sys/epoll.h>\n' >"$broken/LinuxHeader.cpp"
    sed 's/\[image setTemplate:\(.*\)\];/image.template = \1;/' src/app/darwin/StatusItemDarwin.mm >"$broken/Template.mm"
    cmp -s "$broken/Statistics.cpp" src/readers/darwin/DarwinSystemSources.cpp && { echo "self-test: no host_statistics64 call left to break" >&2; exit 1; }
    cmp -s "$broken/Rusage.cpp" src/processes/darwin/DarwinProcessSource.cpp && { echo "self-test: no proc_pid_rusage call left to break" >&2; exit 1; }
    cmp -s "$broken/Template.mm" src/app/darwin/StatusItemDarwin.mm && { echo "self-test: no setTemplate: call left to break" >&2; exit 1; }
    status=0
    report="$(check_all "$broken/Statistics.cpp" "$broken/Rusage.cpp" "$broken/LinuxHeader.cpp" "$broken/Template.mm")" &&
        status=0 || status=$?
    echo "$report"
    expect() {
        grep -q -- "$1" <<<"$report" || { echo "self-test FAILED: expected a line matching: $1" >&2; exit 1; }
    }
    [[ $status -eq 4 && $(wc -l <<<"$report") -eq 4 ]] || { echo "self-test FAILED: expected 4 one-line failures, got $status" >&2; exit 1; }
    expect "Statistics.cpp (arm64-apple-macos13): .*host_statistic64"
    expect "Rusage.cpp (arm64-apple-macos13): .*proc_pid_rusage"
    expect "LinuxHeader.cpp (arm64-apple-macos13): 'sys/epoll.h' file not found.*a Linux header"
    expect "Template.mm (gnustep): .*Template.mm:[0-9]"
    check_all src/readers/darwin/DarwinSystemSources.cpp src/processes/darwin/DarwinProcessSource.cpp \
        src/app/darwin/StatusItemDarwin.mm ||
        { echo "self-test FAILED: the unbroken originals do not pass" >&2; exit 1; }
    echo "check-macos-syntax self-test: passed"
    exit 0
fi

files=("$@")
[[ ${#files[@]} -eq 0 ]] && mapfile -t files < <(git ls-files -- 'src/*/darwin/*.cpp' 'src/*/darwin/*.mm')
failures=0
check_all "${files[@]}" || failures=$?
if [[ $failures -gt 0 ]]; then
    echo "check-macos-syntax: $failures failure(s)" >&2
    exit 1
fi
echo "check-macos-syntax: ${#files[@]} files pass (C++ for ${targets[*]}; Objective-C++ against GNUstep)"
