#!/usr/bin/env bash
# Builds the native preset and runs the peer benchmark: kwrender against Mesa's
# llvmpipe (through OSMesa) and SDL2's software renderer, same triangles, same
# run.  Run as root on Debian it first installs the peers (libosmesa6-dev,
# libsdl2-dev) when they are missing.  Writes docs/benchmarks.md unless
# --out says otherwise; every other argument goes to the program:
#   tools/peer-bench.sh [--quick] [--out FILE.md] [--peers kwr32,llvmpipe1,...] [--modes gouraud,...]
set -eu
cd "$(dirname "$0")/.."

. tools/install-missing.sh
install_missing libosmesa6-dev libsdl2-dev pkg-config

out_given=no
for a in "$@"; do [ "$a" = --out ] && out_given=yes; done
[ $out_given = yes ] || set -- --out docs/benchmarks.md "$@"
if version=$(git describe --always --dirty 2>/dev/null); then set -- --label "$version" "$@"; fi

cmake --preset native >/dev/null
cmake --build --preset native --target kwrender_peer_bench -j2
exec build/native/bench/kwrender_peer_bench "$@"
