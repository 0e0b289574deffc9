#!/usr/bin/env bash
# End-to-end test of `onf diff` on pairs of files made for each option: exact output, exit
# codes (0 equal, 1 different, 2 failure). Usage: test_onf_diff.sh PATH_TO_ONF EXAMPLES_FOLDER
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"
examples="$(cd "$2" && pwd)"
cd "$work" || exit 1

# ---- Block files: one summary line a block, every difference with --all --------------------
cat >a.onf <<'EOF'
   -1
110
3
1, 0, 0, 1.0, 2.0, 3.0
2, 0, 0, 100.0, 0.0, 0.0
3, 0, 0, 0.0, 0.0, 1e-9
   -1
   -1
130
1
7, 1, 3, SOLID, 1.0, 0.0, 1
1, 2, 3
   -1
   -1
200
1
1, 2
TOP
1, 2
   -1
EOF
cat >b.onf <<'EOF'
   -1
110
3
3, 0, 0, 0.0, 0.0, 2e-9
4, 0, 0, 0.0, 0.0, 0.0
2, 0, 0, 100.001, 0.0, 0.0
   -1
   -1
130
1
7, 1, 3, SOLID_2, 1.0, 0.0, 1
1, 3, 2
   -1
   -1
140
0
   -1
   -1
120
1
1, 1, STEEL
0, 0, 0, 0, 0
1, 2, 3, 4, 5
   -1
EOF
# Positions agree within 1e-6 mm by default: 1e-9 against 2e-9 is no difference, 100.001 is.
cat >summary.expected <<'EOF'
block 110 ONF_NODES: 3 of 4 records differ (1 only in A, 1 only in B); largest absolute difference 0.001 at record 2, item 3 (position); largest relative difference 9.9999e-06 at record 2, item 3 (position)
block 120 ONF_MATERIALS: only in B (1 record)
block 130 ONF_PROPERTIES: 1 of 1 record differs
block 200 ONF_NODE_GROUPS: only in A (1 record)
a.onf and b.onf differ in 4 blocks
EOF
expect "diff" 1 summary.expected /dev/null -- diff a.onf b.onf
cat >all.expected <<'EOF'
block 110 ONF_NODES: record 1 only in A
block 110 ONF_NODES: record 2, item 3 (position): 100, 0, 0 vs 100.001, 0, 0
block 110 ONF_NODES: record 4 only in B
block 110 ONF_NODES: 3 of 4 records differ (1 only in A, 1 only in B); largest absolute difference 0.001 at record 2, item 3 (position); largest relative difference 9.9999e-06 at record 2, item 3 (position)
block 120 ONF_MATERIALS: only in B (1 record)
block 130 ONF_PROPERTIES: record 7, item 3 (name): "SOLID" vs "SOLID_2"
block 130 ONF_PROPERTIES: record 7, item 7 (layers): [1, 2, 3] vs [1, 3, 2]
block 130 ONF_PROPERTIES: 1 of 1 record differs
block 200 ONF_NODE_GROUPS: only in A (1 record)
a.onf and b.onf differ in 4 blocks
EOF
expect "diff --all" 1 all.expected /dev/null -- diff --all a.onf b.onf
{
    sed -n '1,2p' all.expected
    echo "block 110 ONF_NODES: 1 more differences not shown"
    sed -n '4,$p' all.expected
} >limited.expected
expect "diff --limit" 1 limited.expected /dev/null -- diff a.onf b.onf --limit 2
expect "diff of a file with itself" 0 /dev/null /dev/null -- diff a.onf a.onf
# --only and --skip take numbers and names.
grep -e "^block 130" summary.expected >only.expected
echo "a.onf and b.onf differ in 1 block" >>only.expected
expect "diff --only" 1 only.expected /dev/null -- diff --only ONF_PROPERTIES a.onf b.onf
expect "diff --skip" 1 only.expected /dev/null -- diff --skip 110,120,ONF_NODE_GROUPS a.onf b.onf
expect "diff --only of equal blocks" 0 /dev/null /dev/null -- diff --only 140 a.onf b.onf

