#!/usr/bin/env bash
# End-to-end test of `onf check` and `onf info`: what each reports of clean, warned and failing
# files of every kind, the exit codes, how the file kind is told, and progress lines.
# Usage: test_onf_cli_check.sh PATH_TO_ONF
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"
cd "$work" || exit 1

# One small clean file of each kind, written as its file object reads it.
cat >model.onf <<'EOF'
# ONF model input file
   -1
100
2
0, 0, 0, CS_0
0, 0, 0
0, 0, 1
1, 0, 0
10, 1, 0, HUB
100, 20, 15
1, 0, 0
0, 1, 0
   -1
   -1
110
3
7, 0, 0, 0.0, 0.0, 0.0
3, 0, 10, 1.5, 0.0, 0.0
5, 0, 0, 0.0, 2.0, 0.0
   -1
   -1
120
1
1, 1, STEEL
0, 0, 0, 0, 0
7.85e-09, 210000, 0.3, 50, 0
   -1
   -1
140
1
1, 3, 1, 1, 0, 0, 0
3, 5, 7
   -1
EOF
printf '   -1\n200\n1\n1, 3\nTOP\n1-3\n   -1\n   -1\n200\n1\n1, 2\nTOP\n4, 6\n   -1\n' >groups.onf
printf '   -1\n97\n1\n110, 1, 12, 12\n   -1\n' >init.onf
printf '   -1\n800\n2\n1, KEEP_SFILM\n2, FORCE_SIM_YES\n   -1\n' >modif.onf
printf '   -1\n900\n1\n1, 2, 3, 4\n   -1\n' >temp.onf
printf '   -1\n400\n1\n1, 500, 0, 0, 0, 0, 0\n1\n0.0\n   -1\n' >requests.onf
printf '   -1\n700\n1\n3\nthird\n0\n   -1\n   -1\n200\n1\n4, 3\nTOP\n1, 2, 7\n   -1\n' >result.onf
cat >clean.out <<'EOF'
model.onf: ok (model input file, 4 blocks)
groups.onf: ok (groups file, 2 blocks)
init.onf: ok (init file, 1 block)
modif.onf: ok (modification file, 1 block)
temp.onf: ok (temporary file, 1 block)
requests.onf: ok (result request file, 1 block)
result.onf: ok (optimisation result file, 2 blocks)
EOF
expect "clean files of every kind" 0 clean.out /dev/null -- \
    check model.onf groups.onf init.onf modif.onf temp.onf requests.onf result.onf

# Warnings: a block the catalogue lacks has no format, and a block repeats a descriptor. The
# model object reads the file again and warns of the unknown block again: shown once.
printf '   -1\n4711\n1\n1, 2\n   -1\n   -1\n110\n1\n1, 0, 0, 1, 2, 3\n   -1\n   -1\n110\n0\n   -1\n' \
    >warned.onf
cat >warned.out <<'EOF'
warned.onf: warning: The ONF-file "warned.onf" contains a data-block of type 4711, which is unknown to the interface and will be skipped.
warned.onf: warning: block 110 ONF_NODES appears again as block 3 of the file, which replaces the earlier one
warned.onf: 2 warnings (model input file)
EOF
expect "warnings, each once though the model reads the file again" 1 warned.out /dev/null -- \
    check warned.onf

# Failures: of the reader (a message of three lines), of two blocks (the second is still
# loaded and reported), and of the model object alone (its coordinate systems).
printf '   -1\n110\n3\n1, 0, 0, 0.0, 0.0, 0.0\n   -1\n' >short.onf
printf '   -1\n110\n1\n1, 0, 0, 1.0, 2.0\n   -1\n   -1\n140\n1\n1, 8, 1, 1, 0, 0, 0\n   -1\n' \
    >blocks.onf
sed 's/^10, 1, 0, HUB$/10, 1, 5, HUB/' model.onf >cs.onf
cat >failed.out <<'EOF'
short.onf: error: A wrong number of records is stored for block with id = 110
short.onf:   1 lines found in the block body, which is less than
short.onf:   the declared number of records (3)
short.onf: failed (1 error, 0 warnings)
warned.onf: warning: The ONF-file "warned.onf" contains a data-block of type 4711, which is unknown to the interface and will be skipped.
warned.onf: warning: block 110 ONF_NODES appears again as block 3 of the file, which replaces the earlier one
warned.onf: 2 warnings (model input file)
blocks.onf: error: Error in ONF-file "blocks.onf", line 4 (in ONF data block 110):
blocks.onf:   A vector with 3 components is expected, but some values are missing!
blocks.onf: error: A format syntax error was encountered while reading the ONF-file:
blocks.onf:   "blocks.onf"
blocks.onf:   --> the lines defining ONF-block 140 are depleted prematurely at line 10.
blocks.onf: failed (2 errors, 0 warnings)
cs.onf: error: Coordinate system with id = 10 does not reference the
cs.onf:   global Cartesian coordinate system but rather the coordinate
cs.onf:   system with id = 5.
cs.onf: failed (1 error, 0 warnings)
model.onf: ok (model input file, 4 blocks)
EOF
expect "failures, and every file checked" 2 failed.out /dev/null -- \
    check short.onf warned.onf blocks.onf cs.onf model.onf
