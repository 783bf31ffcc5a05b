"""kwrender: an exact CPU software rasteriser, from Python.

    import numpy as np, kwrender
    ctx = kwrender.Context(320, 240)              # 32 bpp, depth buffer, cleared opaque black
    xyz = np.array([[20, 220, .5], [300, 220, .5], [160, 20, .5]], np.float32)
    ctx.triangles(xyz, colors=np.array([0xFFFF4040, 0xFF40FF40, 0xFF4060FF], np.uint32))
    rgb = ctx.to_rgb()                            # (240, 320, 3) uint8
    ctx.save_png("triangle.png")                  # or show ctx in a notebook

Every drawing call gives the same bytes on every machine.  The package calls
the library's C interface through ctypes; the library is built into the
package by ``python -m pip install .`` (see kwrender._native for where else
it looks: KWRENDER_LIBRARY, the system loader).
"""

from ._native import library_path, lib as _lib
from . import camera
from .context import (CULL_BACK, CULL_FRONT, CULL_NONE, FILTER_BILINEAR, FILTER_NEAREST, Context, KwrenderError,
                      error_text)
from .image import load_bmp, load_image, png_supported, save_bmp, save_png

__all__ = ["Context", "camera", "CULL_NONE", "CULL_BACK", "CULL_FRONT", "FILTER_NEAREST", "FILTER_BILINEAR", "KwrenderError", "error_text", "load_bmp", "load_image", "save_bmp", "save_png",
           "png_supported", "version", "simd_level", "library_path", "__version__"]


def version() -> str:
    """The library's version, "major.minor.patch"."""
    return _lib.kwr_version_string().decode()


def simd_level() -> str:
    """The instruction-set level the library draws with (process-wide)."""
    return _lib.kwr_get_simd_level().decode()


__version__ = version()
