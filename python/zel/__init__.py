"""Scene packages from Python.

zel.open(path) reads a package without copying its bytes, zel.Writer(path)
writes one, zel.Resolver follows links across packages, and Package.verify()
and zel.check() give the checks of the zel tool as reports.
"""
from ._zel import *  # noqa: F401,F403
