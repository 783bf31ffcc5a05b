"""The package against the library: the test scene drawn from Python equals
the C++ program's bytes, batches equal single calls, bad arguments raise."""

import gc
import inspect
import os
import re
import subprocess
import sys
import weakref

import numpy as np
import pytest

import kwrender
from kwrender import Context, KwrenderError

BPPS = [8, 16, 24, 32]


def scene_assets():
    u, v = np.meshgrid(np.arange(16), np.arange(16))
    dark = ((u >> 2) ^ (v >> 2)) & 1 == 1
    texture = np.stack([np.where(dark, 40, 230), u * 16, v * 16, np.where(dark, 96, 255)], axis=-1).astype(np.uint8)
    alpha_map = (np.arange(64) * 4).astype(np.uint8).reshape(8, 8)
    x, y = np.meshgrid(np.arange(5), np.arange(4))
    image = np.stack([50 * x, 60 * y, 255 - 40 * (x + y)], axis=-1).astype(np.uint8)
    glyph = np.unpackbits(np.array([0x18, 0x24, 0x42, 0x81, 0xFF, 0x81, 0x81, 0x81], np.uint8)[:, None], axis=1,
                          bitorder="little").astype(bool)
    return texture, alpha_map, image, glyph


def f32(*rows):
    return np.array(rows, np.float32)


def u32(*values):
    return np.array(values, np.uint32)


def draw_scene(ctx: Context) -> None:
    """The C++ test scene's frame 0, through batches where a batch exists."""
    texture, alpha_map, image, glyph = scene_assets()
    ctx.alpha_enable(False)
    ctx.ztest_enable(True)
    ctx.set_zback_depth(1.0)
    ctx.set_color(0xFF203040)
    ctx.clear()
    ctx.set_color(0xFF304860)
    ctx.box(0, 90, 159, 119)
    ctx.set_color(0xFF506070)
    ctx.box3(100, 5, 150, 40, 0.9)
    ctx.set_color(0xFF8090A0)
    ctx.triangle(5, 5, 60, 12, 20, 50)
    ctx.triangles(f32([20, 30, 0.2], [140, 40, 0.8], [70, 110, 0.5]), u32(0xFFFF0000, 0xFF00FF00, 0xFF0000FF))
    ctx.triangle3c(30, 100, 0.6, 0xFFFFFF00, 150, 70, 0.1, 0xFF00FFFF, 90, 10, 0.9, 0xFFFF00FF)
    ctx.set_texture(texture)
    ctx.set_color(0xFFFFFFFF)
    ctx.triangles(f32([10, 60, 0.3], [60, 60, 0.3], [10, 110, 0.3]), uv=f32([0, 0], [2, 0], [0, 2]))
    ctx.trianglect(110, 60, 0xFFFFFFFF, -0.5, 0.0, 155, 70, 0xFF8080FF, 1.5, 0.2, 120, 115, 0xFFFF8080, 0.3, 1.7)
    ctx.alpha_enable(True)
    ctx.set_color(0x80FFFFFF)
    ctx.triangles(f32([40, 20], [120, 20], [80, 80]))
    ctx.triangle3(50, 70, 0.05, 120, 75, 0.05, 85, 115, 0.05)
    ctx.trianglec(0, 0, 0x00FF0000, 159, 0, 0xFF00FF00, 80, 60, 0x80000000)
    ctx.triangles(f32([[90, 15, 0.15], [150, 25, 0.15], [100, 85, 0.15]]).reshape(1, 3, 3),
                  u32(0xC0FFFFFF, 0x40FFFFFF, 0xFFFFFFFF).reshape(1, 3), f32([[1, 1], [3, 1], [1, 3]]).reshape(1, 3, 2))
    ctx.set_alpha_map(alpha_map)
    ctx.set_color(0xE0FFC080)
    ctx.triangletfg(-75.0, -10.0, 0.0, 0.0, -20.0, -10.0, 1.0, 0.0, -75.0, -55.0, 0.0, 1.0)
    ctx.set_alpha_map(None)
    ctx.alpha_enable(False)
    ctx.set_texture(None)
    ctx.image2d(4, 60, 29, 80, image)
    ctx.image2d3(130, 85, 155, 100, 0.0, image)
    ctx.set_color(0xFFFFFF00)
    ctx.bitmap1(70, 92, glyph)
    ctx.set_color(0xFFFFFFFF)
    ctx.line(0, 119, 159, 0)
    ctx.lines(f32([10, 10], [150, 110]))
    ctx.linefg(-80.0, 0.0, 79.0, 0.0)
    ctx.set_color(0xFF00FF80)
    ctx.line3(0, 30, 0.0, 159, 90, 1.0)
    ctx.lines(f32([[80, 0, 0.4], [80, 119, 0.4]]).reshape(1, 2, 3))
    ctx.set_color(0xFFFF8000)
    ctx.points(np.array([[1, 1]], np.int32))
    ctx.boxfg(-2.0, 2.0, 2.0, -2.0)


