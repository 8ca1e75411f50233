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

# Scenes across two packages: a scene whose links lead into its own blocks,
# into a library package and nowhere, packed from plain scene documents.
mkdir -p lib scene
cat >lib/__zel_index__.xml <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<zelfile version="0.1">
	<zel>
		<material name="wood">
			<albedo type="binary">#tex.raw</albedo>
		</material>
	</zel>
	<metazel>
	</metazel>
</zelfile>
XML
cat >scene/__zel_index__.xml <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<zelfile version="0.1">
	<zel>
		<material name="plate">
			<light type="link">#lamp</light>
			<look type="link">lib.zel#wood</look>
			<broken type="link">#nothing</broken>
			<picture type="binary">#img.raw</picture>
		</material>
		<light name="lamp"/>
	</zel>
	<metazel>
	</metazel>
</zelfile>
XML
head -c 2000 /dev/urandom >lib/tex.raw
head -c 1000 /dev/urandom >scene/img.raw
(cd lib && "$zel" pack --store raw ../lib.zel __zel_index__.xml tex.raw >/dev/null) && pass || fail "pack lib.zel"
(cd scene && "$zel" pack --store raw ../scene.zel __zel_index__.xml img.raw >/dev/null) && pass || fail "pack scene.zel"

expect 0 "$zel" resolve scene.zel '#lamp'
grep -Eq "^block +lamp$" out.txt && grep -Eq "^type +light$" out.txt && pass || fail "resolve #lamp: $(cat out.txt)"
expect 0 "$zel" resolve scene.zel 'lib.zel#wood'
grep -Eq "^file +lib.zel$" out.txt && grep -Eq "^type +material$" out.txt && pass || fail "resolve lib.zel#wood: $(cat out.txt)"
expect 0 "$zel" resolve scene.zel '#img.raw'
grep -Eq "^payload +1000 bytes$" out.txt && pass || fail "resolve #img.raw: $(cat out.txt)"
expect 0 "$zel" resolve --bytes scene.zel '#img.raw'
cmp -s out.txt scene/img.raw && pass || fail "resolve --bytes gives other bytes than were packed"
expect 0 "$zel" resolve --bytes scene.zel 'lib.zel#tex.raw'
cmp -s out.txt lib/tex.raw && pass || fail "resolve --bytes into the library gives other bytes"
expect 1 "$zel" resolve scene.zel '#nothing'
grep -q 'no block or binary named "nothing" in scene.zel' err.txt && pass || fail "$(cat err.txt)"
expect 1 "$zel" resolve --bytes scene.zel '#lamp'
expect 1 "$zel" resolve scene.zel 'lamp'
grep -q "invalid string position" err.txt && pass || fail "$(cat err.txt)"
expect 1 "$zel" resolve scene.zel 'missing.zel#x'
grep -q "zel file missing.zel not found on local filesystem" err.txt && pass || fail "$(cat err.txt)"
expect 2 "$zel" resolve scene.zel

expect 0 "$zel" graph scene.zel
grep -q '^digraph "scene.zel" {' out.txt && pass || fail "graph header: $(head -1 out.txt)"
grep -q 'subgraph cluster_0' out.txt && grep -q 'label="lib.zel"' out.txt && pass || fail "no cluster for lib.zel"
grep -q 'label="material\\nplate"' out.txt && pass || fail "no node for plate"
grep -q '\[label="look"\]' out.txt && pass || fail "no edge for look"
grep -q 'label="broken", color=red' out.txt && pass || fail "the broken link is not red"
grep -q 'label="img.raw\\n1000 bytes", shape=note' out.txt && pass || fail "no leaf for the binary"
[ "$(grep -c -- '->' out.txt)" -eq 4 ] && pass || fail "not 4 edges: $(grep -- '->' out.txt)"
if command -v dot >/dev/null; then
    dot -Tsvg out.txt >graph.svg && pass || fail "dot refuses the graph"
fi

expect 0 "$zel" --help
expect 0 "$zel" pack --help
grep -q "^usage: zel pack" out.txt && pass || fail "pack --help: $(head -1 out.txt)"
expect 2 "$zel"
expect 2 "$zel" frobnicate
expect 2 "$zel" ls
expect 2 "$zel" cat --bogus demo.zel x

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
