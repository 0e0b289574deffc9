#!/usr/bin/env bash
# End-to-end test of `onf normalize`, `onf cat` and the inputs of `onf export` (`onf diff` has
# test_onf_diff.sh): exact output, exit codes, no half-written or lost files. Usage: test_onf_cli_edit.sh PATH_TO_ONF EXAMPLES_FOLDER
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"
examples="$(cd "$2" && pwd)"
cd "$work" || exit 1

# normalize: header of the kind, blocks in number order, records in id order, comments gone,
# reals in their shortest form; a second run changes no byte.
cat >messy.onf <<'EOF'
# a hand-written model
   -1
120
1
1, 1, STEEL
0, 0, 0, 0, 0
7.850e-09, 2.1E+05, 0.30, 50, 0
   -1

   -1
110
2
5, 0, 0, 0.50, 2.0, +3
3, 0, 0, 1.0e0, 0.1, -0.0
   -1
EOF
cat >messy.expected <<'EOF'
#
# ONF version 1.0
# ONF model input file
#
# DATA BLOCK 110: ONF_NODES
#
   -1
   110
2
3, 0, 0, 1, 0.1, -0
5, 0, 0, 0.5, 2, 3
   -1
#
# DATA BLOCK 120: ONF_MATERIALS
#
   -1
   120
1
1, 1, STEEL
0, 0, 0, 0, 0
7.85e-09, 210000, 0.3, 50, 0
   -1
EOF
expect "normalize" 0 /dev/null /dev/null -- normalize messy.onf messy.out
diff -u messy.expected messy.out || fail "normalize: unexpected text"
cp messy.onf inplace.onf
expect "normalize in place" 0 /dev/null /dev/null -- normalize inplace.onf inplace.onf
cmp -s messy.expected inplace.onf || fail "normalize in place: unexpected text"

