#!/usr/bin/env bash
# The kwrimage tool: converts a hand-made 2 x 1 bitmap to 8 bits at 4 x 2,
# describes the result, and fails on a missing file with the error text.
#   kwrimage_cli.sh WORK_DIR KWRIMAGE [...]  (KWRIMAGE may follow an emulator)
set -u
work=$1
shift
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
# 24 bits, 40-byte header, one row: blue, then red, padded to 8 bytes.
printf 'BM>\0\0\0\0\0\0\0006\0\0\0(\0\0\0\2\0\0\0\1\0\0\0\1\0\30\0%24s\377\0\0\0\0\377\0\0' '' \
  | tr ' ' '\0' > in.bmp
"$@" convert in.bmp out.bmp --bpp 8 --size 4x2 || { echo "convert failed"; exit 1; }
"$@" info out.bmp > info.txt || { echo "info failed"; exit 1; }
grep -q 'size: 4 x 2' info.txt && grep -q 'bits per pixel: 8' info.txt || { cat info.txt; exit 1; }
"$@" info missing.bmp > /dev/null 2> err.txt
[ $? -eq 1 ] && grep -q 'missing.bmp: open file' err.txt || { echo "missing file: wrong exit or text"; cat err.txt; exit 1; }
echo "kwrimage: convert, info and a failure behave"
