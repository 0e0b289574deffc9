#!/usr/bin/env bash
# End-to-end test of the outputs of `onf normalize` and `onf export`: a failed write leaves the
# old file as it was and names the user's path; a symbolic link is written through; a device is
# written directly and stays a device; a folder is refused; nothing but the command's own
# temporary is ever removed, and a caught signal removes that too. The faults are made on a
# file system of its own (a small tmpfs) in a private mount namespace, which needs root.
# Usage: test_onf_cli_output.sh PATH_TO_ONF
if [ -z "${ONF_OUTPUT_TEST_IN_NAMESPACE:-}" ]; then
    if [ "$(id -u)" != 0 ] || ! unshare -m --propagation private true 2>/dev/null; then
        echo "SKIP: a private mount namespace cannot be made here (needs root and unshare -m)"
        exit 77
    fi
    ONF_OUTPUT_TEST_IN_NAMESPACE=1 exec unshare -m --propagation private bash "$0" "$@"
fi
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"
cd "$work" || exit 1
chmod 0755 "$work" # the command runs as another user below
mkdir fs
mount -t tmpfs -o size=1m tmpfs fs || { echo "SKIP: no tmpfs can be mounted"; exit 77; }
trap 'umount -l "$work/fs" 2>/dev/null; rm -rf "$work"' EXIT

# An input of about 40 KiB, so that writing it takes more than one write.
awk 'BEGIN { print "   -1"; print "110"; print 1000
             for (i = 1; i <= 1000; i++) printf "%d, 0, 0, %d.25, 1.5, -3.5\n", i, i; print "   -1" }' \
    >in.onf
printf '   -1\n110\n8\n' >model.onf
for i in 1 2 3 4 5 6 7 8; do echo "$i, 0, 0, $((i % 2)), $(((i - 1) / 2 % 2)), $(((i - 1) / 4))"; done >>model.onf
printf '   -1\n   -1\n140\n1\n1, 3, 8, 0, 0, 0, 0, 0\n1, 2, 4, 3, 5, 6, 8, 7\n   -1\n' >>model.onf

# old FILE: puts "old" into FILE; kept NAME FILE: checks that it still holds it and that no
# temporary is left in its folder.
old() { echo old >"$1"; }
kept() {
    [ "$(cat "$2" 2>/dev/null)" = old ] || fail "$1: the old $2 is lost"
    leftovers="$(find "$(dirname "$2")" -name ".$(basename "$2").*")"
    [ -z "$leftovers" ] || fail "$1: temporaries left: $leftovers"
}

# A full file system: the write fails, the old file stays, the message names the path.
old fs/out.onf
old fs/out.vtu
dd if=/dev/zero of=fs/filler bs=4k 2>/dev/null
run normalize in.onf fs/out.onf
is "a full file system" 2 err <<<"in.onf: error: cannot write fs/out.onf: No space left on device"
kept "normalize on a full file system" fs/out.onf
run export model.onf fs/out.vtu
is "export on a full file system" 2 err <<<"model.onf: error: cannot write fs/out.vtu: No space left on device"
kept "export on a full file system" fs/out.vtu
rm fs/filler

# A file-size limit (in blocks of 1 KiB): the write fails, it does not kill the command.
old fs/out.onf
(ulimit -f 8 && "$onf" normalize in.onf fs/out.onf >"$work/out" 2>"$work/err"; echo $? >code)
code="$(cat code)"
is "a file-size limit" 2 err <<<"in.onf: error: cannot write fs/out.onf: File too large"
kept "normalize under a file-size limit" fs/out.onf

# An immutable file, a read-only file of another user, a read-only file system: refused before
# anything is written.
chattr +i fs/out.onf
run normalize in.onf fs/out.onf
is "an immutable file" 2 err <<<"in.onf: error: cannot write fs/out.onf: Operation not permitted"
chattr -i fs/out.onf
kept "normalize of an immutable file" fs/out.onf
chmod 0444 fs/out.onf
chmod 0777 fs
as_nobody() { setpriv --reuid=65534 --regid=65534 --clear-groups "$onf" "$@"; }
if as_nobody --version >/dev/null 2>&1; then
    as_nobody normalize in.onf fs/out.onf >"$work/out" 2>"$work/err"
    code=$?
    is "a read-only file" 2 err <<<"in.onf: error: cannot write fs/out.onf: Permission denied"
    kept "normalize of a read-only file" fs/out.onf
