#!/usr/bin/env bash
# End-to-end test of what every command shares: options where a person puts them, one-line
# usage errors, --version and help, standard input, errors on standard error; `onf blocks` and
# `onf catalogue`; the manual page and the bash completion.
# Usage: test_onf_cli.sh PATH_TO_ONF [BUILD_FOLDER]
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"
build="${2:+$(cd "$2" && pwd)}"
completion="$(cd "$(dirname "$0")/../tools/onf" && pwd)/onf.bash-completion"
cd "$work" || exit 1

cat >good.onf <<'EOF'
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
   -1
110
1
1, 0, 0, 1.0, 2.0, 3.0
   -1
EOF
printf '   -1\n110\n3\n1, 0, 0, 0.0, 0.0, 0.0\n   -1\n' >short.onf

# blocks: aligned columns, the lines of each block and its body, the format read in.
cat >good.out <<'EOF'
== good.onf: model input file, 3 blocks, 174 bytes
block    name                         records  lines  body   format      descriptor
NON_ONF  Custom dynamic format block  2        2-14   12-13  IRb (file)  LOADCASE=4 LABEL="a, b"
4711     (not in the catalogue)       0        15-18  none   -
110      ONF_NODES                    1        19-23  22     IIVb
EOF
run blocks good.onf
is "blocks" 0 out <good.out
# The options of a command and the global ones go before or after it; "-" is standard input.
for args in "-q blocks good.onf" "blocks good.onf -q" "blocks -v good.onf" "--verbose blocks -- good.onf"; do
    # shellcheck disable=SC2086
    run $args
    is "options anywhere: $args" 0 out <good.out
done
"$onf" blocks - <good.onf >"$work/out" 2>&1
diff -u <(sed 's/^== good.onf/== <stdin>/' good.out) "$work/out" || fail "blocks of standard input"
run blocks --json good.onf
is "blocks --json" 0 out <<'EOF'
{"file": "good.onf", "kind": "model input file", "size": 174, "blocks": [{"number": -1, "name": "NON_ONF", "records": 2, "lines": [2, 14], "body": [12, 13], "format": "IRb", "format_from": "file", "descriptor": {"LOADCASE": 4, "LABEL": "\"a, b\""}}, {"number": 4711, "name": null, "records": 0, "lines": [15, 18], "body": null, "format": null, "format_from": null, "descriptor": {}}, {"number": 110, "name": "ONF_NODES", "records": 1, "lines": [19, 23], "body": [22, 22], "format": "IIVb", "format_from": "catalogue", "descriptor": {}}]}
EOF
if command -v python3 >/dev/null; then
    "$onf" blocks --json good.onf short.onf 2>/dev/null |
        python3 -c 'import json, sys; [json.loads(line) for line in sys.stdin]' ||
        fail "blocks --json: not one JSON document a line"
fi

# A failing file names itself on standard error, the next file is still listed, exit code 2.
run blocks short.onf missing.onf good.onf
is "failures on standard error" 2 err <<'EOF'
short.onf:3: error: A wrong number of records is stored for block with id = 110
short.onf:3:   1 lines found in the block body, which is less than
short.onf:3:   the declared number of records (3)
missing.onf: error: Loading of file "missing.onf" failed.
missing.onf:   System error message:
missing.onf:   No such file or directory
EOF
has "the good file after the bad ones" out "== good.onf: model input file, 3 blocks, 174 bytes"

# Usage errors: one line that says what is wrong and where help is; exit code 2, nothing on
# standard output.
while IFS='|' read -r args message; do
    # shellcheck disable=SC2086
    run $args
    is "usage: '$args'" 2 err <<<"$message"
    [ ! -s "$work/out" ] || fail "usage '$args': standard output is not empty"
