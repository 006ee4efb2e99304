#!/usr/bin/env bash
# Builds the fuzz targets (clang-14, libFuzzer, ASan+UBSan) and runs each for a bounded time.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     default: 60 s each, every target
#
# Each run starts from fuzz/corpus/<target> and fuzz/regressions/<target>; what it finds new goes
# to a work corpus in the build directory, never into the tree. A crash leaves its input in
# build-fuzz/artifacts/<target>/ and makes the script fail: copy it to fuzz/regressions/<target>/
# so that the normal test suite replays it from then on.
set -euo pipefail

seconds=${1:-60}
shift || true
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TOLVI_FUZZ_BUILD_DIR:-$root/build-fuzz}
cxx=${TOLVI_FUZZ_CXX:-clang++-14}

cmake -S "$root" -B "$build" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DTOLVI_BUILD_FUZZ=ON -DTOLVI_BUILD_TESTS=OFF -DTOLVI_BUILD_EXAMPLES=OFF -DTOLVI_INSTALL=OFF \
    -DTOLVI_WERROR=ON >"$build.configure.log" 2>&1 || { cat "$build.configure.log"; exit 1; }
cmake --build "$build" -j2 --target fuzz_targets >"$build.build.log" 2>&1 ||
    { tail -50 "$build.build.log"; exit 1; }

if [ $# -eq 0 ]; then
    set -- $(cd "$build/fuzz" && ls fuzz_* | sed 's/^fuzz_//')
fi

status=0
for target in "$@"; do
    work="$build/corpus/$target"
    artifacts="$build/artifacts/$target"
    mkdir -p "$work" "$artifacts"
    log="$build/$target.log"
    seeds=()
    for dir in "$root/fuzz/corpus/$target" "$root/fuzz/regressions/$target"; do
        if [ -d "$dir" ]; then seeds+=("$dir"); fi
    done
    # The sanitizers' leak check runs after every input; a crash or a leak stops the run.
    if "$build/fuzz/fuzz_$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -max_len=4096 -dict="$root/fuzz/json.dict" -print_final_stats=1 \
        -artifact_prefix="$artifacts/" "$work" "${seeds[@]}" >"$log" 2>&1; then
        result=ok
    else
        result=FAILED
        status=1
    fi
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    echo "fuzz $target: $result, ${execs:-0} executions in ${seconds} s, work corpus $(ls "$work" | wc -l) inputs"
    if [ "$result" = FAILED ]; then
        grep -E 'ERROR|broken property|SUMMARY|Test unit written' "$log" | head -20
    fi
done
exit $status
