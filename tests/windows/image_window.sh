#!/usr/bin/env bash
# Runs the image library's window test (image_window.cpp) on a virtual X
# server.
#   image_window.sh PROGRAM [...]  (PROGRAM may follow an emulator)
set -u
if ! command -v xvfb-run >/dev/null; then
  echo "xvfb-run is missing (Debian: xvfb)"
  [ "${CI:-}" = true ] && exit 1 || exit 77
fi
xvfb-run -a -s "-screen 0 800x600x24" "$@"
