"""Picture files to and from NumPy arrays, through the library's loader and
writers: bitmap files (.bmp) everywhere, PNG files where the library was
built with libpng (png_supported()).  Every save writes a temporary file
beside the target and moves it over the target when complete, so a failed
save (OSError, with the system's reason) leaves the old file whole."""

from __future__ import annotations

import ctypes
import os
from typing import Union

import numpy as np

from . import _checks as chk
from ._native import Frame, lib
from .context import Context, KwrenderError, PathLike, _check_save

_CHANNELS = {32: 4, 24: 3}


def png_supported() -> bool:
    """Whether this library reads and writes PNG files (it was built with libpng)."""
    return bool(lib.kwr_png_supported())


def _save_png_image(image: int, path: PathLike) -> None:
    if not png_supported():
        raise KwrenderError("kwr_image_save_png (this library was built without libpng: it writes .bmp only)", 7)
    _check_save("kwr_image_save_png", lib.kwr_image_save_png(image, os.fsencode(path)), path)


def load_image(source: Union[PathLike, bytes, bytearray, memoryview], bpp: int = 32) -> np.ndarray:
    """Loads a picture file (a path, or the file's bytes): a .bmp file of
    any kind the library reads, or a PNG file of any colour type where the
    library has libpng; returns its pixels, row 0 at the top, converted to
    `bpp` bits: 32 (default) uint8 (H, W, 4) blue, green, red, alpha ready
    for Context.set_texture (alpha 255 unless the file has an alpha
    channel); 24 uint8 (H, W, 3) blue, green, red; 16 uint16 (H, W)
    X1R5G5B5; 8 uint8 (H, W) colour-cube indices as a context's 8 bpp frame.
    Raises KwrenderError with the library's text ("open file", "invalid
    image", ...)."""
    bpp = chk.as_int("bpp", bpp)
    if bpp not in (8, 16, 24, 32):
        raise ValueError(f"bpp must be 8, 16, 24 or 32, got {bpp}")
    image = lib.kwr_image_create()
    if not image:
        raise MemoryError("kwr_image_create: out of memory")
    try:
        if isinstance(source, (bytes, bytearray, memoryview)):
            data = bytes(source)
            status = lib.kwr_image_load_memory(image, data, len(data))
            what = "kwr_image_load_memory"
        elif isinstance(source, (str, os.PathLike)):
            status = lib.kwr_image_load(image, os.fsencode(source))
            what = f"kwr_image_load({os.fspath(source)!r})"
        else:
            raise TypeError(f"source must be a path or bytes, got {type(source).__name__}")
        if status != 0:
            raise KwrenderError(what, status)
        if bpp == 32:
            status, what = lib.kwr_image_make_texture(image), "kwr_image_make_texture"
        else:
            status, what = lib.kwr_image_convert(image, bpp), "kwr_image_convert"
        if status != 0:
            raise KwrenderError(what, status)
        f = Frame()
        status = lib.kwr_image_get(image, ctypes.byref(f))
        if status != 0:
            raise KwrenderError("kwr_image_get", status)
        row = f.width * bpp // 8
        out = np.empty((f.height, row), np.uint8)
        for y in range(f.height):
            ctypes.memmove(out[y].ctypes.data, f.pixels + y * f.pitch, row)
    finally:
        lib.kwr_image_destroy(image)
    if bpp in _CHANNELS:
        return out.reshape(f.height, f.width, _CHANNELS[bpp])
    return out.view(np.uint16) if bpp == 16 else out


load_bmp = load_image
"""load_image under its first name."""


def _frame_of(pixels: np.ndarray) -> Context:
    """A context whose frame holds `pixels`, at the depth their layout gives."""
    if not isinstance(pixels, np.ndarray):
        raise TypeError(f"pixels must be a NumPy array, got {type(pixels).__name__}")
    if pixels.ndim == 3 and pixels.dtype == np.uint8 and pixels.shape[2] in (3, 4):
        bpp = pixels.shape[2] * 8
    elif pixels.ndim == 2 and pixels.dtype in (np.uint8, np.uint16):
        bpp = pixels.dtype.itemsize * 8
    else:
        raise ValueError(
            f"pixels must be uint8 (H, W, 4), uint8 (H, W, 3), uint16 (H, W) or uint8 (H, W); "
            f"got {pixels.dtype} {pixels.shape}"
        )
    if 0 in pixels.shape:
        raise ValueError(f"pixels is empty ({pixels.shape})")
    ctx = Context(pixels.shape[1], pixels.shape[0], bpp=bpp, depth=False)
    frame = ctx.frame()
    frame[...] = pixels
    del frame
    return ctx


def save_bmp(path: PathLike, pixels: np.ndarray) -> None:
    """Saves pixels as an uncompressed .bmp file at the depth their layout
    gives: uint8 (H, W, 4) blue, green, red, alpha (32 bits); uint8 (H, W, 3)
    blue, green, red (24); uint16 (H, W) X1R5G5B5 (16); uint8 (H, W)
    colour-cube indices (8, with the cube's palette).  Row 0 is the top."""
    with _frame_of(pixels) as ctx:
        ctx.save_bmp(path)


def save_png(path: PathLike, pixels: np.ndarray) -> None:
    """Saves pixels, laid out as for save_bmp, as a PNG file: (H, W, 4)
    as RGBA, every other layout as RGB of its colours.  Needs a library with
    libpng (png_supported())."""
    with _frame_of(pixels) as ctx:
        ctx.save_png(path)
