#!/usr/bin/env bash
# Builds the Debian package: a release build installed below /usr, packed by CPack.
#   scripts/make-deb.sh [build-folder]      (default build-deb)
# The .deb is left in the build folder; install it with
#   sudo apt install ./build-deb/quillmere_*.deb
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build-deb}"
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
      -DQUILLMERE_TESTS=OFF -DQUILLMERE_BENCH=OFF >/dev/null
cmake --build "$build" -j"${JOBS:-2}"
(cd "$build" && cpack -G DEB)
ls "$build"/quillmere_*.deb
