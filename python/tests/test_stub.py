"""The stub file names exactly what the module has, so editors see no call
that is not there and miss none that is."""
import ast
import pathlib

import zel

STUB = pathlib.Path(zel.__file__).with_name("__init__.pyi")


def public(names):
    return {name for name in names if not name.startswith("_")}


def test_stub_declares_every_public_name_and_member():
    tree = ast.parse(STUB.read_text())
    declared = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            members = set()
            for item in node.body:
                if isinstance(item, ast.FunctionDef):
                    members.add(item.name)
                elif isinstance(item, ast.AnnAssign):
                    members.add(item.target.id)
            declared[node.name] = public(members)
        elif isinstance(node, ast.FunctionDef):
            declared[node.name] = None
        elif isinstance(node, ast.AnnAssign):
            declared[node.target.id] = None
    assert public(declared) == set(zel.__all__)
    for name, members in declared.items():
        value = getattr(zel, name)
        if members is None or issubclass(value, BaseException):
            continue
        assert members == public(vars(value)), name
