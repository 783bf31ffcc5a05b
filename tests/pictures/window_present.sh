#!/usr/bin/env bash
# The window test: the demo shows frames in a real window on a virtual X
# server (the Windows build through GDI under Wine), keeps the last frame on
# screen, and this script grabs the window's pixels from the X server and
# compares them with the frame the library rendered, pixel for pixel.
#
#   window_present.sh WORK_DIR BPP DEMO [ARGS...]
set -u
if [ "$1" = --inside ]; then
  inside=1
  shift
fi
work=$1 bpp=$2
shift 2
[ -n "${inside:-}" ] || for tool in xvfb-run import compare; do
  if ! command -v $tool >/dev/null; then
    echo "$tool is missing (Debian: xvfb, imagemagick)"
    [ "${CI:-}" = true ] && exit 1 || exit 77
  fi
done

# Runs inside the virtual X server: start the demo, wait until its frame is
# on screen, grab the client area, let the demo go.
inside() {
  "$@" --window-test "$work" --size 320x240 --bpp "$bpp" --frames 3 >"$work/demo.log" 2>&1 &
  local pid=$! i
  for i in $(seq 1 1200); do
    [ -f "$work/ready" ] && break
    kill -0 $pid 2>/dev/null || break
    sleep 0.1
  done
  if [ ! -f "$work/ready" ]; then
    echo "the demo did not show its frame"; cat "$work/demo.log"
    kill $pid 2>/dev/null
    return 1
  fi
  # The demo keeps presenting its last frame; on a busy machine the first
  # grab may still catch an earlier one, so a differing grab is taken again.
  local frame diff=unknown try
  frame=$(ls "$work"/frame.png "$work"/frame.bmp 2>/dev/null | head -n 1)
  for try in 1 2 3 4 5; do
    sleep 0.5
    import -window root -crop "$(cat "$work/geometry.txt")" +repage "$work/grab.png" || continue
    diff=$(compare -metric AE "$frame" "$work/grab.png" "$work/diff.png" 2>&1 >/dev/null)
    [ "$diff" = 0 ] && break
  done
  touch "$work/done"
  wait $pid
  local ran=$?
  cat "$work/demo.log"
  if [ "$diff" != 0 ]; then
    echo "$bpp bpp: $diff pixels of the window differ from the rendered frame; see $work/diff.png"
    return 1
  fi
  echo "$bpp bpp: the window shows the rendered frame exactly ($(cat "$work/geometry.txt"))"
  [ $ran = 0 ]
}
if [ -n "${inside:-}" ]; then
  inside "$@"
  exit
fi
rm -rf "$work" && mkdir -p "$work" || exit 1
xvfb-run -a -s "-screen 0 800x600x24" bash "$0" --inside "$work" "$bpp" "$@"

