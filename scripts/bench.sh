#!/usr/bin/env bash
# Builds the benchmarks in Release and prints one table: libtolvi against the floor that Jansson
# sets and against nlohmann::json, with the performance targets and whether each is met.
#
#   scripts/bench.sh [--quick] [tolvi_bench flags, e.g. --benchmark_repetitions=9]
#
# Installs what it needs with apt-get (scripts/deps.sh bench: Google Benchmark, nlohmann::json,
# GNU time, the armhf cross compiler and Jansson for armhf), builds build/bench (host, Release) and
# build/bench-armhf (the stripped armhf library sizes), measures the peak memory of parsing
# canada.json with /usr/bin/time -v, then runs the benchmarks, each group in a process of its own,
# in two passes (TOLVI_BENCH_PASSES), and last tolvi_large_documents (peak heap of large
# documents, interleaved ratios): about fifteen minutes on two cores. Build logs go to
# build/logs/bench-*.log. The documents are read from ../shared/bench-data beside the checkout
# (TOLVI_BENCH_DATA_DIR overrides it); a missing one is skipped with a notice.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=2
logs=$root/build/logs
mkdir -p "$logs"

note() {
    echo "bench: $*" >&2
}

bash scripts/deps.sh bench >&2

data_dir=${TOLVI_BENCH_DATA_DIR:-$(cd "$root/.." && pwd)/shared/bench-data}

note "building build/bench (Release)"
cmake -S "$root" -B build/bench -DCMAKE_BUILD_TYPE=Release -DTOLVI_WERROR=ON \
    -DTOLVI_BUILD_BENCH=ON -DTOLVI_BUILD_TESTS=OFF -DTOLVI_BUILD_EXAMPLES=OFF -DTOLVI_INSTALL=OFF \
    -DTOLVI_BENCH_DATA_DIR="$data_dir" >"$logs/bench-host.log" 2>&1
cmake --build build/bench -j"$jobs" --target tolvi_bench tolvi_peak_memory tolvi_large_documents \
    >>"$logs/bench-host.log" 2>&1 || {
    tail -n 40 "$logs/bench-host.log" >&2
    exit 1
}

# The device build: library sizes as shipped (stripped) and the layout of Variant on ILP32.
armhf_flags=()
if command -v arm-linux-gnueabihf-g++ >/dev/null; then
    note "building build/bench-armhf (Release, cross)"
    if cmake -S "$root" -B build/bench-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-armhf.cmake \
        -DCMAKE_BUILD_TYPE=Release -DTOLVI_BUILD_TESTS=OFF -DTOLVI_BUILD_EXAMPLES=OFF \
        -DTOLVI_INSTALL=OFF >"$logs/bench-armhf.log" 2>&1 &&
        cmake --build build/bench-armhf -j"$jobs" --target tolvi >>"$logs/bench-armhf.log" 2>&1; then
        stripped=build/bench-armhf/stripped
        mkdir -p "$stripped"
        arm-linux-gnueabihf-strip -o "$stripped/libtolvi.so" build/bench-armhf/libtolvi.so
        arm-linux-gnueabihf-strip -o "$stripped/libskrib.so" \
            build/bench-armhf/platform/skrib/libskrib.so
        # sizeof(Variant) as the cross compiler lays it out: the size of an array of that many
        # bytes, read back from the object file.
        printf '#include <tolvi/Variant.hpp>\nextern char const variant_size[sizeof(Variant)];\n%s\n' \
            'char const variant_size[sizeof(Variant)] = {};' >"$stripped/variant_size.cpp"
        arm-linux-gnueabihf-g++ -std=c++17 -I include -I platform/skrib/include -c \
            "$stripped/variant_size.cpp" -o "$stripped/variant_size.o"
        variant_size_hex=$(arm-linux-gnueabihf-nm -S "$stripped/variant_size.o" |
            awk '$4 == "variant_size" { print $2 }')
        variant_size=$((16#${variant_size_hex:-0}))
        armhf_flags=(--armhf-tolvi-bytes="$(stat -c %s "$stripped/libtolvi.so")"
            --armhf-skrib-bytes="$(stat -c %s "$stripped/libskrib.so")"
            --armhf-variant-size="$variant_size")
    else
        note "the armhf build failed (build/logs/bench-armhf.log); its rows show n/a"
    fi
else
    note "no armhf cross compiler; its rows show n/a"
fi

# Peak resident memory of one parse of canada.json, reading the file included.
peak_flags=()
canada=$data_dir/canada.json
if [[ -r $canada ]]; then
    peak() {
        /usr/bin/time -v build/bench/bench/tolvi_peak_memory "$1" "$canada" 2>&1 >/dev/null |
            awk -F': ' '/Maximum resident set size/ { print $2 }'
    }
    peak_flags=(--peak-text-kb="$(peak text)" --peak-tolvi-kb="$(peak tolvi)"
        --peak-jansson-kb="$(peak jansson)")
else
    note "$canada not found; the peak-memory row shows n/a"
fi

# One process per group, so that no group runs on a heap that another left fragmented; two passes
# a few minutes apart, so that a busy spell of the machine does not decide a row alone. Then the
# one table from all of them, the fastest run of each benchmark counting.
passes=${TOLVI_BENCH_PASSES:-2}
results=()
for ((pass = 1; pass <= passes; ++pass)); do
    for group in scaling published records generated; do
        note "pass $pass of $passes: the $group benchmarks"
        build/bench/bench/tolvi_bench --data-dir="$data_dir" --group="$group" \
            --save="build/bench/results-$group-$pass.txt" "$@"
        results+=(--load="build/bench/results-$group-$pass.txt")
    done
done
build/bench/bench/tolvi_bench "${results[@]}" "${peak_flags[@]}" "${armhf_flags[@]}"

# Large documents in small memory: peak heap of loading and saving, and the ratios run
# interleaved (tolvi_large_documents; its documents are written to build/bench and removed).
note "large documents: peak heap and interleaved ratios"
quick=()
if [[ " $* " == *" --quick "* ]]; then
    quick=(--quick)
fi
build/bench/bench/tolvi_large_documents --data-dir="$data_dir" --work-dir=build/bench "${quick[@]}"
