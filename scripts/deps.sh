#!/usr/bin/env bash
# Installs the Debian 12 packages the build needs. Safe to run again: when everything is already
# installed it touches nothing.
#   scripts/deps.sh demo   compiler, CMake, pkg-config, Jansson
#   scripts/deps.sh test   the above, plus GoogleTest, clang-format, clang-tidy, and the armhf
#                          cross toolchain, Jansson and GoogleTest for armhf, and qemu-user to run
#                          the armhf tests;
#                          valgrind, clang-14 with libFuzzer for the fuzz targets, and
#                          python3-jsonschema, the validator that checks the records' JSON Schemas
#   scripts/deps.sh bench  the demo's, plus what the benchmarks alone use: Google Benchmark,
#                          nlohmann::json (the alternative they measure against), GNU time, and
#                          the armhf cross compiler and Jansson for the device's library sizes
set -euo pipefail

mode=${1:-demo}
case "$mode" in
demo | test | bench) ;;
*)
    echo "usage: $0 [demo|test|bench]" >&2
    exit 2
    ;;
esac

packages=(g++ make cmake pkg-config libjansson-dev)
if [[ $mode == test ]]; then
    # binutils brings nm and c++filt for the exported-interface check; git lists the files that
    # the format check reads.
    packages+=(binutils git libgtest-dev clang-format-14 clang-tidy-14
        g++-arm-linux-gnueabihf qemu-user libjansson-dev:armhf libgtest-dev:armhf
        valgrind clang-14 libclang-rt-14-dev python3-jsonschema)
fi
if [[ $mode == bench ]]; then
    packages+=(libbenchmark-dev nlohmann-json3-dev time binutils g++-arm-linux-gnueabihf
        libjansson-dev:armhf)
fi

status() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null || true
}
# Unqualified names mean the build machine's architecture; "Architecture: all" packages answer
# only to the bare name.
native=$(dpkg --print-architecture)
installed() {
    local p=$1
    [[ $p == *:* ]] || p="$p:$native"
    [[ $(status "$p") == "install ok installed" || $(status "$1") == "install ok installed" ]]
}

missing=()
for p in "${packages[@]}"; do
    installed "$p" || missing+=("$p")
done
if ((${#missing[@]} == 0)); then
    echo "deps: all ${#packages[@]} packages already installed"
    exit 0
fi

sudo=()
if [[ $(id -u) != 0 ]]; then
    sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
apt=("${sudo[@]}" apt-get -o DPkg::Lock::Timeout=600 -o APT::Get::Assume-Yes=true)

if [[ $mode != demo ]] && ! dpkg --print-foreign-architectures | grep -qx armhf; then
    "${sudo[@]}" dpkg --add-architecture armhf
fi

echo "deps: installing ${missing[*]}"
# A secondary index (for instance the armhf security index mid-sync) may fail to update; the
# install below still works from the indexes that did update.
"${apt[@]}" update || echo "deps: apt-get update reported errors; continuing" >&2
"${apt[@]}" install --no-install-recommends "${missing[@]}"
