"""Scene packages from Python.

zel.open(path) reads a package without copying its bytes, zel.Writer(path)
writes one, zel.Resolver follows links across packages, and Package.verify()
and zel.check() give the checks of the zel tool as reports.
"""
from . import _zel
from ._zel import *  # noqa: F401,F403

__all__ = [name for name in dir(_zel) if not name.startswith("_")]

# The classes are the package's own to help() and to tracebacks.
for _name in __all__:
    _value = getattr(_zel, _name)
    if isinstance(_value, type) and _value.__module__ == "zel._zel":
        _value.__module__ = __name__
del _name, _value
