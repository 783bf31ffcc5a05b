"""The turning torus knot of the render farm (render_farm.py), a frame from
its number alone: the knot, the camera and the lighting use only
additions, multiplications, divisions and square roots of float64, which
IEEE 754 defines to the bit (sine and cosine come from a series of such
operations, not from the C library), and the rasteriser gives the same
bytes for the same input.  So a frame is the same bytes whichever worker,
machine or operating system draws it."""

from __future__ import annotations

import functools
import hashlib
from typing import Dict, Tuple

import numpy as np

PI = 3.14159265358979323846


# --- exact sine and cosine, vectorised ------------------------------------------------
def sin_exact(x):
    """sin(x): reduced to [-pi/2, pi/2], then 11 terms of the Taylor series;
    elementwise float64 operations only, so the same bits everywhere."""
    x = np.asarray(x, np.float64)
    two_pi = 2.0 * PI
    x = x - np.floor(x / two_pi + 0.5) * two_pi
    x = np.where(x > PI / 2, PI - x, x)
    x = np.where(x < -PI / 2, -PI - x, x)
    x2 = x * x
    term = x
    total = x
    for n in range(1, 12):
        term = term * (-x2 / float((2 * n) * (2 * n + 1)))
        total = total + term
    return total


def cos_exact(x):
    return sin_exact(np.asarray(x, np.float64) + PI / 2)


# --- small vector helpers on (..., 3) arrays, evaluated left to right -------------------
def dot(a, b):
    return a[..., 0] * b[..., 0] + a[..., 1] * b[..., 1] + a[..., 2] * b[..., 2]


def cross(a, b):
    return np.stack([a[..., 1] * b[..., 2] - a[..., 2] * b[..., 1],
                     a[..., 2] * b[..., 0] - a[..., 0] * b[..., 2],
                     a[..., 0] * b[..., 1] - a[..., 1] * b[..., 0]], axis=-1)


def normalize(a):
    length = np.sqrt(dot(a, a))
    safe = np.where(length > 0, length, 1.0)
    return np.where((length > 0)[..., None], a * (1.0 / safe)[..., None], a)


# --- the scene ----------------------------------------------------------------------------
@functools.lru_cache(maxsize=None)
def knot_mesh(rings: int = 320, sides: int = 20) -> Dict[str, np.ndarray]:
    """A (2, 3) torus knot swept by a tube: positions, normals, u, v per
    vertex ((rings + 1) x (sides + 1) of them) and three indices per triangle."""
    scale, tube = 0.64, 0.38

    def curve(t):
        rr = cos_exact(3 * t) + 2
        return np.stack([rr * cos_exact(2 * t), rr * sin_exact(2 * t), -sin_exact(3 * t)], axis=-1) * scale

    t = 2 * PI * np.arange(rings + 1, dtype=np.float64) / rings
    e = 1e-3
    p, ahead, behind = curve(t), curve(t + e), curve(t - e)
    tangent = normalize(ahead - behind)
    binormal = normalize(cross(tangent, ahead + behind - p * 2))
    normal = cross(binormal, tangent)
    a = 2 * PI * np.arange(sides + 1, dtype=np.float64) / sides
    n = normal[:, None, :] * cos_exact(a)[None, :, None] + binormal[:, None, :] * sin_exact(a)[None, :, None]
    positions = p[:, None, :] + n * (tube * scale)
    i, j = np.meshgrid(np.arange(rings + 1), np.arange(sides + 1), indexing="ij")
    stride = sides + 1
    corner = (np.arange(rings)[:, None] * stride + np.arange(sides)[None, :]).ravel()
    quads = np.stack([corner, corner + stride, corner + 1, corner + 1, corner + stride, corner + stride + 1], axis=1)
    return {
        "positions": positions.reshape(-1, 3), "normals": n.reshape(-1, 3),
        "u": (14.0 * i / rings).astype(np.float32).ravel(), "v": (j / sides).astype(np.float32).ravel(),
        "indices": quads.reshape(-1, 3),
    }


