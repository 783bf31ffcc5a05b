#!/usr/bin/env bash
# The picture test: renders the gallery again and compares every picture
# pixel for pixel with the committed one (ImageMagick's compare, absolute
# error count, no fuzz).  A picture that differs leaves a difference picture
# beside the rendered one.
#
#   compare_gallery.sh EXPECTED_DIR WORK_DIR png|bmp DEMO [ARGS...]
#
# DEMO may be an emulator followed by the program (the Windows build runs
# under Wine and writes bitmap files, having no PNG writer).
set -u
expected=$1 work=$2 ext=$3
shift 3
if ! command -v compare >/dev/null; then
  echo "ImageMagick's compare is missing (Debian: imagemagick)"
  [ "${CI:-}" = true ] && exit 1 || exit 77
fi
rm -rf "$work" && mkdir -p "$work" || exit 1
"$@" --gallery "$work" --format "$ext" || { echo "the demo failed"; exit 1; }

status=0 count=0
for want in "$expected"/*.png; do
  name=$(basename "$want" .png)
  got="$work/$name.$ext"
  count=$((count + 1))
  if [ ! -f "$got" ]; then
    echo "$name: not rendered"
    status=1
    continue
  fi
  diff=$(compare -metric AE "$want" "$got" "$work/$name.diff.png" 2>&1 >/dev/null)
  if [ "$diff" != 0 ]; then
    echo "$name: $diff pixels differ; difference picture $work/$name.diff.png"
    status=1
  else
    rm -f "$work/$name.diff.png"
  fi
done
[ "$count" -gt 0 ] || { echo "no pictures in $expected"; exit 1; }
[ $status = 0 ] && echo "$count pictures identical to $expected"
exit $status
