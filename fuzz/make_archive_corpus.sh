#!/usr/bin/env bash
# Writes the seed corpus of archive_fuzzer into fuzz/corpus/archive: small
# valid packages made with the zel tool, and damaged copies of them. It was
# run once; the seeds are committed, so run it again only to change them.
# The hostile packages, whose records lie behind a valid hash, come from the
# program that the reader's tests share, at the scale of the fuzzer's limits.
# Usage: fuzz/make_archive_corpus.sh PATH_TO_ZEL PATH_TO_HOSTILE_PACKAGES
set -euo pipefail

zel=$(realpath "$1")
hostile_packages=$(realpath "$2")
out=$(realpath "$(dirname "$0")")/corpus/archive
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$out"
cd "$scratch"

# put FILE OFFSET HEX: overwrites one byte.
put() { printf "\\x$3" | dd of="$1" bs=1 seek="$2" conv=notrunc status=none; }

mkdir empty small
printf '<scene><block name="a" type="mesh"/></scene>' >small/scene.xml
cp small/scene.xml small/same.xml
printf 'raw bytes kept as they are' >small/data.bin
: >small/empty.txt
for i in 1 2 3 4 5 6 7 8; do printf 'line %d of a longer text\n' "$i"; done >small/notes.txt

"$zel" pack "$out/empty" empty >/dev/null
"$zel" pack --store bin "$out/small" small >/dev/null
"$zel" pack "$out/one-stored" --store bin small/data.bin >/dev/null

size=$(stat -c %s "$out/small")
head -c 47 "$out/small" >"$out/header-47-bytes"
head -c 48 /dev/zero >"$out/zero-header"
head -c $((size - 1)) "$out/small" >"$out/truncated-toc"
cp "$out/small" "$out/damaged-entry"
put "$out/damaged-entry" 60 ff
cp "$out/small" "$out/damaged-toc"
put "$out/damaged-toc" $((size - 20)) 00
cp "$out/small" "$out/bad-version"
put "$out/bad-version" 4 01
cp "$out/small" "$out/trailing-bytes"
printf 'left behind by an earlier table of contents' >>"$out/trailing-bytes"

# Start tags nested 100000 deep, which once exhausted the parser's stack. Only
# fuzzing builds read this far, as they skip the hash test; the hash is 0.
python3 - "$out/deep-nesting" <<'PY'
import struct, sys, zlib
text = b'<?xml version="1.0" encoding="utf-8"?>\n<zelindex version="0 1">' + b'<a>' * 100000
stored = zlib.compress(text, 9)
header = b'zel!' + struct.pack('<HHIIQQQQ', 0, 1, 48, 0, 0, 48, len(stored), len(text) + 1)
open(sys.argv[1], 'wb').write(header + stored)
PY

# Packages whose sizes, streams and places lie, sealed with a valid hash.
"$hostile_packages" --small "$out" >/dev/null
