"""kwrender.Context: a render context with its frame and depth buffers."""

from __future__ import annotations

import ctypes
import gc
import inspect
import os
import weakref
from typing import Any, List, Optional, Union

import numpy as np

from . import _checks as chk
from ._native import Frame, MemoryTarget, lib

PathLike = Union[str, "os.PathLike[str]"]


class KwrenderError(RuntimeError):
    """A call of the library failed; `code` is its status code and the
    message carries the library's text for it."""

    def __init__(self, function: str, code: int):
        self.code = code
        self.text = error_text(code)
        super().__init__(f"{function}: {self.text} (code {code})")


def error_text(code: int) -> str:
    """The library's text for a status code ("" for 0)."""
    return lib.kwr_error_text(chk.as_int("code", code)).decode()


def _check(function: str, status: int) -> None:
    if status != 0:
        raise KwrenderError(function, status)


def _address(a: np.ndarray) -> int:
    return a.__array_interface__["data"][0]


class _Memory:
    """The owner of a view into memory the context owns: every array made
    from it (and every view of those) keeps it, and so the context, alive;
    the context refuses to free the memory while one exists."""

    __slots__ = ("__array_interface__", "context", "__weakref__")

    def __init__(self, context: "Context", interface: dict):
        self.__array_interface__ = interface
        self.context = context