# ---- Tolerances: values just below and just above each one ----------------------------------
# Material values (item 8 on) are reals of the default kind, relative 1e-6.
material() { printf '   -1\n120\n1\n1, 1, STEEL\n0, 0, 0, 0, 0\n%s\n   -1\n' "$1"; }
material "210000, 0.3, 1e-20, 0, 5" >t1.onf
material "210000.2, 0.3000004, 2e-20, 1e-9, 5" >t2.onf
# tolerance_case NAME EXPECTED_CODE OPTIONS...: the records of block 120 that differ, by exit
# code; the differing values listed.
tolerance_case() {
    local name="$1" code="$2"
    shift 2
    expect "$name" "$code" "" /dev/null -- diff --all "$@" t1.onf t2.onf
}
# By default: 210000.2 agrees (relative 9.5e-7), 0.3000004 does not (1.3e-6), nor do 1e-20
# against 2e-20 and 0 against 1e-9 (relative 0.5 and 1).
tolerance_case "default tolerance" 1
grep -q "item 9 (value 1): 0.3 vs 0.3000004" "$work/out" || fail "default: 0.3 agrees"
grep -q "item 8" "$work/out" && fail "default: 210000 differs"
tolerance_case "relative 1e-5" 1 --relative 1e-5
grep -q "item 9" "$work/out" && fail "relative 1e-5: 0.3 differs"
grep -q "item 10 (value 2): 1e-20 vs 2e-20" "$work/out" || fail "relative 1e-5: 1e-20 agrees"
tolerance_case "floor" 1 --relative 1e-5 --floor 1e-15
grep -q "item 10" "$work/out" && fail "floor: 1e-20 differs"
grep -q "item 11 (value 3): 0 vs 1e-09" "$work/out" || fail "floor: 1e-9 is below the floor"
tolerance_case "floor and absolute" 0 --relative 1e-5 --floor 1e-15 --absolute 1e-9
tolerance_case "absolute alone" 1 --absolute 1e-9
grep -q "item 8 (value 0): 210000 vs 210000.2" "$work/out" || fail "absolute: 210000 agrees"
tolerance_case "tolerance shorthand" 0 --tolerance 1e-6
tolerance_case "exact" 1 --tolerance 0
grep -q "item 8" "$work/out" || fail "exact: 210000 agrees"
# Rules for one item (by number or name) and for a block; the later rule wins.
tolerance_case "rules" 0 --tol "120=abs:1e-8,rel:1e-6" --tol "120:value 1=rel:1e-5"
tolerance_case "a later rule wins" 1 --tol "120:9=rel:1e-5" --tol "120:9=exact" --tol 120:10=ignore \
    --tol 120:11=ignore
grep -q "item 9" "$work/out" || fail "rules: the later rule did not win"
tolerance_case "default rule" 0 --tol default=abs:1e-6,rel:1e-6

# A tolerance file: rules with comments, read in order with the command line.
cat >rules.tol <<'EOF'
# the material's small values are noise
120:10 = ignore   # value 2
120:value 3 = abs:1e-8
default = rel:1e-5
EOF
tolerance_case "tolerance file" 0 --tol-file rules.tol
# A rule for an item the block lacks matches nothing: a warning names it, the rest still count.
printf '120:9 = rel:1e-5\n120:99 = abs:1\n120:value 9=ignore\n' >lacking.tol
cat >lacking.err <<'EOF'
onf diff: warning: lacking.tol:2: block 120 ONF_MATERIALS has no item '99': the rule '120:99 = abs:1' matches nothing
onf diff: warning: lacking.tol:3: block 120 ONF_MATERIALS has no item 'value 9': the rule '120:value 9=ignore' matches nothing
onf diff: warning: block 110 ONF_NODES has no item '4': the rule '110:4=abs:1e-9' matches nothing
onf diff: warning: block 4711 has no item 'x': the rule '4711:x=exact' matches nothing
EOF
expect "rules for items a block lacks" 1 "" lacking.err -- diff --all --tol-file lacking.tol \
    --tol 110:4=abs:1e-9 --tol 4711:x=exact t1.onf t2.onf
grep -q "item 9" "$work/out" && fail "rules for items a block lacks: a good rule was dropped"
grep -q "item 10" "$work/out" || fail "rules for items a block lacks: 1e-20 agrees"
printf '110:3 = abs:1e-6\n120:8 = abs:-1\n' >bad.tol
echo "onf diff: bad.tol:2: 'abs:-1' is no tolerance (abs:A, rel:R, floor:F joined by commas, exact or ignore) (see 'onf help diff')" >bad.err
expect "a wrong rule in a file" 2 /dev/null "" -- diff --tol-file bad.tol t1.onf t2.onf
head -n 1 "$work/err" | diff -u bad.err - || fail "a wrong rule: message"
for rule in "120:8" "120:8=abs" "120:8=abs:-1" "120:8=near:1" "ONF_NOTHING=exact" "120:8=abs:x" \
    "120:=exact"; do
    expect "bad rule '$rule'" 2 /dev/null "" -- diff --tol "$rule" t1.onf t2.onf
