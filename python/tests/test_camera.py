"""Clip-space triangles from Python: the camera's conventions, w = 1 against
the screen-space call, culling and the filter settings."""
import numpy as np
import pytest

import kwrender
from kwrender import camera


def test_perspective_maps_near_and_far_to_depth_0_and_1():
    m = camera.perspective(90, 2.0, 1.0, 10.0) @ camera.look_at((0, 0, 5), (0, 0, 0), (0, 1, 0))
    clip = camera.transform(m, [[0, 0, 4], [0, 0, -5], [1, 1, 4]]).astype(np.float64)
    assert clip[0, 2] / clip[0, 3] == pytest.approx(0.0, abs=1e-6)
    assert clip[1, 2] / clip[1, 3] == pytest.approx(1.0, abs=1e-6)
    # 90 degrees: at distance 1 the top of the view is y = 1; aspect 2 halves x.
    assert clip[2, 0] / clip[2, 3] == pytest.approx(0.5)
    assert clip[2, 1] / clip[2, 3] == pytest.approx(1.0)
    with pytest.raises(ValueError):
        camera.perspective(60, 1, 0, 1)
    with pytest.raises(ValueError):
        camera.look_at((0, 0, 0), (0, 1, 0), (0, 1, 0))


def test_w_one_equals_the_screen_space_call_and_culling_works():
    a, b = kwrender.Context(40, 30), kwrender.Context(40, 30)
    xyzw = np.array([[-0.5, -0.5, 0.25, 1], [0.5, -0.5, 0.5, 1], [0, 0.5, 0.75, 1]], np.float32)
    colors = np.array([0xFFFF0000, 0xFF00FF00, 0xFF0000FF], np.uint32)
    a.triangles_clip(xyzw, colors=colors, indices=np.array([0, 1, 2], np.uint32))
    xyz = np.stack([(xyzw[:, 0].astype(np.float64) + 1) * 20, (1 - xyzw[:, 1].astype(np.float64)) * 15,
                    xyzw[:, 2]], axis=1).astype(np.float32)
    b.triangles(xyz, colors=colors)
    assert np.array_equal(a.frame(), b.frame())
    c = kwrender.Context(40, 30)
    c.cull = kwrender.CULL_FRONT
    c.texture_filter = kwrender.FILTER_BILINEAR
    assert (c.cull, c.texture_filter) == (kwrender.CULL_FRONT, kwrender.FILTER_BILINEAR)
    c.triangles_clip(xyzw, colors=colors)  # counter-clockwise: a front face, dropped
    assert not c.frame().any() or np.array_equal(c.frame(), kwrender.Context(40, 30).frame())
    with pytest.raises(ValueError):
        c.cull = 5
    with pytest.raises(kwrender.KwrenderError):
        c.triangles_clip(xyzw, indices=np.array([0, 1, 3], np.uint32))
    with pytest.raises(kwrender.KwrenderError):
        c.triangles_clip(np.full((3, 4), np.nan, np.float32))
