"""Writing a package: the same bytes as the C++ writer, and the Writer's life."""
import threading

import pytest

import zel
from conftest import write_every_kind


@pytest.mark.parametrize("form", ["atomized", "plain"])
def test_writer_makes_the_bytes_of_the_cpp_writer_for_the_same_calls(tmp_path, cpp_writer, form):
    ours = write_every_kind(tmp_path / "python.zel", atomize=form == "atomized")
    theirs = cpp_writer(tmp_path / "cpp.zel", form)
    assert ours.read_bytes() == theirs.read_bytes()


@pytest.mark.parametrize("value, text, type_word", [
    (1.5, "1.5", "double"),
    (0.1, "0.1", "double"),
    (100000.0, "1.0e05", "double"),
    (-0.0, "0.0", "double"),
    (float("inf"), "inf", "double"),
    (True, "true", "boolean"),
    (-(2**63), str(-(2**63)), "integer"),
    ([1, 2.5], "1.0 2.5", "double2"),
    (("a",), "a", "string1"),
])
def test_python_values_take_the_library_texts(tmp_path, value, text, type_word):
    path = tmp_path / "value.zel"
    with zel.Writer(path) as writer:
        writer.add_block("b", "b").add_parameter("v", value)
    with zel.open(path) as package:
        parameter = package.scene().block("b").parameter("v")
    assert (parameter.value, parameter.type) == (text, type_word)


@pytest.mark.parametrize("value, error", [
    (None, TypeError),
    ({"a": 1}, TypeError),
    ([1, "a"], TypeError),
    ([True, 1], TypeError),
    ([[1]], TypeError),
    (2**64, ValueError),
    (-(2**63) - 1, ValueError),
    ([], zel.Error),
])
def test_values_the_library_cannot_hold_are_refused(tmp_path, value, error):
    with zel.Writer(tmp_path / "refused.zel") as writer:
        block = writer.add_block("b", "b")
        with pytest.raises(error):
            block.add_parameter("v", value)
        with pytest.raises(TypeError):
            block.add_parameter("v", 1.5, type="double")


def test_a_with_block_that_raises_leaves_no_file(tmp_path):
    path = tmp_path / "abandoned.zel"
    with pytest.raises(RuntimeError):
        with zel.Writer(path) as writer:
            writer.add_block("b", "b")
            raise RuntimeError("stop")
    assert not path.exists()


def test_writer_and_its_blocks_are_finished_with_after_the_close(tmp_path):
    writer = zel.Writer(tmp_path / "closed.zel")
    block = writer.add_block("b", "b")
    assert writer.block_exists("b") and not writer.block_exists("c")
    writer.close()
    writer.close()
    assert writer.closed
    for call in (lambda: block.add_parameter("p", 1), lambda: writer.add_block("b", "c"),
                 lambda: writer.validation):
        with pytest.raises(ValueError, match="is closed"):
            call()


def test_binaries_from_files_and_buffers_are_stored_once(tmp_path):
    source = tmp_path / "texture.raw"
    source.write_bytes(b"\x10" * 1000)
    path = tmp_path / "binaries.zel"
    with zel.Writer(path) as writer:
        first = writer.add_binary("first.raw", path=source)
        second = writer.add_binary("second.raw", data=memoryview(b"\x10" * 1000))
        linked = writer.add_block("b", "b").add_binary_link_with_data("t", path=str(source))
        with pytest.raises(TypeError):
            writer.add_binary("neither.raw")
        with pytest.raises(TypeError):
            writer.add_binary("both.raw", data=b"x", path=source)
        with pytest.raises(TypeError):
            writer.add_binary("strided.raw", data=memoryview(b"abcd")[::2])
    assert first == second == linked == "first.raw"
    with zel.open(path) as package:
        assert bytes(package.read("first.raw")) == b"\x10" * 1000
        assert package.scene().block("b").parameter("t").value == "#first.raw"


def test_validation_proves_links_into_registered_libraries(tmp_path, zel_tool):
    import subprocess
    library = tmp_path / "library.zel"
    with zel.Writer(library) as writer:
        writer.add_block("wood", "wood_01")
    contents = tmp_path / "library.zelc"
    subprocess.run([zel_tool, "contents", str(library), str(contents)], check=True)
    with zel.Writer(tmp_path / "scene.zel") as writer:
        writer.register_library("library", contents)
        writer.validation = 1
        assert writer.validation == 1
        block = writer.add_block("b", "b")
        block.add_link("good", "wood_01", library="library")
        with pytest.raises(zel.ZelError, match="could not find a block named stone"):
            block.add_link("bad", "stone", library="library")


def test_threads_sharing_a_writer_take_turns(tmp_path):
    path = tmp_path / "shared.zel"
    payloads = {f"t{t}/b{i}.raw": bytes([t, i]) * 30000 for t in range(6) for i in range(8)}
    failures = []

    def write_part(writer, t):
        try:
            block = writer.add_block("part", f"part{t}")
            for i in range(8):
                name = f"t{t}/b{i}.raw"
                stored = writer.add_binary(name, data=payloads[name])
                block.add_binary_link(f"b{i}", stored)
                block.add_parameter("count", i)
        except Exception as error:  # noqa: BLE001 - reported below
            failures.append(error)

    with zel.Writer(path) as writer:
        threads = [threading.Thread(target=write_part, args=(writer, t)) for t in range(6)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    assert failures == []
    with zel.open(path) as package:
        assert all(bytes(package.read(name)) == data for name, data in payloads.items())
        assert len(package.scene()) == 6
