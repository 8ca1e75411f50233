#!/usr/bin/env python3
"""Drives libzel_host.so through ctypes, as a managed host would: two content
libraries written and turned into contents files, a scene that links into
both, every operation with good and bad arguments, then `zel check` of the
package against the two contents files.

usage: zel_host_test.py LIBZEL_HOST ZEL_TOOL
"""
import ctypes
import os
import subprocess
import sys
import tempfile
import unittest

OK, HOST_EXCEPTION, NATIVE_EXCEPTION = 0, 1, 2
LIBRARY, ZEL = sys.argv[1], sys.argv[2]


class Host:
    """The C interface with its declarations, and host strings as UTF-16."""

    def __init__(self, path):
        self.lib = ctypes.CDLL(path)
        s, p, i32 = ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int32
        out = ctypes.POINTER(ctypes.c_void_p)
        signatures = {
            "zel_host_file_create": [s, s, out, out],
            "zel_host_file_add_block": [p, s, s, out],
            "zel_host_file_block_exists": [p, s, ctypes.POINTER(ctypes.c_int)],
            "zel_host_file_add_binary_file": [p, s, s, out],
            "zel_host_file_add_binary_data": [p, s, p, i32, out],
            "zel_host_file_add_binary_boxed": [p, s, ctypes.c_int, p, i32, out],
            "zel_host_file_close": [p],
            "zel_host_file_free": [p],
            "zel_host_block_add_int": [p, s, i32],
            "zel_host_block_add_float": [p, s, ctypes.c_float],
            "zel_host_block_add_string": [p, s, s],
            "zel_host_block_add_typed": [p, s, s, s, s],
            "zel_host_block_add_link": [p, s, s, s],
            "zel_host_block_add_link_with_tag": [p, s, s, s],
            "zel_host_block_add_binary_link": [p, s, s, s],
            "zel_host_block_add_binary_file": [p, s, s, s],
            "zel_host_block_add_binary_data": [p, s, s, p, i32],
            "zel_host_block_add_binary_boxed": [p, s, s, ctypes.c_int, p, i32],
            "zel_host_block_add_extra_attribute": [p, s, s],
            "zel_host_block_free": [p],
            "zel_host_last_error_status": [],
            "zel_host_last_error_type": [],
            "zel_host_last_error_text": [],
            "zel_host_clear_error": [],
        }
        for name, argtypes in signatures.items():
            function = getattr(self.lib, name)
            function.argtypes = argtypes
            function.restype = ctypes.c_int
        for name in ("zel_host_file_free", "zel_host_block_free", "zel_host_clear_error"):
            getattr(self.lib, name).restype = None
        for name in ("zel_host_last_error_type", "zel_host_last_error_text"):
            getattr(self.lib, name).restype = ctypes.c_void_p

    @staticmethod
    def text(value):
        """A host string: None is the null string."""
        if value is None:
            return None
        return ctypes.cast(ctypes.create_string_buffer((value + "\0").encode("utf-16-le")),
                           ctypes.c_void_p)

    @staticmethod
    def read(pointer):
        units = ctypes.cast(pointer, ctypes.POINTER(ctypes.c_uint16))
        data = bytearray()
        i = 0
        while units[i] != 0:
            data += units[i].to_bytes(2, "little")
            i += 1
        return data.decode("utf-16-le", "surrogatepass")

    def call(self, name, *args):
        """Calls a function; strings become host strings. Returns the status."""
        converted = [self.text(a) if isinstance(a, str) else a for a in args]
        return getattr(self.lib, name)(*converted)

    def failure(self):
        return (self.lib.zel_host_last_error_status(),
                self.read(self.lib.zel_host_last_error_type()),
                self.read(self.lib.zel_host_last_error_text()))

    def check(self, name, *args):
        status = self.call(name, *args)
        if status != OK:
            raise AssertionError("%s failed: %r" % (name, self.failure()))

    # The two objects, as a managed binding would wrap them.
    def create(self, filename, content_location):
        file, message = ctypes.c_void_p(), ctypes.c_void_p()
        self.check("zel_host_file_create", filename, content_location,
                   ctypes.byref(file), ctypes.byref(message))
        return file, self.read(message)

    def add_block(self, file, type_tag, name):
        block = ctypes.c_void_p()
        self.check("zel_host_file_add_block", file, type_tag, name, ctypes.byref(block))
        return block

    def add_binary_data(self, file, hint, data):
        name = ctypes.c_void_p()
        buffer = ctypes.create_string_buffer(data, len(data))
        self.check("zel_host_file_add_binary_data", file, hint, buffer, len(data),
                   ctypes.byref(name))
        return self.read(name)

    def add_binary_file(self, file, hint, path):
        name = ctypes.c_void_p()
        self.check("zel_host_file_add_binary_file", file, hint, path, ctypes.byref(name))
        return self.read(name)


