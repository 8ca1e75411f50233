"""Packages read by URL: the same entries, scene and reports as the file,
from a small range server of the test's own on a loopback port."""
import http.server
import os
import re
import threading

import pytest

import zel

from conftest import write_every_kind


class RangeHandler(http.server.BaseHTTPRequestHandler):
    """Serves the files of a directory, whole or by one byte range."""

    directory = None

    def do_GET(self):
        path = os.path.join(self.directory, self.path.split("?")[0].lstrip("/"))
        if not os.path.isfile(path):
            self.send_error(404)
            return
        with open(path, "rb") as f:
            body = f.read()
        size = len(body)
        wanted = re.fullmatch(r"bytes=(\d*)-(\d*)", self.headers.get("Range", ""))
        if wanted is None:
            self.send_response(200)
            first, last = 0, size - 1
        else:
            start, end = wanted.groups()
            if start == "":
                first, last = max(0, size - int(end)), size - 1
            else:
                first, last = int(start), min(size - 1, int(end) if end else size - 1)
            self.send_response(206)
            self.send_header("Content-Range", f"bytes {first}-{last}/{size}")
        self.send_header("ETag", '"v1"')
        self.send_header("Content-Length", str(last - first + 1))
        self.end_headers()
        self.wfile.write(body[first : last + 1])

    def log_message(self, *args):
        pass


@pytest.fixture
def server(tmp_path):
    handler = type("Handler", (RangeHandler,), {"directory": str(tmp_path)})
    httpd = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
    thread = threading.Thread(target=httpd.serve_forever, daemon=True)
    thread.start()
    yield f"http://127.0.0.1:{httpd.server_address[1]}"
    httpd.shutdown()
    httpd.server_close()


def test_a_package_by_url_reads_as_the_file(tmp_path, server):
    local = write_every_kind(tmp_path / "scene.zel")
    url = server + "/scene.zel?signature=secret"
    with zel.open(local) as on_disk, zel.open(url) as remote:
        assert [vars_of(e) for e in remote.entries()] == [vars_of(e) for e in on_disk.entries()]
        for e in on_disk.entries():
            assert bytes(remote.read(e.name)) == bytes(on_disk.read(e.name))
            assert bytes(remote.read(e.name, raw=True)) == bytes(on_disk.read(e.name, raw=True))
        assert [b.name for b in remote.scene().blocks()] == [
            b.name for b in on_disk.scene().blocks()
        ]
        report = remote.verify().to_dict()
        assert report["package"] == server + "/scene.zel"
        report["package"] = on_disk.verify().to_dict()["package"]
        assert report == on_disk.verify().to_dict()
        assert "secret" not in repr(remote)
    assert zel.check(url).to_dict()["errors"] == zel.check(local).to_dict()["errors"]


def test_a_missing_url_is_an_archive_error_without_its_query(server):
    with pytest.raises(zel.ArchiveError) as raised:
        zel.open(server + "/absent.zel?signature=secret")
    assert "404" in str(raised.value)
    assert "secret" not in str(raised.value)
    assert not isinstance(raised.value, FileNotFoundError)


def vars_of(entry):
    return (entry.name, entry.offset, entry.stored_size, entry.size, entry.hash, entry.compressed)
