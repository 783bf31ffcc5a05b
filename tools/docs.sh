#!/usr/bin/env bash
# Builds the HTML reference of the public headers and the guide with Doxygen
# into build/docs/html.  Fails on any warning: every public member is
# documented.  Run as root on Debian it installs doxygen when missing.
set -eu
cd "$(dirname "$0")/.."
if ! command -v doxygen >/dev/null; then
  if [ "$(id -u)" = 0 ] && command -v apt-get >/dev/null; then
    apt-get update -qq && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq doxygen >/dev/null
  else
    echo "doxygen is missing (Debian: doxygen)"; exit 1
  fi
fi
mkdir -p build/docs
KWR_DOCS_OUT=build/docs doxygen docs/Doxyfile
echo "reference written to build/docs/html/index.html"
