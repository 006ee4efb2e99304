#!/usr/bin/env bash
# Regenerates tests/exports.txt, the exported interface of libtolvi.so, from the host debug build
# that scripts/test.sh checks it against. Usage: scripts/update-exports.sh [BUILD_DIR]
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$root/build/host}

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DTOLVI_WERROR=ON >/dev/null
cmake --build "$build" --target tolvi -j2
bash "$root/scripts/check-exports.sh" --update "$build/libtolvi.so" "$root/tests/exports.txt"
