#!/usr/bin/env bash
# End-to-end test of `onf blocks`: exit codes, standard output and standard error.
# Usage: test_onf_cli.sh PATH_TO_ONF
set -u
onf="$1"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0

# expect NAME EXPECTED_CODE EXPECTED_STDOUT_FILE EXPECTED_STDERR_FILE -- ARGS...
expect() {
    local name="$1" code="$2" out="$3" err="$4"
    shift 5
    "$onf" "$@" >"$work/out" 2>"$work/err"
    local got=$?
    if [ "$got" != "$code" ]; then
        echo "FAIL $name: exit code $got, expected $code"; failures=$((failures + 1))
    fi
    if [ -n "$out" ] && ! diff -u "$out" "$work/out"; then
        echo "FAIL $name: standard output differs"; failures=$((failures + 1))
    fi
    if [ -n "$err" ] && ! diff -u "$err" "$work/err"; then
        echo "FAIL $name: standard error differs"; failures=$((failures + 1))
    fi
}

cat >"$work/good.onf" <<'EOF'
# two blocks
   -1
   -2
LOADCASE = 4
LABEL = "a, b"
   -2
   -3
FORMAT = IRb
   -3
NON_ONF
2
1, 0.5
2, 1.5
   -1
   -1
4711
0
   -1
EOF
printf '   -1\n110\n3\n1, 0, 0, 0.0, 0.0, 0.0\n   -1\n' >"$work/short.onf"

cat >"$work/good.out" <<EOF
== $work/good.onf (2 blocks)
NON_ONF: records=2 lines=12-13 format=IRb LOADCASE=4 LABEL="a, b"
4711 (not in the catalogue): records=0 lines=none
EOF
expect "lists blocks" 0 "$work/good.out" /dev/null -- blocks "$work/good.onf"

# A failing file reports on standard error; the next file is still listed; exit code 1.
cat >"$work/mixed.err" <<EOF
A wrong number of records is stored for block with id = 110
1 lines found in the block body, which is less than
the declared number of records (3)
Loading of file "$work/missing.onf" failed.
System error message:
No such file or directory
EOF
expect "failures go to standard error" 2 "" "$work/mixed.err" -- \
    blocks "$work/short.onf" "$work/missing.onf" "$work/good.onf"
if ! grep -q "^== $work/good.onf (2 blocks)$" "$work/out"; then
    echo "FAIL failures: the good file after the bad ones was not listed"; failures=$((failures + 1))
fi

# Usage errors: one line naming the problem, then the usage; exit code 2.
for args in "" "--bogus blocks" "frobnicate" "blocks" "blocks --bogus x" "help frobnicate"; do
    # shellcheck disable=SC2086
    expect "usage: '$args'" 2 "" "" -- $args
    first="$(head -n 1 "$work/err")"
    case "$first" in
    "onf: "* | "onf blocks: "*) ;;
    *) echo "FAIL usage '$args': first line is '$first'"; failures=$((failures + 1)) ;;
    esac
    if ! grep -q "^usage: onf" "$work/err"; then
        echo "FAIL usage '$args': no usage text"; failures=$((failures + 1))
    fi
done

expect "global help" 0 "" /dev/null -- --help
grep -q "^  blocks " "$work/out" || { echo "FAIL help lists no blocks command"; failures=$((failures + 1)); }
expect "command help" 0 "" /dev/null -- help blocks
grep -q "^usage: onf blocks FILE" "$work/out" || { echo "FAIL help blocks"; failures=$((failures + 1)); }

# The warning of an unknown block does not show here (blocks keeps unknown blocks), and -q and
# -v are accepted in front of the command.
expect "quiet" 0 "$work/good.out" /dev/null -- -q blocks "$work/good.onf"
expect "verbose" 0 "$work/good.out" /dev/null -- -v blocks "$work/good.onf"

if [ "$failures" != 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all checks passed"