class Context:
    """A render context: a frame buffer of `width` x `height` pixels at `bpp`
    bits (8, 16, 24 or 32), with a float depth buffer when `depth` is true,
    drawing on `threads` threads (0: one per core; default KWRENDER_THREADS
    or 1).  A new context is cleared: colour 0, depth 1.0; the current
    colour is then 0xFF000000, depth test on, blending off.

    Colours are ints 0xAARRGGBB.  Coordinates are pixels, row 0 at the top;
    the methods are the library's operations (``triangle3ctf`` is
    ``kwr_triangle3ctf``), and ``triangles``, ``lines`` and ``points`` draw
    whole NumPy arrays in one call.  A failing call raises KwrenderError
    with the library's text; a bad argument raises TypeError or ValueError.
    """

    def __init__(self, width: int, height: int, bpp: int = 32, depth: bool = True, threads: Optional[int] = None):
        self._handle: Optional[int] = None
        self._views: "weakref.WeakSet[_Memory]" = weakref.WeakSet()
        self._texture: Optional[np.ndarray] = None
        self._alpha_map: Optional[np.ndarray] = None
        self._external_depth: Optional[np.ndarray] = None
        self._pending: List[Any] = []  # host memory recorded calls may still read
        handle = lib.kwr_create()
        if not handle:
            raise MemoryError("kwr_create: out of memory")
        self._handle = handle
        if threads is not None:
            self.set_threads(threads)
        self.set_render_bpp(bpp)
        self.zbuffer_enable(depth)
        self.init_buffer(width, height)
        self.set_color(0)
        self.clear()
        self.set_color(0xFF000000)

    # --- lifetime -------------------------------------------------------------
    def close(self) -> None:
        """Frees the context now (also done when it is garbage).  Raises
        while arrays from frame() or depth() are still alive."""
        if self._handle is not None:
            self._no_views("close")
            lib.kwr_destroy(self._handle)
            self._handle = None
            self._pending.clear()
            self._texture = self._alpha_map = self._external_depth = None

    def __del__(self) -> None:
        handle = getattr(self, "_handle", None)
        if handle is not None:
            lib.kwr_destroy(handle)
            self._handle = None

    def __enter__(self) -> "Context":
        return self

    def __exit__(self, *exc: Any) -> None:
        self.close()

    def __repr__(self) -> str:
        if self._handle is None:
            return "<kwrender.Context closed>"
        f = self._frame_struct(flush=False)
        if f is None:
            return "<kwrender.Context without a frame buffer>"
        depth = "depth" if self._has_depth() else "no depth"
        return (
            f"<kwrender.Context {f.width}x{f.height} {f.bits_per_pixel} bpp, {depth}, "
            f"{self.threads} thread{'s' if self.threads != 1 else ''}, colour {self.color:#010x}>"
        )

    @property
    def handle(self) -> Optional[int]:
        """The kwr_context* address, for other bindings of the C interface."""
        return self._handle

    def _no_views(self, what: str) -> None:
        if len(self._views):
            gc.collect()
        if len(self._views):
            raise RuntimeError(
                f"{what}: arrays from frame() or depth() of this context are still alive; delete them first"
            )

    def _flushed(self) -> None:
        self._pending.clear()

    # --- frame buffer and state -------------------------------------------------
    def init_buffer(self, width: int, height: int) -> None:
        """(Re)builds the frame buffer (and depth buffer) at the current depth.
        The frame is not cleared."""
        w, h = chk.as_int("width", width), chk.as_int("height", height)
        self._no_views("init_buffer")
        z = self._external_depth
        if z is not None and z.size < w * h:
            raise ValueError(f"the external depth buffer has {z.size} floats, the frame needs {w * h}")
        _check("kwr_init_buffer", lib.kwr_init_buffer(self._handle, w, h))
        self._flushed()

    def destroy_buffer(self) -> None:
        """Releases the frame buffer; drawing then draws nothing until init_buffer."""
        self._no_views("destroy_buffer")
        _check("kwr_destroy_buffer", lib.kwr_destroy_buffer(self._handle))
        self._flushed()

    def set_render_bpp(self, bpp: int) -> None:
        """Chooses 8, 16, 24 or 32 bits per pixel for the next init_buffer."""
        _check("kwr_set_render_bpp", lib.kwr_set_render_bpp(self._handle, chk.as_int("bpp", bpp)))

    @property
    def last_error(self) -> int:
        """The reason of the last failed init_buffer or set_render_bpp (0 after success)."""
        return lib.kwr_get_last_error(self._handle)

    def set_color(self, argb: int) -> None:
        """Sets the current colour 0xAARRGGBB."""
        _check("kwr_set_color", lib.kwr_set_color(self._handle, chk.as_argb("argb", argb)))

    def set_colorf(self, r: float, g: float, b: float) -> None:
        """Sets the current colour from red, green, blue on a 0..1 scale, alpha 0xFF."""
        _check("kwr_set_colorf", lib.kwr_set_colorf(self._handle, *self._floats(("r", r), ("g", g), ("b", b))))

    def set_color4f(self, r: float, g: float, b: float, a: float) -> None:
        """Sets the current colour from red, green, blue, alpha on a 0..1 scale."""
        args = self._floats(("r", r), ("g", g), ("b", b), ("a", a))
        _check("kwr_set_color4f", lib.kwr_set_color4f(self._handle, *args))

    @property
    def color(self) -> int:
        """The current colour 0xAARRGGBB (assigning sets it)."""
        return lib.kwr_get_color(self._handle)

    @color.setter
    def color(self, argb: int) -> None:
        self.set_color(argb)

    def clear(self) -> None:
        """Fills the frame with the current colour and the depth buffer with the back depth."""
        _check("kwr_clear", lib.kwr_clear(self._handle))

    def zbuffer_enable(self, enable: bool) -> None:
        """Whether the next init_buffer makes a depth buffer and clear() clears it."""
        _check("kwr_zbuffer_enable", lib.kwr_zbuffer_enable(self._handle, 1 if enable else 0))

    def ztest_enable(self, enable: bool) -> None:
        """Switches the depth test of the `3` calls on or off."""
        _check("kwr_ztest_enable", lib.kwr_ztest_enable(self._handle, 1 if enable else 0))

    def alpha_enable(self, enable: bool) -> None:
        """Switches blending on or off."""
        _check("kwr_alpha_enable", lib.kwr_alpha_enable(self._handle, 1 if enable else 0))

    def set_zback_depth(self, z: float) -> None:
        """The depth clear() writes (1.0 by default)."""
        _check("kwr_set_zback_depth", lib.kwr_set_zback_depth(self._handle, chk.as_float("z", z)))

    def set_external_zbuffer(self, zbuffer: Optional[np.ndarray]) -> None:
        """Uses a float32 array of at least width * height values (C order,
        row stride width) as the depth buffer; the context keeps it alive
        while bound.  None goes back to an own buffer at the next init_buffer."""
        self._no_views("set_external_zbuffer")
        if zbuffer is None:
            ptr = None
        else:
            z = chk.array("zbuffer", zbuffer, np.float32, writable=True)
            f = self._frame_struct(flush=False)
            need = f.width * f.height if f is not None else 0
            if z.size < need:
                raise ValueError(f"zbuffer has {z.size} floats, the frame needs {need}")
            ptr = _address(z)
        _check("kwr_set_external_zbuffer", lib.kwr_set_external_zbuffer(self._handle, ptr))
        self._flushed()
        self._external_depth = zbuffer

    def set_texture(self, texels: Optional[np.ndarray]) -> None:
        """Binds texels: uint8 (height, width, 4) blue, green, red, alpha, or
        uint32 (height, width) 0xAARRGGBB; rows may be apart by any stride.
        The context keeps the array alive while bound.  None unbinds."""
        if texels is None:
            args = (None, 0, 0, 0)
        else:
            if isinstance(texels, np.ndarray) and texels.dtype == np.uint32:
                t = chk.rows("texels", texels, np.uint32, (1,))
            else:
                t = chk.rows("texels", texels, np.uint8, (4,))
            args = (_address(t), t.shape[1], t.shape[0], t.strides[0])
        _check("kwr_set_texture", lib.kwr_set_texture(self._handle, *args))
        if self._texture is not None:
            self._pending.append(self._texture)
        self._texture = texels

    def set_alpha_map(self, values: Optional[np.ndarray]) -> None:
        """Binds alpha values: uint8 (height, width), rows at any stride; kept
        alive while bound.  None unbinds."""
        if values is None:
            args = (None, 0, 0, 0)
        else:
            a = chk.rows("values", values, np.uint8, (1,))
            args = (_address(a), a.shape[1], a.shape[0], a.strides[0])
        _check("kwr_set_alpha_map", lib.kwr_set_alpha_map(self._handle, *args))
        if self._alpha_map is not None:
            self._pending.append(self._alpha_map)
        self._alpha_map = values

    def set_threads(self, n: int) -> int:
        """Draws on n threads (0: one per core); returns the count in force."""
        in_force = lib.kwr_set_threads(self._handle, chk.as_int("n", n))
        if self._handle is None:
            _check("kwr_set_threads", 20)
        self._flushed()
        return in_force

    @property
    def threads(self) -> int:
        """The thread count in force."""
        return lib.kwr_get_threads(self._handle)

    def flush(self) -> None:
        """Returns when every recorded call has been drawn."""
        _check("kwr_flush", lib.kwr_flush(self._handle))
        self._flushed()

    # --- reading the frame --------------------------------------------------------
    def _frame_struct(self, flush: bool = True) -> Optional[Frame]:
        f = Frame()
        status = lib.kwr_get_frame(self._handle, ctypes.byref(f))
        if status == 20:
            _check("kwr_get_frame", status)
        if flush:
            self._flushed()
        return f if status == 0 else None

    def _has_depth(self) -> bool:
        return bool(lib.kwr_get_zbuffer(self._handle))

    def _view(self, address: int, shape: tuple, strides: tuple, typestr: str) -> np.ndarray:
        memory = _Memory(
            self, {"version": 3, "shape": shape, "strides": strides, "typestr": typestr, "data": (address, False)}
        )
        self._views.add(memory)
        return np.asarray(memory)

    def frame(self) -> np.ndarray:
        """The frame buffer as a writable NumPy view (no copy), row 0 at the top:
        32 bpp (H, W, 4) uint8 blue, green, red, alpha; 24 bpp (H, W, 3)
        uint8 blue, green, red; 16 bpp (H, W) uint16 X1R5G5B5; 8 bpp (H, W)
        uint8 colour-cube indices (see palette()).  Everything recorded is
        drawn first; with several threads, call it (or flush) again after
        drawing more before reading."""
        if self._handle is None:
            _check("kwr_get_frame", 20)
        f = self._frame_struct()
        if f is None:
            raise KwrenderError("kwr_get_frame", 22)
        bpp, h, w, pitch = f.bits_per_pixel, f.height, f.width, f.pitch
        if bpp in (24, 32):
            c = bpp // 8
            return self._view(f.pixels, (h, w, c), (pitch, c, 1), "|u1")
        if bpp == 16:
            return self._view(f.pixels, (h, w), (pitch, 2), "<u2")
        return self._view(f.pixels, (h, w), (pitch, 1), "|u1")

    def palette(self) -> Optional[np.ndarray]:
        """At 8 bpp a copy of the palette, (256, 4) uint8 blue, green, red, 0; else None."""
        f = self._frame_struct(flush=False)
        if f is None or not f.palette:
            return None
        return np.ctypeslib.as_array(
            ctypes.cast(f.palette, ctypes.POINTER(ctypes.c_uint8)), (f.palette_entries, 4)
        ).copy()

    def depth(self) -> Optional[np.ndarray]:
        """The depth buffer as a writable (H, W) float32 view, or None without one."""
        if self._handle is None:
            _check("kwr_get_zbuffer", 20)
        z = lib.kwr_get_zbuffer(self._handle)
        self._flushed()
        f = self._frame_struct(flush=False)
        if not z or f is None:
            return None
        return self._view(z, (f.height, f.width), (f.width * 4, 4), "<f4")

    def to_rgb(self) -> np.ndarray:
        """A copy of the frame as (H, W, 3) uint8 red, green, blue, converted
        as the frame is presented (16 bpp fields v widen to (v << 3) | (v >> 2),
        8 bpp through the palette)."""
        pixels = self.frame()
        try:
            if pixels.ndim == 3:
                return np.ascontiguousarray(pixels[:, :, 2::-1])
            if pixels.dtype == np.uint16:
                fields = np.stack([(pixels >> s) & 31 for s in (10, 5, 0)], axis=-1).astype(np.uint8)
                return (fields << 3) | (fields >> 2)
            pal = self.palette()
            assert pal is not None
            return np.ascontiguousarray(pal[pixels][:, :, 2::-1])
        finally:
            del pixels

    def render(self, target: Any, x: int = 0, y: int = 0) -> None:
        """Presents the frame 1:1 at (x, y) into `target`, clipped: outside
        Windows a writable uint32 (height, width) array of 0x00RRGGBB pixels
        (rows at any stride); on Windows a device context handle (int)."""
        x, y = chk.as_int("x", x), chk.as_int("y", y)
        if os.name == "nt" and isinstance(target, int):
            _check("kwr_render", lib.kwr_render(self._handle, target, x, y))
        else:
            t = chk.rows("target", target, np.uint32, (1,), writable=True)
            dc = MemoryTarget(t.shape[1], t.shape[0], t.strides[0], _address(t))
            _check("kwr_render", lib.kwr_render(self._handle, ctypes.addressof(dc), x, y))
        self._flushed()

    def save_bmp(self, path: PathLike) -> None:
        """Saves the frame as a .bmp file at its own depth."""
        _check("kwr_save_frame", lib.kwr_save_frame(self._handle, os.fsencode(path)))
        self._flushed()

    # --- batched drawing ------------------------------------------------------------
    def triangles(
        self, xyz: np.ndarray, colors: Optional[np.ndarray] = None, uv: Optional[np.ndarray] = None
    ) -> None:
        """Draws N triangles in one call, the same bytes as N single calls.

        xyz: float32 (3N, 3) or (N, 3, 3) x, y, depth per vertex, or (3N, 2)
        or (N, 3, 2) x, y without depth.  colors: uint32 0xAARRGGBB per
        vertex, (3N,) or (N, 3); without them the current colour is used.
        uv: float32 u, v per vertex, (3N, 2) or (N, 3, 2), textured with the
        bound texture.  The call drawn follows from what is given:
        trianglef, triangle3f, trianglecf, ..., triangle3ctf."""
        pos, n, dims = _vertices(xyz, 3)
        args = [_address(pos)]
        name = "kwr_triangles" + ("3" if dims == 3 else "")
        if colors is not None:
            c = chk.array("colors", colors, np.uint32)
            if c.shape not in ((3 * n,), (n, 3)):
                raise ValueError(f"colors must have shape ({3 * n},) or ({n}, 3) for {n} triangles, got {c.shape}")
            args.append(_address(c))
            name += "c"
        if uv is not None:
            t = chk.array("uv", uv, np.float32)
            if t.shape not in ((3 * n, 2), (n, 3, 2)):
                raise ValueError(f"uv must have shape ({3 * n}, 2) or ({n}, 3, 2) for {n} triangles, got {t.shape}")
            args.append(_address(t))
            name += "t"
        name += "f"
        _check(name, getattr(lib, name)(self._handle, n, *args))

    def lines(self, xyz: np.ndarray) -> None:
        """Draws N lines in one call (linef, or line3f with depth): float32
        (N, 2, 2) or (2N, 2) x, y per end, or (N, 2, 3) or (2N, 3) x, y, depth."""
        pos, n, dims = _vertices(xyz, 2)
        name = "kwr_lines3f" if dims == 3 else "kwr_linesf"
        _check(name, getattr(lib, name)(self._handle, n, _address(pos)))

    def points(self, xy: np.ndarray) -> None:
        """Sets N pixels to the current colour in one call: int32 (N, 2) x, y."""
        p = chk.array("xy", xy, np.int32)
        if p.ndim != 2 or p.shape[1] != 2:
            raise ValueError(f"xy must have shape (N, 2), got {p.shape}")
        _check("kwr_points", lib.kwr_points(self._handle, p.shape[0], _address(p)))

    # --- points, boxes, bitmaps, blits ------------------------------------------------
    def _floats(self, *named: Any) -> List[float]:
        return [chk.as_float(n, v) for n, v in named]

    def _call(self, name: str, kinds: str, values: tuple) -> None:
        # kinds: one letter per value, i = int, f = float, c = colour.
        conv = {"i": chk.as_int, "f": chk.as_float, "c": chk.as_argb}
        args = [conv[k](f"argument {i + 1}", v) for i, (k, v) in enumerate(zip(kinds, values))]
        _check(name, getattr(lib, name)(self._handle, *args))

    def put(self, x: int, y: int) -> None:
        """Sets pixel (x, y) to the current colour."""
        self._call("kwr_put", "ii", (x, y))

    def box(self, x1: int, y1: int, x2: int, y2: int) -> None:
        """Fills the box with corners (x1, y1), (x2, y2), both included."""
        self._call("kwr_box", "iiii", (x1, y1, x2, y2))

    def boxf(self, x1: float, y1: float, x2: float, y2: float) -> None:
        """box with float corners (rounded)."""
        self._call("kwr_boxf", "ffff", (x1, y1, x2, y2))

    def boxfg(self, x1: float, y1: float, x2: float, y2: float) -> None:
        """box with centred float corners."""
        self._call("kwr_boxfg", "ffff", (x1, y1, x2, y2))

    def box3(self, x1: int, y1: int, x2: int, y2: int, z: float) -> None:
        """box drawn where the stored depth is >= z, which is then stored."""
        self._call("kwr_box3", "iiiif", (x1, y1, x2, y2, z))

    def box3f(self, x1: float, y1: float, x2: float, y2: float, z: float) -> None:
        """box3 with float corners (rounded)."""
        self._call("kwr_box3f", "fffff", (x1, y1, x2, y2, z))

    def box3fg(self, x1: float, y1: float, x2: float, y2: float, z: float) -> None:
        """box3 with centred float corners."""
        self._call("kwr_box3fg", "fffff", (x1, y1, x2, y2, z))

    def bitmap1(self, x: int, y: int, bits: np.ndarray) -> None:
        """Draws the set pixels of a (height, width) bool or uint8 mask
        (non-zero = set) in the current colour, top-left corner at (x, y)."""
        if not isinstance(bits, np.ndarray):
            raise TypeError(f"bits must be a NumPy array, got {type(bits).__name__}")
        if bits.dtype not in (np.bool_, np.uint8):
            raise TypeError(f"bits must have dtype bool or uint8, got {bits.dtype}")
        if bits.ndim != 2 or 0 in bits.shape:
            raise ValueError(f"bits must have shape (height, width), got {bits.shape}")
        h, w = bits.shape
        packed = np.ascontiguousarray(np.packbits(bits != 0, axis=1, bitorder="little"))
        self._pending.append(packed)
        x, y = chk.as_int("x", x), chk.as_int("y", y)
        _check("kwr_bitmap1", lib.kwr_bitmap1(self._handle, x, y, chk.as_int("width", w),
                                              chk.as_int("height", h), _address(packed)))

    @staticmethod
    def _blit_source(image: np.ndarray) -> "tuple[np.ndarray, int]":
        src = chk.rows("image", image, np.uint8, (3, 4))
        h, w, c = src.shape
        pitch = (w * c + 3) // 4 * 4
        padded = np.zeros((h, pitch), np.uint8)
        padded[:, : w * c] = src.reshape(h, w * c)
        return padded, c * 8

    def image2d(self, x1: int, y1: int, x2: int, y2: int, image: np.ndarray) -> None:
        """Draws a uint8 (h, w, 3) blue, green, red or (h, w, 4) blue, green,
        red, alpha image scaled (nearest neighbour) into the half-open
        rectangle x1..x2 by y1..y2, clipped."""
        src, bpp = self._blit_source(image)
        self._pending.append(src)
        coords = [chk.as_int(n, v) for n, v in (("x1", x1), ("y1", y1), ("x2", x2), ("y2", y2))]
        _check("kwr_image2d", lib.kwr_image2d(self._handle, *coords, image.shape[1], image.shape[0], bpp,
                                              _address(src)))

    def image2d3(self, x1: int, y1: int, x2: int, y2: int, z: float, image: np.ndarray) -> None:
        """image2d drawn where the stored depth is >= z."""
        src, bpp = self._blit_source(image)
        self._pending.append(src)
        coords = [chk.as_int(n, v) for n, v in (("x1", x1), ("y1", y1), ("x2", x2), ("y2", y2))]
        _check("kwr_image2d3", lib.kwr_image2d3(self._handle, *coords, chk.as_float("z", z), image.shape[1],
                                                image.shape[0], bpp, _address(src)))

    # --- lines --------------------------------------------------------------------------
    def line(self, x1: int, y1: int, x2: int, y2: int) -> None:
        """A line in the current colour between integer ends."""
        self._call("kwr_line", "iiii", (x1, y1, x2, y2))

    def linef(self, x1: float, y1: float, x2: float, y2: float) -> None:
        """line with float ends."""
        self._call("kwr_linef", "ffff", (x1, y1, x2, y2))

    def linefg(self, x1: float, y1: float, x2: float, y2: float) -> None:
        """line with centred float ends."""
        self._call("kwr_linefg", "ffff", (x1, y1, x2, y2))

    def line3(self, x1: int, y1: int, z1: float, x2: int, y2: int, z2: float) -> None:
        """A depth-tested line between integer ends."""
        self._call("kwr_line3", "iifiif", (x1, y1, z1, x2, y2, z2))

    def line3f(self, x1: float, y1: float, z1: float, x2: float, y2: float, z2: float) -> None:
        """line3 with float ends."""
        self._call("kwr_line3f", "ffffff", (x1, y1, z1, x2, y2, z2))

    def line3fg(self, x1: float, y1: float, z1: float, x2: float, y2: float, z2: float) -> None:
        """line3 with centred float ends."""
        self._call("kwr_line3fg", "ffffff", (x1, y1, z1, x2, y2, z2))


