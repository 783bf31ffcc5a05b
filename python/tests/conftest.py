"""The package from this source tree, over the library of a build tree:
KWRENDER_LIBRARY if set, else build/native/libkwrender.so.  The C++
programs the tests compare with come from KWRENDER_BUILD (build/native)."""

import os
import sys

import pytest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.environ.get("KWRENDER_BUILD", os.path.join(ROOT, "build", "native"))
os.environ.setdefault("KWRENDER_LIBRARY", os.path.join(BUILD, "libkwrender.so"))
sys.path.insert(0, os.path.join(ROOT, "python"))


@pytest.fixture
def build_dir() -> str:
    return BUILD
