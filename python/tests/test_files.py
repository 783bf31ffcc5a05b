"""Pictures out of the package: PNG through the library, round trips
through its reader, notebooks' display, Pillow, and saves that fail."""

import os
import resource
import signal

import numpy as np
import pytest

import kwrender
from kwrender import Context

needs_png = pytest.mark.skipif(not kwrender.png_supported(), reason="the library was built without libpng")


def scene(bpp: int) -> Context:
    ctx = Context(23, 17, bpp=bpp)
    ctx.triangles(np.array([[1, 1], [22, 3], [5, 16]], np.float32), np.array([0xFFFF0000, 0x8000FF00, 0xFF0000FF],
                                                                          np.uint32))
    return ctx


@needs_png
@pytest.mark.parametrize("bpp", [8, 16, 24, 32])
def test_png_round_trips_through_the_library(bpp, tmp_path):
    ctx = scene(bpp)
    ctx.save_png(tmp_path / "frame.png")
    back = kwrender.load_image(tmp_path / "frame.png")
    assert back.shape == (17, 23, 4)
    assert (back[..., 2::-1] == ctx.to_rgb()).all()  # blue, green, red back to red, green, blue
    alpha = ctx.frame()[..., 3] if bpp == 32 else 255
    assert (back[..., 3] == alpha).all()
    assert (kwrender.load_image((tmp_path / "frame.png").read_bytes()) == back).all()
    kwrender.save_png(tmp_path / "array.png", back[..., :3].copy())
    assert (kwrender.load_image(tmp_path / "array.png")[..., :3] == back[..., :3]).all()


@needs_png
def test_notebook_display_and_pillow():
    ctx = scene(32)
    png = ctx._repr_png_()
    assert png[:8] == b"\x89PNG\r\n\x1a\n"
    assert (kwrender.load_image(png)[..., :3] == ctx.frame()[..., :3]).all()
    Image = pytest.importorskip("PIL.Image")
    pil = ctx.to_pil()
    assert pil.size == (23, 17) and pil.mode == "RGB" and (np.asarray(pil) == ctx.to_rgb()).all()
    assert np.asarray(Image.open(__import__("io").BytesIO(png)).convert("RGB")).tolist() == ctx.to_rgb().tolist()


@pytest.mark.parametrize("kind", ["bmp", "png"])
def test_a_failed_save_leaves_the_old_file_and_says_why(kind, tmp_path):
    if kind == "png" and not kwrender.png_supported():
        pytest.skip("no libpng")
    path = tmp_path / f"keep.{kind}"
    small = scene(24)
    getattr(small, f"save_{kind}")(path)
    before = path.read_bytes()
    big = Context(1500, 1000)
    big.color = 0xFF808080
    big.clear()
    big.frame()[::7, ::3] = 200  # not all one colour: PNG does not compress it below the limit
    old = resource.getrlimit(resource.RLIMIT_FSIZE)
    handler = signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (len(before) + 4096, old[1]))
    try:
        with pytest.raises(OSError, match="File too large") as failure:
            getattr(big, f"save_{kind}")(path)
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, old)
        signal.signal(signal.SIGXFSZ, handler)
    assert failure.value.filename == str(path) and "unchanged" in str(failure.value)
    assert path.read_bytes() == before
    assert sorted(os.listdir(tmp_path)) == [path.name]  # no temporary file left
    getattr(big, f"save_{kind}")(path)
    assert path.stat().st_size > len(before)


def test_save_to_a_missing_directory_is_an_os_error(tmp_path):
    with pytest.raises(OSError, match="No such file"):
        scene(32).save_bmp(tmp_path / "missing" / "x.bmp")
