"""Reading a package: entries, payloads without copies, the scene, typed values."""
import gc
import threading
import zlib

import numpy
import pytest

import zel
from conftest import PIXELS, write_every_kind


def test_entries_are_listed_in_file_order_with_their_records(tmp_path):
    path = tmp_path / "two.zel"
    with zel.Writer(path) as writer:
        writer.add_binary("a.png", data=b"\x01" * 100)
        writer.add_binary("b.raw", data=b"\x02" * 5000)
    with zel.open(str(path)) as package:
        entries = package.entries()
    assert [e.offset for e in entries] == sorted(e.offset for e in entries)
    by_name = {e.name: e for e in entries}
    assert set(by_name) == {"a.png", "b.raw", "__zel_index__.xml"}
    deflated = by_name["b.raw"]
    assert deflated.compressed and deflated.size == 5000 and deflated.stored_size < 5000
    for e in entries:
        assert e.offset % 16 == 0
        assert e.size == (e.size if e.compressed else e.stored_size)


def test_payload_and_stored_bytes_of_a_deflated_entry(every_kind):
    with zel.open(every_kind) as package:
        payload = package.read("textures/plate.raw")
        stored = package.read("textures/plate.raw", raw=True)
    assert payload.readonly and stored.readonly
    assert bytes(payload) == PIXELS
    assert zlib.decompress(bytes(stored)) == PIXELS


def test_stored_entry_is_a_view_of_the_mapping_that_outlives_the_package(tmp_path):
    path = tmp_path / "stored.zel"
    first, second = bytes(range(256)) * 64, b"\x55" * 4096
    with zel.Writer(path) as writer:
        writer.add_uncompressed_extension(".bin")
        writer.add_binary("first.bin", data=first)
        writer.add_binary("second.bin", data=second)
    package = zel.open(path)
    records = {e.name: e for e in package.entries()}
    assert not records["first.bin"].compressed and not records["second.bin"].compressed

    def address(view):
        return numpy.frombuffer(view, dtype=numpy.uint8).ctypes.data

    view = package.read("first.bin")
    array = numpy.frombuffer(view, dtype=numpy.uint8)
    assert not array.flags.writeable
    # Both entries are seen where they lie in one mapping of the file.
    assert (address(package.read("second.bin")) - array.ctypes.data
            == records["second.bin"].offset - records["first.bin"].offset)
    assert address(package.read("first.bin", raw=True)) == array.ctypes.data
    package.close()
    del package
    gc.collect()
    assert array.tobytes() == first
    assert bytes(view) == first
    with pytest.raises(TypeError):
        view[0] = 0


def test_every_typed_kind_reads_back(every_kind):
    with zel.open(every_kind) as package:
        scene = package.scene()
    assert scene.atomized
    assert len(scene) == 3
    assert [b.name for b in scene.blocks()] == [b.name for b in scene.blocks()]
    assert {b.name for b in scene.blocks()} == {"scalars", "arrays", "links"}
    scalars = scene.block("scalars")
    expected = {
        "count": (42, "integer"),
        "negative": (-7, "integer"),
        "huge": (2**64 - 1, "integer"),
        "gain": (1.5, "double"),
        "third": (0.333333333333333, "double"),  # 15 fractional digits
        "tiny": (1.5e-7, "double"),
        "on": (True, "boolean"),
        "label": ("oak & iron", "string"),
    }
    for name, (value, type_word) in expected.items():
        parameter = scalars.parameter(name)
        assert (parameter.typed(), parameter.type) == (value, type_word), name
        assert type(parameter.typed()) is type(value), name
    # Parameters of one name stay together, in the order they were added.
    assert [(p.name, p.value) for p in scalars.parameters][:2] == [("count", "42"), ("count", "43")]
    assert scalars.parameter("gain").unit == "mm"
    assert (scalars.parameter("label").tag, scalars.parameter("count").tag) == ("t1", "")

    arrays = scene.block("arrays")
    assert arrays.parameter("ints").typed() == (1, -2, 3)
    assert arrays.parameter("rgb").typed() == (0.25, 0.5, 1.0, 2.0)
    assert arrays.parameter("rgb").type == "double4"
    assert arrays.parameter("flags").typed() == (True, False)
    assert arrays.parameter("words").typed() == "oak iron"
    assert arrays.parameter("matrix").typed() == "1 0 0 1"
    assert arrays.extra_attributes == [("note", "first"), ("note", "second")]

    links = scene.block("links")
    assert links.parameter("local").typed() == "#scalars"
    assert links.parameter("base").type == "link"
    assert links.parameter("texture").typed() == "#textures/plate.raw"
    refs = {b.name: b for b in scene.metadata_blocks()}["external_refs"]
    assert [p.value for p in refs.parameters] == ["library"]


@pytest.mark.parametrize("type_word, text", [
    ("integer", "x"),
    ("integer", "99999999999999999999999"),
    ("double", ""),
    ("boolean", ""),
    ("double3", "1 2"),
    ("integer2", "1 x"),
    ("double99999999999", "1"),
    ("boolean2", "true maybe"),
])
def test_a_text_that_does_not_read_as_its_type_raises_value_error(tmp_path, type_word, text):
    path = tmp_path / "odd.zel"
    with zel.Writer(path) as writer:
        writer.add_block("odd", "odd").add_parameter("p", text, type=type_word)
    with zel.open(path) as package:
        parameter = package.scene().block("odd").parameter("p")
    assert (parameter.type, parameter.value) == (type_word, text)
    with pytest.raises(ValueError, match="does not read as"):
        parameter.typed()


def test_plain_documents_read_as_atomized_ones(tmp_path):
    atomized = write_every_kind(tmp_path / "a.zel", atomize=True)
    plain = write_every_kind(tmp_path / "p.zel", atomize=False)

    def summary(path):
        with zel.open(path) as package:
            scene = package.scene()
        return scene.atomized, [(b.name, b.type, [(p.name, p.value, p.type, p.unit, p.tag)
                                                  for p in b.parameters], b.extra_attributes)
                                for b in scene.blocks()]

    (was_atomized, blocks), (was_plain_atomized, plain_blocks) = summary(atomized), summary(plain)
    assert was_atomized and not was_plain_atomized
    assert sorted(blocks) == sorted(plain_blocks)


def test_missing_names_raise_key_error(every_kind):
    with zel.open(every_kind) as package:
        scene = package.scene()
        with pytest.raises(KeyError):
            package.read("absent.bin")
    with pytest.raises(KeyError):
        scene.block("absent")
    with pytest.raises(KeyError):
        scene.block("scalars").parameter("absent")


def test_many_threads_read_one_package_at_once(tmp_path):
    path = tmp_path / "many.zel"
    payloads = {f"b{i}.raw": bytes([i]) * (20000 + i) for i in range(16)}
    with zel.Writer(path) as writer:
        for name, data in payloads.items():
            writer.add_binary(name, data=data)
    package = zel.open(path)
    failures = []

    def read_all():
        try:
            for _ in range(20):
                for name, data in payloads.items():
                    if package.read(name) != data:
                        failures.append(name)
        except Exception as error:  # noqa: BLE001 - reported below
            failures.append(error)

    threads = [threading.Thread(target=read_all) for _ in range(8)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    package.close()
    assert failures == []