printf '   -1\n400\n1\n1, 4711, 0, 0, 0, 0, 0\n1\n0.0\n   -1\n' >request.onf
cat >request.out <<'EOF'
request.onf: error: An unknown/invalid ONF block 4711 was found in the result-request file!
request.onf: failed (1 error, 0 warnings)
EOF
expect "a request of a block the catalogue lacks" 2 request.out /dev/null -- check request.onf
cat >missing.out <<'EOF'
missing.onf: error: Loading of file "missing.onf" failed.
missing.onf:   System error message:
missing.onf:   No such file or directory
missing.onf: failed (1 error, 0 warnings)
EOF
expect "a missing file" 2 missing.out /dev/null -- check missing.onf
grep -v -e ": warning: " -e " warnings (model" -e ": ok (" failed.out >quiet.out
expect "-q prints only errors" 2 quiet.out /dev/null -- -q check short.onf warned.onf blocks.onf cs.onf model.onf

# info: blocks in file order with records and id ranges, and the counts of a model.
cat >model.info <<'EOF'
== model.onf: model input file, 4 blocks
  100 ONF_COORD_SYSTEMS: 2 records, ids 0-10
  110 ONF_NODES: 3 records, ids 3-7
  120 ONF_MATERIALS: 1 record, id 1
  140 ONF_ELEMENTS: 1 record, id 1
model: 3 nodes, 1 element, 2 coordinate systems, 1 material, 0 properties, 0 layers
loads: 0 loadcases, 0 nodal force sets, 0 displacement sets, 0 accelerations, 0 loaded node sets, 0 loaded element sets, 0 convection sets
constraints: 0 single point constraints, 0 rigid elements, 0 contact surfaces, 0 connectors
== groups.onf: groups file, 2 blocks
  200 ONF_NODE_GROUPS: 2 records, ids 1-2
  200 ONF_NODE_GROUPS: 1 record declared, merged into the first block of its number
== result.onf: optimisation result file, 2 blocks
  700 titles: 1 entry
  710 nodal scalar results: 0 entries
  720 nodal vector results: 0 entries
  730 nodal displacements: 0 entries
  740 element scalar results: 0 entries
  200 node groups: 1 group: TOP (3)
  210 element groups: 0 groups
EOF
expect "info" 0 model.info /dev/null -- info model.onf groups.onf result.onf
cat >warned.info <<'EOF'
== warned.onf: model input file, 3 blocks
  4711 (not in the catalogue): 1 record declared, not loaded (not in the catalogue, and no format)
  110 ONF_NODES: 1 record declared, replaced by a later block with the same descriptor
  110 ONF_NODES: 0 records
EOF
"$onf" info warned.onf >"$work/out" 2>/dev/null
head -n 4 "$work/out" | diff -u warned.info - || fail "info of blocks not loaded"
expect "info of a failing file" 2 "" "" -- info short.onf
grep -q "^short.onf: error: A wrong number of records" "$work/err" || fail "info: no failure shown"

# The kind: decided by block numbers, by a header comment where they decide nothing.
kind_of() { # BLOCK_NUMBERS... ; the file's first line may be set through $header
    { [ -n "${header:-}" ] && echo "$header"
      for number in "$@"; do printf '   -1\n%s\n0\n   -1\n' "$number"; done; } >kind.onf
    "$onf" info kind.onf 2>/dev/null | head -n 1 | sed 's/^== kind.onf: \(.*\), [0-9]* blocks*$/\1/'
}
while IFS='|' read -r header numbers expected; do
    # shellcheck disable=SC2086
    got="$(kind_of $numbers)"
    [ "$got" = "$expected" ] || fail "kind of '$header' $numbers: '$got', expected '$expected'"
done <<'EOF'
|110 200|model input file
|200 700|optimisation result file
|110 800|ONF file
|200 210|groups file
|97|init file
|930|temporary file
|10030 10032|result request file
|10032|ONF file
|600|ONF file
# ONF model input file|10032|model input file
#   ONF optimisation result file  |200|optimisation result file
# ONF groups file|400|result request file
||ONF file
EOF

# Progress: on standard error with -v, and by default for a file of a few megabytes.
expect "no progress by default" 0 "" /dev/null -- check init.onf
expect "progress with -v" 0 "" "" -- -v check init.onf
grep -q "^onf: init.onf: loading block 97 ONF_INIT_SIZES, 1 records$" "$work/err" ||
    fail "-v shows no progress"
awk 'BEGIN { n = 120000; print "   -1"; print "110"; print n;
             for (i = 1; i <= n; i++) printf "%d, 0, 0, %d.125, 1.0e+02, -3.5\n", i, i;
             print "   -1" }' >large.onf
expect "progress of a large file" 0 "" "" -- check large.onf
grep -q "^onf: large.onf: reading it as a model input file$" "$work/err" ||
    fail "a large file shows no progress"
expect "no progress under -q" 0 "" /dev/null -- -q check large.onf

finish
