#!/usr/bin/env bash
# Regenerates the README's pictures in docs/gallery from the demo (the
# picture test compares against them, so run this after a deliberate change
# of what the library or the demo draws, and look at the pictures).
set -eu
cd "$(dirname "$0")/.."
KWR_DEMO_BUILD_ONLY=1 tools/demo.sh
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
./build/demo/examples/kwrender_demo --gallery "$tmp" --format png
mkdir -p docs/gallery
rm -f docs/gallery/*.png
cp "$tmp"/*.png docs/gallery/
echo "gallery: $(ls docs/gallery | wc -l) pictures in $(pwd)/docs/gallery"