@functools.lru_cache(maxsize=None)
def tile_texture(size: int = 256) -> np.ndarray:
    """Copper and cream bevelled tiles with dark grout, (size, size, 4) blue, green, red, alpha."""
    def smoothstep(e0, e1, x):
        t = np.minimum(1.0, np.maximum(0.0, (x - e0) / (e1 - e0)))
        return t * t * (3 - 2 * t)

    cell = size // 8
    y, x = np.meshgrid(np.arange(size), np.arange(size), indexing="ij")
    fx, fy = (x % cell + 0.5) / cell, (y % cell + 0.5) / cell
    edge = np.minimum(np.minimum(fx, 1 - fx), np.minimum(fy, 1 - fy))
    copper = ((x // cell + y // cell) & 1) != 0
    bevel = smoothstep(0.0, 0.14, edge)
    k = bevel + (1 - bevel) * np.where(fx + fy < 1.0, 1.12, 0.78)
    grout = smoothstep(0.015, 0.045, edge)
    channels = []
    for c_copper, c_cream, c_grout in ((70, 215, 52), (135, 236, 36), (235, 245, 30)):  # blue, green, red
        v = np.where(copper, c_copper, c_cream) * k
        channels.append(to_byte(v * grout + c_grout * (1 - grout)))
    channels.append(np.full((size, size), 255, np.uint8))
    return np.stack(channels, axis=-1)


def to_byte(v):
    """0..255, rounded half up, as the showcase rounds its colours."""
    return np.where(v <= 0, 0, np.where(v >= 255, 255, np.floor(np.where(v > 0, v, 0) + 0.5))).astype(np.uint8)


EYE = np.array([-0.4, 1.5, 9.0])
TARGET = np.array([0.2, -0.05, 0.0])


def finish_frame(ctx, index: int) -> Tuple[int, str, bytes]:
    """A farm task's result: the frame's index, the SHA-256 of its pixels and its PNG; closes the context."""
    frame = ctx.frame()
    digest = hashlib.sha256(frame.tobytes()).hexdigest()
    png = ctx.to_png()
    del frame
    ctx.close()
    return index, digest, png


def render_frame(index: int, width: int, height: int) -> Tuple[int, str, bytes]:
    """Frame `index` of the animation: (index, SHA-256 of the 32 bpp frame
    bytes, the frame as a PNG file, RGBA, written by the library)."""
    import kwrender

    mesh = knot_mesh()
    angle, tilt = 0.6 + index * (2 * PI / 360), 0.28

    def turn(p):
        ca, sa, ct, st = cos_exact(angle), sin_exact(angle), cos_exact(tilt), sin_exact(tilt)
        qx, qy, qz = p[:, 0] * ca + p[:, 2] * sa, p[:, 1], -p[:, 0] * sa + p[:, 2] * ca
        return np.stack([qx, qy * ct - qz * st, qy * st + qz * ct], axis=-1)

    world, normals = turn(mesh["positions"]), turn(mesh["normals"])

    # A pinhole camera: screen x, y in pixels and depth 0..1 between the planes 1 and 24.
    forward = normalize(TARGET - EYE)
    right = normalize(cross(forward, np.array([0.0, 1.0, 0.0])))
    up = cross(right, forward)
    half = 38.0 * PI / 360.0
    focal = height * 0.5 * cos_exact(half) / sin_exact(half)
    d = world - EYE
    z = dot(d, forward)
    screen = np.stack([width * 0.5 + focal * dot(d, right) / z, height * 0.5 - focal * dot(d, up) / z,
                       (z - 1.0) / (24.0 - 1.0)], axis=-1).astype(np.float32)

    # Lighting baked into the vertex colours: a warm key light with a
    # highlight, a cool fill light and some ambient light.
    key, fill = normalize(np.array([-0.55, 0.75, 0.65])), normalize(np.array([0.9, -0.2, 0.35]))
    dk, df = np.maximum(0.0, dot(normals, key)), np.maximum(0.0, dot(normals, fill))
    s = np.maximum(0.0, dot(normals, normalize(key + normalize(EYE - world))))
    for _ in range(5):
        s = s * s
    r = to_byte(255 * (0.16 + 0.95 * dk + 0.25 * df) + 230 * s).astype(np.uint32)
    g = to_byte(255 * (0.16 + 0.90 * dk + 0.40 * df) + 230 * s).astype(np.uint32)
    b = to_byte(255 * (0.20 + 0.80 * dk + 0.65 * df) + 230 * s).astype(np.uint32)
    colours = 0xFF000000 | (r << 16) | (g << 8) | b

    # Front faces in front of the camera.
    tri = mesh["indices"]
    n = normals[tri[:, 0]] + normals[tri[:, 1]] + normals[tri[:, 2]]
    keep = (dot(n, EYE - world[tri[:, 0]]) >= 0) & (z[tri] >= 1.0).all(axis=1)
    tri = tri[keep]

    ctx = kwrender.Context(width, height, bpp=32)
    # A vertical gradient behind the knot, then the knot in one batch.
    w, h = float(width), float(height)
    top, bottom = 0xFF080A18, 0xFF2C1E42
    ctx.triangles(np.array([[0, 0], [w, 0], [0, h], [w, 0], [w, h], [0, h]], np.float32),
                  np.array([top, top, bottom, top, bottom, bottom], np.uint32))
    ctx.set_texture(tile_texture())
    uv = np.stack([mesh["u"], mesh["v"]], axis=-1)
    ctx.triangles(np.ascontiguousarray(screen[tri]), np.ascontiguousarray(colours[tri].astype(np.uint32)),
                  np.ascontiguousarray(uv[tri]))
    return finish_frame(ctx, index)
