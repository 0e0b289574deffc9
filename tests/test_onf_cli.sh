#!/usr/bin/env bash
# End-to-end test of `onf blocks`, usage errors and help: exit codes, standard output and
# standard error. Usage: test_onf_cli.sh PATH_TO_ONF
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"

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
for args in "" "--bogus blocks" "frobnicate" "blocks" "blocks --bogus x" "help frobnicate" \
    "check" "info" "normalize x" "normalize a b c" "cat x" "cat x 12y" "diff x" \
    "diff --tolerance -1 a b" "diff --tolerance nan a b" "diff --limit 1.5 a b" "diff a b --limit"; do
    # shellcheck disable=SC2086
    expect "usage: '$args'" 2 "" "" -- $args
    first="$(head -n 1 "$work/err")"
    case "$first" in
    "onf: "* | "onf "[a-z]*": "*) ;;
    *) echo "FAIL usage '$args': first line is '$first'"; failures=$((failures + 1)) ;;
    esac
    if ! grep -q "^usage: onf" "$work/err"; then
        echo "FAIL usage '$args': no usage text"; failures=$((failures + 1))
    fi
done

expect "global help" 0 "" /dev/null -- --help
for command in blocks cat catalogue check diff help info normalize; do
    grep -q "^  $command " "$work/out" || fail "help lists no $command command"
done
grep -q "^File kinds:" "$work/out" || fail "help does not tell how file kinds are found"
expect "command help" 0 "" /dev/null -- help blocks
grep -q "^usage: onf blocks FILE" "$work/out" || { echo "FAIL help blocks"; failures=$((failures + 1)); }

# The warning of an unknown block does not show here (blocks keeps unknown blocks), and -q and
# -v are accepted in front of the command.
expect "quiet" 0 "$work/good.out" /dev/null -- -q blocks "$work/good.onf"
expect "verbose" 0 "$work/good.out" /dev/null -- -v blocks "$work/good.onf"

finish