def _vertices(xyz: Any, per: int) -> "tuple[np.ndarray, int, int]":
    """The float32 vertices of N primitives of `per` vertices each, shaped
    (per * N, 2|3) or (N, per, 2|3): the array, N, and 2 or 3 values a vertex."""
    pos = chk.array("xyz", xyz, np.float32)
    if pos.ndim == 3 and pos.shape[1] == per and pos.shape[2] in (2, 3):
        return pos, pos.shape[0], pos.shape[2]
    if pos.ndim == 2 and pos.shape[1] in (2, 3) and pos.shape[0] % per == 0:
        return pos, pos.shape[0] // per, pos.shape[1]
    raise ValueError(f"xyz must have shape ({per}N, 2|3) or (N, {per}, 2|3), got {pos.shape}")


def _triangle_method(variant: str):
    from ._native import triangle_vertex_fields

    fields = triangle_vertex_fields(variant)
    kinds = "".join("c" if n == "c" else ("i" if t is ctypes.c_int else "f") for n, t in fields) * 3
    names = [f"{n}{k}" for k in (1, 2, 3) for n, _ in fields]
    c_name = "kwr_triangle" + variant

    def method(self: Context, *args: Any) -> None:
        if len(args) != len(kinds):
            raise TypeError(f"triangle{variant} takes {len(kinds)} arguments ({', '.join(names)}), got {len(args)}")
        self._call(c_name, kinds, args)

    what = {"": "flat, current colour", "3": "flat, depth-tested", "c": "Gouraud (vertex colours)",
            "3c": "Gouraud, depth-tested", "t": "textured, tinted by the current colour",
            "3t": "textured, depth-tested", "ct": "textured, tinted by vertex colours",
            "3ct": "textured, vertex colours, depth-tested"}
    kind = variant[:-2] if variant.endswith("fg") else variant[:-1] if variant.endswith("f") else variant
    coords = "centred float" if variant.endswith("fg") else "float" if variant.endswith("f") else "integer"
    method.__name__ = method.__qualname__ = "triangle" + variant
    # The signature help() and editors show: positional ints, floats and colours.
    hints = {n: (float if k == "f" else int) for n, k in zip(names, kinds)}
    method.__annotations__ = dict(hints, **{"return": None})
    method.__signature__ = inspect.Signature(  # type: ignore[attr-defined]
        [inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY)]
        + [inspect.Parameter(n, inspect.Parameter.POSITIONAL_ONLY, annotation=t) for n, t in hints.items()],
        return_annotation=None,
    )
    method.__doc__ = (f"triangle{variant}({', '.join(names)}): a {what[kind]} triangle with {coords} x, y "
                      f"(kwr_triangle{variant}).")
    return method


def _add_triangle_methods() -> None:
    from ._native import triangle_variants

    for variant in triangle_variants():
        setattr(Context, "triangle" + variant, _triangle_method(variant))


_add_triangle_methods()
