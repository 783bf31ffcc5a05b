#!/usr/bin/env bash
# Builds the native preset and runs the real-model benchmark: kwrender against
# Mesa's llvmpipe on one thread (both on N threads with --threads N), drawing
# the screen-space triangles of the bunny and the horse of Debian's glmark2-data.  Run as root on Debian it
# first installs what it needs (glmark2-data, libosmesa6-dev) when missing.
# Every argument goes to the program:
#   tools/mesh-bench.sh [--quick] [--out FILE.md] [--modes gouraud,...] [--threads N] [MODEL.obj|MODEL.3ds ...]
set -eu
cd "$(dirname "$0")/.."

. tools/install-missing.sh
install_missing glmark2-data libosmesa6-dev pkg-config

if version=$(git describe --always --dirty 2>/dev/null); then set -- --label "$version" "$@"; fi

cmake --preset native >/dev/null
cmake --build --preset native --target kwrender_mesh_bench -j2
exec build/native/bench/kwrender_mesh_bench "$@"