done

# --summary writes a tolerance file with the range of each real item; used as it stands, it
# finds the file equal to itself and the same differences as the default.
expect "summary alone" 0 /dev/null /dev/null -- diff --summary made.tol t2.onf
cat >made.expected <<'EOF'
default = rel:1e-06
positions = abs:1e-06
120:8 = rel:1e-06  # block 120 ONF_MATERIALS, item 8 (value 0): 1 value from 210000.2 to 210000.2
120:9 = rel:1e-06  # block 120 ONF_MATERIALS, item 9 (value 1): 1 value from 0.3000004 to 0.3000004
120:10 = rel:1e-06  # block 120 ONF_MATERIALS, item 10 (value 2): 1 value from 2e-20 to 2e-20
120:11 = rel:1e-06  # block 120 ONF_MATERIALS, item 11 (value 3): 1 value from 1e-09 to 1e-09
120:12 = rel:1e-06  # block 120 ONF_MATERIALS, item 12 (value 4): 1 value from 5 to 5
EOF
grep -v "^#" made.tol | diff -u made.expected - || fail "summary: unexpected rules"
expect "summary used" 1 "" /dev/null -- diff --tol-file made.tol t1.onf t2.onf
expect "summary of a file with itself" 0 /dev/null /dev/null -- diff --tol-file made.tol t2.onf t2.onf
expect "summary to standard output" 0 "" /dev/null -- diff --summary - --only 120 t2.onf t2.onf
grep -q "^120:12 = rel:1e-06  # .*from 5 to 5$" "$work/out" || fail "summary to standard output"

# ---- JSON --------------------------------------------------------------------------------------
expect "json" 1 "" /dev/null -- diff --json --all a.onf b.onf
/usr/bin/python3 - "$work/out" <<'PY' || fail "json: unexpected document"
import json, sys
doc = json.load(open(sys.argv[1]))
assert doc["equal"] is False and doc["blocks_differing"] == 4, doc
nodes = doc["sections"][0]
assert (nodes["block"], nodes["name"], nodes["differing"], nodes["only_in_a"]) == (110, "ONF_NODES", 3, 1), nodes
assert nodes["largest_absolute"]["at"] == "record 2, item 3 (position)", nodes
assert abs(nodes["largest_absolute"]["value"] - 0.001) < 1e-12, nodes
assert nodes["differences"][1] == {"at": "record 2, item 3 (position)", "a": "100, 0, 0", "b": "100.001, 0, 0"}
assert doc["sections"][1]["presence"] == "only in B", doc["sections"][1]
PY
expect "json of equal files" 0 "" /dev/null -- diff --json a.onf a.onf
/usr/bin/python3 -c 'import json,sys; d=json.load(open(sys.argv[1])); assert d["equal"] and not d["sections"]' \
    "$work/out" || fail "json of equal files"

# ---- Models in global coordinates --------------------------------------------------------------
# Node 2 moves into system 5 (origin 100, 0, 0) and stays in place; node 3 moves by 0.5.
model() {
    printf '   -1\n100\n2\n0, 0, 0, CS_0\n0, 0, 0\n0, 0, 1\n1, 0, 0\n5, 0, 0, SHIFTED\n100, 0, 0\n0, 0, 1\n1, 0, 0\n   -1\n'
    printf '   -1\n110\n3\n1, 0, 0, 0, 0, 0\n%s\n%s\n   -1\n' "$1" "$2"
}
model "2, 0, 0, 100, 0, 0" "3, 0, 0, 200, 0, 0" >g1.onf
model "2, 5, 0, 0, 0, 0" "3, 5, 0, 100.5, 0, 0" >g2.onf
cat >global.expected <<'EOF'
block 110 ONF_NODES: record 3, item 3 (position) in global coordinates: 200, 0, 0 vs 200.5, 0, 0
block 110 ONF_NODES: 1 of 3 records differs; largest absolute difference 0.5 at record 3, item 3 (position) in global coordinates; largest relative difference 0.00249377 at record 3, item 3 (position) in global coordinates
g1.onf and g2.onf differ in 1 block
EOF
expect "diff --global" 1 global.expected /dev/null -- diff --global --all g1.onf g2.onf
expect "diff without --global" 1 "" /dev/null -- diff g1.onf g2.onf
grep -q "^block 110 ONF_NODES: 2 of 3 records differ" "$work/out" || fail "without --global"
model "2, 5, 0, 0, 0, 0" "3, 5, 0, 100, 0, 0" >g3.onf
expect "diff --global, nodes in place" 0 /dev/null /dev/null -- diff --global g1.onf g3.onf
model "2, 7, 0, 0, 0, 0" "3, 0, 0, 200, 0, 0" >g4.onf
expect "diff --global, a node in a missing system" 2 /dev/null "" -- diff --global g1.onf g4.onf
grep -q "^g4.onf: error: " "$work/err" || fail "--global: the failing file is not named"