def raw(ctx: Context) -> bytes:
    frame = ctx.frame()
    rows = frame.reshape(frame.shape[0], -1)
    return rows.tobytes() + ctx.depth().tobytes()


@pytest.mark.parametrize("bpp", BPPS)
def test_scene_equals_the_cpp_frame(bpp, build_dir, tmp_path):
    out = tmp_path / "scene.raw"
    subprocess.run([os.path.join(build_dir, "tests", "kwrender_scene_frame"), str(bpp), str(out)], check=True)
    ctx = Context(160, 120, bpp=bpp)
    draw_scene(ctx)
    assert raw(ctx) == out.read_bytes()


@pytest.mark.parametrize("bpp", BPPS)
def test_new_context_views_and_conversion(bpp):
    ctx = Context(7, 5, bpp=bpp)
    assert repr(ctx) == f"<kwrender.Context 7x5 {bpp} bpp, depth, 1 thread, colour 0xff000000>"
    frame = ctx.frame()
    assert frame.shape == ctx.shape == {8: (5, 7), 16: (5, 7), 24: (5, 7, 3), 32: (5, 7, 4)}[bpp]
    assert (ctx.width, ctx.height, ctx.bpp) == (7, 5, bpp)
    # Cleared as clear() clears: the colour (opaque black), depth 1.0.
    new = raw(ctx)
    ctx.clear()
    assert raw(ctx) == new and (ctx.depth() == 1.0).all()
    assert bpp != 32 or (frame[..., 3] == 255).all() and not frame[..., :3].any()
    assert (ctx.palette() is not None) == (bpp == 8)
    # to_rgb converts as the frame is presented.
    draw_scene_small(ctx)
    target = np.zeros((5, 7), np.uint32)
    ctx.render(target)
    rgb = ctx.to_rgb()
    packed = (rgb[..., 0].astype(np.uint32) << 16) | (rgb[..., 1].astype(np.uint32) << 8) | rgb[..., 2]
    assert (packed == target).all() and packed.any()
    assert Context(3, 2, depth=False).depth() is None


def draw_scene_small(ctx):
    ctx.triangles(f32([0, 0], [7, 0], [0, 5], [7, 0], [7, 5], [0, 5]), u32(*[0xFFFF8000, 0xFF10F0C0, 0xFF4020FF] * 2))
    ctx.set_color(0xFFC0C0C0)
    ctx.box(2, 1, 3, 3)


def random_batch(rng, n, dims):
    xyz = np.concatenate([rng.uniform(-8, 60, (3 * n, 2)), rng.uniform(0, 1, (3 * n, dims - 2))], axis=1)
    return (xyz.astype(np.float32), rng.integers(0, 2**32, 3 * n, dtype=np.uint64).astype(np.uint32),
            rng.uniform(-2, 2, (3 * n, 2)).astype(np.float32))


