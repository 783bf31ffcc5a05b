#!/usr/bin/env bash
# The kwrimage tool: converts a hand-made 2 x 1 bitmap to 8 bits at 4 x 2,
# describes the result, fails on a missing file with the error text and on
# command-line mistakes with a message naming them.
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
# Command-line mistakes: exit 2 and a message naming what was wrong.
expect_usage() {
  local want=$1; shift
  "$@" > /dev/null 2> err.txt
  [ $? -eq 2 ] && grep -q -- "$want" err.txt || { echo "usage error '$want': wrong exit or text"; cat err.txt; exit 1; }
}
expect_usage 'must end in .bmp or .png' "$@" convert in.bmp out.jpg
expect_usage '--bpp takes' "$@" convert in.bmp o.bmp --bpp 7
expect_usage '--size takes' "$@" convert in.bmp o.bmp --size 0x0
expect_usage '--size takes' "$@" convert in.bmp o.bmp --size abc
expect_usage 'unknown command' "$@" frobnicate in.bmp
[ ! -e out.jpg ] && [ ! -e o.bmp ] || { echo "a refused command wrote a file"; exit 1; }
# PNG where the build has libpng: written, read back to the same pixels.
if "$@" convert in.bmp out.png 2> err.txt; then
  [ "$(head -c 4 out.png | tail -c 3)" = PNG ] || { echo "out.png is no PNG"; exit 1; }
  "$@" convert in.bmp same.bmp && "$@" convert out.png back.bmp && cmp -s same.bmp back.bmp || { echo "png: read back differs"; exit 1; }
else
  grep -q 'writes no PNG' err.txt || { echo "png: wrong failure"; cat err.txt; exit 1; }
  printf '\211PNG\r\n\032\n' > sig.png
  "$@" info sig.png 2> err.txt
  [ $? -eq 1 ] && grep -q 'bitmap files only' err.txt || { echo "png without libpng: wrong text"; cat err.txt; exit 1; }
fi
# A save that fails half-way (the file size limit, natively only) leaves the
# file that was there whole, names the reason and leaves no temporary file.
if [ $# -eq 1 ]; then
  cp out.bmp keep.bmp
  ( ulimit -f 1; trap '' XFSZ; "$@" convert out.bmp out.bmp --size 1000x500 ) 2> err.txt
  [ $? -eq 1 ] && grep -q 'write file: File too large' err.txt || { echo "failed save: wrong exit or text"; cat err.txt; exit 1; }
  cmp -s out.bmp keep.bmp || { echo "a failed save changed the file"; exit 1; }
  [ -z "$(ls | grep tmp)" ] || { echo "a failed save left a temporary file:" *tmp*; exit 1; }
fi
"$@" --help > help.txt && grep -q 'usage: kwrimage' help.txt || { echo "--help failed"; exit 1; }
echo "kwrimage: convert, info, --help and failures behave"
