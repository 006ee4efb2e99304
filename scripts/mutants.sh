#!/usr/bin/env bash
# Measures how many planted faults the tests catch.
#
#   scripts/mutants.sh [-j N] [FILTER]
#   scripts/mutants.sh --check [FILTER]    only check that every fault applies; builds nothing
#
# Copies the checkout as it is (tracked files with their uncommitted changes, and new files not yet
# ignored) into build/mutants/tree, builds the unit and out-of-memory suites there once (Debug),
# then for each fault of scripts/mutants.txt whose header line contains FILTER (a fixed string):
# plants it in the copy, rebuilds incrementally, runs tolvi_tests and then tolvi_oom_tests, each
# with a time limit, and puts the file back. The checkout itself is never written.
#
# Prints one line per fault: "caught", "SURVIVED", or a problem that keeps the fault from being
# judged ("NOT APPLIED": its text does not occur exactly once; "NOT BUILT": it does not compile).
# Then the survivors again, and last "caught C of N planted faults", where N counts every fault
# selected, judged or not. Exits 1 when a fault could not be judged or the unplanted suites fail,
# 0 otherwise, survivors or not. Logs of failed builds go to build/mutants/logs/.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
list=$root/scripts/mutants.txt
work=$root/build/mutants
tree=$work/tree
build=$work/build
logs=$work/logs
jobs=2
limit=${TOLVI_MUTANT_TIMEOUT:-300} # seconds for each suite
# TOLVI_MUTANT_GTEST_FILTER narrows the unit suite (a --gtest_filter value), e.g. to see whether
# the other tests catch a fault without a given test.

usage() {
    echo "usage: $0 [-j N | --check] [FILTER]" >&2
    exit 2
}
filter=
check_only=false
while (($# > 0)); do
    case $1 in
    -j)
        (($# >= 2)) || usage
        jobs=$2
        shift 2
        ;;
    -j*)
        jobs=${1#-j}
        shift
        ;;
    --check)
        check_only=true
        shift
        ;;
    -h | --help) usage ;;
    -*) usage ;;
    *)
        [[ -z $filter ]] || usage
        filter=$1
        shift
        ;;
    esac
done
[[ $jobs =~ ^[1-9][0-9]*$ ]] || usage

# ---- the list: "PATH: description" then "-" lines (the exact text) and "+" lines (its
# replacement); several lines of either make a text of several lines. "#" starts a comment line.
paths=()
descriptions=()
originals=()
replacements=()
parse_list() {
    local line path= desc= old= new= have_old=false have_new=false n=0
    flush() {
        [[ -n $path ]] || return 0
        if ! $have_old || ! $have_new; then
            echo "mutants: $list: fault \"$path: $desc\" needs - and + lines" >&2
            exit 2
        fi
        paths+=("$path")
        descriptions+=("$desc")
        originals+=("$old")
        replacements+=("$new")
        path=
        have_old=false
        have_new=false
    }
    while IFS= read -r line || [[ -n $line ]]; do
        n=$((n + 1))
        case $line in
        '#'* | '') ;;
        -*)
            [[ -n $path ]] || { echo "mutants: $list:$n: text before any fault" >&2 && exit 2; }
            if $have_old; then old+=$'\n'"${line:1}"; else old=${line:1}; fi
            have_old=true
            ;;
        +*)
            [[ -n $path ]] || { echo "mutants: $list:$n: text before any fault" >&2 && exit 2; }
            if $have_new; then new+=$'\n'"${line:1}"; else new=${line:1}; fi
            have_new=true
            ;;
        *': '*)
            flush
            path=${line%%: *}
            desc=${line#*: }
            ;;
        *)
            echo "mutants: $list:$n: expected \"PATH: description\", \"-TEXT\" or \"+TEXT\"" >&2
            exit 2
            ;;
        esac
    done <"$list"
    flush
}
parse_list

selected() {
    [[ -z $filter || "${paths[$1]}: ${descriptions[$1]}" == *"$filter"* ]]
}

# How often the text of fault i occurs in FILE.
occurrences() {
    OLD=${originals[$1]} perl -0777 -ne '$n = () = /\Q$ENV{OLD}\E/g; print $n' "$2"
}

# Plants fault i into FILE: replaces the one occurrence of its text.
plant() {
    OLD=${originals[$1]} NEW=${replacements[$1]} perl -0777 -i -pe 's/\Q$ENV{OLD}\E/$ENV{NEW}/' "$2"
}

if $check_only; then
    bad=0
    total=0
    for i in "${!paths[@]}"; do
        selected "$i" || continue
        total=$((total + 1))
        file=$root/${paths[i]}
        n=0
        [[ -f $file ]] && n=$(occurrences "$i" "$file")
        if ((n != 1)); then
            echo "NOT APPLIED  ${paths[i]}: ${descriptions[i]} (the text occurs $n times)"
            bad=$((bad + 1))
        fi
    done
    echo "$((total - bad)) of $total planted faults apply"
    ((bad == 0))
    exit
fi

