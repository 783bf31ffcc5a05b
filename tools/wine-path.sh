#!/usr/bin/env bash
# Prints the path of the 64-bit Wine loader (Debian's wine64 keeps it off PATH).
for w in /usr/lib/wine/wine64 /usr/bin/wine64; do
  [ -x "$w" ] && { echo "$w"; exit 0; }
done
dpkg -L wine64 2>/dev/null | grep -E '/wine64$' | head -n 1
