#!/usr/bin/env bash
# Builds the Debian package: a release build installed below /usr, packed by CPack.
#   scripts/make-deb.sh [build-folder]      (default build-deb)
# The .deb is left in the build folder; install it with
#   sudo apt install ./build-deb/quillmere_*.deb
set -euo pipefail
cd "$(dirname "$0")/.."

build="${1:-build-deb}"
# dpkg-shlibdeps (dpkg-dev) works out the package's dependencies.
if ! command -v dpkg-shlibdeps >/dev/null; then
    echo "make-deb.sh: dpkg-shlibdeps is missing (sudo apt install dpkg-dev)" >&2
    exit 1
fi
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
      -DQUILLMERE_TESTS=OFF -DQUILLMERE_BENCH=OFF "${launcher[@]}" >/dev/null
cmake --build "$build" -j"${JOBS:-2}"
(cd "$build" && cpack -G DEB)
ls "$build"/quillmere_*.deb
