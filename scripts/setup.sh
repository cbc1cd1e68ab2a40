#!/usr/bin/env bash
# Installs what building and testing need on a fresh Debian 12 machine. Safe to run again.
set -euo pipefail

packages=(wine wine64 libwine fonts-wine mingw-w64 g++-mingw-w64-x86-64-posix nsis
          cmake ninja-build xvfb xauth libgl1-mesa-dri imagemagick dpkg-dev googletest zip
          clang libclang-rt-14-dev)

missing=()
# The machine's own Node.js may already bring npm; only a bare machine needs Debian's.
command -v npm >/dev/null || packages+=(nodejs npm)
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

# libyuv is built for mingw from Debian's source package, so apt needs a source entry.
src_list=/etc/apt/sources.list.d/zarn-deb-src.sources
need_update=0
if ! grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ && ! grep -qs '^deb-src' /etc/apt/sources.list; then
  cat > "$src_list" <<'SRC'
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: bookworm bookworm-updates
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
  need_update=1
fi

if [ ${#missing[@]} -gt 0 ] || [ $need_update -eq 1 ]; then
  apt-get update -qq
fi
if [ ${#missing[@]} -gt 0 ]; then
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The Windows ffmpeg is our stand-in for the hosts users run.
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
if [ ! -f "$repo/node_modules/@ffmpeg-installer/win32-x64/ffmpeg.exe" ]; then
  (cd "$repo" && npm install --force --os=win32 --cpu=x64 --no-package-lock --no-audit --no-fund --loglevel=error)
fi
