#!/usr/bin/env bash
# The Python package's tests (python/tests, with Debian's pytest, NumPy and
# Dask) against the native build's library, then an install of the package
# with pip into a fresh virtual environment (offline, Debian's setuptools),
# the library bundled next to it, and its import from elsewhere.  Builds the
# native preset's library first when needed; everything it writes goes to
# build/python.
set -eu
cd "$(dirname "$0")/.."
py=/usr/bin/python3   # Debian's interpreter, with Debian's packages
build=$PWD/build/native
out=$PWD/build/python

[ -f "$build/build.ninja" ] || nice cmake --preset native >/dev/null
nice cmake --build --preset native -j2 --target kwrender kwrender_scene_frame >/dev/null

export KWRENDER_BUILD=$build KWRENDER_LIBRARY=$build/libkwrender.so PYTHONDONTWRITEBYTECODE=1
mkdir -p "$out"
rm -rf "$out/pytest"
"$py" -m pytest -q -p no:cacheprovider --basetemp="$out/pytest" python/tests

echo "-- pip install into a virtual environment"
rm -rf "$out/venv" "$out/src"
mkdir -p "$out/src"
cp -r python/pyproject.toml python/README.md python/kwrender "$out/src/"
cp -L "$build/libkwrender.so.0" "$out/src/kwrender/"
"$py" -m venv --system-site-packages "$out/venv"
"$out/venv/bin/python" -m pip install -q --no-index --no-build-isolation "$out/src"
cd /
unset KWRENDER_LIBRARY
"$out/venv/bin/python" -c "
import numpy as np, kwrender
assert kwrender.library_path.startswith('$out/venv/'), kwrender.library_path
ctx = kwrender.Context(8, 8)
ctx.triangles(np.array([[0, 0], [8, 0], [0, 8]], np.float32))
print('installed:', kwrender.__file__, repr(ctx), 'pixels drawn:', int((ctx.frame()[..., 3] == 255).sum()))
"
