#!/usr/bin/env python3
"""Writes a small scene with binaries, reads it back, walks its links and
prints a summary.

    PYTHONPATH=build/python /usr/bin/python3 examples/python/scene_summary.py scene.zel
"""
import sys

import zel


def write(path):
    with zel.Writer(path) as writer:
        writer.add_uncompressed_extension(".png")
        # The same bytes added twice are stored once.
        pixels = bytes(range(256)) * 16
        texture = writer.add_binary("textures/oak.png", data=pixels)
        again = writer.add_binary("textures/oak_copy.png", data=pixels)
        assert again == texture

        oak = writer.add_block("material", "oak")
        oak.add_parameter("roughness", 0.35)
        oak.add_parameter("albedo", (0.55, 0.4, 0.25))
        oak.add_parameter("ior", 1.5, tag="physical")
        oak.add_binary_link("texture", texture)

        table = writer.add_block("mesh", "table")
        table.add_parameter("faces", 1284)
        table.add_parameter("height", 0.75, unit="m")
        table.add_parameter("visible", True)
        table.add_link("material", "oak")
        table.add_binary_link_with_data("points", data=b"\x00\x01" * 2000, hint="meshes/table.bin")


def summarize(path):
    with zel.open(path) as package:
        entries = package.entries()
        scene = package.scene()
        report = package.verify()
    print(f"{path}: {len(entries)} entries, {len(scene)} blocks, "
          f"{'atomized' if scene.atomized else 'plain'} document, "
          f"verify: {'sound' if report.sound else f'{report.errors} errors'}")
    for entry in entries:
        kind = "deflated" if entry.compressed else "stored"
        print(f"  {entry.name:<22} {entry.size:>6} bytes, {kind}")

    graph = zel.Resolver(block_budget=10_000, decoded_budget=1 << 24,
                         raw_budget=1 << 24).open_scene_graph(path)
    for block in scene.blocks():
        print(f"{block.type} {block.name}")
        for parameter in block.parameters:
            if parameter.type == "link":
                file, target = graph.resolve_link(parameter.value)
                print(f"  {parameter.name} -> block {target} of {file or 'this package'}")
            elif parameter.type == "binary":
                payload = graph.get_binary(parameter.value)
                print(f"  {parameter.name} -> {parameter.value[1:]}, {len(payload)} bytes")
            else:
                unit = f" {parameter.unit}" if parameter.unit else ""
                print(f"  {parameter.name} = {parameter.typed()!r}{unit}")
    check = zel.check(path)
    print(f"check: {check.counts['links']} links, {check.errors} broken")


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    write(sys.argv[1])
    summarize(sys.argv[1])
    return 0


if __name__ == "__main__":
    sys.exit(main())
