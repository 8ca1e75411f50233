"""Package.verify and zel.check give the tool's reports as data."""
import json
import subprocess

import pytest

import zel


def tool_report(zel_tool, *args):
    done = subprocess.run([zel_tool, *map(str, args), "--json"], capture_output=True, text=True)
    assert done.stderr == ""
    assert done.stdout.endswith("}\n") and done.stdout.count("\n") == 1
    return done.returncode, json.loads(done.stdout)


@pytest.fixture
def packages(tmp_path):
    """A sound package, one with damaged entries, and a library for links."""
    library = tmp_path / "library.zel"
    with zel.Writer(library) as writer:
        writer.add_block("wood", "oak")
        writer.add_binary("grain.raw", data=b"g" * 500)
    sound = tmp_path / "sound.zel"
    with zel.Writer(sound) as writer:
        writer.add_uncompressed_extension(".bin")
        writer.add_binary("stored.bin", data=bytes(range(200)))
        writer.add_binary("packed.raw", data=b"p" * 5000)
        chair = writer.add_block("chair", "chair")
        chair.add_link("self", "chair")
        chair.add_link("wood", "oak", library="lib")
        chair.add_link("stone", "granite", library="lib")
        chair.add_binary_link("grain", "grain.raw", library="lib")
        chair.add_binary_link("lost", "lost.bin")
    with zel.open(sound) as package:
        records = {e.name: e for e in package.entries()}
    image = bytearray(sound.read_bytes())
    image[records["stored.bin"].offset] ^= 1
    packed = records["packed.raw"]
    image[packed.offset + packed.stored_size - 1] ^= 1
    damaged = tmp_path / "damaged.zel"
    damaged.write_bytes(bytes(image))
    return {"library": library, "sound": sound, "damaged": damaged, "records": records}


def test_verify_reports_equal_the_tool_json(packages, zel_tool):
    with zel.open(packages["sound"]) as package:
        sound = package.verify()
    assert sound.sound and sound.findings == [] and sound.external_refs is None
    assert (sound.command, sound.counts) == ("verify", {"entries": 3})

    with zel.open(packages["damaged"]) as package:
        damaged = package.verify()
    records = packages["records"]
    assert [(f.code, f.severity, f.entry, f.offset) for f in damaged.findings] == [
        ("entry-hash-mismatch", "error", "stored.bin", records["stored.bin"].offset),
        ("entry-hash-mismatch", "error", "packed.raw", records["packed.raw"].offset),
        ("entry-inflate-failed", "error", "packed.raw", records["packed.raw"].offset),
    ]
    assert damaged.findings[0].block is None
    assert (damaged.errors, damaged.warnings, damaged.sound) == (3, 0, False)

    for name, report, status in (("sound", sound, 0), ("damaged", damaged, 1)):
        assert tool_report(zel_tool, "verify", packages[name]) == (status, report.to_dict())
        assert json.loads(report.to_json()) == report.to_dict()


def test_check_reports_equal_the_tool_json(packages, zel_tool, tmp_path):
    contents = tmp_path / "library.zelc"
    subprocess.run([zel_tool, "contents", packages["library"], contents], check=True,
                   capture_output=True)
    unregistered = zel.check(packages["sound"])
    registered = zel.check(str(packages["sound"]), libraries={"lib": contents})
    assert registered.external_refs == ["lib"]
    assert registered.counts == {"links": 5, "local_links": 1, "local_binaries": 1,
                                 "library_links": 3}
    assert [(f.code, f.block, f.parameter, f.link, f.metadata) for f in registered.findings] == [
        ("broken-link", "chair", "stone", "lib#granite", False),
        ("broken-link", "chair", "lost", "#lost.bin", False),
    ]
    assert registered.findings[0].entry is None
    assert len(unregistered.findings) == 4

    assert tool_report(zel_tool, "check", packages["sound"]) == (1, unregistered.to_dict())
    assert tool_report(zel_tool, "check", packages["sound"], "--library", f"lib={contents}") == (
        1, registered.to_dict())
    assert tool_report(zel_tool, "check", packages["library"]) == (
        0, zel.check(packages["library"]).to_dict())


def test_stray_temporaries_are_warnings_listed_first(packages, zel_tool, tmp_path):
    sound = packages["sound"]
    stray = tmp_path / "sound.zel.0123456789ab.tmp"
    stray.write_bytes(b"part")
    with zel.open(sound) as package:
        report = package.verify()
    assert [(f.code, f.severity, f.file) for f in report.findings] == [
        ("stray-temporary-file", "warning", str(stray))]
    assert report.sound and report.warnings == 1
    assert tool_report(zel_tool, "verify", sound) == (0, report.to_dict())
    junk = tmp_path / "junk.zel.00000000000a.tmp"
    junk.write_bytes(b"part")
    status, unreadable = tool_report(zel_tool, "verify", tmp_path / "junk.zel")
    assert status == 1
    assert [f["code"] for f in unreadable["findings"]] == ["stray-temporary-file",
                                                             "package-unreadable"]


def test_tool_json_reports_a_package_it_cannot_open(zel_tool, tmp_path):
    junk = tmp_path / "junk.zel"
    junk.write_bytes(b"not a package at all, but long enough for a header......")
    for command in ("verify", "check"):
        status, report = tool_report(zel_tool, command, junk)
        assert status == 1
        assert [f["code"] for f in report["findings"]] == ["package-unreadable"]
        assert report["errors"] == 1
    with pytest.raises(zel.ArchiveError) as raised:
        zel.check(junk)
    assert str(raised.value).startswith(report["findings"][0]["message"])
    wrong = subprocess.run([zel_tool, "verify", "--json"], capture_output=True)
    assert wrong.returncode == 2
