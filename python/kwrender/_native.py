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

_P = ctypes.c_void_p  # a handle or a pointer to memory
_I = ctypes.c_int
_F = ctypes.c_float
_C = ctypes.c_uint32
_Z = ctypes.c_size_t

# name -> (result type, argument types); drawing calls return an int status.
_SIGNATURES: Dict[str, Tuple[Optional[type], List[type]]] = {
    "kwr_version": (_C, []),
    "kwr_version_string": (ctypes.c_char_p, []),
    "kwr_error_text": (ctypes.c_char_p, [_I]),
    "kwr_get_simd_level": (ctypes.c_char_p, []),
    "kwr_create": (_P, []),
    "kwr_destroy": (None, [_P]),
    "kwr_init_buffer": (_I, [_P, _I, _I]),
    "kwr_destroy_buffer": (_I, [_P]),
    "kwr_set_render_bpp": (_I, [_P, _I]),
    "kwr_get_last_error": (_I, [_P]),
    "kwr_set_color": (_I, [_P, _C]),
    "kwr_set_colorf": (_I, [_P, _F, _F, _F]),
    "kwr_set_color4f": (_I, [_P, _F, _F, _F, _F]),
    "kwr_get_color": (_C, [_P]),
    "kwr_clear": (_I, [_P]),
    "kwr_zbuffer_enable": (_I, [_P, _I]),
    "kwr_ztest_enable": (_I, [_P, _I]),
    "kwr_alpha_enable": (_I, [_P, _I]),
    "kwr_set_external_zbuffer": (_I, [_P, _P]),
    "kwr_set_zback_depth": (_I, [_P, _F]),
    "kwr_get_zbuffer": (_P, [_P]),
    "kwr_set_texture": (_I, [_P, _P, _I, _I, _I]),
    "kwr_set_alpha_map": (_I, [_P, _P, _I, _I, _I]),
    "kwr_get_frame": (_I, [_P, ctypes.POINTER(Frame)]),
    "kwr_render": (_I, [_P, _P, _I, _I]),
    "kwr_set_threads": (_I, [_P, _I]),
    "kwr_get_threads": (_I, [_P]),
    "kwr_flush": (_I, [_P]),
    "kwr_put": (_I, [_P, _I, _I]),
    "kwr_box": (_I, [_P, _I, _I, _I, _I]),
    "kwr_boxf": (_I, [_P, _F, _F, _F, _F]),
    "kwr_boxfg": (_I, [_P, _F, _F, _F, _F]),
    "kwr_box3": (_I, [_P, _I, _I, _I, _I, _F]),
    "kwr_box3f": (_I, [_P, _F, _F, _F, _F, _F]),
    "kwr_box3fg": (_I, [_P, _F, _F, _F, _F, _F]),
    "kwr_bitmap1": (_I, [_P, _I, _I, _I, _I, _P]),
    "kwr_image2d": (_I, [_P, _I, _I, _I, _I, _I, _I, _I, _P]),
    "kwr_image2d3": (_I, [_P, _I, _I, _I, _I, _F, _I, _I, _I, _P]),
    "kwr_line": (_I, [_P, _I, _I, _I, _I]),
    "kwr_linef": (_I, [_P, _F, _F, _F, _F]),
    "kwr_linefg": (_I, [_P, _F, _F, _F, _F]),
    "kwr_line3": (_I, [_P, _I, _I, _F, _I, _I, _F]),
    "kwr_line3f": (_I, [_P, _F, _F, _F, _F, _F, _F]),
    "kwr_line3fg": (_I, [_P, _F, _F, _F, _F, _F, _F]),
    "kwr_trianglesf": (_I, [_P, _Z, _P]),
    "kwr_triangles3f": (_I, [_P, _Z, _P]),
    "kwr_trianglescf": (_I, [_P, _Z, _P, _P]),
    "kwr_triangles3cf": (_I, [_P, _Z, _P, _P]),
    "kwr_trianglestf": (_I, [_P, _Z, _P, _P]),
    "kwr_triangles3tf": (_I, [_P, _Z, _P, _P]),
    "kwr_trianglesctf": (_I, [_P, _Z, _P, _P, _P]),
    "kwr_triangles3ctf": (_I, [_P, _Z, _P, _P, _P]),
    "kwr_triangles_clip": (_I, [_P, _I, _P, _P, _P]),
    "kwr_triangles_clip_indexed": (_I, [_P, _I, _P, _P, _P, _I, _P]),
    "kwr_set_cull": (_I, [_P, _I]),
    "kwr_set_texture_filter": (_I, [_P, _I]),
    "kwr_linesf": (_I, [_P, _Z, _P]),
    "kwr_lines3f": (_I, [_P, _Z, _P]),
    "kwr_points": (_I, [_P, _Z, _P]),
    "kwr_image_create": (_P, []),
    "kwr_image_destroy": (None, [_P]),
    "kwr_image_load": (_I, [_P, ctypes.c_char_p]),
    "kwr_image_load_memory": (_I, [_P, ctypes.c_char_p, _Z]),
    "kwr_image_save": (_I, [_P, ctypes.c_char_p]),
    "kwr_image_convert": (_I, [_P, _I]),
    "kwr_image_resize": (_I, [_P, _I, _I]),
    "kwr_image_make_texture": (_I, [_P]),
    "kwr_image_make_alpha_map": (_I, [_P, _I]),
    "kwr_image_from_frame": (_I, [_P, _P]),
    "kwr_image_get": (_I, [_P, ctypes.POINTER(Frame)]),
    "kwr_save_frame": (_I, [_P, ctypes.c_char_p]),
    "kwr_image_save_png": (_I, [_P, ctypes.c_char_p]),
    "kwr_png_supported": (_I, []),
}


def triangle_variants() -> List[str]:
    """The 24 single-triangle suffixes: flat, 3, c, 3c, t, 3t, ct, 3ct, each
    with integer (no f), float (f) and centred float (fg) coordinates."""
    kinds = ["", "3", "c", "3c", "t", "3t", "ct", "3ct"]
    return [k + form for form in ("", "f", "fg") for k in kinds]


def triangle_vertex_fields(variant: str) -> List[Tuple[str, type]]:
    """The per-vertex arguments of kwr_triangle<variant>: (name, ctypes type)."""
    kind = variant.rstrip("fg") if variant.endswith(("f", "fg")) else variant
    coord = _I if variant == kind else _F
    fields: List[Tuple[str, type]] = [("x", coord), ("y", coord)]
    if "3" in kind:
        fields.append(("z", _F))
    if "c" in kind:
        fields.append(("c", _C))
    if "t" in kind:
        fields += [("u", _F), ("v", _F)]
    return fields


for _variant in triangle_variants():
    _SIGNATURES["kwr_triangle" + _variant] = (_I, [_P] + [t for _, t in triangle_vertex_fields(_variant)] * 3)

for _name, (_res, _args) in _SIGNATURES.items():
    _fn = getattr(lib, _name)
    _fn.restype = _res
    _fn.argtypes = _args
