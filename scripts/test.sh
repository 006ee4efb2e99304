#!/usr/bin/env bash
# Builds with warnings as errors and runs the whole suite in every configuration:
#   format       clang-format-14 over the tracked C++ files
#   host         Debug build, all tests, the exported-interface check
#   naming       clang-tidy-14's naming check over src/, tools/ and include/ (.clang-tidy)
#   consumers    install into a temporary prefix; find_package, add_subdirectory and pkg-config
#                consumers build and run, and a TOLVI_BUNDLED_SKRIB=OFF build links the installed
#                logging library; builds without pkg-config take Jansson from a target of the
#                enclosing project and from Jansson's CMake package
#   asan+ubsan   all tests under AddressSanitizer and UndefinedBehaviorSanitizer
#   armhf        cross-built for 32-bit ARM (long is 32 bits there), tests run under qemu-user
#   valgrind     optimized build, all tests, then the test binaries under valgrind memcheck
#   fuzz         each fuzz target for TOLVI_FUZZ_SECONDS (default 60) under libFuzzer, ASan, UBSan
# Prints one line per step and then "N passed, N failed"; exits non-zero if any step failed.
# Build trees go to build/<step>, full logs to build/logs/<step>.log.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=2

bash scripts/deps.sh test

logs=$root/build/logs
mkdir -p "$logs"
passed=0
failed=0

