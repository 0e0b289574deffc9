#!/usr/bin/env bash
# The bridge examples of examples/ are what their generator makes, and each one is a clean
# file of its kind. Usage: test_examples.sh PATH_TO_ONF PATH_TO_GENERATOR SOURCE_DIR
set -u
absolute() { echo "$(cd "$(dirname "$1")" && pwd)/$(basename "$1")"; }
onf="$(absolute "$1")" generator="$(absolute "$2")" examples="$(cd "$3/examples" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0
fail() {
    echo "FAIL $*"
    failures=$((failures + 1))
}

mkdir "$work/made"
"$generator" "$work/made" 2>"$work/err" || fail "the generator failed: $(cat "$work/err")"
for made in "$work"/made/*.onf; do
    name="$(basename "$made")"
    if [ ! -f "$examples/$name" ]; then
        fail "examples/$name is missing (run scripts/make_examples.sh)"
    elif ! "$onf" diff --tolerance 1e-12 "$examples/$name" "$made" >"$work/diff" 2>&1; then
        fail "examples/$name is not what the generator makes (run scripts/make_examples.sh):"
        head -5 "$work/diff"
    fi
done
for committed in "$examples"/bridge_*.onf; do
    [ -f "$work/made/$(basename "$committed")" ] || fail "$committed is no longer made"
done

# Each file is read through the object of its kind without a warning.
cd "$examples"
"$onf" check bridge_*.onf >"$work/check" 2>&1 || fail "onf check exits with $?"
diff -u - "$work/check" <<'OUT' || fail "onf check of the examples"
bridge_groups.onf: ok (groups file, 2 blocks)
bridge_init.onf: ok (init file, 1 block)
bridge_model.onf: ok (model input file, 22 blocks)
bridge_modification.onf: ok (modification file, 17 blocks)
bridge_requests.onf: ok (result request file, 7 blocks)
bridge_results.onf: ok (optimisation result file, 7 blocks)
bridge_temporary.onf: ok (temporary file, 5 blocks)
OUT

if [ "$failures" != 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "all checks passed"
