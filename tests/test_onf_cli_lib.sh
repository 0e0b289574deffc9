# Shared by the end-to-end tests of the onf command; sourced with the path of onf in $1.
# Sets $onf, $work (a scratch folder removed on exit) and $failures, and offers:
#   expect NAME EXPECTED_CODE EXPECTED_STDOUT_FILE EXPECTED_STDERR_FILE -- ARGS...
#     runs onf with ARGS; an empty file name skips that comparison; output in $work/out, $work/err
#   run ARGS...      runs onf; exit code in $code, output in $work/out and $work/err
#   is NAME CODE out|err   compares $code and that output of the last run with standard input
#   has NAME out|err TEXT  checks that a line of that output is TEXT
#   fail MESSAGE     counts a failed check
#   finish           prints the verdict and exits with it
set -u
onf="$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0
code=0

fail() {
    echo "FAIL $*"
    failures=$((failures + 1))
}

expect() {
    local name="$1" code="$2" out="$3" err="$4"
    shift 5
    "$onf" "$@" >"$work/out" 2>"$work/err"
    local got=$?
    [ "$got" = "$code" ] || fail "$name: exit code $got, expected $code"
    if [ -n "$out" ] && ! diff -u "$out" "$work/out"; then
        fail "$name: standard output differs"
    fi
    if [ -n "$err" ] && ! diff -u "$err" "$work/err"; then
        fail "$name: standard error differs"
    fi
}

run() {
    "$onf" "$@" >"$work/out" 2>"$work/err"
    code=$?
}

is() {
    [ "$code" = "$2" ] || fail "$1: exit code $code, expected $2"
    diff -u - "$work/$3" || fail "$1: standard $3 differs"
}

has() {
    grep -qxF -- "$3" "$work/$2" || fail "$1: no line '$3' in standard $2: $(head -c 300 "$work/$2")"
}

finish() {
    if [ "$failures" != 0 ]; then
        echo "$failures check(s) failed"
        exit 1
    fi
    echo "all checks passed"
    exit 0
}
