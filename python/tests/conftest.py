"""The package under test: the installed one when KWRENDER_TEST_INSTALLED is
set (tools/python-test.sh installs it into a fresh virtual environment and
unsets every variable that would point elsewhere); otherwise this source
tree's, over the library of a build tree (KWRENDER_LIBRARY if set, else
build/native/libkwrender.so).  The C++ programs the tests compare with come
from KWRENDER_BUILD (build/native)."""

import os
import sys

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.environ.get("KWRENDER_BUILD", os.path.join(ROOT, "build", "native"))
INSTALLED = bool(os.environ.get("KWRENDER_TEST_INSTALLED"))
if not INSTALLED:
    os.environ.setdefault("KWRENDER_LIBRARY", os.path.join(BUILD, "libkwrender.so"))
    sys.path.insert(0, os.path.join(ROOT, "python"))


def pytest_report_header(config):
    import kwrender

    return f"kwrender {kwrender.__version__} from {kwrender.__file__}, library {kwrender.library_path}"


@pytest.fixture
def build_dir() -> str:
    return BUILD
