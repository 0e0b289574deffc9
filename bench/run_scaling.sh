#!/bin/sh
# Time per record at a small and a large model, for the engine's scan, load and write: the
# large model must not cost more than 1.25 times the small one per record.
# Usage: bench/run_scaling.sh [build folder] [small N] [large N]
set -eu
build=${1:-build-bench}
small=${2:-100000}
large=${3:-4000000}
filter='^(Engine|Baseline)/(Scan|Load|Write)/'
run() {
    ONF_BENCH_NODES=$1 "$build/onf_benchmarks" --benchmark_filter="$filter" \
        --benchmark_repetitions=3 --benchmark_color=false 2>/dev/null |
        awk '/^Benchmark +ns\/record/ { on = 1; next } on && NF == 3 { print $1, $2, $3 }'
}
run "$small" >"${TMPDIR:-/tmp}/onf_scaling_small.txt"
run "$large" >"${TMPDIR:-/tmp}/onf_scaling_large.txt"
# Wall and user CPU nanoseconds per record at both sizes; the baselines show what the machine
# itself does at the larger size (page cache, memory bandwidth), the engine's ratio is judged.
printf '%-16s %11s %11s %7s %11s %11s %7s\n' "Benchmark" "wall $small" "wall $large" "ratio" \
    "user $small" "user $large" "ratio"
join "${TMPDIR:-/tmp}/onf_scaling_small.txt" "${TMPDIR:-/tmp}/onf_scaling_large.txt" |
    awk '{ printf "%-16s %11.1f %11.1f %7.2f %11.1f %11.1f %7.2f\n", $1, $2, $4, $4 / $2, $3, $5, $5 / $3 }'
