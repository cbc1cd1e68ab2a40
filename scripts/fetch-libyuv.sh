#!/usr/bin/env bash
# Unpacks Debian's libyuv source package into $1 once; later builds reuse it.
set -euo pipefail
dest=$1
mkdir -p "$dest"
cd "$dest"
if ls -d libyuv-*/ >/dev/null 2>&1; then exit 0; fi
apt-get source -qq libyuv 2>/dev/null || { apt-get update -qq && apt-get source -qq libyuv; }
