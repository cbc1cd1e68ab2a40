#!/usr/bin/env bash
# The main job: install and build, install the camera with its setup program in a Wine prefix of
# its own, run the reference mixer, capture a few seconds with a real DirectShow client (ffmpeg),
# and show where the video and a contact sheet of its frames went.
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZARN_BUILD_DIR:-$repo/build}
out=${ZARN_OUT_DIR:-$repo/out}
seconds=${ZARN_CAPTURE_SECONDS:-5}

"$repo/scripts/setup.sh"
"$repo/scripts/build.sh"

mkdir -p "$out"
export ZARN_WINEPREFIX=$out/wineprefix
export WINEPREFIX=$ZARN_WINEPREFIX
wine_run() { "$repo/scripts/wine-run.sh" "$@"; }
winpath() { echo "Z:$(echo "$1" | tr '/' '\\')"; }
ffmpeg=$repo/node_modules/@ffmpeg-installer/win32-x64/ffmpeg.exe

echo "== The module imports only system DLLs"
"$repo/scripts/check-imports.sh" "$build/bin/ZarnVirtualCam.ax"

echo "== Installing ZarnCam Pro in $WINEPREFIX with $build/ZarnCamSetup.exe /S"
wine_run "$build/ZarnCamSetup.exe" /S
# ffmpeg ends a device listing with an error code by design.
{ wine_run "$ffmpeg" -hide_banner -f dshow -list_devices true -i dummy 2>&1 || true; } | grep -A1 'video devices' | tail -1

echo "== Starting zarnmixer-sim"
wine_run "$build/bin/zarnmixer-sim.exe" --fps 30 --seconds $((seconds + 20)) > "$out/mixer.log" 2>&1 &
mixer=$!
trap 'kill $mixer 2>/dev/null || true; WINEPREFIX=$WINEPREFIX wineserver -k 2>/dev/null || true' EXIT
sleep 2

echo "== Capturing ${seconds}s of 1280x720 at 30 fps with ffmpeg"
video=$out/zarncam-capture.mp4
sheet=$out/zarncam-contact-sheet.png
rm -f "$video" "$sheet"
wine_run "$ffmpeg" -hide_banner -loglevel error -y -f dshow -video_size 1280x720 -pixel_format bgr24 \
  -framerate 30 -rtbufsize 512M -i "video=ZarnCam Pro" -t "$seconds" -c:v libx264 -preset ultrafast \
  -pix_fmt yuv420p \
  "$(winpath "$video")"
wine_run "$ffmpeg" -hide_banner -loglevel error -y -i "$(winpath "$video")" \
  -vf "fps=2,scale=320:-1,tile=5x2" -frames:v 1 "$(winpath "$sheet")"

echo
echo "Video:         $video"
echo "Contact sheet: $sheet"
echo "Mixer output:  $out/mixer.log"
echo "Setup log:     $WINEPREFIX/drive_c/Program Files/ZarnCam Pro/bin/setup.log"
echo "Camera log:    $WINEPREFIX/drive_c/users/$(whoami)/AppData/Roaming/zarncam pro/log/zarncamvcam.log"
