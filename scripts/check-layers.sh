#!/usr/bin/env bash
# Fails when a source includes a header from a folder above its own.
#
# The folders under src/ are libraries stacked in layers: plain records at the bottom,
# the engine that ties the readers, processes and history together near the top, and
# the programs (command line, desktop app, helper) on top. A lower library that
# includes a higher one makes a cycle the linker may hide for a while and the next
# change pays for; this check keeps the stack honest.
#
# Usage: scripts/check-layers.sh [SOURCE_ROOT]   (default: the src/ of this checkout)
set -euo pipefail

root="${1:-$(dirname "$0")/../src}"

# Which folders each folder may include (its own always). Keep in the order of the stack.
declare -A allowed=(
    [core]=""
    [fmt]="core"
    [readers]="core"
    [processes]="core fmt"
    [history]="core fmt processes"
    [knowledge]="core fmt processes history"
    [shell]="core fmt processes history knowledge"
    [notify]="core fmt processes history knowledge shell"
    [engine]="core fmt readers processes history"
    [metrics]="core"
    [helper]="core fmt readers processes"
    [cli]="core fmt readers processes history knowledge shell notify engine metrics"
    [app]="core fmt readers processes history knowledge shell notify engine metrics"
)

status=0
while IFS= read -r -d '' file; do
    rel="${file#"$root"/}"
    layer="${rel%%/*}"
    if [[ -z "${allowed[$layer]+set}" ]]; then
        echo "check-layers: $rel: src/$layer is not a known library; add it to scripts/check-layers.sh"
        status=1
        continue
    fi
    while IFS=: read -r line target; do
        if [[ "$target" == "$layer" || " ${allowed[$layer]} " == *" $target "* ]]; then
            continue
        fi
        if [[ -z "${allowed[$target]+set}" ]]; then
            continue  # not one of ours (a system header with a slash, say)
        fi
        echo "check-layers: $rel:$line includes $target/, which is above $layer/"
        status=1
    done < <(grep -noE '^[[:space:]]*#[[:space:]]*(include|import)[[:space:]]*"[a-z]+/' "$file" |
             sed -E 's/^([0-9]+):.*"([a-z]+)\/$/\1:\2/')
done < <(find "$root" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print0)

if [[ $status -eq 0 ]]; then
    echo "check-layers: every include points down the stack"
fi
exit $status
