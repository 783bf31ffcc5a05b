"""Finds the kwrender shared library and declares its C interface for ctypes.

The library is searched for in this order:

1. the file named by the environment variable ``KWRENDER_LIBRARY``;
2. the copy inside this package (``libkwrender.so``, ``kwrender.dll`` or
   ``libkwrender.dylib``), which ``python -m pip install .`` builds and
   puts there;
3. the system loader (``ldconfig``'s cache, ``LD_LIBRARY_PATH``, ``PATH`` on
   Windows), e.g. after ``cmake --install`` into ``/usr/local``.
"""

from __future__ import annotations

import ctypes
import ctypes.util
import os
import sys
from typing import Dict, List, Optional, Tuple

from ._calls import SIGNATURES

_HERE = os.path.dirname(os.path.abspath(__file__))


class Frame(ctypes.Structure):
    """kwr_frame: a frame buffer or an image as it lies in memory."""

    _fields_ = [
        ("width", ctypes.c_int),
        ("height", ctypes.c_int),
        ("bits_per_pixel", ctypes.c_int),
        ("pitch", ctypes.c_int),
        ("pixels", ctypes.c_void_p),
        ("palette", ctypes.c_void_p),
        ("palette_entries", ctypes.c_int),
    ]


class MemoryTarget(ctypes.Structure):
    """kwr_memory_target: host pixels 0x00RRGGBB the frame is presented into."""

    _fields_ = [
        ("width", ctypes.c_int),
        ("height", ctypes.c_int),
        ("pitch", ctypes.c_int),
        ("pixels", ctypes.c_void_p),
    ]


def _candidates() -> List[str]:
    found: List[str] = []
    env = os.environ.get("KWRENDER_LIBRARY")
    if env:
        found.append(env)
    for name in ("libkwrender.so", "kwrender.dll", "libkwrender.dylib"):
        if os.path.exists(os.path.join(_HERE, name)):
            found.append(os.path.join(_HERE, name))
    system = ctypes.util.find_library("kwrender")
    if system:
        found.append(system)
    found.append("kwrender.dll" if sys.platform == "win32" else "libkwrender.so.0")
    return found


def _load() -> Tuple[ctypes.CDLL, str]:
    errors = []
    env = os.environ.get("KWRENDER_LIBRARY")
    for path in _candidates():
        try:
            # use_errno: a failed save reports the system's reason.
            return ctypes.CDLL(path, use_errno=True), path
        except OSError as e:
            if env and path == env:
                # An explicit choice that does not load is an error, not a
                # reason to take another library silently.
                raise ImportError(f"KWRENDER_LIBRARY={env!r} does not load: {e}") from e
            errors.append(f"{path}: {e}")
    raise ImportError(
        "the kwrender shared library was not found: set KWRENDER_LIBRARY to its path, copy it next to the "
        "kwrender package (python -m pip install . from the source tree builds it there), or install it where "
        "the system loader looks (" + "; ".join(errors) + ")"
    )


lib, library_path = _load()

# The ctypes type of each C type the table of calls uses: handles and
# memory are plain addresses.
_CTYPES: Dict[str, Optional[type]] = {
    "void": None,
    "int": ctypes.c_int,
    "float": ctypes.c_float,
    "uint32_t": ctypes.c_uint32,
    "size_t": ctypes.c_size_t,
    "const char*": ctypes.c_char_p,
    "kwr_frame*": ctypes.POINTER(Frame),
}


def _ctype(name: str) -> Optional[type]:
    if name in _CTYPES:
        return _CTYPES[name]
    if name.endswith("*"):
        return ctypes.c_void_p
    raise TypeError(f"no ctypes type for the C type {name!r}")


for _name, (_res, _args) in SIGNATURES.items():
    _fn = getattr(lib, _name)
    _fn.restype = _ctype(_res)
    _fn.argtypes = [_ctype(a) for a in _args]
