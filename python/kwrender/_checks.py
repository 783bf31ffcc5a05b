"""Argument checks shared by the context and the image functions: a bad
argument becomes a TypeError or ValueError here, before it reaches C."""

from __future__ import annotations

import numbers
from typing import Any, Tuple

import numpy as np

INT_MIN, INT_MAX = -(2**31), 2**31 - 1


def as_int(name: str, value: Any) -> int:
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name} must be an int, got {type(value).__name__}")
    v = int(value)
    if not INT_MIN <= v <= INT_MAX:
        raise ValueError(f"{name}={v} is outside the range of a 32-bit int")
    return v


def as_float(name: str, value: Any) -> float:
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"{name} must be a number, got {type(value).__name__}")
    return float(value)


def as_argb(name: str, value: Any) -> int:
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name} must be an int colour 0xAARRGGBB, got {type(value).__name__}")
    v = int(value)
    if not 0 <= v <= 0xFFFFFFFF:
        raise ValueError(f"{name}={v:#x} is not a 32-bit colour 0xAARRGGBB")
    return v


def array(name: str, value: Any, dtype: Any, *, writable: bool = False, convert: bool = False) -> np.ndarray:
    """`value` itself, if it is a C-contiguous NumPy array of `dtype`; with
    `convert`, anything np.ascontiguousarray turns into one (one copy at
    most) whose values fit `dtype`."""
    dtype = np.dtype(dtype)
    if convert and not (isinstance(value, np.ndarray) and value.dtype == dtype and value.flags.c_contiguous):
        value = converted(name, value, dtype)
    if not isinstance(value, np.ndarray):
        raise TypeError(f"{name} must be a NumPy array of {dtype}, got {type(value).__name__} (or pass convert=True)")
    if value.dtype != dtype:
        raise TypeError(f"{name} must have dtype {dtype}, got {value.dtype} (or pass convert=True)")
    if not value.flags.c_contiguous:
        raise ValueError(f"{name} must be C-contiguous (use np.ascontiguousarray, or pass convert=True)")
    if writable and not value.flags.writeable:
        raise ValueError(f"{name} must be writable")
    return value


def converted(name: str, value: Any, dtype: np.dtype) -> np.ndarray:
    """`value` as a C-contiguous array of `dtype`: numbers of any kind to a
    float dtype; integers (not floats, not bools) that fit to an int dtype."""
    try:
        a = np.asarray(value, dtype=dtype if dtype.kind == "f" and not isinstance(value, np.ndarray) else None)
    except (TypeError, ValueError) as e:
        raise TypeError(f"{name} does not convert to an array of {dtype}: {e}") from None
    if dtype.kind == "f":
        if a.dtype.kind not in "biuf":
            raise TypeError(f"{name} has dtype {a.dtype}, which does not convert to {dtype}")
    else:
        if a.dtype.kind not in "iu":
            raise TypeError(f"{name} has dtype {a.dtype}; it converts to {dtype} only from integers")
        info = np.iinfo(dtype)
        if a.size and (a.min() < info.min or a.max() > info.max):
            raise ValueError(f"{name} has values outside the range of {dtype}")
    return np.ascontiguousarray(a, dtype=dtype)


def rows(name: str, value: Any, dtype: Any, channels: Tuple[int, ...], *, writable: bool = False) -> np.ndarray:
    """`value`, if it is an image of `dtype` whose rows may be apart by any
    positive stride but whose pixels are packed: shape (height, width) for
    channels (1,), else (height, width, c) with c in `channels`."""
    dtype = np.dtype(dtype)
    if not isinstance(value, np.ndarray):
        raise TypeError(f"{name} must be a NumPy array of {dtype}, got {type(value).__name__}")
    if value.dtype != dtype:
        raise TypeError(f"{name} must have dtype {dtype}, got {value.dtype}")
    if channels == (1,):
        if value.ndim != 2:
            raise ValueError(f"{name} must have shape (height, width), got {value.shape}")
    elif value.ndim != 3 or value.shape[2] not in channels:
        want = " or ".join(f"(height, width, {c})" for c in channels)
        raise ValueError(f"{name} must have shape {want}, got {value.shape}")
    h, w = value.shape[0], value.shape[1]
    if h < 1 or w < 1:
        raise ValueError(f"{name} is empty ({value.shape})")
    pixel = dtype.itemsize * (value.shape[2] if value.ndim == 3 else 1)
    packed = value.strides[1] == pixel and (value.ndim == 2 or value.strides[2] == dtype.itemsize)
    if not packed or value.strides[0] < w * pixel:
        raise ValueError(f"{name} must have packed pixels and rows top to bottom (use np.ascontiguousarray)")
    if value.strides[0] > INT_MAX or h > INT_MAX or w > INT_MAX:
        raise ValueError(f"{name} is too large")
    if writable and not value.flags.writeable:
        raise ValueError(f"{name} must be writable")
    return value