# Every example: a clean one normalizes to a fixed point that diff finds equal to it; one that
# fails is refused and leaves no file.
for example in "$examples"/*.onf; do
    name="$(basename "$example")"
    if "$onf" -q check "$example" >/dev/null; then
        expect "normalize $name" 0 /dev/null /dev/null -- normalize "$example" "once-$name"
        expect "normalize $name again" 0 /dev/null /dev/null -- normalize "once-$name" "twice-$name"
        cmp -s "once-$name" "twice-$name" || fail "normalize $name: a second run changed bytes"
        expect "diff $name with its normal form" 0 /dev/null /dev/null -- diff "$example" "once-$name"
    else
        expect "normalize failing $name" 2 /dev/null "" -- normalize "$example" "once-$name"
        [ ! -e "once-$name" ] || fail "normalize failing $name: an output was written"
    fi
done

# A file that would lose a block is refused; an existing OUT keeps its bytes, and no temporary
# file is left behind. So is one the reader fails on, and an OUT that cannot be written.
printf '   -1\n4711\n1\n1, 2\n   -1\n' >unknown.onf
echo "keep me" >kept.onf
cat >refused.err <<'EOF'
unknown.onf:2: warning: The ONF-file "unknown.onf" contains a data-block of type 4711, which is unknown to the interface and will be skipped.
unknown.onf: error: not normalized: the file does not read cleanly, so kept.onf would not hold all of it
EOF
expect "normalize refuses to drop a block" 2 /dev/null refused.err -- normalize unknown.onf kept.onf
[ "$(cat kept.onf)" = "keep me" ] || fail "normalize changed the output it refused to write"
printf '   -1\n110\n2\n1, 0, 0, 1, 2, 3\n   -1\n' >short.onf
expect "normalize of a failing file" 2 /dev/null "" -- normalize short.onf kept.onf
[ "$(cat kept.onf)" = "keep me" ] || fail "normalize of a failing file changed the output"
expect "normalize into a missing folder" 2 /dev/null "" -- normalize messy.onf no/such/out.onf
echo "messy.onf: error: cannot write no/such/out.onf: No such file or directory" |
    diff -u - "$work/err" || fail "normalize into a missing folder"
leftovers="$(find . -name '.*.??????')"
[ -z "$leftovers" ] || fail "temporary files left behind: $leftovers"

# An optimisation result file is written by its own object, to a fixed point as well.
printf '   -1\n700\n1\n3\nthird\n0\n   -1\n   -1\n200\n1\n4, 3\nTOP\n1, 2, 7\n   -1\n' >result.onf
expect "normalize a result file" 0 /dev/null /dev/null -- normalize result.onf result1.onf
expect "normalize a result file again" 0 /dev/null /dev/null -- normalize result1.onf result2.onf
cmp -s result1.onf result2.onf || fail "normalize of a result file: a second run changed bytes"
[ "$(grep -c '^   -1$' result1.onf)" = 14 ] || fail "normalize of a result file: not seven blocks"
# A result file that does not read fails in the engine's words, before OUT is touched.
printf '   -1\n700\n1\n3\nthird\n0\n   -1\n   -1\n200\n2\n4, 3\nTOP\n1, 2, 7\n   -1\n' >short-result.onf
expect "normalize of a failing result file" 2 /dev/null "" -- normalize short-result.onf kept.onf
[ "$(cat kept.onf)" = "keep me" ] || fail "normalize of a failing result file changed the output"
grep -q "^short-result.onf:[0-9]*: error: The ONF file \"short-result.onf\" ends a data block" "$work/err" ||
    fail "normalize of a failing result file: $(cat "$work/err")"

# cat: blocks as the engine writes them; custom and unknown blocks; a block not there.
cat >custom.onf <<'EOF'
   -1
   -2
LOADCASE = 2
LABEL = "a, b"
   -2
   -3
FORMAT = RSb
   -3
non_onf
2
9, 1.50, nine
4, 0.25, four
   -1
EOF
cat >custom.expected <<'EOF'
#
# DATA BLOCK NON_ONF: Custom dynamic format block
#
   -1
   -2
LOADCASE=2
LABEL="a, b"
   -2
   -3
FORMAT=RSb
   -3
   NON_ONF
2
4, 0.25, four
9, 1.5, nine
   -1
   -1
   4711
1
1, 2
   -1
EOF
cat unknown.onf >>custom.onf
expect "cat" 0 custom.expected /dev/null -- cat custom.onf NON_ONF 4711
sed -n '4,12p' messy.expected >nodes.expected
expect "cat of a catalogued block" 0 nodes.expected /dev/null -- cat messy.onf 110
echo "messy.onf: warning: no block with the number 130" >absent.err
expect "cat of an absent block" 1 nodes.expected absent.err -- cat messy.onf 130 ONF_NODES
expect "cat of a failing file" 2 /dev/null "" -- cat short.onf 110

# cat --csv: a header row of item names, a row a record in id order; vectors in three columns,
# lists in one cell; cells that hold a comma or a quote quoted; descriptors in a first column.
printf '   -1\n120\n1\n1, 1, "STEEL, S355"\n0, 0, 0, 0, 0\n1, 2, 3, 4, 5\n   -1\n' >>messy.onf
run cat --csv messy.onf nodes
is "cat --csv" 0 out <<'EOF'
id,definition system,displacement system,position x,position y,position z
3,0,0,1,0.1,-0
5,0,0,0.5,2,3
EOF
run cat --csv messy.onf 120
is "cat --csv of a repeated block: the last one holds" 0 out <<'EOF'
id,type,name,flag 0,flag 1,flag 2,flag 3,flag 4,value 0,value 1,value 2,value 3,value 4
1,1,"""STEEL, S355""",0,0,0,0,0,1,2,3,4,5
EOF
printf '   -1\n151\n1\n7, 2\n1, 3\n4-6\n   -1\n' >lists.onf
run cat --csv lists.onf ONF_SPC_SETS
is "cat --csv of lists" 0 out <<'EOF'
id,number of nodes,degrees of freedom,nodes
7,2,1 3,4 5 6
EOF
run cat --csv custom.onf non_onf
is "cat --csv of a custom block with a descriptor" 0 out <<'EOF'
descriptor,id,item 1,item 2
"LOADCASE=2 LABEL=""a, b""",4,0.25,four
"LOADCASE=2 LABEL=""a, b""",9,1.5,nine
EOF
printf '   -1\n   -3\nFORMAT = I|Sb\n   -3\nNON_ONF\n1\n5, five\n   -1\n' >>custom.onf
run cat --csv custom.onf NON_ONF
is "cat --csv of custom blocks of two formats" 2 err <<'EOF'
custom.onf: error: the NON_ONF blocks have 2 formats (RSb, I|Sb) and make no one table
EOF

# export takes a model, a groups file and a result file, and refuses any other kind before it
# writes anything; a node that cannot be placed is named at its line.
printf '   -1\n110\n2\n1, 0, 0, 0, 0, 0\n2, 7, 0, 1, 0, 0\n   -1\n' >unplaced.onf
printf '   -1\n700\n1\n3\nthird\n0\n   -1\n' >result.onf
: >empty.onf
while IFS='|' read -r args message; do
    # shellcheck disable=SC2086
    run export $args out.vtu
    is "export $args" 2 err <<<"$message"
    [ ! -e out.vtu ] || fail "export $args: a file was written"
done <<'EOF'
custom.onf|custom.onf: error: export reads a model input file, and this is an ONF file
empty.onf|empty.onf: error: export reads a model input file, and this is a file without blocks
messy.expected --groups messy.expected|messy.expected: error: --groups takes a groups file, and this is a model input file
messy.expected --results custom.onf|custom.onf: error: --results takes an optimisation result file, and this is an ONF file
unplaced.onf|unplaced.onf:5: error: node 2: coordinate system 7 is not defined
EOF
"$onf" -q export - - --ascii <messy.expected >stdin.vtu
grep -q '<Piece NumberOfPoints="2" NumberOfCells="0">' stdin.vtu || fail "export from standard input to standard output"

finish