# ---- Optimisation result files, iteration by iteration -----------------------------------------
# result FILE DENSITY_1 DENSITY_2 DISPLACEMENT_Z [ITERATION]: iterations 1 and 2 (or ITERATION)
# of a density, iteration 2 of a displacement, and a group.
result() {
    cat >"$1" <<EOF
   -1
700
1
2
Run
1
converged
   -1
   -1
730
1
2
Displacement
2
3, 0, 0, $4
6, 0, 0, -0.5
   -1
   -1
740
2
1
Density
2
1, 1
2, $2
${5:-2}
Density
2
1, 0.5
2, $3
   -1
   -1
210
1
1, 2
DESIGN
1-2
   -1
EOF
}
result r1.onf 1 0.25 -0.5
result r2.onf 1 0.75 -0.25
result r3.onf 0.5 0.75 -0.25
cat >results.expected <<'EOF'
block 730 Displacement, iteration 2: 1 of 2 nodes differs; largest absolute difference 0.25 at node 3; largest relative difference 0.5 at node 3; L2 norm of the difference 0.25
block 740 Density, iteration 2: 1 of 2 elements differs; largest absolute difference 0.5 at element 2; largest relative difference 0.666667 at element 2; L2 norm of the difference 0.5
r1.onf and r2.onf differ in 2 entries
EOF
expect "diff of result files" 1 results.expected /dev/null -- diff r1.onf r2.onf
expect "diff of result files, one entry" 1 "" /dev/null -- diff --only 740 --iterations 1 r1.onf r3.onf
cat >one.expected <<'EOF'
block 740 Density, iteration 1: element 2: 1 vs 0.5
block 740 Density, iteration 1: 1 of 2 elements differs; largest absolute difference 0.5 at element 2; largest relative difference 0.5 at element 2; L2 norm of the difference 0.5
r1.onf and r3.onf differ in 1 entry
EOF
expect "diff of one iteration" 1 one.expected /dev/null -- diff --all --only 740 --iterations 1 r1.onf r3.onf
expect "diff of the last iterations" 0 /dev/null /dev/null -- diff --iterations last --skip 730 r2.onf r3.onf
expect "diff of a range" 1 "" /dev/null -- diff --iterations 0-1 r2.onf r3.onf
grep -q "iteration 2" "$work/out" && fail "a range: iteration 2 compared"
# Iteration 2 of r1 against iteration 1 of r3: densities 1, 0.25 against 0.5, 0.5.
expect "diff of a pair" 1 "" /dev/null -- diff --only 740 --iterations 2:1 r1.onf r3.onf
grep -q "^block 740 Density, iteration 2 vs 1: 2 of 2 elements differ; .*L2 norm of the difference 0.559017$" \
    "$work/out" || fail "a pair: $(cat "$work/out")"
expect "diff with a tolerance for one field" 0 /dev/null /dev/null -- \
    diff --tol 740:Density=abs:0.5 --tol 730:Displacement=abs:0.25 r1.onf r2.onf
result r4.onf 1 0.25 -0.5 3
expect "diff of missing iterations" 1 "" /dev/null -- diff --only 740 r1.onf r4.onf
grep -q "^block 740 Density, iteration 2: only in A (2 elements)$" "$work/out" &&
    grep -q "^block 740 Density, iteration 3: only in B (2 elements)$" "$work/out" ||
    fail "missing iterations: $(cat "$work/out")"
sed -e 's/^DESIGN$/DESIGN_2/' r1.onf >r5.onf
cat >groups.expected <<'EOF'
block 210 ONF ELEMENT GROUP DEFINITION: group 1, name: "DESIGN" vs "DESIGN_2"
block 210 ONF ELEMENT GROUP DEFINITION: 1 of 1 group differs
r1.onf and r5.onf differ in 1 block
EOF
expect "diff of result groups" 1 groups.expected /dev/null -- diff --all r1.onf r5.onf
# A tolerance file of result files names fields by their titles, blanks and all.
sed 's/^Density$/Relative density/' r1.onf >spaced1.onf
sed 's/^Density$/Relative density/' r2.onf >spaced2.onf
expect "summary of a result file" 0 /dev/null /dev/null -- diff --summary fields.tol spaced1.onf
grep -q '^740:Relative density = rel:1e-06  # ONF OPT Result Element Scalar Value "Relative density", 2 iterations: 4 values from 0.25 to 1$' \
    fields.tol || fail "summary of a result file: $(cat fields.tol)"