@pytest.mark.parametrize("dims", [2, 3])
@pytest.mark.parametrize("with_colors", [False, True])
@pytest.mark.parametrize("with_uv", [False, True])
def test_batches_equal_single_calls(dims, with_colors, with_uv):
    rng = np.random.default_rng(dims * 4 + with_colors * 2 + with_uv)
    xyz, colors, uv = random_batch(rng, 60, dims)
    texture = rng.integers(0, 256, (4, 4, 4), dtype=np.uint8)
    variant = ("3" if dims == 3 else "") + ("c" if with_colors else "") + ("t" if with_uv else "") + "f"
    contexts = [Context(53, 41), Context(53, 41), Context(53, 41)]
    for ctx in contexts:
        ctx.set_texture(texture)
        ctx.alpha_enable(True)
        ctx.set_color(0xA0FFC080)
    # One batch of (3N, d), one of (N, 3, d), and single calls.
    c = colors if with_colors else None
    t = uv if with_uv else None
    contexts[0].triangles(xyz, c, t)
    contexts[1].triangles(xyz.reshape(-1, 3, dims), None if c is None else c.reshape(-1, 3),
                          None if t is None else t.reshape(-1, 3, 2))
    single = getattr(contexts[2], "triangle" + variant)
    for i in range(0, len(xyz), 3):
        args = []
        for k in range(i, i + 3):
            args += [float(v) for v in xyz[k]] + ([int(colors[k])] if with_colors else [])
            args += [float(v) for v in uv[k]] if with_uv else []
        single(*args)
    frames = [raw(ctx) for ctx in contexts]
    assert frames[0] == frames[1] == frames[2]
    assert frames[0] != raw(Context(53, 41))  # something was drawn


@pytest.mark.parametrize("dims", [2, 3])
def test_line_and_point_batches_equal_single_calls(dims):
    rng = np.random.default_rng(dims)
    ends = np.concatenate([rng.uniform(-5, 45, (40, 2)), rng.uniform(0, 1, (40, dims - 2))], axis=1)
    ends = ends.astype(np.float32)
    points = rng.integers(-3, 40, (30, 2)).astype(np.int32)
    a, b = Context(37, 29), Context(37, 29)
    blank = raw(a)
    a.color = b.color = 0xFF80C040
    a.lines(ends)
    a.points(points)
    for p, q in zip(ends[0::2], ends[1::2]):
        (b.line3f if dims == 3 else b.linef)(*map(float, p), *map(float, q))
    for x, y in points:
        b.put(int(x), int(y))
    assert raw(a) == raw(b) != blank


def test_every_triangle_variant_draws():
    variants = [name for name in dir(Context) if name.startswith("triangle") and name not in ("triangles", "triangles_clip")]
    assert len(variants) == 24
    for name in variants:
        ctx = Context(20, 20)
        ctx.set_texture(np.full((2, 2, 4), 200, np.uint8))
        ctx.set_color(0xFFFFFFFF)
        args = {"x": [1, 18, 1], "y": [1, 1, 18], "z": [0.5] * 3, "c": [0xFF00FF00] * 3, "u": [0, 1, 0], "v": [0, 0, 1]}
        kind = name[len("triangle"):].replace("fg", "").replace("f", "")
        fields = ["x", "y"] + ["z"] * ("3" in kind) + ["c"] * ("c" in kind) + ["u", "v"] * ("t" in kind)
        # The method's parameters are the C function's, vertex by vertex.
        assert list(inspect.signature(getattr(Context, name)).parameters)[1:] == [
            f"{f}{k}" for k in (1, 2, 3) for f in fields], name
        if name.endswith("fg"):
            args["x"], args["y"] = [-9, 8, -9], [9, 9, -8]
        values = [args[f][k] for k in range(3) for f in fields]
        getattr(ctx, name)(*[float(v) if isinstance(v, float) or name.endswith(("f", "fg")) and f in "xy" else v
                             for v, f in zip(values, fields * 3)])
        assert ctx.frame()[10, 5, :3].any(), name  # drawn over the opaque black


def test_table_methods_bind_like_python_functions():
    a, b = Context(12, 12), Context(12, 12)
    a.box(1, 2, 7, 9)
    b.box(x2=7, y1=2, x1=1, y2=9)
    assert (a.frame() == b.frame()).all()
    with pytest.raises(TypeError, match="takes|too many"):
        a.box(1, 2, 3, 4, 5)
    with pytest.raises(TypeError, match="unexpected keyword"):
        a.put(1, 2, z=3)
    with pytest.raises(TypeError, match=r"missing 1 required positional argument: 'y'"):
        a.put(1)


