#!/usr/bin/env bash
# End-to-end test of `onf check` and `onf info`: what each reports of clean, warned and failing
# files of every kind, each finding at its line, the exit codes, how the file kind is told, and
# progress. Usage: test_onf_cli_check.sh PATH_TO_ONF
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
1, 10, 3, 0, 1, 0, 0, 0
3, 5, 7
   -1
EOF
printf '   -1\n200\n1\n1, 3\nTOP\n3, 5, 7\n   -1\n   -1\n200\n1\n1, 2\nEDGE\n5, 7\n   -1\n' >groups.onf
printf '   -1\n97\n1\n110, 1, 12, 12\n   -1\n' >init.onf
printf '   -1\n800\n2\n1, KEEP_SFILM\n2, FORCE_SIM_YES\n   -1\n' >modif.onf
printf '   -1\n900\n1\n1, 2, 3, 4\n   -1\n' >temp.onf
printf '   -1\n400\n1\n1, 500, 0, 0, 0, 0, 0\n1\n0.0\n   -1\n' >requests.onf
printf '   -1\n700\n1\n3\nthird\n0\n   -1\n   -1\n200\n1\n4, 3\nTOP\n1, 2, 7\n   -1\n' >result.onf
run check model.onf groups.onf init.onf modif.onf temp.onf requests.onf result.onf
is "clean files of every kind" 0 out <<'EOF'
model.onf: ok (model input file, 4 blocks)
groups.onf: ok (groups file, 2 blocks)
init.onf: ok (init file, 1 block)
modif.onf: ok (modification file, 1 block)
temp.onf: ok (temporary file, 1 block)
requests.onf: ok (result request file, 1 block)
result.onf: ok (optimisation result file, 2 blocks)
EOF
[ ! -s "$work/err" ] || fail "clean files: standard error is not empty"

# The engine's failures, word for word, at the line they point to: a record count the body
# cannot hold (its count line), a short vector and lines that run out, a repeated id, a
# coordinate system on another (its record), a line where a block should start, a request of a
# block the catalogue lacks, a request whose details name a record its side block lacks (the
# line of its list: a reference for a target without details is no reference), a file that is not
# there. Every block is loaded all the same.
printf '   -1\n110\n3\n1, 0, 0, 0.0, 0.0, 0.0\n   -1\n' >short.onf
printf '   -1\n110\n1\n1, 0, 0, 1.0, 2.0\n   -1\n   -1\n140\n1\n1, 10, 3, 0, 0, 0, 0\n   -1\n' \
    >blocks.onf
printf '   -1\n110\n2\n1, 0, 0, 1, 2, 3\n1, 0, 0, 1, 2, 3\n   -1\n' >repeated.onf
sed 's/^10, 1, 0, HUB$/10, 1, 5, HUB/' model.onf >cs.onf
printf '   -1\n97\n0\n   -1\nbogus\n' >statement.onf
printf '   -1\n400\n1\n1, 4711, 0, 0, 0, 0, 0\n1\n0.0\n   -1\n' >request.onf
printf '   -1\n400\n3\n1, 500, 0, 0, 0, 0, 0\n77\n0.0\n2, 589, 0, 0, 0, 0, 0\n77\n0.0\n' >detail.onf
printf '3, 641, 0, 0, 0, 0, 0\n77\n0.0\n   -1\n   -1\n430\n1\n77, 1, 0, 0, 0, 0\n   -1\n' >>detail.onf
run check short.onf blocks.onf repeated.onf cs.onf statement.onf request.onf detail.onf \
    missing.onf model.onf