mkdir -p "$work" "$logs"
exec 9>"$work/lock"
if ! flock -n 9; then
    echo "mutants: another run is using build/mutants" >&2
    exit 1
fi

# ---- the private copy. Files whose content changed are copied without their times, so that make
# rebuilds them; a file left planted by an interrupted run differs from the checkout and goes too.
sync_tree() {
    local f
    mkdir -p "$tree"
    # Files deleted in the checkout but not yet committed are left out.
    (cd "$root" && git ls-files -z --cached --others --exclude-standard) | sort -zu |
        while IFS= read -r -d '' f; do
            [[ ! -f $root/$f ]] || printf '%s\0' "$f"
        done >"$work/files"
    while IFS= read -r -d '' f; do
        if ! cmp -s "$root/$f" "$tree/$f"; then
            mkdir -p "$(dirname "$tree/$f")"
            cp "$root/$f" "$tree/$f"
        fi
    done <"$work/files"
    # Files gone from the checkout leave the copy too (the test sources are globbed).
    (cd "$tree" && find . -type f -printf '%P\0') | sort -z >"$work/copied"
    comm -z -23 "$work/copied" "$work/files" | (cd "$tree" && xargs -0 -r rm -f)
}

build_suites() {
    cmake --build "$build" -j"$jobs" --target tolvi_tests tolvi_oom_tests
}

# Runs both suites; prints what failed first, or nothing. A planted fault may make a test loop or
# allocate without end: each suite gets a time limit and 4 GiB of address space.
run_suites() {
    local rc=0
    (cd "$build/tests" && ulimit -v 4194304 &&
        timeout "$limit" ./tolvi_tests --gtest_fail_fast --gtest_brief=1 \
            --gtest_filter="${TOLVI_MUTANT_GTEST_FILTER:-*}") >"$work/suite.log" 2>&1 ||
        rc=$?
    if ((rc == 124)); then
        echo "tolvi_tests timed out"
        return
    elif ((rc != 0)); then
        echo "tolvi_tests failed"
        return
    fi
    (cd "$build/tests/oom" && ulimit -v 4194304 &&
        timeout "$limit" ./tolvi_oom_tests --gtest_fail_fast --gtest_brief=1) >"$work/suite.log" 2>&1 ||
        rc=$?
    if ((rc == 124)); then
        echo "tolvi_oom_tests timed out"
    elif ((rc != 0)); then
        echo "tolvi_oom_tests failed"
    fi
}

echo "mutants: copying the checkout to build/mutants/tree" >&2
sync_tree
echo "mutants: building the suites (Debug)" >&2
# Ninja where there is one: its no-op checks are quicker. The test binaries are not relinked when
# only libtolvi.so changed.
generator="Unix Makefiles"
if command -v ninja >/dev/null; then
    generator=Ninja
fi
if [[ -f $build/CMakeCache.txt ]] &&
    ! grep -qx "CMAKE_GENERATOR:INTERNAL=$generator" "$build/CMakeCache.txt"; then
    rm -rf "$build"
fi
if ! cmake -S "$tree" -B "$build" -G "$generator" -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_LINK_DEPENDS_NO_SHARED=ON -DTOLVI_BUILD_EXAMPLES=OFF -DTOLVI_INSTALL=OFF \
    >"$logs/configure.log" 2>&1 || ! build_suites >"$logs/build.log" 2>&1; then
    echo "mutants: the unplanted tree does not build; see build/mutants/logs/" >&2
    exit 1
fi
failure=$(run_suites)
if [[ -n $failure ]]; then
    echo "mutants: without any fault, $failure; see build/mutants/suite.log" >&2
    exit 1
fi

total=0
caught=0
unjudged=0
survivors=()
for i in "${!paths[@]}"; do
    selected "$i" || continue
    name="${paths[i]}: ${descriptions[i]}"
    total=$((total + 1))
    file=$tree/${paths[i]}
    if [[ ! -f $file ]]; then
        echo "NOT APPLIED  $name (no such file)"
        unjudged=$((unjudged + 1))
        continue
    fi
    count=$(occurrences "$i" "$file")
    if ((count != 1)); then
        echo "NOT APPLIED  $name (the text occurs $count times)"
        unjudged=$((unjudged + 1))
        continue
    fi
    cp "$file" "$work/original"
    plant "$i" "$file"
    log=$logs/fault-$((i + 1)).log
    if ! build_suites >"$log" 2>&1; then
        echo "NOT BUILT    $name (build/mutants/logs/$(basename "$log"))"
        unjudged=$((unjudged + 1))
    else
        rm -f "$log"
        failure=$(run_suites)
        if [[ -n $failure ]]; then
            echo "caught       $name ($failure)"
            caught=$((caught + 1))
        else
            echo "SURVIVED     $name"
            survivors+=("$name")
        fi
    fi
    # Put back with a new time, so that the next build compiles the file again.
    cp "$work/original" "$file"
done

if ((${#survivors[@]} > 0)); then
    echo
    echo "survivors:"
    printf '  %s\n' "${survivors[@]}"
fi
echo "caught $caught of $total planted faults"
((unjudged == 0))
