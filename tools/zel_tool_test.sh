#!/usr/bin/env bash
# Runs the zel tool on packages in a scratch directory: packs files, lists,
# verifies and reads them back, then damages a copy and expects verify to
# fail; makes the contents file of a library and checks the links of a
# package that uses it. Usage: zel_tool_test.sh PATH_TO_ZEL
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

# Libraries: a library package and its contents file, a package that links
# into it, and the proof of its links. The scenes are plain documents packed
# under the scene entry's name.
mkdir lib scene
printf '<zelfile><zel><material name="wood"><tex type="binary">#a.bin</tex></material>'\
'<material name="steel"/></zel><metazel/></zelfile>' >lib/__zel_index__.xml
printf 'bytes of a' >lib/a.bin
printf '<zelfile><zel><object name="chair"><m type="link">lib#wood</m>'\
'<bad type="link">lib#oak</bad><b type="binary">lib#a.bin</b><own type="binary">#own.bin</own>'\
'<lost type="binary">#lost.bin</lost><self type="link">#chair</self></object></zel><metazel>'\
'<librefs name="external_refs"><ref type="string">lib</ref></librefs></metazel></zelfile>' \
    >scene/__zel_index__.xml
printf 'own bytes' >scene/own.bin
(cd lib && "$zel" pack ../lib.zel __zel_index__.xml a.bin >/dev/null) || fail "pack lib"
(cd scene && "$zel" pack ../scene.zel __zel_index__.xml own.bin >/dev/null) || fail "pack scene"

expect 0 "$zel" contents lib.zel lib.zelc
grep -q "^lib.zelc: 2 binaries of lib.zel" out.txt && pass || fail "contents: $(cat out.txt)"
expect 0 "$zel" check lib.zel
grep -q "^lib.zel: 1 link (0 local, 1 local binary, 0 into libraries), 0 broken" out.txt \
    && pass || fail "check of the library: $(cat out.txt)"
expect 1 "$zel" check scene.zel --library lib=lib.zelc
grep -q '^block chair, parameter bad, link "lib#oak": no block oak in library lib$' out.txt \
    && pass || fail "check: $(cat out.txt)"
grep -q '^block chair, parameter lost, link "#lost.bin": no entry lost.bin in the package$' \
    out.txt && pass || fail "check: $(cat out.txt)"
grep -q "^external_refs: lib$" out.txt && pass || fail "check: $(cat out.txt)"
grep -q "^scene.zel: 6 links (1 local, 2 local binaries, 3 into libraries), 2 broken$" out.txt \
    && pass || fail "check summary: $(tail -1 out.txt)"
[ "$(wc -l <out.txt)" -eq 4 ] && pass || fail "check: $(cat out.txt)"
expect 1 "$zel" check scene.zel
[ "$(grep -c "library lib is not registered" out.txt)" -eq 3 ] && pass || fail "$(cat out.txt)"
expect 1 "$zel" check scene.zel --library lib=scene.zel
grep -q "File scene.zel is not a contents file!" err.txt && pass || fail "$(cat err.txt)"
expect 2 "$zel" check scene.zel --library lib.zelc
expect 2 "$zel" check scene.zel --library lib=lib.zelc --library lib=lib.zelc
expect 1 "$zel" contents demo.zel demo.zelc
[ ! -e demo.zelc ] && [ ! -e demo.zelc.part ] && pass || fail "a failed contents left a file"

expect 0 "$zel" --help
expect 0 "$zel" pack --help
grep -q "^usage: zel pack" out.txt && pass || fail "pack --help: $(head -1 out.txt)"
expect 2 "$zel"
expect 2 "$zel" frobnicate
expect 2 "$zel" ls
expect 2 "$zel" cat --bogus demo.zel x

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