is "failures, each at its line, and every file checked" 2 out <<'EOF'
short.onf:3: error: A wrong number of records is stored for block with id = 110
short.onf:3:   1 lines found in the block body, which is less than
short.onf:3:   the declared number of records (3)
short.onf: failed (1 error, 0 warnings)
blocks.onf:4: error: Error in ONF-file "blocks.onf", line 4 (in ONF data block 110):
blocks.onf:4:   A vector with 3 components is expected, but some values are missing!
blocks.onf:10: error: A format syntax error was encountered while reading the ONF-file:
blocks.onf:10:   "blocks.onf"
blocks.onf:10:   --> the lines defining ONF-block 140 are depleted prematurely at line 10.
blocks.onf: failed (2 errors, 0 warnings)
repeated.onf:5: error: An error was encountered while reading the ONF-file:
repeated.onf:5:   "repeated.onf"
repeated.onf:5:   --> ONF-block 110 contains more than one record with id = 1.
repeated.onf: failed (1 error, 0 warnings)
cs.onf:9: error: Coordinate system with id = 10 does not reference the
cs.onf:9:   global Cartesian coordinate system but rather the coordinate
cs.onf:9:   system with id = 5.
cs.onf: failed (1 error, 0 warnings)
statement.onf:5: error: Invalid statement encountered in file: statement.onf, line: 5
statement.onf:5:   Expected line image: "   -1"
statement.onf:5:   Line image found:    "bogus"
statement.onf: failed (1 error, 0 warnings)
request.onf:4: error: An unknown/invalid ONF block 4711 was found in the result-request file!
request.onf: failed (1 error, 0 warnings)
detail.onf:11: error: Error in the cross-references between result-request data blocks.
detail.onf:11:   Record ID 77 does not exist in ONF-block 440!
detail.onf: failed (1 error, 0 warnings)
missing.onf: error: Loading of file "missing.onf" failed.
missing.onf:   System error message:
missing.onf:   No such file or directory
missing.onf: failed (1 error, 0 warnings)
model.onf: ok (model input file, 4 blocks)
EOF
grep -v -e ": ok (" "$work/out" >quiet.out
run -q check short.onf blocks.onf repeated.onf cs.onf statement.onf request.onf detail.onf \
    missing.onf model.onf
is "-q prints only errors" 2 out <quiet.out

# Typos in values: each invalid number at its line and column, with its item; what the record
# grammar reads without a word as warnings: a decimal comma (a value left over, the last one
# lost), a line ending in a comma, an id with characters behind its digits.
cat >typos.onf <<'EOF'
   -1
110
7
1, 0, 0, 0.0, 0.0, 0.0
5, 0, 0, 5O, 40, 0
3, 0, 0, 50.0.1, 0, 0
4, 0, 0, 1e999, 0, 5.0D1
6, 0, 0, 50,5, 40, 0
7, 0, 0, 1, 2, 3,
8x, 0, 0, 1, 2, 3
   -1
EOF
run check typos.onf
is "typos" 2 out <<'EOF'
typos.onf:1: error: Invalid numeric value(s) encountered while loading ONF-Block 110.
typos.onf:5:10: error: invalid number "5O" for item 3 (position)
typos.onf:6:10: error: invalid number "50.0.1" for item 3 (position)
typos.onf:7:10: error: the number "1e999" for item 3 (position) reads as infinity
typos.onf:7:20: error: invalid number "5.0D1" for item 3 (position)
typos.onf:8:20: warning: 1 value behind the end of record 6 is ignored: "0"; a decimal comma splits a number in two
typos.onf:9:18: warning: the line ends in a comma; the empty value behind it is ignored
typos.onf:10:1: warning: the id "8x" reads as 8; the characters behind its digits are ignored
typos.onf: failed (5 errors, 3 warnings)
EOF
# The first 20 invalid numbers are shown, the others counted.
awk 'BEGIN { print "   -1"; print "110"; print 25
             for (i = 1; i <= 25; i++) printf "%d, 0, 0, 1.0, x%d, 0.0\n", i, i; print "   -1" }' >many.onf
