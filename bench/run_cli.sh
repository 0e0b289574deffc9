#!/bin/sh
# The `onf` command timed from outside, as a user runs it, next to the bare parser of the same
# text: `onf -q check` and `onf -q normalize` on a model of N nodes (about N hexahedra) and
# `onf -q normalize` on one of 4N, each program run RUNS times in turn (check, bare parser,
# normalize, ...), best of the runs. Wall, user and system time apart, peak resident memory.
#
# Usage: bench/run_cli.sh [build folder] [N] [RUNS] [before build folder]
#   build folder   holds onf, onf_bare_parse and onf_generate_model (default build-bench)
#   N              nodes of the small model (default 1030301: 10^6 hexahedra, about 148 MB)
#   RUNS           runs of each program (default 5)
#   before folder  an `onf` of another version (a build of an older commit): its programs run
#                  in the same rounds, each right after the same program of the build folder, and
#                  every figure is shown for both. The bare parser is the build folder's for both.
# The models are written once into ONF_BENCH_DIR (default the system's temporary folder) and
# kept there for the next run; delete them to make them anew.
set -eu
build=${1:-build-bench}
small=${2:-1030301}
runs=${3:-5}
before=${4:-}
large=$((4 * small))
dir=${ONF_BENCH_DIR:-${TMPDIR:-/tmp}}
out=$dir/onf_cli_out.onf
times=$dir/onf_cli_times.txt

model() { # the model of $1 nodes, made if missing
    path=$dir/onf_cli_$1.onf
    [ -s "$path" ] || "$build/onf_generate_model" "$1" "$path" >/dev/null
    echo "$path"
}
records() { # nodes plus elements of a model file: the two count lines
    awk 'prev ~ /^   (110|140)$/ { n += $1 } { prev = $0 } END { print n }' "$1"
}
# Appends "label wall user system peak_kB" of one run of the command behind the label.
timed() {
    label=$1
    shift
    /usr/bin/time -f "$label %e %U %S %M" -a -o "$times" "$@" >/dev/null
}
best() { # the smallest of each column for one label: wall user system peak_kB
    awk -v l="$1" '$1 == l {
        for (i = 2; i <= 5; ++i) if (!(i in m) || $i < m[i]) m[i] = $i
    } END { print m[2], m[3], m[4], m[5] }' "$times"
}
# One round of the onf programs of build folder $2, their labels prefixed with $1.
round() {
    timed "$1check" "$2/onf" -q check "$m1"
    timed bare "$build/onf_bare_parse" "$m1"
    timed "$1normalize1" "$2/onf" -q normalize "$m1" "$out"
    timed "$1normalize4" "$2/onf" -q normalize "$m4" "$out"
}
# The ratios of the runs labelled with prefix $1.
ratios() {
    { best bare; best "$1check"; best "$1normalize1"; best "$1normalize4"; } | tr '\n' ' ' |
        awk -v b="$bytes1" -v r1="$rec1" -v r4="$rec4" -v name="${2:-}" '{
        if (name != "") printf "%s\n", name
        printf "  check over bare parse, wall             %6.2f\n", $5 / $1
        printf "  check over bare parse, user CPU         %6.2f\n", $6 / $2
        printf "  check peak memory over file size        %6.2f\n", $8 * 1024 / b
        printf "  bare parse peak memory over file size   %6.2f\n", $4 * 1024 / b
        printf "  normalize per record, 4N over N, wall   %6.2f\n", ($13 / r4) / ($9 / r1)
        printf "  normalize per record, 4N over N, user   %6.2f\n", ($14 / r4) / ($10 / r1)
        printf "  normalize 4N, system over wall          %6.2f\n", $15 / $13
        printf "  normalize N, system over wall           %6.2f\n", $11 / $9
    }'
}

m1=$(model "$small")
m4=$(model "$large")
: >"$times"
i=0
while [ "$i" -lt "$runs" ]; do
    round "" "$build"
    [ -z "$before" ] || round "before_" "$before"
    i=$((i + 1))
done
rm -f "$out"

bytes1=$(wc -c <"$m1")
rec1=$(records "$m1")
rec4=$(records "$m4")
printf 'model %s: %s bytes, %s records; model %s: %s records; best of %s runs\n' \
    "$small" "$bytes1" "$rec1" "$large" "$rec4" "$runs"
printf '%-19s %8s %8s %8s %10s\n' program wall_s user_s sys_s peak_MB
labels="bare check normalize1 normalize4"
[ -z "$before" ] || labels="$labels before_check before_normalize1 before_normalize4"
for l in $labels; do
    best "$l" | awk -v l="$l" '{ printf "%-19s %8.2f %8.2f %8.2f %10.1f\n", l, $1, $2, $3, $4 / 1024 }'
done
if [ -z "$before" ]; then
    ratios ""
else
    ratios "before_" "before ($before)"
    ratios "" "after ($build)"
fi
