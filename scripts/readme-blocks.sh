#!/usr/bin/env bash
# Compiles every ```cpp block of a Markdown file, so that the guide cannot drift from the code.
#   readme-blocks.sh MARKDOWN CXX [compiler flags: -I..., -std=c++17, ...]
# A block with an #include is a whole source file. Any other block is a fragment: it is compiled
# as the body of a function, after <iostream>, the umbrella header and
# `namespace tolvi = korvax::tolvi;`.
# Prints one line per failing block with the line where it starts; exits non-zero if any failed.
set -euo pipefail

if (($# < 2)); then
    echo "usage: $0 MARKDOWN CXX [FLAGS...]" >&2
    exit 2
fi
markdown=$1
cxx=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# One file per block, named after the line where the block starts.
awk -v dir="$work" '
    /^```cpp[[:space:]]*$/ { inside = 1; start = NR + 1; file = sprintf("%s/block_%05d.cpp", dir, start); next }
    inside && /^```[[:space:]]*$/ { inside = 0; close(file); next }
    inside { print > file }
' "$markdown"

blocks=0
failed=0
for block in "$work"/block_*.cpp; do
    [[ -e $block ]] || continue
    blocks=$((blocks + 1))
    line=${block##*block_}
    line=$((10#${line%.cpp}))
    source=$block
    if ! grep -q '^[[:space:]]*#include' "$block"; then
        source=${block%.cpp}_fragment.cpp
        {
            printf '#include <iostream>\n#include <tolvi/tolvi.hpp>\nnamespace tolvi = korvax::tolvi;\n'
            printf 'void readme_fragment() {\n#line %d\n' "$line"
            cat "$block"
            printf '\n}\n'
        } >"$source"
    fi
    if ! "$cxx" "$@" -fsyntax-only -x c++ "$source" >"$block.log" 2>&1; then
        failed=$((failed + 1))
        echo "$markdown:$line: the C++ block does not compile:"
        sed 's/^/    /' "$block.log" | head -n 30
    fi
done
echo "$blocks C++ blocks, $failed failed to compile"
((blocks > 0 && failed == 0))