run check many.onf
[ "$code" = 2 ] || fail "many invalid numbers: exit code $code"
[ "$(grep -c ': error: invalid number "x' "$work/out")" = 20 ] || fail "not 20 invalid numbers shown"
has "the rest counted" out "many.onf: error: 5 more invalid numbers not shown"
has "every one counted" out "many.onf: failed (26 errors, 0 warnings)"

# A model that reads, but that its users cannot use: an element on a node that is not there,
# a hexahedron of seven nodes, nodes in a system no block defines, a property and a material
# that no block defines, a force on a missing node, a loaded set of missing elements, a
# loadcase on a force set that is not there; and an empty file.
cat >broken.onf <<'EOF'
   -1
110
3
1, 0, 0, 0, 0, 0
2, 0, 0, 1, 0, 0
3, 4, 0, 1, 1, 0
   -1
   -1
120
1
1, 1, STEEL
0, 0, 0, 0, 0
1, 2, 3, 4, 5
   -1
   -1
130
1
1, 4, 0, SOLID, 1, 0, 2

   -1
   -1
140
2
1, 10, 3, 1, 0, 0, 0, 0
1, 2, 9
2, 3, 7, 5, 0, 0, 0, 0
1, 2, 3, 1, 2, 3, 1
   -1
   -1
171
1
1, 2
2, 8
   -1
   -1
172
1
0, 99, 0, 1, 0, 0, 0, 0, 0
   -1
   -1
180
1
1, LC, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0
7





   -1
EOF
: >empty.onf
run check broken.onf empty.onf
is "model checks" 2 out <<'EOF'
broken.onf:6: error: node 3: coordinate system 4 is not defined
broken.onf:18: error: property 1: material 2 is not defined
broken.onf:24: error: element 1: node 9 is not defined
broken.onf:26: error: element 2 of kind 3 has 7 nodes; the kind takes 8
broken.onf:26: error: element 2: property 5 is not defined
broken.onf:32: error: loaded element set 1: element 8 is not defined
broken.onf:38: error: nodal force 0: node 99 is not defined
broken.onf:43: error: loadcase 1: nodal force set 7 is not defined
broken.onf: failed (8 errors, 0 warnings)
empty.onf: warning: the file holds no blocks
empty.onf: 1 warning (ONF file)
EOF

# Groups of one kind that share a name, which the suite's programs find by name: reading a
# file of two blocks keeps them (a warning of the check), any other renames them (a warning of
# the engine).
printf '   -1\n200\n0\n   -1\n   -1\n210\n2\n1, 1\nBODY\n1\n2, 1\nBODY\n2\n   -1\n' >kept.onf
printf '   -1\n210\n3\n1, 1\nBODY\n1\n2, 1\nBODY\n2\n3, 1\nBODY\n3\n   -1\n' >renamed.onf
run check kept.onf renamed.onf
is "groups that share a name" 1 out <<'EOF'
kept.onf:11: warning: element group 2: the name BODY is that of element group 1 too
kept.onf: 1 warning (groups file)
renamed.onf:7: warning: Duplicated group name 'BODY' found. The group name will be replaced by 'BODY_001'
renamed.onf:10: warning: Duplicated group name 'BODY' found. The group name will be replaced by 'BODY_002'
renamed.onf: 2 warnings (groups file)
EOF

# A groups file against the model it belongs to: members that the model does not hold.
run check --model model.onf groups.onf
is "groups against a model" 0 out <<<"groups.onf: ok (groups file, 2 blocks)"
printf '   -1\n210\n1\n1, 2\nBODY\n1, 4\n   -1\n' >elements.onf
run check elements.onf groups.onf --model=broken.onf
is "members the model lacks" 2 out <<'EOF'
elements.onf:4: error: element group BODY: element 4 is not in broken.onf
elements.onf: failed (1 error, 0 warnings)
groups.onf:4: error: node group TOP: nodes 5 and 7 are not in broken.onf
groups.onf:11: error: node group EDGE: nodes 5 and 7 are not in broken.onf
groups.onf: failed (2 errors, 0 warnings)
EOF
run check --model init.onf groups.onf
is "--model of another kind" 2 out <<'EOF'
init.onf: error: --model takes a model input file, and this is an init file
groups.onf: error: the groups are not checked against init.onf, which does not read
groups.onf: failed (1 error, 0 warnings)
EOF

# Standard input, named <stdin>.
"$onf" check - <typos.onf >"$work/out"
has "check of standard input" out "<stdin>:5:10: error: invalid number \"5O\" for item 3 (position)"

# info: blocks in file order with records and id ranges, the counts of a model, as text or
# as JSON; blocks that are not loaded say why.
run info model.onf groups.onf result.onf
is "info" 0 out <<'EOF'
== model.onf: model input file, 4 blocks, 332 bytes
  100 ONF_COORD_SYSTEMS:  2 records, ids 0-10
  110 ONF_NODES:          3 records, ids 3-7
  120 ONF_MATERIALS:      1 record, id 1
  140 ONF_ELEMENTS:       1 record, id 1
model: 3 nodes, 1 element, 2 coordinate systems, 1 material, 0 properties, 0 layers
loads: 0 loadcases, 0 nodal force sets, 0 displacement sets, 0 accelerations, 0 loaded node sets, 0 loaded element sets, 0 convection sets
constraints: 0 single point constraints, 0 rigid elements, 0 contact surfaces, 0 connectors
== groups.onf: groups file, 2 blocks, 68 bytes
  200 ONF_NODE_GROUPS:  2 records, ids 1-2
  200 ONF_NODE_GROUPS:  1 record declared, merged into the first block of its number
== result.onf: optimisation result file, 2 blocks, 63 bytes
  700 titles:                  1 entry
  710 nodal scalar results:    0 entries
  720 nodal vector results:    0 entries
  730 nodal displacements:     0 entries
  740 element scalar results:  0 entries
  200 node groups:             1 group: TOP (3)
  210 element groups:          0 groups
EOF
run info --json groups.onf result.onf
is "info --json" 0 out <<'EOF'
{"file": "groups.onf", "kind": "groups file", "size": 68, "blocks": [{"number": 200, "name": "ONF_NODE_GROUPS", "descriptor": {}, "records": 2, "ids": [1, 2], "state": "loaded"}, {"number": 200, "name": "ONF_NODE_GROUPS", "descriptor": {}, "records": 1, "ids": null, "state": "merged"}]}
{"file": "result.onf", "kind": "optimisation result file", "size": 63, "entries": {"700": 1, "710": 0, "720": 0, "730": 0, "740": 0}, "groups": {"200": [{"name": "TOP", "size": 3}], "210": []}}
EOF
printf '   -1\n4711\n1\n1, 2\n   -1\n   -1\n110\n1\n1, 0, 0, 1, 2, 3\n   -1\n   -1\n110\n0\n   -1\n' \
    >warned.onf
run info warned.onf
head -n 4 "$work/out" >head.out
diff -u - head.out <<'EOF' || fail "info of blocks not loaded"
== warned.onf: model input file, 3 blocks, 77 bytes
  4711 (not in the catalogue):  1 record declared, not loaded (not in the catalogue, and no format)
  110 ONF_NODES:                1 record declared, replaced by a later block with the same descriptor
  110 ONF_NODES:                0 records
EOF
is "the warnings of info on standard error" 0 err <<'EOF'
warned.onf:2: warning: The ONF-file "warned.onf" contains a data-block of type 4711, which is unknown to the interface and will be skipped.
warned.onf:11: warning: block 110 ONF_NODES appears again as block 3 of the file, which replaces the earlier one
EOF
run info short.onf
is "info of a failing file" 2 err <<'EOF'
short.onf:3: error: A wrong number of records is stored for block with id = 110
short.onf:3:   1 lines found in the block body, which is less than
short.onf:3:   the declared number of records (3)
EOF

# The kind: decided by block numbers, by a header comment where they decide nothing.
kind_of() { # BLOCK_NUMBERS... ; the file's first line may be set through $header
    { [ -n "${header:-}" ] && echo "$header"
      for number in "$@"; do printf '   -1\n%s\n0\n   -1\n' "$number"; done; } >kind.onf
    "$onf" info kind.onf 2>/dev/null | head -n 1 | sed 's/^== kind.onf: \(.*\), [0-9]* blocks*, .*$/\1/'
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

# Progress: on standard error with -v, and by default for a file of a few megabytes; one
# rewritten line when standard error is a terminal.
run check init.onf
is "no progress by default" 0 err </dev/null
run -v check init.onf
has "progress with -v" err "onf: init.onf: reading it as an init file"
awk 'BEGIN { n = 120000; print "   -1"; print "110"; print n;
             for (i = 1; i <= n; i++) printf "%d, 0, 0, %d.125, 1.0e+02, -3.5\n", i, i;
             print "   -1" }' >large.onf
run check large.onf
has "a large file shows progress" err "onf: large.onf: reading 4.4 MiB"
run -q check large.onf
is "no progress under -q" 0 err </dev/null
if command -v script >/dev/null; then
    script -qec "'$onf' -v check init.onf" /dev/null >tty.out 2>&1
    grep -q $'\r\033\\[Konf: init.onf: reading it as an init file' tty.out ||
        fail "progress on a terminal is not one rewritten line: $(od -c tty.out | head -5)"
fi

finish
