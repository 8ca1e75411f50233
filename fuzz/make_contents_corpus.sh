#!/usr/bin/env bash
# Writes the seed corpus of contents_fuzzer into fuzz/corpus/contents: small
# contents files made with the zel tool, and damaged ones. It was run once;
# the seeds are committed, so run it again only to change them.
# Usage: fuzz/make_contents_corpus.sh PATH_TO_ZEL
set -euo pipefail

zel=$(realpath "$1")
out=$(realpath "$(dirname "$0")")/corpus/contents
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$out"
cd "$scratch"

# put FILE OFFSET HEX: overwrites one byte.
put() { printf "\\x$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

# A library: a plain scene with a link into another library, two binaries.
mkdir library
cd library
printf '<zelfile><zel><material name="wood"><tex type="binary">#a.bin</tex></material>'\
'<material name="oak"><base type="link">trees#elm</base></material></zel><metazel>'\
'<librefs name="external_refs"><ref type="string">trees</ref></librefs></metazel></zelfile>' \
    >__zel_index__.xml
printf 'bytes of a' >a.bin
printf 'bytes of b, stored' >b.raw
"$zel" pack --store raw ../library.zel __zel_index__.xml a.bin b.raw >/dev/null
cd ..
"$zel" contents library.zel "$out/valid" >/dev/null
cp library.zel "$out/library-package"

# Hand-made contents files: a scene and a catalogue packed under the two
# names. make NAME CATALOGUE_BLOCKS [ID]
make() {
    mkdir -p "made/$1"
    printf '<zelfile><zel><material name="wood"/></zel><metazel/></zelfile>' \
        >"made/$1/__zel_index__.xml"
    printf '<zelfile><zel>%s</zel><metazel><packageinfo name="original_zel_package">'\
'<id type="integer2">%s</id></packageinfo></metazel></zelfile>' "$2" "${3-7 9}" \
        >"made/$1/__zel_binaries__.xml"
    (cd "made/$1" && "$zel" pack "$out/$1" __zel_index__.xml __zel_binaries__.xml >/dev/null)
}
make plain-catalogue '<binary name="a" hash="5" size="6"/><binary name="b" hash="5" size="6"/>'
make empty-catalogue ''
make one-attribute '<binary name="a" hash="5"/>'
make bad-number '<binary name="a" hash="12x" size="6"/>'
make huge-number '<binary name="a" hash="5" size="18446744073709551616"/>'
make zero-identity '<binary name="a" hash="0" size="0"/>'
make short-id '<binary name="a" hash="5" size="6"/>' '7'
make no-package-info-id '<binary name="a" hash="5" size="6"/>' ''

size=$(stat -c %s "$out/valid")
head -c $((size - 1)) "$out/valid" >"$out/truncated"
cp "$out/valid" "$out/damaged-entry"
put "$out/damaged-entry" 60 ff