# ctest's summary line, shortened to "N tests" or "F of N tests failed".
ctest_summary() {
    local line
    line=$(grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$1" | tail -n 1) || true
    if [[ $line =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
        if ((BASH_REMATCH[1] == 0)); then
            echo "${BASH_REMATCH[2]} tests"
        else
            echo "${BASH_REMATCH[1]} of ${BASH_REMATCH[2]} tests failed"
        fi
    fi
}

# step NAME FUNCTION: runs the function with errexit, its output in the log, and reports it.
step() {
    local name=$1 fn=$2 log=$logs/$1.log start=$SECONDS rc detail
    set +e
    (
        set -euo pipefail
        "$fn"
    ) >"$log" 2>&1
    rc=$?
    set -e
    detail=$(ctest_summary "$log")
    if [[ -f $log.detail ]]; then
        detail=$(<"$log.detail")
        rm -f "$log.detail"
    fi
    detail="${detail:+$detail, }$((SECONDS - start)) s"
    if ((rc == 0)); then
        passed=$((passed + 1))
        echo "[PASS] $name ($detail)"
    else
        failed=$((failed + 1))
        echo "[FAIL] $name ($detail; log: build/logs/$name.log)"
        tail -n 60 "$log" | sed 's/^/    /'
    fi
}

configure_build_test() {
    local dir=$1
    shift
    cmake -S "$root" -B "$dir" -DTOLVI_WERROR=ON "$@"
    cmake --build "$dir" -j"$jobs"
    ctest --test-dir "$dir" -j"$jobs" --output-on-failure --timeout 300
}

run_format() {
    local files
    if git -C "$root" rev-parse --is-inside-work-tree >/dev/null 2>&1; then
        mapfile -t files < <(git -C "$root" ls-files -- '*.cpp' '*.hpp' '*.h' '*.cc')
    else
        mapfile -t files < <(find include src tools tests examples platform bench fuzz \
            -name '*.cpp' -o -name '*.hpp' -o -name '*.h' -o -name '*.cc' 2>/dev/null)
    fi
    clang-format-14 --dry-run -Werror "${files[@]}"
    echo "${#files[@]} files" >"$logs/format.log.detail"
}

run_host() {
    configure_build_test "$root/build/host" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
}

# The naming rule (.clang-tidy: readability-identifier-naming alone) over the library's sources and
# the tool, with the host build's compile commands, and over the public headers through the one
# header that includes them all. Any name off the rule fails the step.
run_naming() {
    local db=$root/build/host files
    [[ -f $db/compile_commands.json ]] || {
        echo "the host build is missing"
        return 1
    }
    mapfile -t files < <(cd "$root" && find src tools -name '*.cpp' | sort)
    clang-tidy-14 --quiet -p "$db" "${files[@]}"
    clang-tidy-14 --quiet include/tolvi/tolvi.hpp -- -x c++ -std=c++17 -Iinclude \
        -Iplatform/skrib/include
    echo "${#files[@]} sources and the public headers" >"$logs/naming.log.detail"
}

run_consumers() {
    local prefix=$root/build/consumers/prefix out=$root/build/consumers
    [[ -f $root/build/host/libtolvi.so ]] || {
        echo "the host build is missing"
        return 1
    }
    rm -rf "$out"
    cmake --install "$root/build/host" --prefix "$prefix"

    cmake -S tests/consumer/find_package -B "$out/find_package" -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build "$out/find_package" -j"$jobs"
    # No library path: the programs find libtolvi by their run path, and libtolvi its logging
    # library beside it.
    env -u LD_LIBRARY_PATH "$out/find_package/consumer"
    env -u LD_LIBRARY_PATH "$out/find_package/variant_consumer"

    cmake -S tests/consumer/add_subdirectory -B "$out/add_subdirectory" \
        -DTOLVI_SOURCE_DIR="$root" -DCMAKE_BUILD_TYPE=Debug
    cmake --build "$out/add_subdirectory" -j"$jobs"
    "$out/add_subdirectory/consumer"

    local flags
    flags=$(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs tolvi)
    # shellcheck disable=SC2086 # pkg-config output is a list of words
    g++ -std=c++17 tests/consumer/main.cpp -o "$out/pkg_config_consumer" $flags \
        -Wl,-rpath,"$prefix/lib"
    env -u LD_LIBRARY_PATH "$out/pkg_config_consumer"
    # shellcheck disable=SC2086
    g++ -std=c++17 tests/consumer/variant_only.cpp -o "$out/pkg_config_variant_consumer" \
        -Wl,--as-needed $flags -Wl,-rpath,"$prefix/lib"
    env -u LD_LIBRARY_PATH "$out/pkg_config_variant_consumer"

    # A device build links the platform's logging library: here the installed stand-in plays it.
    cmake -S "$root" -B "$out/platform_skrib" -DTOLVI_BUNDLED_SKRIB=OFF -DTOLVI_BUILD_TESTS=OFF \
        -DTOLVI_WERROR=ON -DCMAKE_PREFIX_PATH="$prefix"
    cmake --build "$out/platform_skrib" -j"$jobs" --target json_tour
    [[ ! -e $out/platform_skrib/platform/skrib/libskrib.so ]]
    "$out/platform_skrib/examples/json_tour" "$root/examples/data" >/dev/null

    # The installed tool finds the library from its own place.
    env -u LD_LIBRARY_PATH "$prefix/bin/tolvi" get "$root/examples/data/device.json" '$' >/dev/null

    # Builds without pkg-config, as on Android: any use of it fails their configure step.
    local no_pkg_config=(-DPKG_CONFIG_EXECUTABLE=/bin/false --no-warn-unused-cli)
    # The enclosing project brings Jansson as a `jansson` target and the platform's logging
    # library as skrib::skrib (the installed stand-in plays it).
    cmake -S tests/consumer/add_subdirectory -B "$out/jansson_target" "${no_pkg_config[@]}" \
        -DTOLVI_SOURCE_DIR="$root" -DJANSSON_TARGET=ON -DSKRIB_PREFIX="$prefix" -DTOLVI_WERROR=ON
    cmake --build "$out/jansson_target" -j"$jobs"
    [[ ! -e $out/jansson_target/tolvi/platform/skrib ]]
    env -u LD_LIBRARY_PATH "$out/jansson_target/consumer"
    # The 64-bit json_int_t check reads that target's header.
    if cmake -S tests/consumer/add_subdirectory -B "$out/narrow_jansson" "${no_pkg_config[@]}" \
        -DTOLVI_SOURCE_DIR="$root" -DJANSSON_TARGET=ON \
        -DJANSSON_INCLUDE_DIR="$root/tests/consumer/narrow_jansson" >"$out/narrow_jansson.log" 2>&1; then
        echo "a 32-bit json_int_t was accepted"
        return 1
    fi
    grep -q "json_int_t is not 64 bits wide" "$out/narrow_jansson.log"

    # Jansson's own CMake package in a prefix of its own, for the library's build and for the
    # package the library installs.
    local jansson_prefix=$out/jansson_prefix tolvi_prefix=$out/jansson_package_tolvi
    cmake -S tests/consumer/jansson_package -B "$out/jansson_package"
    cmake --install "$out/jansson_package" --prefix "$jansson_prefix"
    cmake -S "$root" -B "$out/jansson_package_build" "${no_pkg_config[@]}" -DTOLVI_WERROR=ON \
        -DTOLVI_BUILD_TESTS=OFF -DTOLVI_BUILD_EXAMPLES=OFF -DCMAKE_PREFIX_PATH="$jansson_prefix"
    cmake --build "$out/jansson_package_build" -j"$jobs"
    cmake --install "$out/jansson_package_build" --prefix "$tolvi_prefix"
    if grep -q "^Requires.*jansson" "$tolvi_prefix/lib/pkgconfig/tolvi.pc"; then
        echo "tolvi.pc requires a Jansson that pkg-config does not know"
        return 1
    fi
    cmake -S tests/consumer/find_package -B "$out/jansson_package_consumer" "${no_pkg_config[@]}" \
        -DCMAKE_PREFIX_PATH="$tolvi_prefix;$jansson_prefix"
    cmake --build "$out/jansson_package_consumer" -j"$jobs"
    # The installed package found Jansson, so the link can follow libtolvi to it.
    grep -q -- "-rpath-link,$jansson_prefix/lib" \
        "$out/jansson_package_consumer/CMakeFiles/consumer.dir/link.txt"
    env -u LD_LIBRARY_PATH "$out/jansson_package_consumer/consumer"
    env -u LD_LIBRARY_PATH "$out/jansson_package_consumer/variant_consumer"
    env -u LD_LIBRARY_PATH "$tolvi_prefix/bin/tolvi" get "$root/examples/data/device.json" '$' >/dev/null
    echo "find_package, add_subdirectory, pkg-config, platform skrib, tool, jansson target," \
        "jansson package" >"$logs/consumers.log.detail"
}

run_sanitizers() {
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
        UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
        configure_build_test "$root/build/asan" -DCMAKE_BUILD_TYPE=Debug \
        -DTOLVI_SANITIZE=address,undefined
}

run_armhf() {
    configure_build_test "$root/build/armhf" -DCMAKE_BUILD_TYPE=Debug \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-armhf.cmake"
}

# Optimized, as on the device: the deep-document test holds its 1 MiB thread stack here.
run_valgrind() {
    local dir=$root/build/valgrind
    configure_build_test "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    # The out-of-memory tests bring their own operator new; memcheck must not replace it.
    local vg=(valgrind --error-exitcode=99 --leak-check=full
        --errors-for-leak-kinds=definite,indirect,possible --show-leak-kinds=definite,indirect,possible
        --soname-synonyms=somalloc=nouserintercepts -q)
    "${vg[@]}" "$dir/tests/tolvi_tests"
    "${vg[@]}" "$dir/tests/oom/tolvi_oom_tests"
    echo "$(ctest_summary "$logs/valgrind.log"), memcheck clean" >"$logs/valgrind.log.detail"
}

run_fuzz() {
    TOLVI_FUZZ_BUILD_DIR=$root/build/fuzz bash scripts/fuzz.sh "${TOLVI_FUZZ_SECONDS:-60}" |
        tee "$logs/fuzz.runs"
    sed -n 's/^fuzz \([a-z_]*\): ok, \([0-9]*\) executions in \([0-9]*\) s.*/\1 \2/p' \
        "$logs/fuzz.runs" | paste -sd, - | sed "s/,/, /g; s/\$/ executions/" \
        >"$logs/fuzz.log.detail"
}

total_start=$SECONDS
step format run_format
step host run_host
step naming run_naming
step consumers run_consumers
step asan+ubsan run_sanitizers
step armhf run_armhf
step valgrind run_valgrind
step fuzz run_fuzz

echo "total $((SECONDS - total_start)) s"
echo "$passed passed, $failed failed"
((failed == 0))