def test_state_calls():
    ctx = Context(8, 8, bpp=32)
    ctx.set_colorf(1.0, 0.5, 0.0)
    assert ctx.color == 0xFFFF8000
    ctx.set_color4f(0.0, 0.0, 1.0, 0.5)
    assert ctx.color == 0x800000FF
    ctx.color = 0xFF102030
    ctx.set_zback_depth(0.25)
    ctx.clear()
    assert (ctx.depth() == 0.25).all() and (ctx.frame()[0, 0] == [0x30, 0x20, 0x10, 0xFF]).all()
    ctx.ztest_enable(False)
    ctx.color = 0xFFFFFFFF
    ctx.box3f(0.0, 0.0, 3.0, 3.0, 0.1)  # a plain box: no depth stored
    assert (ctx.depth() == 0.25).all() and ctx.frame()[1, 1, 0] != 0x30
    ctx.ztest_enable(True)
    ctx.box3fg(-4.0, 4.0, 0.0, 0.0, 0.1)
    assert (ctx.depth()[:5, :5] == np.float32(0.1)).all() and (ctx.depth() == np.float32(0.1)).sum() == 25
    ctx.boxf(5.0, 5.0, 7.0, 7.0)
    ctx.line3fg(-4.0, -3.0, 0.1, 3.0, -3.0, 0.1)
    assert ctx.set_threads(2) == 2 and ctx.threads == 2
    ctx.flush()
    zbuf = np.full(64, 0.5, np.float32)
    frame = None
    ctx.set_external_zbuffer(zbuf)
    ctx.box3(0, 0, 7, 7, 0.75)  # behind the external depths: nothing drawn
    assert (ctx.depth() == 0.5).all()
    ctx.set_external_zbuffer(None)
    ctx.destroy_buffer()
    assert "without a frame buffer" in repr(ctx)
    del frame


def edit_bound_arrays(threads: int) -> bytes:
    """Binds a texture, an alpha map and an external depth buffer, draws,
    then overwrites, frees and rebinds the arrays right after the calls."""
    rng = np.random.default_rng(24)
    ctx = Context(48, 40, threads=threads)
    ctx.color = 0xFFFFFFFF
    texture = rng.integers(0, 256, (8, 8, 4), dtype=np.uint8)
    alpha = rng.integers(0, 256, (4, 4), dtype=np.uint8)
    zbuf = np.full(48 * 40, 0.9, np.float32)
    ctx.set_external_zbuffer(zbuf)
    ctx.set_external_zbuffer(zbuf)  # bound again: nothing changes
    assert not zbuf.flags.writeable  # the context may read it at any later call
    ctx.set_texture(texture)
    ctx.triangle3tf(0.0, 0.0, 0.5, 0.0, 0.0, 48.0, 0.0, 0.5, 1.0, 0.0, 0.0, 40.0, 0.5, 0.0, 1.0)
    texture[...] = 0  # after the call: the recorded triangle keeps the texels it was given
    ctx.set_alpha_map(alpha)
    ctx.alpha = True
    ctx.triangletf(48.0, 40.0, 1.0, 1.0, 0.0, 40.0, 0.0, 1.0, 48.0, 0.0, 1.0, 0.0)
    alpha[...] = 255
    texture = alpha = None
    gc.collect()
    ctx.set_texture(np.full((2, 2, 4), 200, np.uint8))
    ctx.triangles(np.array([[5, 5, 0.2], [40, 8, 0.2], [20, 35, 0.2]], np.float32), uv=np.zeros((3, 2), np.float32))
    out = raw(ctx)
    ctx.set_external_zbuffer(None)
    assert zbuf.flags.writeable
    return out


def test_bound_arrays_changed_after_the_call_give_the_same_bytes_at_every_thread_count():
    one = edit_bound_arrays(1)
    assert one == edit_bound_arrays(2) == edit_bound_arrays(3)
    assert len(set(one)) > 3  # something was drawn


