#!/usr/bin/env python3
"""The Python module against the C++ library it binds, in one run.

Reading: a package of 1,000 binaries of 1 MiB (--entries, --entry-mib),
stored as given, every entry's payload fetched and one byte of each of its
pages touched, from Python through zel.open and Package.read, and from C++
through the archive reader. Each side runs --runs times (3) in turns over
the same file, whose pages are in the page cache after the first run; the
fastest run of each is reported, as MB/s over wall time. Python's views are
checked to be views of the mapping: each stored entry lies at its offset
from the first.

Writing: a scene of 100,000 blocks (--blocks) of ten parameters (integers,
reals with a unit, booleans, strings with a tag, arrays of three reals and
of three integers) through zel.Writer and through the C++ writer, close
included, as parameters per second; the two packages must be equal byte for
byte.

usage: make bench BENCH=python_bench [BENCH_ARGS="--entries 200 --blocks 20000"]
"""
import argparse
import os
import resource
import subprocess
import sys
import tempfile
import time

import numpy

import zel

PAGE = 4096


def make_package(path, entries, entry_bytes):
    rng = numpy.random.default_rng(7)
    base = rng.integers(0, 256, entry_bytes, dtype=numpy.uint8)
    with zel.Writer(path) as writer:
        writer.add_uncompressed_extension(".bin")
        for i in range(entries):
            base[:8] = numpy.frombuffer(i.to_bytes(8, "little"), dtype=numpy.uint8)
            writer.add_binary(f"payload/{i:05}.bin", data=base)


def python_read(path):
    """Bytes read, seconds, and the number of stored entries whose view is
    not where its entry lies in one mapping (counted after the clock stops)."""
    start = time.perf_counter()
    total, touched = 0, 0
    with zel.open(path) as package:
        entries = package.entries()
        arrays = []
        for entry in entries:
            array = numpy.frombuffer(package.read(entry.name), dtype=numpy.uint8)
            touched += int(array[::PAGE].sum())
            total += entry.size
            arrays.append(array)
    seconds = time.perf_counter() - start
    stored = [(entry, array) for entry, array in zip(entries, arrays) if not entry.compressed]
    base = stored[0][1].ctypes.data - stored[0][0].offset
    copies = sum(array.ctypes.data - entry.offset != base for entry, array in stored)
    return total, seconds, copies


def cpp(peer, *args):
    done = subprocess.run([peer, *map(str, args)], check=True, capture_output=True, text=True)
    fields = done.stdout.split()
    return int(fields[1]), float(fields[2])


def python_write(path, blocks):
    start = time.perf_counter()
    with zel.Writer(path) as writer:
        for i in range(blocks):
            block = writer.add_block(f"node{i % 8}", f"b{i}")
            add = block.add_parameter
            add("id", i)
            add("count", i % 7)
            add("scale", i * 0.25, unit="m")
            add("weight", 1.0 / (i + 1))
            add("visible", i % 2 == 0)
            add("name", f"block {i}")
            add("colour", ((i % 10) * 0.125, 0.5, 1.0))
            add("offset", (i, -i, 2 * i))
            add("label", "label", tag="ui")
            add("flag", False)
    return blocks * 10, time.perf_counter() - start


def row(label, python, cpp_rate, unit):
    print(f"  {label:<34} {python:>14,.0f} {cpp_rate:>14,.0f}  {unit:<12} {python / cpp_rate:6.2f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--peer", required=True, help="the C++ peer program")
    parser.add_argument("--entries", type=int, default=1000)
    parser.add_argument("--entry-mib", type=int, default=1)
    parser.add_argument("--blocks", type=int, default=100_000)
    parser.add_argument("--runs", type=int, default=3)
    args = parser.parse_args()

    print(f"Python {sys.version.split()[0]} ({sys.executable}), numpy {numpy.__version__}")
    with tempfile.TemporaryDirectory(prefix="python_bench-") as scratch:
        package = os.path.join(scratch, "payloads.zel")
        entry_bytes = args.entry_mib << 20
        make_package(package, args.entries, entry_bytes)
        print(f"Reading {args.entries} stored entries of {args.entry_mib} MiB "
              f"({os.path.getsize(package) / 1e6:,.0f} MB), best of {args.runs}:")
        best_python, best_cpp, copies = None, None, 0
        for _ in range(args.runs):
            size, seconds = cpp(args.peer, "read", package)
            best_cpp = min(best_cpp or seconds, seconds)
            total, seconds, copies = python_read(package)
            assert total == size, (total, size)
            best_python = min(best_python or seconds, seconds)
        print(f"  {'':<34} {'Python':>14} {'C++':>14}  {'':<12} {'ratio':>6}")
        row("read every entry", size / best_python / 1e6, size / best_cpp / 1e6, "MB/s")
        print(f"  views that are not of the mapping: {copies}")
        os.remove(package)

        print(f"Writing {args.blocks:,} blocks of 10 parameters, best of {args.runs}:")
        ours, theirs = os.path.join(scratch, "python.zel"), os.path.join(scratch, "cpp.zel")
        best_python, best_cpp = None, None
        for _ in range(args.runs):
            parameters, seconds = cpp(args.peer, "write", theirs, args.blocks)
            best_cpp = min(best_cpp or seconds, seconds)
            parameters, seconds = python_write(ours, args.blocks)
            best_python = min(best_python or seconds, seconds)
        with open(ours, "rb") as a, open(theirs, "rb") as b:
            same = a.read() == b.read()
        row("write the scene", parameters / best_python, parameters / best_cpp, "params/s")
        print(f"  packages equal byte for byte: {'yes' if same else 'NO'}")
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024
    print(f"Peak memory of the Python process: {peak:,.0f} MiB")
    return 0 if same and copies == 0 else 1


if __name__ == "__main__":
    sys.exit(main())
