#!/usr/bin/env bash
# The Python package as a user installs it: `python -m pip install .` from
# the repository root into a fresh virtual environment (Debian's
# interpreter, its NumPy through --system-site-packages, its setuptools,
# offline), which builds the library with CMake inside the package; then
# `pip wheel` and the wheel into a second fresh environment; then the
# package's tests (python/tests, with Debian's pytest, Dask, Pillow and
# Jupyter) against the installed package, with no variable pointing at a
# build tree.  The scene test compares with a C++ program of the native
# preset, built first when needed.  Everything it writes goes to build/python.
set -eu
cd "$(dirname "$0")/.."
root=$PWD
py=/usr/bin/python3   # Debian's interpreter, with Debian's packages
build=$root/build/native
out=$root/build/python

[ -f "$build/build.ninja" ] || nice cmake --preset native >/dev/null
nice cmake --build --preset native -j2 --target kwrender_scene_frame >/dev/null
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-2} PYTHONDONTWRITEBYTECODE=1
unset KWRENDER_LIBRARY PYTHONPATH

echo "-- python -m pip install --no-build-isolation . (fresh virtual environment)"
rm -rf "$out"
mkdir -p "$out"
"$py" -m venv --system-site-packages "$out/venv"
nice "$out/venv/bin/python" -m pip install -q --no-build-isolation .

echo "-- python -m pip wheel, installed into another fresh virtual environment"
nice "$out/venv/bin/python" -m pip wheel -q --no-build-isolation --no-deps -w "$out/dist" .
"$py" -m venv --system-site-packages "$out/wheel-venv"
"$out/wheel-venv/bin/python" -m pip install -q --no-index "$out"/dist/kwrender-*.whl
"$py" - "$out"/dist/kwrender-*.whl <<'PY'
import os, sys, zipfile
wheel = sys.argv[1]
name = os.path.basename(wheel)
size = os.path.getsize(wheel)
libs = [i for i in zipfile.ZipFile(wheel).infolist() if "libkwrender" in i.filename]
print(f"{name}: {size / 1e6:.1f} MB, library {[(i.filename, i.file_size) for i in libs]}")
assert name.endswith("-py3-none-linux_x86_64.whl") or "-py3-none-" in name and "-any" not in name, name
assert len(libs) == 1 and libs[0].filename == "kwrender/libkwrender.so", libs
assert size < 8e6, size
PY
for v in venv wheel-venv; do
  (cd / && "$out/$v/bin/python" -c "
import kwrender, numpy as np
assert kwrender.library_path.startswith('$out/$v/'), kwrender.library_path
c = kwrender.Context(8, 8)
c.set_color(0xFFFFFFFF)
c.triangles(np.array([[0, 0], [8, 0], [0, 8]], np.float32))
print('$v:', kwrender.__version__, kwrender.library_path, int((c.frame()[..., 1] == 255).sum()), 'pixels drawn')
")
done

echo "-- the package's tests against the install"
KWRENDER_TEST_INSTALLED=1 KWRENDER_BUILD=$build "$out/venv/bin/python" -m pytest -q -p no:cacheprovider \
  --basetemp="$out/pytest" python/tests