expect "summary of a result file used" 1 "" /dev/null -- diff --tol-file fields.tol spaced1.onf spaced2.onf
sed -e 's/^740:Relative density = rel:1e-06/740:Relative density = abs:0.5/' \
    -e 's/^730:Displacement = rel:1e-06/730:Displacement = abs:0.25/' fields.tol >loose.tol
expect "summary of a result file loosened" 0 /dev/null /dev/null -- \
    diff --tol-file loose.tol spaced1.onf spaced2.onf
expect "json of result files" 1 "" /dev/null -- diff --json r1.onf r2.onf
/usr/bin/python3 - "$work/out" <<'PY' || fail "json of result files: unexpected document"
import json, sys
doc = json.load(open(sys.argv[1]))
assert doc["entries_differing"] == 2 and doc["blocks_differing"] == 0, doc
density = doc["sections"][1]
assert (density["block"], density["title"], density["iteration_a"], density["iteration_b"]) == (740, "Density", 2, 2), density
assert (density["unit"], density["count"], density["differing"], density["l2_norm"]) == ("element", 2, 1, 0.5), density
assert density["largest_relative"]["at"] == "element 2", density
PY
expect "--iterations of a model" 2 /dev/null "" -- diff --iterations last a.onf b.onf
expect "--global of a result file" 2 /dev/null "" -- diff --global r1.onf r2.onf
expect "a bad iteration selection" 2 /dev/null "" -- diff --iterations 3-1 r1.onf r2.onf
expect "the example result file with itself" 0 /dev/null /dev/null -- \
    diff "$examples/bridge_results.onf" "$examples/bridge_results.onf"
expect "the example model with itself, globally" 0 /dev/null /dev/null -- \
    diff --global "$examples/bridge_model.onf" "$examples/bridge_model.onf"

# ---- Blocks keyed by name, blocks that cannot be loaded, failures -------------------------------
printf '   -1\n10032\n2\nWALL\n4-6\nFACES\n1, 2, 3\n   -1\n' >n1.onf
printf '   -1\n10032\n2\nFACES\n1-3\nWALL\n4-7\n   -1\n' >n2.onf
cat >named.expected <<'EOF'
block 10032 ONF_CFD_FACE_GROUPS: record WALL, item 1 (elements): [4, 5, 6] vs [4, 5, 6, 7]
block 10032 ONF_CFD_FACE_GROUPS: 1 of 2 records differs
n1.onf and n2.onf differ in 1 block
EOF
expect "diff of a block keyed by name" 1 named.expected /dev/null -- diff --all n1.onf n2.onf
printf '   -1\n4711\n2\n1, 2.0\n3, 4\n   -1\n' >u1.onf
printf '   -1\n4711\n3\n1, 2\n3, 5\nextra\n   -1\n' >u2.onf
cat >text.expected <<'EOF'
block 4711 (not in the catalogue): body line 2: "3, 4" vs "3, 5"
block 4711 (not in the catalogue): body line 3 only in B
block 4711 (not in the catalogue): 2 of 3 body lines differ (0 only in A, 1 only in B)
u1.onf and u2.onf differ in 1 block
EOF
expect "diff of unknown blocks" 1 text.expected /dev/null -- diff --all u1.onf u2.onf
# No tolerance spans an infinity or a NaN, not even a floor or a relative 1.
printf '   -1\n4711\n3\n1, inf\n2, nan\n3, nan\n   -1\n' >f1.onf
printf '   -1\n4711\n3\n1, -inf\n2, 1e-30\n3, nan\n   -1\n' >f2.onf
expect "diff of infinities and NaN" 1 "" /dev/null -- diff --relative 1 --floor 1 f1.onf f2.onf
grep -q ": 2 of 3 body lines differ$" "$work/out" || fail "infinities and NaN: $(cat "$work/out")"
printf '   -1\n110\n2\n1, 0, 0, 1, 2, 3\n   -1\n' >short.onf
expect "diff with a failing file" 2 /dev/null "" -- diff a.onf short.onf
grep -q "^short.onf:3: error: " "$work/err" || fail "diff: the failure is not shown"

finish