def test_bound_textures_are_copies():
    texture = np.random.default_rng(1).integers(0, 256, (8, 8, 4), dtype=np.uint8)
    held = weakref.ref(texture)
    ref = Context(16, 16)
    ref.set_texture(texture.copy())
    ctx = Context(16, 16, threads=2)
    ctx.set_texture(texture)
    del texture
    gc.collect()
    assert held() is None  # the context holds no reference: it has its own copy
    for c in (ref, ctx):
        c.color = 0xFFFFFFFF
        c.triangletf(0.0, 0.0, 0.0, 0.0, 16.0, 0.0, 1.0, 0.0, 0.0, 16.0, 0.0, 1.0)
    assert raw(ctx) == raw(ref)


def test_frame_views_pin_the_buffer():
    ctx = Context(4, 4)
    frame = ctx.frame()
    with pytest.raises(RuntimeError, match="still alive"):
        ctx.init_buffer(8, 8)
    del frame
    ctx.init_buffer(8, 8)
    view = ctx.depth()[1:3]
    del ctx
    gc.collect()
    assert view.shape == (2, 8)  # the view keeps the context


def test_bmp_files(tmp_path):
    ctx = Context(13, 9, bpp=24)
    draw_scene_small(ctx)
    ctx.save_bmp(tmp_path / "frame.bmp")
    assert (kwrender.load_bmp(tmp_path / "frame.bmp", bpp=24) == ctx.frame()).all()
    data = (tmp_path / "frame.bmp").read_bytes()
    rgba = kwrender.load_bmp(data)
    assert rgba.shape == (9, 13, 4) and (rgba[..., :3] == ctx.frame()).all() and (rgba[..., 3] == 255).all()
    for pixels in (rgba, rgba[..., :3], np.arange(117, dtype=np.uint16).reshape(9, 13) * 250,
                   np.arange(117, dtype=np.uint8).reshape(9, 13) % 216):
        kwrender.save_bmp(tmp_path / "p.bmp", pixels)
        bpp = {np.uint16: 16, np.uint8: 8}[pixels.dtype.type] if pixels.ndim == 2 else pixels.shape[2] * 8
        assert (kwrender.load_bmp(str(tmp_path / "p.bmp"), bpp=bpp) == pixels).all()
    with pytest.raises(KwrenderError, match="open file"):
        kwrender.load_bmp(tmp_path / "missing.bmp")
    with pytest.raises(KwrenderError, match="kwr_image_load_memory: (invalid image|read file)"):
        kwrender.load_bmp(b"BM" + bytes(20))


def test_versions():
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    with open(os.path.join(root, "include", "kwrender_version.h")) as f:
        header = re.search(r'KWRENDER_VERSION_STRING "([0-9.]+)"', f.read()).group(1)
    assert kwrender.version() == kwrender.__version__ == header
    if os.environ.get("KWRENDER_TEST_INSTALLED"):
        from importlib.metadata import version

        assert version("kwrender") == header
    assert kwrender.simd_level()
    assert kwrender.error_text(0) == "" and kwrender.error_text(21) == "null array"


