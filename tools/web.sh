#!/usr/bin/env bash
# Builds the showcase web page (the web preset: the library and the scene
# compiled to WebAssembly by emscripten, with the page in build/web/site;
# the web-scalar preset: the same module without SIMD128, beside it, for
# engines without SIMD128) and serves it on localhost.
#
#   tools/web.sh [PORT]      (default 8000; KWR_WEB_BUILD_ONLY=1: build only)
set -eu
cd "$(dirname "$0")/.."
command -v emcmake >/dev/null || { echo "tools/web.sh needs emscripten (Debian: emscripten node-acorn)"; exit 1; }
# Debian's emscripten runs its optimiser with Debian's node-acorn.
export NODE_PATH=/usr/share/nodejs
for preset in web web-scalar; do
  nice cmake --workflow --preset $preset || { echo "the web build failed: cmake --workflow --preset $preset"; exit 1; }
done
[ "${KWR_WEB_BUILD_ONLY:-}" = 1 ] && exit 0
port=${1:-8000}
echo "kwrender showcase: http://localhost:$port/ (Ctrl-C stops the server)"
exec /usr/bin/python3 -m http.server --bind 127.0.0.1 --directory build/web/site "$port"
