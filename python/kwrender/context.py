"""kwrender.Context: a render context with its frame and depth buffers."""

from __future__ import annotations

import ctypes
import errno as _errno
import gc
import inspect
import os
import tempfile
import weakref
from typing import Any, List, Optional, Tuple, Union

import numpy as np

from . import _checks as chk
from . import _calls as codes
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




def _check_save(function: str, status: int, path: Any) -> None:
    """A failed save: OSError with the system's reason when the file could
    not be created or written (the file that was there is then unchanged),
    else KwrenderError."""
    if status in (codes.KWR_IMAGE_OPEN_FILE, codes.KWR_IMAGE_WRITE_FILE):
        code = ctypes.get_errno() or _errno.EIO
        raise OSError(code, f"{function}: {error_text(status)}: {os.strerror(code)} "
                            "(the file that was there, if any, is unchanged)", os.fspath(path))
    _check(function, status)


# Culling modes and texture filters (Context.cull, Context.texture_filter).
CULL_NONE, CULL_BACK, CULL_FRONT = codes.KWR_CULL_NONE, codes.KWR_CULL_BACK, codes.KWR_CULL_FRONT
FILTER_NEAREST, FILTER_BILINEAR = codes.KWR_FILTER_NEAREST, codes.KWR_FILTER_BILINEAR


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
    or 1).  A new context is cleared as clear() clears: every pixel the
    current colour, opaque black 0xFF000000, every depth 1.0; the depth test
    is on, blending off.

    Colours are ints 0xAARRGGBB.  Coordinates are pixels, row 0 at the top;
    the methods are the library's operations (``triangle3ctf`` is
    ``kwr_triangle3ctf``), and ``triangles``, ``lines`` and ``points`` draw
    whole NumPy arrays in one call.  Textured calls multiply each texel by
    the current colour (or by the vertex colours of the ``ct`` calls): set
    the colour to 0xFFFFFFFF to draw the texels as they are.

    Arrays must have the documented dtype and be C-contiguous; with
    ``convert=True`` (here, or per call) other arrays and lists are converted
    as ``np.ascontiguousarray(a, dtype)`` does, with one copy at most, and
    integers out of range are refused.

    Arrays the context reads after the call that takes them are never read
    from your memory: textures and alpha maps are copied when bound, bitmaps
    and images when drawn, and an external depth buffer is made read-only
    while bound.  So a program gives the same bytes at every thread count
    whatever it does to its arrays afterwards.

    A failing call raises KwrenderError with the library's text; a bad
    argument raises TypeError or ValueError; any call on a closed context
    raises ValueError.  ``with Context(...) as ctx:`` closes it at the end.
    """

    def __init__(self, width: int, height: int, bpp: int = 32, depth: bool = True, threads: Optional[int] = None,
                 convert: bool = False):
        self._raw: Optional[int] = None
        self._views: "weakref.WeakSet[_Memory]" = weakref.WeakSet()
        self._texture: Optional[np.ndarray] = None
        self._alpha_map: Optional[np.ndarray] = None
        self._external_depth: Optional[np.ndarray] = None
        self._pending: List[Any] = []  # copies of host memory recorded calls may still read
        self._ztest, self._alpha, self._zbuffer, self._zback = True, False, bool(depth), 1.0
        self.convert = bool(convert)
        """Whether array arguments are converted when they have another dtype
        or layout (default False: they raise TypeError or ValueError)."""
        handle = lib.kwr_create()
        if not handle:
            raise MemoryError("kwr_create: out of memory")
        self._raw = handle
        if threads is not None:
            self.set_threads(threads)
        self.set_render_bpp(bpp)
        self.zbuffer_enable(depth)
        self.init_buffer(width, height)
        self.set_color(0xFF000000)
        self.clear()

    # --- lifetime -------------------------------------------------------------
    @property
    def _handle(self) -> int:
        if self._raw is None or self._closed:
            raise ValueError("operation on a closed kwrender.Context")
        return self._raw

    _closed = False

    def close(self) -> None:
        """Closes the context: every later call raises ValueError.  Its memory
        is freed now, or, while arrays from frame() or depth() are alive,
        when the last of them goes.  Never raises; closing twice is harmless."""
        if self._closed or self._raw is None:
            self._closed = True
            return
        lib.kwr_flush(self._raw)  # nothing recorded reads the copies after this
        self._closed = True
        self._release_external_depth()
        self._pending.clear()
        self._texture = self._alpha_map = None
        if len(self._views):
            gc.collect()
        if not len(self._views):
            self._destroy()

    def _destroy(self) -> None:
        handle, self._raw = self._raw, None
        if handle is not None:
            lib.kwr_destroy(handle)

    def __del__(self) -> None:
        if getattr(self, "_raw", None) is not None:
            self._release_external_depth()
            self._destroy()

    def __enter__(self) -> "Context":
        return self

    def __exit__(self, *exc: Any) -> None:
        self.close()

    def __repr__(self) -> str:
        if self._closed or self._raw is None:
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
    def closed(self) -> bool:
        """True after close() (or the end of a with block)."""
        return self._closed

    @property
    def handle(self) -> Optional[int]:
        """The kwr_context* address, for other bindings of the C interface (None when closed)."""
        return None if self._closed else self._raw

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

    @property
    def color(self) -> int:
        """The current colour 0xAARRGGBB (assigning sets it)."""
        return lib.kwr_get_color(self._handle)

    @color.setter
    def color(self, argb: int) -> None:
        self.set_color(argb)

    def zbuffer_enable(self, enable: bool) -> None:
        """Whether the next init_buffer makes a depth buffer and clear() clears it."""
        _check("kwr_zbuffer_enable", lib.kwr_zbuffer_enable(self._handle, 1 if enable else 0))
        self._zbuffer = bool(enable)

    def ztest_enable(self, enable: bool) -> None:
        """Switches the depth test of the `3` calls on or off."""
        _check("kwr_ztest_enable", lib.kwr_ztest_enable(self._handle, 1 if enable else 0))
        self._ztest = bool(enable)

    def alpha_enable(self, enable: bool) -> None:
        """Switches blending on or off."""
        _check("kwr_alpha_enable", lib.kwr_alpha_enable(self._handle, 1 if enable else 0))
        self._alpha = bool(enable)

    def set_zback_depth(self, z: float) -> None:
        """The depth clear() writes (1.0 by default)."""
        value = chk.as_float("z", z)
        _check("kwr_set_zback_depth", lib.kwr_set_zback_depth(self._handle, value))
        self._zback = float(np.float32(value))

    # The switches as properties: reading gives what was last set here.
    @property
    def zbuffer(self) -> bool:
        """Whether init_buffer makes a depth buffer (zbuffer_enable)."""
        self._handle
        return self._zbuffer

    @zbuffer.setter
    def zbuffer(self, enable: bool) -> None:
        self.zbuffer_enable(enable)

    @property
    def ztest(self) -> bool:
        """Whether the `3` calls test and store depth (ztest_enable)."""
        self._handle
        return self._ztest

    @ztest.setter
    def ztest(self, enable: bool) -> None:
        self.ztest_enable(enable)

    @property
    def alpha(self) -> bool:
        """Whether drawing blends with the colour's alpha (alpha_enable)."""
        self._handle
        return self._alpha

    @alpha.setter
    def alpha(self, enable: bool) -> None:
        self.alpha_enable(enable)

    @property
    def zback_depth(self) -> float:
        """The depth clear() writes (set_zback_depth)."""
        self._handle
        return self._zback

    @zback_depth.setter
    def zback_depth(self, z: float) -> None:
        self.set_zback_depth(z)

    # The frame's size and format.
    @property
    def width(self) -> int:
        """The frame's width in pixels (0 without a frame buffer)."""
        f = self._frame_struct(flush=False)
        return f.width if f is not None else 0

    @property
    def height(self) -> int:
        """The frame's height in pixels (0 without a frame buffer)."""
        f = self._frame_struct(flush=False)
        return f.height if f is not None else 0

    @property
    def bpp(self) -> int:
        """The frame's bits per pixel (0 without a frame buffer)."""
        f = self._frame_struct(flush=False)
        return f.bits_per_pixel if f is not None else 0

    @property
    def shape(self) -> Tuple[int, ...]:
        """The shape of frame(): (height, width, 4 or 3) at 32 or 24 bpp, (height, width) at 16 and 8."""
        f = self._frame_struct(flush=False)
        if f is None:
            return (0, 0)
        if f.bits_per_pixel in (24, 32):
            return (f.height, f.width, f.bits_per_pixel // 8)
        return (f.height, f.width)

    def set_external_zbuffer(self, zbuffer: Optional[np.ndarray]) -> None:
        """Uses a writable float32 array of at least width * height values (C
        order, row stride width) as the depth buffer.  While bound, the
        context may read and write it at any later drawing call, so the array
        is made read-only (its own flag; other views of the memory are not
        changed) and writable again when unbound: read it through depth()
        or after flush(), change it through the context (clear()).  None
        goes back to an own buffer at the next init_buffer."""
        if zbuffer is not None and zbuffer is self._external_depth:
            self._handle
            return  # bound already
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
        self.flush()
        self._release_external_depth()
        if zbuffer is not None:
            zbuffer.flags.writeable = False
            self._external_depth = zbuffer

    def _release_external_depth(self) -> None:
        z, self._external_depth = self._external_depth, None
        if z is not None:
            z.flags.writeable = True

    def set_texture(self, texels: Optional[np.ndarray]) -> None:
        """Binds a copy of texels: uint8 (height, width, 4) blue, green, red,
        alpha, or uint32 (height, width) 0xAARRGGBB; rows may be apart by any
        stride.  Textured calls multiply each texel by the current colour (or
        the vertex colours).  The array may be changed or freed after the
        call: the context draws with the texels as they were.  None unbinds."""
        copy = None
        if texels is None:
            args = (None, 0, 0, 0)
        else:
            if isinstance(texels, np.ndarray) and texels.dtype == np.uint32:
                t = chk.rows("texels", texels, np.uint32, (1,))
            else:
                t = chk.rows("texels", texels, np.uint8, (4,))
            copy = np.array(t, order="C", copy=True)
            args = (_address(copy), copy.shape[1], copy.shape[0], copy.strides[0])
        _check("kwr_set_texture", lib.kwr_set_texture(self._handle, *args))
        if self._texture is not None:
            self._pending.append(self._texture)
        self._texture = copy

    def set_alpha_map(self, values: Optional[np.ndarray]) -> None:
        """Binds a copy of alpha values: uint8 (height, width), rows at any
        stride; the array may be changed or freed after the call.  None unbinds."""
        copy = None
        if values is None:
            args = (None, 0, 0, 0)
        else:
            a = chk.rows("values", values, np.uint8, (1,))
            copy = np.array(a, order="C", copy=True)
            args = (_address(copy), copy.shape[1], copy.shape[0], copy.strides[0])
        _check("kwr_set_alpha_map", lib.kwr_set_alpha_map(self._handle, *args))
        if self._alpha_map is not None:
            self._pending.append(self._alpha_map)
        self._alpha_map = copy

    def set_threads(self, n: int) -> int:
        """Draws on n threads (0: one per core); returns the count in force.
        Every count gives the same bytes."""
        in_force = lib.kwr_set_threads(self._handle, chk.as_int("n", n))
        self._flushed()
        return in_force

    @property
    def threads(self) -> int:
        """The thread count in force (assigning calls set_threads)."""
        return lib.kwr_get_threads(self._handle)

    @threads.setter
    def threads(self, n: int) -> None:
        self.set_threads(n)

    def flush(self) -> None:
        """Returns when every recorded call has been drawn."""
        _check("kwr_flush", lib.kwr_flush(self._handle))
        self._flushed()

    # --- reading the frame --------------------------------------------------------
    def _frame_struct(self, flush: bool = True) -> Optional[Frame]:
        f = Frame()
        status = lib.kwr_get_frame(self._handle, ctypes.byref(f))
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
        """Saves the frame as a .bmp file at its own depth.  The file is
        written beside `path` and moved over it when complete; a failure
        raises OSError (the system's reason) and leaves the file that was
        there unchanged."""
        _check_save("kwr_save_frame", lib.kwr_save_frame(self._handle, os.fsencode(path)), path)
        self._flushed()

    def save_png(self, path: PathLike) -> None:
        """Saves the frame as a PNG file through the library (which needs
        libpng: see kwrender.png_supported()): 32 bpp frames as RGBA with
        their alpha bytes, other depths as RGB of their colours (8 bpp
        through the palette, 16 bpp widened as to_rgb does).  Written as
        save_bmp writes; a failure raises OSError and leaves the old file."""
        from .image import _save_png_image

        image = lib.kwr_image_create()
        if not image:
            raise MemoryError("kwr_image_create: out of memory")
        try:
            _check("kwr_image_from_frame", lib.kwr_image_from_frame(image, self._handle))
            self._flushed()
            _save_png_image(image, path)
        finally:
            lib.kwr_image_destroy(image)

    def to_png(self) -> bytes:
        """The frame as the bytes of the PNG file save_png writes."""
        self._handle
        with tempfile.TemporaryDirectory(prefix="kwrender-") as d:
            path = os.path.join(d, "frame.png")
            self.save_png(path)
            with open(path, "rb") as f:
                return f.read()

    def _repr_png_(self) -> Optional[bytes]:
        """The frame as PNG bytes: Jupyter shows a Context as its picture."""
        from .image import png_supported

        if self._closed or self._raw is None or self._frame_struct(flush=False) is None or not png_supported():
            return None
        return self.to_png()

    def to_pil(self) -> Any:
        """The frame as a PIL.Image in mode "RGB" (a copy, as to_rgb gives
        it); needs Pillow (Debian: python3-pil)."""
        try:
            from PIL import Image
        except ImportError as e:
            raise ImportError("to_pil needs Pillow: install python3-pil (Debian) or pip install Pillow") from e
        return Image.fromarray(self.to_rgb(), "RGB")

    # --- batched drawing ------------------------------------------------------------
    def triangles(
        self, xyz: Any, colors: Optional[Any] = None, uv: Optional[Any] = None, *, convert: Optional[bool] = None
    ) -> None:
        """Draws N triangles in one call, the same bytes as N single calls.

        xyz: float32 (3N, 3) or (N, 3, 3) x, y, depth per vertex, or (3N, 2)
        or (N, 3, 2) x, y without depth.  colors: uint32 0xAARRGGBB per
        vertex, (3N,) or (N, 3); without them the current colour is used.
        uv: float32 u, v per vertex, (3N, 2) or (N, 3, 2), textured with the
        bound texture, each texel times the vertex's colour (or the current
        colour).  The call drawn follows from what is given: trianglef,
        triangle3f, trianglecf, ..., triangle3ctf.  convert: as the
        context's `convert` when None."""
        conv = self.convert if convert is None else convert
        pos, n, dims = _vertices(xyz, 3, conv)
        args = [_address(pos)]
        name = "kwr_triangles" + ("3" if dims == 3 else "")
        if colors is not None:
            c = chk.array("colors", colors, np.uint32, convert=conv)
            if c.shape not in ((3 * n,), (n, 3)):
                raise ValueError(f"colors must have shape ({3 * n},) or ({n}, 3) for {n} triangles, got {c.shape}")
            args.append(_address(c))
            name += "c"
        if uv is not None:
            t = chk.array("uv", uv, np.float32, convert=conv)
            if t.shape not in ((3 * n, 2), (n, 3, 2)):
                raise ValueError(f"uv must have shape ({3 * n}, 2) or ({n}, 3, 2) for {n} triangles, got {t.shape}")
            args.append(_address(t))
            name += "t"
        name += "f"
        _check(name, getattr(lib, name)(self._handle, n, *args))

    def triangles_clip(self, xyzw: Any, colors: Optional[Any] = None, uv: Optional[Any] = None,
                       indices: Optional[Any] = None, *, convert: Optional[bool] = None) -> None:
        """Draws triangles given in homogeneous clip space, as a projection
        matrix (kwrender.camera) gives them: clipped at the near (z = 0) and
        far (z = w) planes, culled as `cull` says, colours and texture
        coordinates interpolated perspective-correctly, depth z / w.

        xyzw: float32 (V, 4) vertices x, y, z, w, visible where -w <= x, y <= w
        and 0 <= z <= w (y up).  Without indices, V = 3N and consecutive
        triples are triangles; with indices, uint32 (N, 3) or (3N,) vertex
        numbers below V.  colors: uint32 0xAARRGGBB (V,), or None for the
        current colour; uv: float32 (V, 2), or None for untextured.  With all
        w equal to 1 the bytes are those of ``triangles`` with x' = (x + 1) *
        width / 2, y' = (1 - y) * height / 2.  Raises KwrenderError for a
        vertex that is not finite (the other triangles are drawn)."""
        conv = self.convert if convert is None else convert
        pos = chk.array("xyzw", xyzw, np.float32, convert=conv)
        if pos.ndim != 2 or pos.shape[1] != 4:
            raise ValueError(f"xyzw must have shape (V, 4), got {pos.shape}")
        v = pos.shape[0]
        c_ptr = t_ptr = None
        if colors is not None:
            c = chk.array("colors", colors, np.uint32, convert=conv)
            if c.shape != (v,):
                raise ValueError(f"colors must have shape ({v},) for {v} vertices, got {c.shape}")
            c_ptr = _address(c)
        if uv is not None:
            t = chk.array("uv", uv, np.float32, convert=conv)
            if t.shape != (v, 2):
                raise ValueError(f"uv must have shape ({v}, 2) for {v} vertices, got {t.shape}")
            t_ptr = _address(t)
        if v >= 2 ** 31:
            raise ValueError("too many vertices")
        if indices is None:
            if v % 3 != 0:
                raise ValueError(f"without indices xyzw must hold 3N vertices, got {v}")
            _check("kwr_triangles_clip", lib.kwr_triangles_clip(self._handle, v // 3, _address(pos), c_ptr, t_ptr))
            return
        idx = chk.array("indices", indices, np.uint32, convert=conv)
        if idx.ndim not in (1, 2) or (idx.ndim == 2 and idx.shape[1] != 3) or idx.size % 3 != 0:
            raise ValueError(f"indices must have shape (N, 3) or (3N,), got {idx.shape}")
        _check("kwr_triangles_clip_indexed", lib.kwr_triangles_clip_indexed(
            self._handle, v, _address(pos), c_ptr, t_ptr, idx.size // 3, _address(idx)))

    @property
    def cull(self) -> int:
        """Which clip-space triangles are dropped: CULL_NONE (0, the
        default), CULL_BACK (1: clockwise ones, counter-clockwise with y up
        being front) or CULL_FRONT (2)."""
        return getattr(self, "_cull", CULL_NONE)

    @cull.setter
    def cull(self, mode: int) -> None:
        mode = chk.as_int("mode", mode)
        if mode not in (CULL_NONE, CULL_BACK, CULL_FRONT):
            raise ValueError(f"cull must be CULL_NONE, CULL_BACK or CULL_FRONT, got {mode}")
        _check("kwr_set_cull", lib.kwr_set_cull(self._handle, mode))
        self._cull = mode

    @property
    def texture_filter(self) -> int:
        """How textures and alpha maps are sampled: FILTER_NEAREST (0, the
        default) or FILTER_BILINEAR (1: the four texels around the sample
        point, integer weights out of 256, exact)."""
        return getattr(self, "_texture_filter", FILTER_NEAREST)

    @texture_filter.setter
    def texture_filter(self, filter: int) -> None:
        filter = chk.as_int("filter", filter)
        if filter not in (FILTER_NEAREST, FILTER_BILINEAR):
            raise ValueError(f"texture_filter must be FILTER_NEAREST or FILTER_BILINEAR, got {filter}")
        _check("kwr_set_texture_filter", lib.kwr_set_texture_filter(self._handle, filter))
        self._texture_filter = filter

    def lines(self, xyz: Any, *, convert: Optional[bool] = None) -> None:
        """Draws N lines in one call (linef, or line3f with depth): float32
        (N, 2, 2) or (2N, 2) x, y per end, or (N, 2, 3) or (2N, 3) x, y, depth."""
        pos, n, dims = _vertices(xyz, 2, self.convert if convert is None else convert)
        name = "kwr_lines3f" if dims == 3 else "kwr_linesf"
        _check(name, getattr(lib, name)(self._handle, n, _address(pos)))

    def points(self, xy: Any, *, convert: Optional[bool] = None) -> None:
        """Sets N pixels to the current colour in one call: int32 (N, 2) x, y."""
        p = chk.array("xy", xy, np.int32, convert=self.convert if convert is None else convert)
        if p.ndim != 2 or p.shape[1] != 2:
            raise ValueError(f"xy must have shape (N, 2), got {p.shape}")
        _check("kwr_points", lib.kwr_points(self._handle, p.shape[0], _address(p)))

    # --- bitmaps and blits (points, boxes, lines and triangles: Calls) ----------------
    def _call(self, name: str, args: tuple) -> None:
        _check(name, getattr(lib, name)(self._handle, *args))

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

# The methods that only check their numbers and call C, made from the table
# of calls: set_color, clear, put, the boxes, lines and single triangles.
_CHECK_OF = {"int": chk.as_int, "float": chk.as_float, "uint32_t": chk.as_argb}
_HINT_OF = {"int": int, "float": float, "uint32_t": int}


def _method(name: str, function: str, names: List[str], doc: str) -> Any:
    types = codes.SIGNATURES[function][1][1:]
    checks = [_CHECK_OF[t] for t in types]
    signature = inspect.Signature(
        [inspect.Parameter("self", inspect.Parameter.POSITIONAL_OR_KEYWORD)]
        + [inspect.Parameter(n, inspect.Parameter.POSITIONAL_OR_KEYWORD, annotation=_HINT_OF[t])
           for n, t in zip(names, types)],
        return_annotation=None)

    def bind(self: "Context", args: tuple, kwargs: dict) -> tuple:
        try:
            return signature.bind(self, *args, **kwargs).args[1:]
        except TypeError as e:
            missing = [n for n in names[len(args):] if n not in kwargs]
            if missing and len(args) <= len(names):
                s = "s" if len(missing) > 1 else ""
                raise TypeError(f"{name}() missing {len(missing)} required positional argument{s}: "
                                + ", ".join(repr(m) for m in missing)) from None
            raise TypeError(f"{name}(): {e}") from None

    def method(self: "Context", *args: Any, **kwargs: Any) -> None:
        if kwargs or len(args) != len(names):
            args = bind(self, args, kwargs)
        self._call(function, tuple(check(n, v) for check, n, v in zip(checks, names, args)))

    method.__name__ = method.__qualname__ = name
    method.__doc__ = doc
    method.__signature__ = signature  # type: ignore[attr-defined]
    return method


for _name, (_function, _names, _doc) in codes.METHODS.items():
    setattr(Context, _name, _method(_name, _function, _names, _doc))


def _vertices(xyz: Any, per: int, convert: bool) -> "tuple[np.ndarray, int, int]":
    """The float32 vertices of N primitives of `per` vertices each, shaped
    (per * N, 2|3) or (N, per, 2|3): the array, N, and 2 or 3 values a vertex."""
    pos = chk.array("xyz", xyz, np.float32, convert=convert)
    if pos.ndim == 3 and pos.shape[1] == per and pos.shape[2] in (2, 3):
        return pos, pos.shape[0], pos.shape[2]
    if pos.ndim == 2 and pos.shape[1] in (2, 3) and pos.shape[0] % per == 0:
        return pos, pos.shape[0] // per, pos.shape[1]
    raise ValueError(f"xyz must have shape ({per}N, 2|3) or (N, {per}, 2|3), got {pos.shape}")
