#!/usr/bin/env bash
# Runs the zel tool on packages in a scratch directory: packs files, lists,
# verifies and reads them back, then damages a copy and expects verify to
# fail. Usage: zel_tool_test.sh PATH_TO_ZEL
set -uo pipefail

zel=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1

failures=0
passes=0
pass() { passes=$((passes + 1)); }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

# expect STATUS COMMAND...: runs the command, output in out.txt and err.txt.
expect() {
    local want=$1
    shift
    "$@" >out.txt 2>err.txt
    local got=$?
    if [ "$got" -eq "$want" ]; then pass; else fail "'$*' exited $got, not $want: $(cat err.txt)"; fi
}

mkdir -p in/sub
for i in $(seq 1 200); do echo "<block name=\"b$i\" type=\"mesh\"/>"; done >in/scene.xml
cp in/scene.xml in/sub/copy.xml
head -c 3000 /dev/urandom >in/sub/noise.png
printf 'a few words\n' >in/notes.txt

expect 0 "$zel" pack --store png demo.zel in
grep -q "deduplication saved" out.txt && pass || fail "pack reports no saving"
grep -q "same as in/scene.xml: in/sub/copy.xml" out.txt && pass || fail "pack hides the duplicate"

expect 0 "$zel" ls demo.zel
grep -Eq "deflated +in/scene.xml" out.txt && pass || fail "scene.xml is not deflated"
grep -Eq "stored +in/sub/noise.png" out.txt && pass || fail "--store png did not store"
grep -q "^3 entries" out.txt && pass || fail "ls summary: $(tail -1 out.txt)"

expect 0 "$zel" verify demo.zel
expect 0 "$zel" cat demo.zel in/scene.xml
cmp -s out.txt in/scene.xml && pass || fail "cat gives other bytes than were packed"
expect 0 "$zel" cat --raw demo.zel in/sub/noise.png
cmp -s out.txt in/sub/noise.png && pass || fail "cat --raw of a stored entry differs"

# Damage one byte inside the stored entry: the reader still opens the package,
# only verify sees the damage.
offset=$("$zel" ls demo.zel | awk '$6 == "in/sub/noise.png" { print $1 }')
cp demo.zel damaged.zel
printf '\xff' | dd of=damaged.zel bs=1 seek=$((offset + 100)) conv=notrunc status=none
printf '\x00' | dd of=damaged.zel bs=1 seek=$((offset + 101)) conv=notrunc status=none
expect 0 "$zel" ls damaged.zel
expect 1 "$zel" verify damaged.zel
grep -q "entry in/sub/noise.png: stored bytes hash to" out.txt && pass || fail "verify: $(cat out.txt)"

# A file that is no package gives one line and status 1, never a crash.
head -c 100 /dev/urandom >junk.zel
expect 1 "$zel" verify junk.zel
[ "$(wc -l <err.txt)" -eq 1 ] && pass || fail "more than one line: $(cat err.txt)"
expect 1 "$zel" ls missing.zel
grep -q "zel file missing.zel not found on local filesystem" err.txt && pass || fail "$(cat err.txt)"
expect 1 "$zel" cat demo.zel no/such/entry
expect 1 "$zel" pack out.zel in/no-such-file
[ ! -e out.zel ] && pass || fail "a failed pack left its package behind"

# A pack that fails leaves the package that was there as it was, says why in
# one line, exits 1 and leaves no temporary behind: a missing input, an input
# that cannot be read, a file-size limit (a full disk).
cp demo.zel before.zel
expect 1 "$zel" pack demo.zel in/notes.txt in/no-such-file
grep -q "^zel pack: .*in/no-such-file does not exist for archive open$" err.txt && pass || fail "$(cat err.txt)"
expect 1 "$zel" pack demo.zel in/notes.txt /proc/self/mem
grep -q "^zel pack: .*unable to read file /proc/self/mem: Input/output error$" err.txt && pass || fail "$(cat err.txt)"
head -c 300000 /dev/urandom >big.bin
expect 1 bash -c 'ulimit -f 64; trap "" XFSZ; exec "$0" pack demo.zel big.bin' "$zel"
grep -q "^zel pack: .*unable to write zel file demo.zel: File too large$" err.txt && pass || fail "$(cat err.txt)"
[ "$(wc -l <err.txt)" -eq 1 ] && pass || fail "more than one line: $(cat err.txt)"
cmp -s demo.zel before.zel && pass || fail "a failed pack changed the old package"
ls ./*.tmp >/dev/null 2>&1 && fail "a failed pack left a temporary: $(ls ./*.tmp)" || pass

# An empty file is stored as given and reads back empty.
: >empty.txt
expect 0 "$zel" pack empty.zel empty.txt
expect 0 "$zel" ls empty.zel
grep -Eq "^ +48 +0 +0  deadbf10deadbf10  stored +empty.txt$" out.txt && pass || fail "ls: $(cat out.txt)"
expect 0 "$zel" cat empty.zel empty.txt
[ ! -s out.txt ] && pass || fail "cat of an empty entry wrote $(wc -c <out.txt) bytes"

# Control characters in names reach no terminal: ls, pack and the messages
# escape them, and a name keeps to one row.
odd=$(printf 'in/esc\033[31m\nrow\\')
cp in/notes.txt "$odd"
expect 0 "$zel" pack odd.zel "$odd"
grep -qF 'in/esc\x1b[31m\nrow\\' out.txt && pass || fail "pack: $(cat out.txt)"
expect 0 "$zel" ls odd.zel
[ "$(wc -l <out.txt)" -eq 3 ] && pass || fail "ls rows split: $(cat out.txt)"
grep -qF 'in/esc\x1b[31m\nrow\\' out.txt && pass || fail "ls: $(cat out.txt)"
expect 1 "$zel" cat odd.zel "x$odd"
grep -qF 'name "xin/esc\x1b[31m\nrow\\"' err.txt && pass || fail "cat: $(cat err.txt)"
grep -q "$(printf '\033')" out.txt err.txt && fail "an escape reached the terminal" || pass

expect 0 "$zel" --help
expect 0 "$zel" pack --help
grep -q "^usage: zel pack" out.txt && pass || fail "pack --help: $(head -1 out.txt)"
expect 2 "$zel"
expect 2 "$zel" frobnicate
expect 2 "$zel" ls
expect 2 "$zel" cat --bogus demo.zel x

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
