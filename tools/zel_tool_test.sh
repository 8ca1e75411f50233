#!/usr/bin/env bash
# Runs the zel tool on packages in a scratch directory: packs files, lists,
# verifies and reads them back, then damages a copy and expects verify to
# fail; prints the scene of a package that the writer made, and of damaged
# ones; makes the contents file of a library and checks the links of a
# package that uses it. Usage: zel_tool_test.sh PATH_TO_ZEL PATH_TO_WRITE_SCENE
set -uo pipefail

zel=$1
write_scene=$2
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

# What a killed pack leaves beside its package, verify names without failing,
# and only that: also beside a package that the killed pack never made.
printf 'part' >demo.zel.0123456789ab.tmp
: >demo.zel.tmp
: >demo.zel.0123456789ab.tmp.old
: >gone.zel.00000000000a.tmp
stray='stray temporary of an unfinished write of'
expect 0 "$zel" verify demo.zel
grep -qx "demo.zel.0123456789ab.tmp: $stray demo.zel; nothing reads it, and unless that write is still going on it may be deleted" \
    out.txt && pass || fail "verify: $(cat out.txt)"
[ "$(grep -c "$stray" out.txt)" -eq 1 ] && pass || fail "verify: $(cat out.txt)"
grep -q "^demo.zel: header, table of contents and 3 entries are sound$" out.txt && pass || fail "verify: $(cat out.txt)"
expect 1 "$zel" verify gone.zel
grep -qx "gone.zel.00000000000a.tmp: $stray gone.zel; .*" out.txt && pass || fail "verify: $(cat out.txt)"
rm -f ./*.tmp ./*.tmp.old

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
# The scene of a package that the writer made: the plain form on standard
# output and nothing else, the atomized form exactly as stored.
expect 0 "$write_scene" scene.zel
expect 0 "$zel" scene scene.zel
cp out.txt plain.xml
[ ! -s err.txt ] && pass || fail "scene wrote to standard error: $(cat err.txt)"
[ "$(head -1 plain.xml)" = '<?xml version="1.0" encoding="utf-8"?>' ] && pass ||
    fail "scene does not begin with the declaration: $(head -1 plain.xml)"
[ "$(tail -1 plain.xml)" = '</zelfile>' ] && pass || fail "scene ends with: $(tail -1 plain.xml)"
tab=$'\t'
for line in \
    "$tab$tab<material name=\"plate\">" \
    "$tab$tab$tab<gain type=\"double\" unit=\"mm\">1.5</gain>" \
    "$tab$tab$tab<rgb type=\"double3\">0.25 0.5 1.0</rgb>" \
    "$tab$tab$tab<label type=\"string\">oak &amp; iron</label>" \
    "$tab$tab$tab<albedo type=\"link\">#lamp</albedo>" \
    "$tab$tab$tab<base type=\"link\">library#wood_01</base>" \
    "$tab$tab$tab<texture type=\"binary\">#textures/plate.raw</texture>" \
    "$tab$tab<librefs name=\"external_refs\">" \
    "$tab$tab$tab<ref type=\"string\">library</ref>" \
    "$tab$tab$tab<num type=\"integer\">2</num>"; do
    grep -qxF "$line" plain.xml && pass || fail "scene lacks the line '$line'"
done
expect 0 "$zel" cat scene.zel __zel_index__.xml
head -c -1 out.txt >stored.xml
expect 0 "$zel" scene --atomized scene.zel
cmp -s out.txt stored.xml && pass || fail "scene --atomized differs from the stored document"

# A plain document stored as the scene entry reads back as it was printed.
mkdir plain
cp plain.xml plain/__zel_index__.xml
(cd plain && "$zel" pack ../plain.zel __zel_index__.xml >/dev/null)
expect 0 "$zel" scene plain.zel
cmp -s out.txt plain.xml && pass || fail "the plain document does not read back as it was"

# Damaged scenes: one line on standard error, nothing on standard output,
# status 1. Each case is a scene entry's text and a part of the message.
expect_damaged() {
    expect 1 "$zel" scene "$1"
    [ ! -s out.txt ] && pass || fail "scene of $1 wrote to standard output"
    [ "$(wc -l <err.txt)" -eq 1 ] && pass || fail "scene of $1 wrote more than one line: $(cat err.txt)"
    grep -qF "$2" err.txt && pass || fail "scene of $1: '$(cat err.txt)' lacks '$2'"
}
damaged_scene() {
    rm -rf damaged && mkdir damaged
    printf '%s' "$2" >damaged/__zel_index__.xml
    (cd damaged && "$zel" pack "../$1" __zel_index__.xml >/dev/null)
    expect_damaged "$1" "$3"
}
damaged_scene cut.zel '<zelfile><zel><a name="x">' "__zel_index__.xml is not well-formed: "
damaged_scene token.zel '<zelfile><zel><9 .="."/></zel><metazel/><atom_table><a>name</a></atom_table></zelfile>' \
    "scene document token beyond the atom table: 9"
damaged_scene unnamed.zel '<zelfile><zel><mesh/></zel><metazel/></zelfile>' \
    "scene document has a block without a name: mesh"
damaged_scene empty-name.zel '<zelfile><zel><. .=""/></zel><metazel/><atom_table><a>name</a></atom_table></zelfile>' \
    "block name of zero length read"
damaged_scene no-scene.zel '<zelfile><metazel/></zelfile>' "scene document has no element zel"
expect_damaged demo.zel "__zel_index__.xml"
expect_damaged junk.zel "zel_archive exception"
# The scene entry's deflated bytes damaged inside the stream.
offset=$("$zel" ls scene.zel | awk '$6 == "__zel_index__.xml" { print $1 }')
cp scene.zel inflate.zel
printf '\x00\x00\x00\x00' | dd of=inflate.zel bs=1 seek=$((offset + 8)) conv=notrunc status=none
expect_damaged inflate.zel "zel"

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

# The graph of that scene opens the library from the package --library names
# for its alias: its blocks and binaries are drawn, and the block it lacks is
# red. Without it, the library's targets are names, drawn dashed.
expect 0 "$zel" graph scene.zel --library lib=lib.zel
grep -q 'label="lib=lib.zel"' out.txt && pass || fail "no cluster for the library: $(cat out.txt)"
grep -q 'label="material\\nwood"' out.txt && pass || fail "graph lacks the library's wood: $(cat out.txt)"
grep -q 'label="a.bin\\n10 bytes", shape=note' out.txt && pass || fail "graph lacks a.bin: $(cat out.txt)"
grep -q 'label="oak", color=red' out.txt && pass || fail "oak is not red: $(cat out.txt)"
grep -q 'dashed' out.txt && fail "graph with the library drew a file it could not open" || pass
expect 0 "$zel" graph scene.zel
[ "$(grep -c 'style=dashed' out.txt)" -eq 3 ] && pass || fail "graph without the library: $(cat out.txt)"
expect 2 "$zel" graph scene.zel --library lib
grep -q '^zel graph: --library takes ALIAS=LIBRARY.zel, not "lib"$' err.txt && pass || fail "$(cat err.txt)"
# So does resolve: a link into the alias lands in the library package.
expect 0 "$zel" resolve scene.zel 'lib#wood' --library lib=lib.zel
grep -Eq "^file +lib.zel$" out.txt && grep -Eq "^type +material$" out.txt && pass ||
    fail "resolve lib#wood: $(cat out.txt)"
expect 0 "$zel" resolve --bytes scene.zel 'lib#a.bin' --library lib=lib.zel
[ "$(wc -c <out.txt)" -eq 10 ] && pass || fail "resolve --bytes lib#a.bin: $(wc -c <out.txt) bytes"
expect 1 "$zel" resolve scene.zel 'lib#wood'
expect 2 "$zel" resolve scene.zel 'lib#wood' --library lib
expect 1 "$zel" contents demo.zel demo.zelc
[ ! -e demo.zelc ] && [ ! -e demo.zelc.part ] && pass || fail "a failed contents left a file"

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
expect 2 "$zel" resolve scene.zel 'lamp'
grep -qF 'zel resolve: link "lamp" has no "#": a link is FILE#NAME, as in "#lamp" for a block or binary of PACKAGE itself' \
    err.txt && pass || fail "$(cat err.txt)"
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
expect 2 "$zel" scene
expect 2 "$zel" scene --plain scene.zel

echo "$passes passed, $failures failed"
[ "$failures" -eq 0 ]
