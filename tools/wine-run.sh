#!/usr/bin/env bash
# Runs a Windows program under Wine.  The tests set WINEPREFIX to a folder in
# the build tree; the first start creates it (about 20 seconds).
set -u
wine=$("$(dirname "$0")/wine-path.sh")
export WINEDEBUG=-all
export WINEPREFIX=${WINEPREFIX:-$PWD/.wineprefix}
export WINEDLLOVERRIDES="mscoree,mshtml="
exec "$wine" "$@"
