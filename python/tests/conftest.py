"""Shared fixtures: the programs the suite compares the module with, and a
package written through the module with every kind of value."""
import os
import subprocess

import pytest

import zel


def program(variable):
    path = os.environ.get(variable)
    if not path:
        pytest.skip(f"{variable} names no program: run the suite through ctest")
    return path


@pytest.fixture(scope="session")
def zel_tool():
    return program("ZEL_TOOL")


@pytest.fixture(scope="session")
def cpp_writer():
    """Writes the scene of write_every_kind through the C++ writer."""
    path = program("ZEL_EVERY_KIND_WRITER")

    def write(package, form):
        subprocess.run([path, str(package), form], check=True)
        return package

    return write


PIXELS = b"\x7f" * 4096


def write_every_kind(path, atomize=True):
    """The calls of every_kind_writer.cpp, made through zel.Writer."""
    with zel.Writer(path, atomize=atomize) as writer:
        scalars = writer.add_block("values", "scalars")
        scalars.add_parameter("count", 42)
        scalars.add_parameter("negative", -7)
        scalars.add_parameter("huge", 2**64 - 1)
        scalars.add_parameter("gain", 1.5, unit="mm")
        scalars.add_parameter("third", 1.0 / 3)
        scalars.add_parameter("tiny", 1.5e-7)
        scalars.add_parameter("on", True)
        scalars.add_parameter("label", "oak & iron", tag="t1")
        scalars.add_parameter("count", 43)

        arrays = writer.add_block("values", "arrays")
        arrays.add_parameter("ints", [1, -2, 3])
        arrays.add_parameter("rgb", (0.25, 0.5, 1, 2.0), unit="m", tag="colour")
        arrays.add_parameter("flags", [True, False])
        arrays.add_parameter("words", ["oak", "iron"])
        arrays.add_parameter("matrix", "1 0 0 1", type="matrix2", unit="m")
        arrays.add_extra_attribute("note", "first")
        arrays.add_extra_attribute("note", "second")

        links = writer.add_block("links", "links")
        links.add_link("local", "scalars")
        links.add_link("base", "wood_01", library="library")
        texture = links.add_binary_link_with_data("texture", PIXELS, hint="textures/plate.raw")
        assert texture == "textures/plate.raw"
        stored = writer.add_binary("data/copy.raw", data=bytearray(PIXELS))
        links.add_binary_link("copy", stored)
        links.add_binary_link("shared", "meshes/cube.bin", library="library")
    return path


@pytest.fixture
def every_kind(tmp_path):
    return write_every_kind(tmp_path / "every_kind.zel")