GOOD = np.zeros((3, 3), np.float32)
HOSTILE = [
    (TypeError, "must be a NumPy array", lambda c: c.triangles([[0, 0, 0]] * 3)),
    (TypeError, "dtype float32", lambda c: c.triangles(np.zeros((3, 3)))),
    (ValueError, "C-contiguous", lambda c: c.triangles(np.zeros((3, 6), np.float32)[:, ::2])),
    (ValueError, "shape", lambda c: c.triangles(np.zeros((4, 3), np.float32))),
    (ValueError, "shape", lambda c: c.triangles(np.zeros((3, 4), np.float32))),
    (ValueError, "colors must have shape", lambda c: c.triangles(GOOD, np.zeros(4, np.uint32))),
    (TypeError, "dtype uint32", lambda c: c.triangles(GOOD, np.zeros(3, np.int64))),
    (ValueError, "uv must have shape", lambda c: c.triangles(GOOD, uv=np.zeros((6, 2), np.float32))),
    (ValueError, "shape", lambda c: c.lines(np.zeros((3, 2), np.float32))),
    (TypeError, "dtype int32", lambda c: c.points(np.zeros((3, 2), np.float32))),
    (ValueError, "outside the range", lambda c: c.put(2**31, 0)),
    (TypeError, "must be an int", lambda c: c.box(0.5, 0, 1, 1)),
    (TypeError, "must be a number", lambda c: c.linef("0", 0, 1, 1)),
    (ValueError, "not a 32-bit colour", lambda c: c.set_color(-1)),
    (ValueError, "not a 32-bit colour", lambda c: c.trianglec(0, 0, 2**32, 1, 0, 0, 0, 1, 0)),
    (TypeError, "missing 6 required", lambda c: c.trianglecf(0.0, 0.0, 0)),
    (ValueError, "shape", lambda c: c.set_texture(np.zeros((4, 4, 3), np.uint8))),
    (ValueError, "packed pixels", lambda c: c.set_texture(np.zeros((4, 8, 4), np.uint8)[:, ::2])),
    (TypeError, "dtype uint8", lambda c: c.set_alpha_map(np.zeros((4, 4), np.float32))),
    (ValueError, "empty", lambda c: c.image2d(0, 0, 4, 4, np.zeros((0, 4, 3), np.uint8))),
    (ValueError, "shape", lambda c: c.bitmap1(0, 0, np.zeros(8, np.uint8))),
    (ValueError, "frame needs", lambda c: c.set_external_zbuffer(np.zeros(10, np.float32))),
    (ValueError, "writable", lambda c: c.render(_readonly())),
    (KwrenderError, "bad depth", lambda c: c.set_render_bpp(12)),
    (KwrenderError, "too wide", lambda c: c.init_buffer(40000, 1)),
    (KwrenderError, "width or height below 1", lambda c: c.init_buffer(0, 5)),
    (ValueError, "bpp must be", lambda c: kwrender.load_bmp(b"", bpp=4)),
    (TypeError, "path or bytes", lambda c: kwrender.load_bmp(42)),
    (ValueError, "pixels must be", lambda c: kwrender.save_bmp("x.bmp", np.zeros((2, 2, 2), np.uint8))),
]


def _readonly():
    a = np.zeros((4, 4), np.uint32)
    a.setflags(write=False)
    return a


@pytest.mark.parametrize("error, text, call", HOSTILE, ids=[f"{i}-{h[1]}" for i, h in enumerate(HOSTILE)])
def test_hostile_arguments_raise(error, text, call):
    ctx = Context(16, 16)
    before = raw(ctx)
    with pytest.raises(error, match=text):
        call(ctx)
    if error is not KwrenderError:
        assert raw(ctx) == before


@pytest.mark.parametrize("call", [lambda c: c.triangles(GOOD), lambda c: c.frame(), lambda c: c.put(0, 0),
                                  lambda c: c.threads, lambda c: c.width, lambda c: c.set_threads(2),
                                  lambda c: c.triangle3ctf(*[0.0, 0.0, 0.0, 0, 0.0, 0.0] * 3), lambda c: c.save_bmp("x.bmp")])
def test_closed_context_raises_value_error(call):
    ctx = Context(4, 4)
    ctx.close()
    ctx.close()
    assert repr(ctx) == "<kwrender.Context closed>" and ctx.closed and ctx.handle is None
    with pytest.raises(ValueError, match="closed"):
        call(ctx)


def test_with_block_never_raises_and_views_outlive_it():
    with Context(6, 4) as ctx:
        ctx.color = 0xFF112233
        ctx.clear()
        img = ctx.frame()
        zs = ctx.depth()
    assert ctx.closed and img[3, 5].tolist() == [0x33, 0x22, 0x11, 0xFF] and zs[0, 0] == 1.0
    with pytest.raises(ValueError):
        ctx.frame()
    del ctx, img, zs
    gc.collect()


