#!/usr/bin/env python3
"""Prints one line "KEY<TAB>FILE" per source file given, where KEY names everything
clang-tidy's verdict on that file depends on: the preprocessed text (every header it
includes, line markers left out so that two clones in different folders agree), the
compile flags with the clone's own path taken out, the .clang-tidy configuration and
clang-tidy's version. check-tidy.sh skips a file whose key passed before.

    tidy-keys.py BUILD_FOLDER TIDY_BINARY FILE...

A file that cannot be preprocessed gets no line: it is then always checked.
"""
import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys


def preprocess_command(arguments):
    """The compile command turned into a preprocessing one: -E -P to stdout."""
    out = []
    skip = False
    for arg in arguments:
        if skip:
            skip = False
            continue
        if arg == "-o":
            skip = True
            continue
        if arg == "-c":
            continue
        out.append(arg)
    return out + ["-E", "-P", "-o", "-"]


def key_of(entry, root, common):
    arguments = entry.get("arguments") or shlex.split(entry["command"])
    try:
        text = subprocess.run(preprocess_command(arguments), cwd=entry["directory"],
                              capture_output=True, check=True, timeout=120).stdout
    except (OSError, subprocess.SubprocessError):
        return None
    digest = hashlib.sha256(common)
    flags = " ".join(a for a in arguments if a.startswith(("-D", "-std", "-f", "-W")))
    digest.update(flags.replace(root, ".").encode())
    digest.update(text.replace(root.encode(), b"."))
    return digest.hexdigest()


def main():
    if len(sys.argv) < 3:
        print("usage: tidy-keys.py BUILD_FOLDER TIDY_BINARY FILE...", file=sys.stderr)
        return 2
    build, tidy, files = sys.argv[1], sys.argv[2], sys.argv[3:]
    root = os.getcwd()
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as handle:
        entries = {os.path.realpath(e["file"]): e for e in json.load(handle)}
    version = subprocess.run([tidy, "--version"], capture_output=True, check=False).stdout
    with open(".clang-tidy", "rb") as handle:
        common = version + handle.read()

    wanted = [(f, entries.get(os.path.realpath(f))) for f in files]
    with concurrent.futures.ThreadPoolExecutor(max_workers=int(os.environ.get("JOBS", "2"))) as pool:
        keys = pool.map(lambda pair: key_of(pair[1], root, common) if pair[1] else None, wanted)
        for (path, _), key in zip(wanted, keys):
            if key:
                print(f"{key}\t{path}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
