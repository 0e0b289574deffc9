#!/usr/bin/env bash
# Runs one libFuzzer target for a bounded time: run_fuzz.sh BINARY NAME FUZZ_DIR WORK_DIR SECONDS.
# The regression inputs are replayed first. The repository's seeds stay untouched: new inputs go
# to WORK_DIR/corpus/NAME, findings to WORK_DIR/artifacts/NAME/, the whole output to
# WORK_DIR/NAME.log. Exits non-zero on any finding (crash, leak, timeout, out of memory,
# sanitizer report). The seed is fixed (ONF_FUZZ_SEED, default 1) so that a run can be repeated;
# set ONF_FUZZ_SEED=0 for a fresh random one when exploring.
set -uo pipefail
binary=$1 name=$2 fuzz_dir=$3 work=$4 seconds=$5

corpus="$work/corpus/$name"
artifacts="$work/artifacts/$name"
log="$work/$name.log"
mkdir -p "$corpus" "$artifacts"

export ASAN_OPTIONS="${ASAN_OPTIONS:-}:detect_leaks=1:abort_on_error=1"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-}:halt_on_error=1:print_stacktrace=1"

if [ -d "$fuzz_dir/regressions/$name" ]; then
    if ! "$binary" -runs=0 "$fuzz_dir/regressions/$name" >"$log" 2>&1; then
        cat "$log"
        echo "fuzz_$name: a regression input fails"
        exit 1
    fi
fi
"$binary" "$corpus" "$fuzz_dir/corpus/$name" \
    -dict="$fuzz_dir/onf.dict" -seed="${ONF_FUZZ_SEED:-1}" \
    -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=16384 \
    -artifact_prefix="$artifacts/" -print_final_stats=1 >"$log" 2>&1
status=$?
# The progress lines are many; keep the start, the findings and the final statistics.
grep -v -E '^#[0-9]+[[:space:]]+(NEW|REDUCE|pulse)' "$log" | tail -n 60
exit $status
