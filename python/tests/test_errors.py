"""Failures reach Python as the module's exceptions, with the library's texts."""
import gc

import pytest

import zel

CONTEXT = " from context of\n(backtrace support was disabled)"


def test_missing_file_is_a_file_not_found_error_with_the_library_text(tmp_path):
    missing = tmp_path / "missing.zel"
    with pytest.raises(FileNotFoundError) as raised:
        zel.open(missing)
    assert isinstance(raised.value, zel.NotFoundError)
    assert str(raised.value) == (f"zel_archive exception: zel file {missing} not found on local "
                                 f"filesystem{CONTEXT}")
    for call in (lambda: zel.Resolver(10, 10, 10).open_scene_graph(missing),
                 lambda: zel.Writer(tmp_path / "w.zel").add_binary("x", path=missing)):
        with pytest.raises(zel.NotFoundError):
            call()


@pytest.mark.parametrize("damage, error, text", [
    (lambda image: image[:20], zel.ArchiveError, "incomplete zel header"),
    (lambda image: b"NOTAZEL!" + image[8:], zel.ArchiveError, None),
    (lambda image: image[:-1], zel.ArchiveError, "zel file truncated before the TOC"),
])
def test_damaged_headers_are_archive_errors(tmp_path, damage, error, text):
    sound = tmp_path / "sound.zel"
    with zel.Writer(sound) as writer:
        writer.add_block("b", "b")
    damaged = tmp_path / "damaged.zel"
    damaged.write_bytes(damage(sound.read_bytes()))
    with pytest.raises(error) as raised:
        zel.open(damaged)
    assert str(raised.value).endswith(CONTEXT)
    if text is not None:
        assert str(raised.value) == f"zel_archive exception: {text}{CONTEXT}"


def test_damage_inside_entries_is_raised_where_it_is_read(tmp_path):
    path = tmp_path / "entries.zel"
    with zel.Writer(path) as writer:
        writer.add_binary("data.raw", data=bytes(range(256)) * 100)
        writer.add_block("b", "b").add_parameter("p", 1)
    with zel.open(path) as package:
        records = {e.name: e for e in package.entries()}
    image = bytearray(path.read_bytes())
    for name in ("data.raw", "__zel_index__.xml"):
        record = records[name]
        for i in range(record.offset, record.offset + record.stored_size):
            image[i] ^= 0x5A
    path.write_bytes(bytes(image))
    with zel.open(path) as package:
        with pytest.raises(zel.Error):
            package.read("data.raw")
        with pytest.raises(zel.Error):
            package.scene()
        assert len(package.read("data.raw", raw=True)) == records["data.raw"].stored_size


def test_the_library_refusals_keep_their_kind_and_text(tmp_path):
    with zel.Writer(tmp_path / "refusals.zel") as writer:
        block = writer.add_block("b", "taken")
        with pytest.raises(zel.ZelError) as raised:
            writer.add_block("b", "taken")
        assert str(raised.value) == f"zel exception: Block named taken already exists in add_block(){CONTEXT}"
        with pytest.raises(ValueError) as bad_type:
            writer.add_block("not a type", "x")
        with pytest.raises(ValueError) as bad_name:
            block.add_parameter("two words", 1)
        for raised in (bad_type, bad_name):
            assert not isinstance(raised.value, zel.Error)
            assert str(raised.value)
        with pytest.raises(TypeError):
            block.add_link(1, "x")
        contents = tmp_path / "any.zelc"
        contents.write_bytes(b"")
        with pytest.raises(zel.ZelError, match="a library alias must not be empty"):
            writer.register_library("", contents)


def test_closed_packages_and_views_of_them_never_crash(tmp_path):
    path = tmp_path / "closed.zel"
    with zel.Writer(path) as writer:
        writer.add_uncompressed_extension(".bin")
        writer.add_binary("x.bin", data=b"abc" * 100)
    package = zel.open(path)
    view = package.read("x.bin")
    scene = package.scene()
    package.close()
    package.close()
    for call in (package.entries, package.scene, lambda: package.read("x.bin")):
        with pytest.raises(ValueError, match="is closed"):
            call()
    del package
    gc.collect()
    assert bytes(view[:3]) == b"abc"
    assert len(scene) == 0


def test_a_link_without_hash_is_a_value_error(tmp_path):
    path = tmp_path / "graph.zel"
    with zel.Writer(path) as writer:
        writer.add_block("b", "b")
    graph = zel.Resolver(100, 1 << 20, 1 << 20).open_scene_graph(path)
    with pytest.raises(ValueError):
        graph.resolve_link("no hash")
    with pytest.raises(zel.ZelError, match="Failed to get binary"):
        graph.get_binary("#absent.bin")


def test_names_of_any_bytes_come_and_go_as_surrogate_escaped_strs(tmp_path, zel_tool):
    import os
    import subprocess
    work = tmp_path / "pack"
    work.mkdir()
    (work / "__zel_index__.xml").write_bytes(
        b'<zelfile><metazel/><zel><mesh name="odd\xff"><p type="integer">1</p></mesh></zel>'
        b'</zelfile>')
    odd_file = os.fsencode(work) + b"/bad\xfe.raw"
    with open(odd_file, "wb") as f:
        f.write(b"payload")
    subprocess.run([zel_tool, "pack", str(tmp_path / "odd.zel"), "__zel_index__.xml",
                    b"bad\xfe.raw"], cwd=work, check=True, capture_output=True)
    with zel.open(tmp_path / "odd.zel") as package:
        names = {e.name for e in package.entries()}
        assert "bad\udcfe.raw" in names
        assert bytes(package.read("bad\udcfe.raw")) == b"payload"
        with pytest.raises(KeyError) as missing:
            package.read("gone\udcfe")
        assert missing.value.args == ("gone\udcfe",)
        scene = package.scene()
    assert [b.name for b in scene.blocks()] == ["odd\udcff"]
    assert scene.block("odd\udcff").parameter("p").typed() == 1
    assert "odd" in repr(scene.block("odd\udcff"))
