#!/usr/bin/env bash
# The browser test: builds the showcase page (tools/web.sh) and the native
# demo, then checks the page in headless Chromium against the demo's frames
# (tests/web/browser_test.py).  Arguments go to browser_test.py
# (--screenshot FILE.png, --bench).
set -eu
cd "$(dirname "$0")/../.."
KWR_WEB_BUILD_ONLY=1 tools/web.sh
cmake --preset native >/dev/null
cmake --build --preset native --target kwrender_demo >/dev/null
exec /usr/bin/python3 tests/web/browser_test.py build/web/site build/native/examples/kwrender_demo "$@"