host = Host(LIBRARY)


def zel(*args):
    return subprocess.run([ZEL] + list(args), capture_output=True, text=True)


class ZelHostTest(unittest.TestCase):
    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory(prefix="zel-host-")
        self.dir = self.scratch.name
        self.libraries = os.path.join(self.dir, "content")
        os.mkdir(self.libraries)
        self.make_library("ferrane.zel", "library.zelc", "material", "oak", "textures/oak.png")
        self.make_library("oblis.zel", "oblis_library.zelc", "mesh", "chair", "meshes/chair.bin")
        host.lib.zel_host_clear_error()

    def tearDown(self):
        self.scratch.cleanup()

    def make_library(self, package, contents, type_tag, block_name, binary):
        """A library package written through the interface, without
        libraries of its own, and its contents file."""
        path = os.path.join(self.dir, package)
        file, message = host.create(path, os.path.join(self.dir, "none"))
        self.assertIn("Failed to library.zelc or oblis_library.zelc", message)
        block = host.add_block(file, type_tag, block_name)
        host.check("zel_host_block_add_string", block, "note", "from " + package)
        host.add_binary_data(file, binary, b"bytes of " + binary.encode())
        host.check("zel_host_file_close", file)
        host.lib.zel_host_block_free(block)
        host.lib.zel_host_file_free(file)
        made = zel("contents", path, os.path.join(self.libraries, contents))
        self.assertEqual(made.returncode, 0, made.stderr)

    def expect_failure(self, status, type_name, text, name, *args):
        self.assertEqual(host.call(name, *args), status)
        failure = host.failure()
        self.assertEqual(failure[:2], (status, type_name))
        if text.endswith("..."):
            self.assertTrue(failure[2].startswith(text[:-3]), failure[2])
        else:
            self.assertEqual(failure[2], text)

    def test_scene_linking_into_both_libraries(self):
        package = os.path.join(self.dir, "scene.zel")
        file, message = host.create(package, self.libraries)
        self.assertEqual(message, "Loading oblis_library.zelc from : %s\n" % self.libraries)

        plate = host.add_block(file, "material", "plate")
        host.check("zel_host_block_add_int", plate, "count", 3)
        host.check("zel_host_block_add_float", plate, "gain", ctypes.c_float(1.5))
        host.check("zel_host_block_add_string", plate, "label", "n\u00e4me")
        host.check("zel_host_block_add_typed", plate, "speed", "double", "2.5", "m/s")
        host.check("zel_host_block_add_typed", plate, "note", None, "1", None)
        host.check("zel_host_block_add_extra_attribute", plate, "layer", "top")
        host.check("zel_host_block_add_link", plate, "lamp", "lamp", None)
        host.check("zel_host_block_add_link_with_tag", plate, "self", "plate", "front")
        host.check("zel_host_block_add_link", plate, "base", "oak", "FerraneLibrary")
        host.check("zel_host_block_add_binary_link", plate, "texture", "textures/oak.png",
                   "FerraneLibrary")
        lamp = host.add_block(file, "light", "lamp")
        host.check("zel_host_block_add_link", lamp, "seat", "chair", "OblisLibrary")
        host.check("zel_host_block_add_binary_link", lamp, "shape", "meshes/chair.bin",
                   "OblisLibrary")

        # Binaries from a path and from memory; equal bytes are stored once.
        texture = os.path.join(self.dir, "checker.png")
        with open(texture, "wb") as f:
            f.write(b"\x89PNG checker")
        self.assertEqual(host.add_binary_file(file, "textures/checker.png", texture),
                         "textures/checker.png")
        self.assertEqual(host.add_binary_data(file, "textures/copy.png", b"\x89PNG checker"),
                         "textures/checker.png")
        data = ctypes.create_string_buffer(b"0123", 4)
        host.check("zel_host_block_add_binary_data", lamp, "profile", "ies/lamp.ies", data, 4)
        host.check("zel_host_block_add_binary_file", lamp, "cookie", texture, None)
        host.check("zel_host_block_add_binary_link", lamp, "pattern", "textures/checker.png",
                   None)

        # A bad binary link is translated and taken back; a bad link stays.
        self.expect_failure(HOST_EXCEPTION, "System.InvalidOperationException",
                            "zel exception: failed validation: contents for library name "
                            "\"OblisLibrary\" could not find a binary named meshes/table.bin...",
                            "zel_host_block_add_binary_link", lamp, "shape", "meshes/table.bin",
                            "OblisLibrary")
        self.expect_failure(NATIVE_EXCEPTION, "vorn::zel::zel_exception",
                            "zel exception: contents for library name \"FerraneLibrary\" "
                            "could not find a block named walnut...",
                            "zel_host_block_add_link", plate, "veneer", "walnut",
                            "FerraneLibrary")

        # Null strings, and checks that name their failure for the host.
        null = "System.ArgumentNullException"
        self.expect_failure(HOST_EXCEPTION, null, "val is empty or null.",
                            "zel_host_block_add_string", plate, "label", None)
        self.expect_failure(HOST_EXCEPTION, null, "paramName is empty or null.",
                            "zel_host_block_add_int", plate, "", 1)
        self.expect_failure(HOST_EXCEPTION, null, "data is empty.",
                            "zel_host_block_add_binary_data", plate, "p", "h", None, 4)
        self.expect_failure(HOST_EXCEPTION, "System.ArgumentException",
                            "size should be above zero.",
                            "zel_host_file_add_binary_data", file, "h", data, 0,
                            ctypes.byref(ctypes.c_void_p()))
        # The box spelt out: absent fails its check; a null pointer in it
        # passes the check, and the size is checked next.
        for present, name, text in ((0, "System.ArgumentNullException", "data is empty."),
                                    (1, "System.ArgumentException",
                                     "size should be above zero.")):
            self.expect_failure(HOST_EXCEPTION, name, text, "zel_host_block_add_binary_boxed",
                                plate, "p", "h", present, None, 0)
        for present, name, text in ((0, "System.ArgumentNullException", "data is null."),
                                    (1, "System.ArgumentException",
                                     "size should be above zero.")):
            self.expect_failure(HOST_EXCEPTION, name, text, "zel_host_file_add_binary_boxed",
                                file, "h", present, None, 0, ctypes.byref(ctypes.c_void_p()))
        name = ctypes.c_void_p()
        boxed = ctypes.create_string_buffer(b"boxed", 5)
        host.check("zel_host_file_add_binary_boxed", file, "boxed.bin", 1, boxed, 5,
                   ctypes.byref(name))
        self.assertEqual(host.read(name), "boxed.bin")
        self.expect_failure(HOST_EXCEPTION, "System.InvalidOperationException",
                            "Add binary data failed.", "zel_host_file_add_binary_file", file,
                            "gone.bin", os.path.join(self.dir, "gone.bin"),
                            ctypes.byref(ctypes.c_void_p()))
        self.expect_failure(NATIVE_EXCEPTION, "std::invalid_argument",
                            "\"a b\" isn't a valid xml/zel name (no spaces allowed)",
                            "zel_host_file_add_block", file, "a b", "x",
                            ctypes.byref(ctypes.c_void_p()))
        self.expect_failure(HOST_EXCEPTION, null, "file", "zel_host_file_close", None)
        # A failure stays until the next one; a success does not clear it.
        host.check("zel_host_block_add_int", plate, "more", 4)
        self.assertEqual(host.failure()[1], null)

        exists = ctypes.c_int()
        host.check("zel_host_file_block_exists", file, "lamp", ctypes.byref(exists))
        self.assertEqual(exists.value, 1)

        host.check("zel_host_file_close", file)
        host.check("zel_host_file_close", file)
        self.expect_failure(HOST_EXCEPTION, "System.ObjectDisposedException", "ZELBlock",
                            "zel_host_block_add_int", plate, "late", 1)
        host.lib.zel_host_file_free(file)
        self.expect_failure(HOST_EXCEPTION, "System.ObjectDisposedException", "ZELBlock",
                            "zel_host_block_add_int", lamp, "late", 1)
        host.lib.zel_host_block_free(plate)
        host.lib.zel_host_block_free(lamp)

        # The package proves every link but the one that failed validation.
        checked = zel("check", package,
                      "--library", "FerraneLibrary=" + os.path.join(self.libraries, "library.zelc"),
                      "--library", "OblisLibrary=" + os.path.join(self.libraries,
                                                                  "oblis_library.zelc"))
        self.assertEqual(checked.returncode, 1, checked.stdout + checked.stderr)
        self.assertIn("walnut", checked.stdout)
        self.assertNotIn("table.bin", checked.stdout)
        verified = zel("verify", package)
        self.assertEqual(verified.returncode, 0, verified.stdout + verified.stderr)

    def test_freeing_an_open_file_completes_the_package(self):
        package = os.path.join(self.dir, "dropped.zel")
        file, _ = host.create(package, self.libraries)
        block = host.add_block(file, "light", "lamp")
        host.lib.zel_host_block_free(block)
        host.lib.zel_host_file_free(file)
        verified = zel("verify", package)
        self.assertEqual(verified.returncode, 0, verified.stdout + verified.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
