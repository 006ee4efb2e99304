#!/usr/bin/env bash
# The README's first command: installs what the build needs, builds a Release tree in build/demo and
# runs the demo (the device demo when it is present, else the JSON tour).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$root/build/demo

bash "$root/scripts/deps.sh" demo

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DTOLVI_BUILD_TESTS=OFF
if [[ -f $root/examples/device_demo/main.cpp ]]; then
    cmake --build "$build" -j2 --target tolvi_demo
    out=$build/device_demo_out
    mkdir -p "$out"
    echo "== tolvi_demo examples/device_demo/data $out"
    "$build/examples/tolvi_demo" "$root/examples/device_demo/data" "$out"
else
    cmake --build "$build" -j2 --target json_tour
    echo "== json_tour examples/data"
    "$build/examples/json_tour" "$root/examples/data"
fi
