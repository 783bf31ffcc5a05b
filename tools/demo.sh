#!/usr/bin/env bash
# The main job: builds the library and the showcase demo and renders the
# showcase at 8, 16, 24 and 32 bits per pixel into build/, printing the frame
# time of each and where the pictures are.  Run as root on a fresh Debian
# machine it first installs what the build needs.
set -eu
cd "$(dirname "$0")/.."

. tools/install-missing.sh
install_missing g++ cmake ninja-build libpng-dev libsdl2-dev

# A build of its own: the demo needs neither the test nor the benchmark
# frameworks.
cmake -S . -B build/demo -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DKWR_BUILD_TESTS=OFF -DKWR_BUILD_BENCH=OFF >/dev/null
cmake --build build/demo --target kwrender_demo -j 2 >/dev/null
[ -z "${KWR_DEMO_BUILD_ONLY:-}" ] || exit 0
# PNG pictures where libpng was found, bitmap files otherwise.
ext=bmp
grep -q '^PNG_LIBRARY_RELEASE:FILEPATH=/' build/demo/CMakeCache.txt && ext=png
for bpp in 8 16 24 32; do
  ./build/demo/examples/kwrender_demo --bpp "$bpp" --out "build/showcase_${bpp}bpp.$ext"
done
echo "pictures: $(pwd)/build/showcase_{8,16,24,32}bpp.$ext"
echo "animation: build/demo/examples/kwrender_demo --frames 240; a window: add --window"