def test_switches_and_sizes_are_properties():
    ctx = Context(9, 7, bpp=24, depth=False)
    assert (ctx.width, ctx.height, ctx.bpp, ctx.shape) == (9, 7, 24, (7, 9, 3))
    assert ctx.ztest and not ctx.alpha and not ctx.zbuffer and ctx.zback_depth == 1.0
    ctx.alpha, ctx.ztest, ctx.zback_depth, ctx.threads, ctx.color = True, False, 0.25, 2, 0x80FFFFFF
    assert ctx.alpha and not ctx.ztest and ctx.zback_depth == 0.25 and ctx.threads == 2
    ctx.triangles([[0, 0], [30, 0], [0, 30]], convert=True)  # blended half over black
    assert set(np.unique(ctx.frame())) <= {0x7F, 0x80}
    ctx.zbuffer = True
    ctx.init_buffer(3, 2)
    assert ctx.shape == (2, 3, 3) and (ctx.depth() == 0.0).all() is not None


def test_conversion_is_opt_in_and_exact():
    tri = [[1.0, 1.0, 0.5], [30.0, 2.0, 0.5], [4.0, 20.0, 0.5]]
    colors = [0xFFFF0000, 0xFF00FF00, 0xFF0000FF]
    ref, ctx, conv = Context(32, 24), Context(32, 24), Context(32, 24, convert=True)
    ref.triangles(np.array(tri, np.float32), np.array(colors, np.uint32))
    with pytest.raises(TypeError, match="convert=True"):
        ctx.triangles(tri)
    ctx.triangles(np.array(tri), colors, convert=True)  # float64 array and a list
    conv.triangles(tri, np.array(colors, np.int64))
    assert raw(ctx) == raw(ref) == raw(conv)
    for bad, error in (([0xFFFFFFFF + 1] * 3, ValueError), ([-1] * 3, ValueError), ([1.0] * 3, TypeError)):
        with pytest.raises(error):
            conv.triangles(tri, bad)
    with pytest.raises(TypeError):
        conv.triangles([["a", "b", "c"]] * 3)
    conv.points([[1, 1], [2, 2]])
    conv.lines(np.zeros((2, 2, 2)))


@pytest.mark.parametrize("bpp", BPPS)
def test_extreme_values_are_drawn_as_single_calls_draw_them(bpp):
    # NaN, infinities and coordinates far outside the frame reach the
    # library unchanged and draw exactly what the single calls draw.
    rng = np.random.default_rng(bpp)
    values = np.array([np.nan, np.inf, -np.inf, 1e30, -1e30, 3e9, -3e9, 0.5, 10, -1], np.float32)
    xyz = rng.choice(values, (90, 3)).astype(np.float32)
    uv = rng.choice(values, (90, 2)).astype(np.float32)
    colors = rng.integers(0, 2**32, 90, dtype=np.uint64).astype(np.uint32)
    a, b = Context(33, 17, bpp=bpp), Context(33, 17, bpp=bpp)
    for ctx in (a, b):
        ctx.alpha_enable(True)
        ctx.set_texture(np.full((3, 5, 4), 99, np.uint8))
    a.triangles(xyz, colors, uv)
    a.lines(xyz)
    for k in range(0, 90, 3):
        b.triangle3ctf(*[v for i in range(k, k + 3) for v in (*map(float, xyz[i]), int(colors[i]), *map(float, uv[i]))])
    for k in range(0, 90, 2):
        b.line3f(*map(float, xyz[k]), *map(float, xyz[k + 1]))
    assert raw(a) == raw(b)


@pytest.mark.parametrize("name, value, said", [("KWRENDER_THREADS", "abc", "is not a thread count"),
                                               ("KWRENDER_SIMD", "avx9", "is not a level name")])
def test_unreadable_environment_values_are_said_once(name, value, said):
    program = ("import kwrender, numpy as np\n"
               "for _ in range(3):\n"
               "    c = kwrender.Context(8, 8)\n"
               "    c.triangles(np.zeros((3, 2), np.float32))\n"
               "print(c.threads, kwrender.simd_level())\n")
    env = dict(os.environ, PYTHONPATH=os.path.dirname(os.path.dirname(kwrender.__file__)), **{name: value})
    run = subprocess.run([sys.executable, "-c", program], env=env, capture_output=True, text=True, check=True)
    lines = run.stderr.splitlines()
    assert len(lines) == 1 and lines[0].startswith(f"kwrender: {name}={value} {said}"), run.stderr
    assert run.stdout.split()[0] == "1" or name != "KWRENDER_THREADS"
