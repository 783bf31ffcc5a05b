"""The Stanford bunny turning under a perspective camera, a frame from its
number alone, for the render farm (render_farm.py --scene bunny).  The
model is Debian's glmark2-data (its bunny.obj, found with dpkg -L), read
with Debian's python3-meshio.  Vertices go through the clip-space call:
clipped, culled and interpolated in perspective by the library.  Like the
knot, every step uses only float64 additions, multiplications, divisions
and square roots (sine and cosine from knot_scene's series, matrices
applied element by element, never through a BLAS that may fuse or reorder),
so a frame is the same bytes on every worker."""

from __future__ import annotations

import functools
import os
import subprocess
from typing import Optional, Tuple

import numpy as np

from knot_scene import PI, cos_exact, cross, dot, finish_frame, normalize, sin_exact, to_byte


def bunny_path() -> Optional[str]:
    """The model file, or None when glmark2-data is not installed."""
    try:
        files = subprocess.run(["dpkg", "-L", "glmark2-data"], capture_output=True, text=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return None
    for line in files.splitlines():
        if line.endswith("/bunny.obj") and os.path.isfile(line):
            return line
    return None


def missing() -> Optional[str]:
    """Why the scene cannot be drawn here, or None."""
    if bunny_path() is None:
        return "the bunny needs Debian's glmark2-data (its bunny.obj): apt-get install glmark2-data"
    try:
        import meshio  # noqa: F401
    except ImportError:
        return "the bunny needs meshio: apt-get install python3-meshio"
    return None


@functools.lru_cache(maxsize=1)
def bunny_mesh():
    """Positions centred and scaled to a unit size, triangles, vertex normals."""
    import meshio

    mesh = meshio.read(bunny_path())
    points = np.asarray(mesh.points[:, :3], np.float64)
    tri = np.concatenate([c.data for c in mesh.cells if c.type == "triangle"]).astype(np.uint32)
    lo, hi = points.min(axis=0), points.max(axis=0)
    points = (points - (lo + hi) * 0.5) * (2.0 / (hi - lo).max())
    normals = np.zeros_like(points)
    face = cross(points[tri[:, 1]] - points[tri[:, 0]], points[tri[:, 2]] - points[tri[:, 0]])
    for k in range(3):
        np.add.at(normals, tri[:, k], face)  # in index order: the same sums everywhere
    return points, np.ascontiguousarray(tri), normalize(normals)


def apply(m: np.ndarray, p: np.ndarray) -> np.ndarray:
    """The 4 x 4 matrix m on points p (V, 3), element by element: (V, 4)."""
    cols = [m[r, 0] * p[:, 0] + m[r, 1] * p[:, 1] + m[r, 2] * p[:, 2] + m[r, 3] for r in range(4)]
    return np.stack(cols, axis=-1)


def render_frame(index: int, width: int, height: int) -> Tuple[int, str, bytes]:
    """Frame `index`: (index, SHA-256 of the 32 bpp frame bytes, a PNG file)."""
    import kwrender
    from kwrender import camera

    points, tri, normals = bunny_mesh()
    angle = index * (2 * PI / 48)
    ca, sa = float(cos_exact(angle)), float(sin_exact(angle))
    turn = np.array([[ca, 0, sa, 0], [0, 1, 0, 0], [-sa, 0, ca, 0], [0, 0, 0, 1]], np.float64)
    half = 40.0 * PI / 360.0  # 40 degrees vertically, near 0.5, far 20
    f = float(cos_exact(half) / sin_exact(half))
    near, far = 0.5, 20.0
    proj = np.array([[f * height / width, 0, 0, 0], [0, f, 0, 0],
                     [0, 0, far / (near - far), near * far / (near - far)], [0, 0, -1, 0]], np.float64)
    view = camera.look_at((0.0, 0.6, 4.0), (0.0, -0.05, 0.0), (0.0, 1.0, 0.0))
    world = apply(turn, points)[:, :3]
    normal = apply(turn, normals)[:, :3]
    clip = apply(proj, apply(view, world)[:, :3]).astype(np.float32)

    key, fill = normalize(np.array([-0.5, 0.8, 0.6])), normalize(np.array([0.8, -0.1, 0.4]))
    dk, df = np.maximum(0.0, dot(normal, key)), np.maximum(0.0, dot(normal, fill))
    r = to_byte(255 * (0.14 + 0.85 * dk + 0.20 * df)).astype(np.uint32)
    g = to_byte(255 * (0.12 + 0.78 * dk + 0.30 * df)).astype(np.uint32)
    b = to_byte(255 * (0.16 + 0.62 * dk + 0.55 * df)).astype(np.uint32)
    colours = (0xFF000000 | (r << 16) | (g << 8) | b).astype(np.uint32)

    ctx = kwrender.Context(width, height, bpp=32)
    ctx.color = 0xFF101426
    ctx.clear()
    ctx.cull = kwrender.CULL_BACK
    ctx.triangles_clip(clip, colors=colours, indices=tri)
    return finish_frame(ctx, index)
