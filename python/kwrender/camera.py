"""Camera matrices for Context.triangles_clip, as float64 NumPy arrays.

Conventions (those of the clip-space calls): eye space is right-handed,
the camera looks down -z with y up; clip space is visible where
-w <= x <= w, -w <= y <= w and 0 <= z <= w, with z = 0 on the near plane
and z = w on the far plane (depth z / w runs 0 to 1, smaller nearer).
Vertices are column vectors: clip = projection @ view @ [x, y, z, 1].

    import numpy as np, kwrender
    from kwrender import camera
    ctx = kwrender.Context(320, 240)
    m = camera.perspective(60, 320 / 240, 0.1, 100) @ camera.look_at((0, 1, 3), (0, 0, 0), (0, 1, 0))
    xyzw = camera.transform(m, vertices)          # (V, 3) points -> (V, 4) float32
    ctx.triangles_clip(xyzw, uv=uv, indices=faces)
"""

import math
from typing import Any

import numpy as np

__all__ = ["perspective", "look_at", "transform"]


def perspective(fovy: float, aspect: float, near: float, far: float) -> np.ndarray:
    """The 4 x 4 projection of a camera with a vertical field of view of
    `fovy` degrees, width / height `aspect`, and near and far distances
    (0 < near < far): w = -z_eye, z = 0 at the near plane, z = w at the far one."""
    if not (0 < fovy < 180):
        raise ValueError(f"fovy must lie between 0 and 180 degrees, got {fovy}")
    if not (aspect > 0 and 0 < near < far and math.isfinite(far)):
        raise ValueError(f"need aspect > 0 and 0 < near < far < inf, got {aspect}, {near}, {far}")
    f = 1.0 / math.tan(math.radians(fovy) / 2.0)
    m = np.zeros((4, 4), np.float64)
    m[0, 0] = f / aspect
    m[1, 1] = f
    m[2, 2] = far / (near - far)
    m[2, 3] = near * far / (near - far)
    m[3, 2] = -1.0
    return m


def look_at(eye: Any, target: Any, up: Any) -> np.ndarray:
    """The 4 x 4 view matrix of a camera at `eye` looking at `target`, with
    `up` pointing up on the screen (not parallel to the line of sight)."""
    e, t, u = (np.asarray(v, np.float64).reshape(3) for v in (eye, target, up))
    f = t - e
    if not np.linalg.norm(f) > 0:
        raise ValueError("eye and target must differ")
    f = f / np.linalg.norm(f)
    s = np.cross(f, u)
    if not np.linalg.norm(s) > 0:
        raise ValueError("up must not be parallel to the line of sight")
    s = s / np.linalg.norm(s)
    v = np.cross(s, f)
    m = np.identity(4, np.float64)
    m[0, :3], m[1, :3], m[2, :3] = s, v, -f
    m[:3, 3] = -m[:3, :3] @ e
    return m


def transform(matrix: Any, points: Any) -> np.ndarray:
    """(V, 3) points (or (V, 4) homogeneous ones) through a 4 x 4 matrix, as
    the (V, 4) float32 clip-space array triangles_clip takes."""
    p = np.asarray(points, np.float64)
    if p.ndim != 2 or p.shape[1] not in (3, 4):
        raise ValueError(f"points must have shape (V, 3) or (V, 4), got {p.shape}")
    if p.shape[1] == 3:
        p = np.hstack([p, np.ones((p.shape[0], 1))])
    return np.ascontiguousarray((p @ np.asarray(matrix, np.float64).T).astype(np.float32))
