#!/usr/bin/env bash
# Checks the dynamic symbols that libtolvi.so defines.
#   check-exports.sh LIB LIST            compare with the checked-in list; print a diff if it moved
#   check-exports.sh --update LIB LIST   rewrite the list (scripts/update-exports.sh does this)
# Either way it fails when a symbol leaks that no public header declares: a file-local helper
# that lost its hidden visibility.
set -euo pipefail

update=false
if [[ ${1:-} == --update ]]; then
    update=true
    shift
fi
if (($# != 2)); then
    echo "usage: $0 [--update] LIB LIST" >&2
    exit 2
fi
lib=$1
list=$2
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
headers=$root/include
if [[ ! -f $lib ]]; then
    echo "error: $lib does not exist" >&2
    exit 1
fi

# One "TYPE demangled-name" line per defined dynamic symbol. Only symbols that the linker makes
# for every shared object are left out.
exports() {
    nm -D --defined-only "$lib" | c++filt | sed -E 's/^[0-9a-fA-F]+ //' |
        { grep -Ev '^[A-Za-z] (_init|_fini|_edata|_end|__bss_start|__end__|_DYNAMIC)$' || (($? == 1)); } |
        LC_ALL=C sort
}

# For each symbol line, the name a public header would spell: the class for constructors,
# destructors, member operators, vtables and typeinfo, else the last name component. Empty for the
# standard library's template instantiations, which the compiler emits wherever they are used.
declared_names() {
    sed -E -e 's/^[A-Za-z] //' \
        -e 's/^(typeinfo name for|typeinfo for|vtable for|VTT for|construction vtable for|guard variable for|non-virtual thunk to|virtual thunk to|covariant return thunk to) //' \
        -e 's/\[abi:[^]]*\]//g' \
        -e 's/operator<=>/operator#ss#/g; s/operator<<=/operator#lsa#/g; s/operator>>=/operator#rsa#/g' \
        -e 's/operator<</operator#ls#/g; s/operator>>/operator#rs#/g; s/operator<=/operator#le#/g' \
        -e 's/operator>=/operator#ge#/g; s/operator->\*/operator#pm#/g; s/operator->/operator#ar#/g' \
        -e 's/operator</operator#lt#/g; s/operator>/operator#gt#/g' \
        -e ':a' -e 's/<[^<>]*>//g' -e 'ta' \
        -e 's/\(.*$//' |
        awk '{ print $NF }' |
        awk -F'::' '
            BEGIN {
                split("ss <=> lsa <<= rsa >>= ls << rs >> le <= ge >= pm ->* ar -> lt < gt >", t, " ")
                for (i = 1; i < 22; i += 2) op["#" t[i] "#"] = t[i + 1]
            }
            $1 == "std" || $1 == "__gnu_cxx" || $1 == "__cxxabiv1" { print ""; next }
            {
                name = $NF
                if (name ~ /^operator/ && NF > 1) name = $(NF - 1)
                if (match(name, /#[a-z]+#/)) name = "operator" op[substr(name, RSTART, RLENGTH)]
                sub(/^~/, "", name)
                print name
            }'
}

failed=false

symbols=$(exports)

# Names that must stay inside their source file whatever a header says.
if grep -E '\b(fromJansson)\b|\(anonymous namespace\)' <<<"$symbols"; then
    echo "error: file-local helpers are exported (above)" >&2
    failed=true
fi

# Every word and operator that the public headers spell.
header_words=$(grep -rhoE --include='*.hpp' 'operator[^ (A-Za-z0-9_]+|[A-Za-z_][A-Za-z0-9_]*' \
    "$headers" | LC_ALL=C sort -u)
mapfile -t undeclared < <(
    paste -d $'\x1f' <(declared_names <<<"$symbols") - <<<"$symbols" |
        awk -F $'\x1f' 'NR == FNR { known[$0]; next } $1 != "" && !($1 in known) { print $2 }' \
            <(printf '%s\n' "$header_words") -
)
if ((${#undeclared[@]} > 0)); then
    echo "error: exported but declared in no public header (a helper without hidden visibility?):" >&2
    printf '  %s\n' "${undeclared[@]}" >&2
    failed=true
fi

if $failed; then
    exit 1
fi

if $update; then
    printf '%s\n' "$symbols" >"$list"
    echo "wrote $(wc -l <"$list") symbols to $list"
    exit 0
fi

if [[ ! -f $list ]]; then
    echo "error: $list is missing; run scripts/update-exports.sh" >&2
    exit 1
fi
if ! diff -u --label "$list" --label "$lib" "$list" - <<<"$symbols"; then
    echo "error: the exported interface changed (diff above: - listed, + built)." >&2
    echo "If the change is intended, run scripts/update-exports.sh and commit $list." >&2
    exit 1
fi
echo "exports: $(wc -l <"$list") symbols as listed"
