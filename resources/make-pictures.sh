#!/usr/bin/env bash
# Regenerates the two stored pictures that the camera shows while ZarnCam Pro is not running.
# Needs ImageMagick 6 (Debian: apt-get install imagemagick). The corners stay plain gradient:
# tests look at them to tell the top row from the bottom row.
set -euo pipefail
cd "$(dirname "$0")"

make_card() {
  local width=$1 height=$2 out=$3
  local title=$((height / 9)) line=$((height / 26))
  /usr/bin/convert -size "${width}x${height}" gradient:'#16222e'-'#2f6f73' \
    -font DejaVu-Sans-Bold -pointsize "$title" -fill '#e8eef2' \
    -gravity center -annotate +0-$((height / 12)) 'ZarnCam Pro' \
    -font DejaVu-Sans -pointsize "$line" -fill '#b9c9d3' \
    -annotate +0+$((height / 14)) 'The camera is waiting for ZarnCam Pro to start' \
    -type TrueColor -sampling-factor 4:2:0 -quality 90 -strip "jpeg:$out"
}

make_card 640 480 placeholder_640x480.jpg
make_card 1280 720 placeholder_1280x720.jpg
