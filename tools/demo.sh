#!/usr/bin/env bash
# The main job: builds the library and runs the demo, which draws the example
# scene in every surface format and writes build/native/demo_*bpp.bmp.
set -eu
cd "$(dirname "$0")/.."
cmake --preset native >/dev/null
cmake --build --preset native --target kwrender_demo
./build/native/examples/kwrender_demo build/native
