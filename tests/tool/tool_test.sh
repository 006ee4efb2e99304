#!/usr/bin/env bash
# The command-line tool against a table of cases, run in order in one scratch directory:
#   tool_test.sh [EMULATOR ...] TOOL
# Each case gives the exit status, the whole standard output (\n for a new line; a trailing
# "..." matches any rest), the start of standard error (empty: nothing on it) and the arguments
# as shell words, with any redirection.
set -euo pipefail

tool=("$@")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
printf '%s' '{"name": "hall-7", "ratio": 47.123456789, "net": {"mtu": 1400}, "tags": ["a", "b"]}' \
    >dev.json
printf '%s' '{"mtu": 1400, "ssid": "x"}' >net.json
printf '{"a": 1,\n "b": tru}' >bad.json
printf '%s' '{"net": {"mtu": "big"}}' >conflict.json
printf '%s' '{"net": {"mtu": 1500}, "tags": null}' >patch.json
printf '%s' '{"k\u001b\u0007": 1}' >ctl.json

run() { "${tool[@]}" "$@"; }

trim() {
    [[ $1 =~ ^\ *(.*[^\ ])\ *$ ]] && printf '%s' "${BASH_REMATCH[1]}" || true
}

failed=0
while IFS='|' read -r status out err args; do
    status=$(trim "$status")
    [[ -z $status || $status == \#* ]] && continue
    out=$(trim "$out")
    err=$(trim "$err")
    args=$(trim "$args")
    got=0
    eval "run $args" </dev/null >stdout 2>stderr || got=$?
    want_out=$(printf '%b' "$out")
    if [[ -n $out ]]; then
        want_out+=$'\n'
    fi
    got_out=$(cat stdout && printf x)
    got_out=${got_out%x}
    got_err=$(cat stderr)
    ok=1
    ((got == status)) || ok=0
    if [[ $out == *... ]]; then
        [[ $got_out == "${want_out%...$'\n'}"* ]] || ok=0
    else
        [[ $got_out == "$want_out" ]] || ok=0
    fi
    if [[ -z $err ]]; then
        [[ -z $got_err ]] || ok=0
    else
        [[ $got_err == "$err"* ]] || ok=0
    fi
    if ((ok)); then
        echo "ok    tolvi $args"
    else
        failed=$((failed + 1))
        echo "FAIL  tolvi $args"
        echo "      status $got (want $status), stdout: $got_out"
        echo "      stderr: $got_err"
    fi
done <<'EOF'
# status | standard output | standard error starts with | arguments
0  | 47.123456789              |                                        | get dev.json '$.ratio'
0  | {"mtu":1400}              |                                        | get dev.json '$.net'
0  | "b"                       |                                        | get - '$.tags[1]' <dev.json
1  |                           |                                        | get dev.json '$.tags[2]'
2  |                           | tolvi: unsupported JSONPath expression: net | get dev.json net
2  |                           | bad.json:2:9: invalid token near 'tru' | get bad.json '$'
0  | {\n    "mtu": 1400,\n    "ssid": "x"\n} |                        | pretty net.json
0  | [\n    1\n]               |                                        | pretty - <<<'[1]'
0  |                           |                                        | check dev.json
2  |                           | bad.json:2:9: invalid token near 'tru' | check bad.json
2  |                           | <stdin>:1:0: unexpected token near end of file | check - </dev/null
2  |                           | tolvi: unable to open file “none.json” for deserialization: No such file or directory | check none.json
2  |                           | tolvi: unable to read file “.”: Is a directory | check .
2  |                           | tolvi: unable to read standard input: Bad file descriptor | check - <&-
2  |                           | tolvi: unable to open file “no\u001b[2J.json” | get $'no\e[2J.json' '$'
1  |                           | tolvi: merge refused at $.net.mtu: dev.json holds an integer, conflict.json a string; nothing was changed | merge dev.json conflict.json -o dev.json
2  |                           | bad.json:2:9:                          | merge dev.json bad.json -o dev.json
1  |                           | tolvi: merge refused at $.k\u001b\u0007: ctl.json holds an integer, <stdin> a string | merge ctl.json - <<<'{"k\u001b\u0007": "s"}'
2  |                           | tolvi: unable to save file             | merge dev.json patch.json -o none/dev.json
0  | {"name":"hall-7","net":{"mtu":1400},"ratio":47.123456789,"tags":["a","b"]} | | get dev.json '$'
0  | {"name":"hall-7","net":{"mtu":1500},"ratio":47.123456789} |        | merge - patch.json <dev.json
0  |                           |                                        | merge dev.json patch.json -o dev.json
0  | {"name":"hall-7","net":{"mtu":1500},"ratio":47.123456789} |        | get dev.json '$'
0  | usage: tolvi get FILE PATH ... |                                   | --help
64 |                           | usage: tolvi get FILE PATH             |
64 |                           | usage:                                 | show dev.json
64 |                           | usage:                                 | get dev.json
64 |                           | usage:                                 | check --quiet dev.json
64 |                           | usage:                                 | pretty dev.json -o out.json
64 |                           | usage:                                 | merge - -
EOF

if ((failed)); then
    echo "$failed case(s) failed"
    exit 1
fi
