#!/usr/bin/env bash
# Runs every test: the native build (with the test of an outside host that
# finds the installed package), the Python package's tests (with the render
# farm on a local Dask cluster) and its install with pip, the sanitizer
# builds (address and undefined behaviour; threads for the multi-core
# tests), a minute of fuzzing the bitmap loader, the Windows build under
# Wine, the AArch64 build under qemu, the WebAssembly build under Node.js
# and the showcase web page in headless Chromium.  Run as root on a fresh
# Debian machine it first installs what is missing.  Exits non-zero if any
# of them fails.
set -u
cd "$(dirname "$0")/.."

. tools/install-missing.sh
install_missing $(grep -v '^#' tools/packages.txt) || exit 1

status=0
summary=""
run() {
  local name=$1; shift
  echo "== $name"
  if "$@"; then summary="$summary\n  $name: passed"; else summary="$summary\n  $name: FAILED"; status=1; fi
}

run native cmake --workflow --preset native
# The Python package over the native build's library, the render farm on a
# local cluster of two workers, and the package installed with pip.
run python tools/python-test.sh
run sanitize cmake --workflow --preset sanitize
# The multi-core tests under ThreadSanitizer.
run tsan cmake --workflow --preset tsan
# The reference of the public headers: every public member documented.
run docs tools/docs.sh
# The bitmap loader's fuzz target, a minute from the generated seed corpus;
# fails on any finding (the input is kept in build/fuzz/tests/fuzz/findings).
run fuzz cmake --workflow --preset fuzz
if command -v x86_64-w64-mingw32-g++-posix >/dev/null && [ -n "$(tools/wine-path.sh)" ]; then
  run windows cmake --workflow --preset windows
else
  echo "== windows: skipped (needs g++-mingw-w64-x86-64-posix and wine64)"
  summary="$summary\n  windows: SKIPPED"
  [ "${CI:-}" = true ] && status=1
fi
# The AArch64 build, its tests under qemu's user-mode emulator: the same
# golden hashes as x86-64.
if command -v aarch64-linux-gnu-g++ >/dev/null && command -v qemu-aarch64 >/dev/null; then
  run aarch64 cmake --workflow --preset aarch64
else
  echo "== aarch64: skipped (needs g++-aarch64-linux-gnu and qemu-user)"
  summary="$summary\n  aarch64: SKIPPED"
  [ "${CI:-}" = true ] && status=1
fi
# The WebAssembly build (emscripten), its tests under Node.js: the same
# golden hashes as x86-64.  Debian's emscripten needs Debian's node-acorn.
if command -v emcmake >/dev/null && command -v node >/dev/null; then
  run wasm env NODE_PATH=/usr/share/nodejs cmake --workflow --preset wasm
else
  echo "== wasm: skipped (needs emscripten and nodejs)"
  summary="$summary\n  wasm: SKIPPED"
  [ "${CI:-}" = true ] && status=1
fi
# The showcase page in headless Chromium: the canvas holds the native
# demo's frame byte for byte at every depth, SIMD128 and scalar, and the
# page loads with no console error.
if command -v emcmake >/dev/null && command -v chromium >/dev/null; then
  run web tests/web/run.sh --screenshot build/web/showcase_page.png
else
  echo "== web: skipped (needs emscripten and chromium)"
  summary="$summary\n  web: SKIPPED"
  [ "${CI:-}" = true ] && status=1
fi
printf "== summary:$summary\n"
exit $status
