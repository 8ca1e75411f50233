#!/usr/bin/env bash
# Writes the seed corpus of scene_fuzzer into fuzz/corpus/scene: the scene of
# the example package in the atomized form (as stored, with its NUL) and in
# the plain form, the same scene without a root, and small damaged documents,
# one fault each. It was run once; the seeds are committed, so run it again
# only to change them. Usage: fuzz/make_scene_corpus.sh PATH_TO_ZEL PATH_TO_WRITE_SCENE
set -euo pipefail

zel=$(realpath "$1")
write_scene=$(realpath "$2")
out=$(realpath "$(dirname "$0")")/corpus/scene
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$out"
cd "$scratch"

"$write_scene" scene.zel
"$zel" cat scene.zel __zel_index__.xml >"$out/atomized"
"$zel" scene scene.zel >"$out/plain"
# The older form: "metazel" and "zel" at the top, here in the other order.
sed -e '/zelfile/d' -e '/<?xml/d' "$out/plain" |
    awk '/^\t<zel>/,/^\t<\/zel>/ { scene = scene $0 "\n"; next } { print } END { printf "%s", scene }' \
        >"$out/rootless"

seed() { printf '%s' "$2" >"$out/$1"; }
seed empty-atomized '<zelfile version="0.1"><zel/><metazel/><atom_table/></zelfile>'
seed token-beyond-table '<zelfile><zel><.. .="0"/></zel><metazel/><atom_table><a>name</a><a>b</a></atom_table></zelfile>'
seed token-outside-alphabet '<zelfile><zel><! .="0"/></zel><metazel/><atom_table><a>name</a><a>b</a></atom_table></zelfile>'
seed zero-length-name '<zelfile><zel><0 .=""/></zel><metazel/><atom_table><a>name</a><a>t</a></atom_table></zelfile>'
seed atomized-without-name '<zelfile><zel><0 1="0"/></zel><metazel/><atom_table><a>name</a><a>t</a></atom_table></zelfile>'
seed plain-without-name '<zelfile><zel><mesh type="x"><p type="integer">1</p></mesh></zel><metazel/></zelfile>'
seed missing-scene '<zelfile><metazel/></zelfile>'
seed missing-metadata '<zel><mesh name="a"/></zel>'
seed no-root '<?xml version="1.0"?><scene><mesh name="a"/></scene>'
seed huge-count '<zelfile><metazel><internal_use_block name="__internal_use__"><num type="integer">4294967295</num></internal_use_block></metazel><zel><m name="a"/><m name="a"/><m name="b" x="1" name="c"/></zel></zelfile>'
seed text-forms $'\xef\xbb\xbf<!DOCTYPE z><!-- c --><zelfile><?pi x?><zel><m name="&#233;&amp;&#x41;"><p type="s" unit="" tag="&quot;">a<![CDATA[b]]>c</p><p type="s">  </p></m></zel><metazel/></zelfile>'
python3 - "$out/deep-nesting" <<'PY'
import sys
open(sys.argv[1], 'w').write('<zelfile><zel><m name="a">' + '<p>' * 2000)
PY