else
    echo "note: a read-only file of another user is not tried: that user cannot run $onf"
fi
chmod 0644 fs/out.onf
mount -o remount,ro fs
run export model.onf fs/out.vtu
is "a read-only file system" 2 err <<<"model.onf: error: cannot write fs/out.vtu: Read-only file system"
kept "export to a read-only file system" fs/out.vtu
mount -o remount,rw fs

# A folder is refused and stays.
mkdir fs/folder
run export model.onf fs/folder
is "a folder" 2 err <<<"model.onf: error: cannot write fs/folder: Is a directory"
[ -d fs/folder ] || fail "the folder is gone"

# Symbolic links are written through, relative ones from their own folder, dangling ones to
# the file they name; the link stays a link, and the new file keeps the old one's mode.
mkdir fs/real
old fs/real/target.onf
chmod 0640 fs/real/target.onf
ln -s real/target.onf fs/link.onf
ln -s real/new.vtu fs/dangling.vtu
run normalize in.onf fs/link.onf
[ "$code" = 0 ] && [ -L fs/link.onf ] || fail "normalize replaced the link"
cmp -s fs/real/target.onf <("$onf" normalize in.onf -) || fail "the link's target was not written"
[ "$(stat -c %a fs/real/target.onf)" = 640 ] || fail "the new file lost the old one's mode"
run export model.onf fs/dangling.vtu
[ "$code" = 0 ] && [ -L fs/dangling.vtu ] && [ -s fs/real/new.vtu ] ||
    fail "export through a dangling link"

# Character devices are written directly and stay devices: one that takes everything, one
# that is always full.
mknod fs/null c 1 3
mknod fs/full c 1 7
run normalize in.onf fs/null
[ "$code" = 0 ] && [ -c fs/null ] || fail "normalize to a device that takes everything"
run export model.onf fs/full
is "a device that is always full" 2 err <<<"model.onf: error: cannot write fs/full: No space left on device"
[ -c fs/full ] || fail "the full device is gone"
find fs -name '.full.*' -o -name '.null.*' | grep -q . && fail "a temporary beside a device"

# Standard output, by "-" and by name, is written where it stands: appending keeps appending.
"$onf" normalize in.onf - >twice.onf
"$onf" normalize in.onf /dev/stdout >>twice.onf
"$onf" normalize in.onf /dev/fd/1 >>twice.onf
[ "$(grep -c '^   110$' twice.onf)" = 3 ] || fail "standard output was not appended to"
"$onf" export model.onf - 2>summary.err | grep -q '^</VTKFile>$' || fail "export to standard output"
grep -q '^standard output: 8 points, 1 cell, ' summary.err || fail "summary of export to standard output"

# A signal that can be caught removes the temporary being written; the old file stays.
awk 'BEGIN { print "   -1"; print "110"; print 300000
             for (i = 1; i <= 300000; i++) printf "%d, 0, 0, %d.25, 1.5, -3.5\n", i, i; print "   -1" }' \
    >large.onf
for signal in TERM INT HUP; do
    old "out-$signal.onf"
    "$onf" normalize large.onf "out-$signal.onf" 2>/dev/null &
    pid=$!
    seen=""
    for _ in $(seq 1 2000); do
        compgen -G ".out-$signal.onf.??????" >/dev/null && seen=1 && break
        sleep 0.005
    done
    [ -n "$seen" ] || fail "SIG$signal: no temporary seen while the file was written"
    kill -s "$signal" "$pid"
    wait "$pid" 2>/dev/null
    kept "interrupted by SIG$signal" "$work/out-$signal.onf"
done

finish