done <<'EOF'
|onf: no command given (see 'onf help')
--bogus blocks|onf: unknown option '--bogus' (see 'onf help')
frobnicate|onf: unknown command 'frobnicate' (see 'onf help')
help frobnicate|onf: unknown command 'frobnicate' (see 'onf help')
blocks|onf blocks: no file given (see 'onf help blocks')
blocks --bogus x|onf blocks: unknown option '--bogus' (see 'onf help blocks')
check -x a|onf check: unknown option '-x' (see 'onf help check')
check --model|onf check: option '--model' needs a file (see 'onf help check')
normalize a b c|onf normalize: two files expected, IN and OUT (see 'onf help normalize')
cat x|onf cat: no block given (see 'onf help cat')
cat x 12y|onf cat: '12y' is no block number or name (see 'onf help cat')
cat --csv x 1 2|onf cat: --csv prints one block (see 'onf help cat')
catalogue nodez|onf catalogue: 'nodez' is no block number or name (see 'onf help catalogue')
export a|onf export: two files expected, MODEL and OUT.vtu (see 'onf help export')
export a b --groups|onf export: option '--groups' needs a file (see 'onf help export')
EOF

# Version and help, before or after the command.
run --version
grep -qE '^onf [0-9]+\.[0-9]+\.[0-9]+ \(BrelonOnfEngine [0-9.]+; writes ONF version [0-9.]+\)$' \
    "$work/out" || fail "--version: $(cat "$work/out")"
run check --version
grep -q '^onf [0-9]' "$work/out" || fail "--version behind a command"
run --help
for command in blocks cat catalogue check diff export help info normalize; do
    grep -q "^  $command " "$work/out" || fail "help lists no $command command"
done
has "help tells how file kinds are found" out "File kinds: the kind of a file decides which file object 'onf check' and 'onf info' read"
for args in "help blocks" "blocks --help" "--help blocks" "blocks -h x"; do
    # shellcheck disable=SC2086
    run $args
    [ "$code" = 0 ] && grep -q "^usage: onf blocks \[--json\] FILE" "$work/out" ||
        fail "help of a command: '$args'"
done

# catalogue and cat take block names as well as numbers, in any case, with or without ONF_.
run catalogue nodes ONF_Elements 110
[ "$code" = 0 ] && [ "$(grep -c '^1[14]0 ONF_' "$work/out")" = 3 ] || fail "catalogue by name"
run catalogue 4711
is "a block the catalogue lacks" 1 err <<<"onf catalogue: block 4711 is not in the catalogue"

# The manual page holds every command's help, and the completion offers commands, options,
# files and block names.
"$onf" help --man >onf.1
for command in blocks cat catalogue check diff export help info normalize; do
    grep -q "^\.SS $command$" onf.1 || fail "manual page: no section of $command"
done
grep -q '^\.TH ONF 1 ' onf.1 || fail "manual page: no title"
if command -v man >/dev/null && ! man -l onf.1 >/dev/null 2>&1; then
    fail "manual page does not format"
fi
complete_words() { # WORDS...: what the completion offers for the last word
    bash -c '. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _onf
             printf "%s\n" "${COMPREPLY[@]}"' _ "$completion" "$onf" "$@" | sort | tr '\n' ' '
}
[ "$(complete_words ch)" = "check " ] || fail "completion of a command: $(complete_words ch)"
[ "$(complete_words export a.onf b.vtu --r)" = "--results " ] || fail "completion of an option"
[ "$(complete_words cat good.onf "")" = "110 4711 NON_ONF ONF_NODES " ] ||
    fail "completion of the blocks of a file: $(complete_words cat good.onf "")"
[ "$(complete_words catalogue ONF_NODE_)" = "ONF_NODE_GROUPS ONF_NODE_MAPPING " ] ||
    fail "completion of a catalogue name: $(complete_words catalogue ONF_NODE_)"
[ "$(complete_words info sho)" = "short.onf " ] || fail "completion of a file"

# Both are installed with the command.
if [ -n "$build" ]; then
    cmake --install "$build" --prefix "$work/prefix" >/dev/null || fail "install failed"
    [ -s "$work/prefix/share/man/man1/onf.1" ] || fail "no manual page installed"
    cmp -s "$work/prefix/share/bash-completion/completions/onf" "$completion" ||
        fail "no bash completion installed"
fi

finish
