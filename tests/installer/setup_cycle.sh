#!/usr/bin/env bash
# The setup program in a fresh Wine prefix: a silent install into a folder with spaces that ffmpeg
# lists and captures the reference mixer through, an uninstall entry naming the installed files
# and version, a second setup over the first while a host holds the module, and an uninstall that
# leaves only the log folder.
#   setup_cycle.sh <build folder> <version>
set -euo pipefail
repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
build=$(cd "$1" && pwd)
version=$2
export WINEPREFIX=$build/installer-prefix
rm -rf "$WINEPREFIX"
trap 'kill "${mixer:-}" 2>/dev/null || true; wineserver -k >/dev/null 2>&1 || true' EXIT

wine_run() { timeout 180 "$repo/scripts/wine-run.sh" "$@"; }
fail() { echo "FAIL: $*" >&2; exit 1; }
ffmpeg=$repo/node_modules/@ffmpeg-installer/win32-x64/ffmpeg.exe
app='C:\Zarn Test\ZarnCam Pro'
app_unix="$WINEPREFIX/drive_c/Zarn Test/ZarnCam Pro"
logs="$WINEPREFIX/drive_c/users/$(whoami)/AppData/Roaming/zarncam pro/log"
key='HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\ZarnCam Pro'
lists_camera() {
  local devices
  devices=$(wine_run "$ffmpeg" -hide_banner -f dshow -list_devices true -i dummy 2>&1 || true)
  grep -q '"ZarnCam Pro"' <<<"$devices"
}
entry() { wine_run reg query "$key" /v "$1" | tr -d '\r' | sed -n "s/^ *$1 *REG_[A-Z]* *//p"; }

echo "== setup /S into $app"
wine_run "$build/ZarnCamSetup.exe" /S "/D=$app" || fail "setup exited with $?"
lists_camera || fail "ffmpeg does not list the camera"
[ "$(entry DisplayVersion)" = "$version" ] || fail "uninstall entry version: $(entry DisplayVersion)"
[ "$(entry UninstallString)" = "\"$app\\bin\\uninstall.exe\"" ] ||
  fail "uninstall entry path: $(entry UninstallString)"
[ "$(entry EstimatedSize)" != 0x0 ] || fail "uninstall entry has no size"
probe=$(wine_run "$app_unix/bin/zarncam-probe.exe" --list | tr -d '\r')
grep -qxF "module: $app\\bin\\ZarnVirtualCam.ax" <<<"$probe" || fail "probe: $probe"
grep -qxF "version: $version" <<<"$probe" || fail "probe: $probe"

echo "== ffmpeg captures the reference mixer"
# Not through wine_run: $! must be the mixer itself, so that kill ends it.
"$repo/scripts/wine-run.sh" "$build/bin/zarnmixer-sim.exe" --seconds 300 \
  > "$build/installer-mixer.log" 2>&1 &
mixer=$!
timeout 60 grep -q -m1 'hosts ask for' <(tail -f "$build/installer-mixer.log" 2>/dev/null) ||
  fail "the mixer did not start"
# The body's upper left quadrant, averaged to one pixel: the mixer's red, not the stored picture.
pixel=$(wine_run "$ffmpeg" -hide_banner -loglevel error -f dshow -video_size 1280x720 \
  -pixel_format bgr24 -rtbufsize 64M -i "video=ZarnCam Pro" -frames:v 1 \
  -vf "crop=iw*3/8:ih*3/16:iw/16:ih*3/16,scale=1:1:flags=area" -f rawvideo -pix_fmt rgb24 - |
  od -An -tu1 | xargs)
read -r red green blue <<<"$pixel"
[ "${red:-0}" -ge 200 ] && [ "${green:-255}" -le 60 ] && [ "${blue:-255}" -le 60 ] ||
  fail "captured upper left is '$pixel', not the mixer's red"

echo "== a second setup over the first while a host holds the module"
wine_run "$app_unix/bin/zarncam-probe.exe" --seconds 45 > "$build/installer-probe.log" 2>&1 &
host=$!
timeout 60 grep -q -m1 'held by zarncam-probe' \
  <(tail -f "$build/installer-mixer.log" 2>/dev/null) || fail "the host did not open the camera"
held=$(stat -c %i "$app_unix/bin/ZarnVirtualCam.ax")
wine_run "$build/ZarnCamSetup.exe" /S || fail "second setup exited with $?"
[ "$(stat -c %i "$app_unix/bin/ZarnVirtualCam.ax")" != "$held" ] || fail "the module was not replaced"
grep -q 'ZarnVirtualCam.ax is in use: the old copy is now' "$app_unix/bin/setup.log" ||
  fail "the second setup did not move the loaded module aside: $(cat "$app_unix/bin/setup.log")"
[ "$(entry InstallLocation)" = "$app" ] || fail "second setup went to $(entry InstallLocation)"
wait "$host" || fail "the host failed after the upgrade: $(cat "$build/installer-probe.log")"
# About 1350 at 30 a second: a host that froze at the upgrade falls well short.
grep -Eq 'frames received: ([1-9][0-9]{3,}|9[0-9]{2}) ' "$build/installer-probe.log" ||
  fail "the host stopped receiving: $(cat "$build/installer-probe.log")"
kill "$mixer"
lists_camera || fail "ffmpeg does not list the camera after the second setup"

echo "== uninstall /S"
uninstaller=$(entry UninstallString)
wine_run "${uninstaller//\"/}" /S || fail "uninstaller exited with $?"
# The uninstaller runs on from a copy of itself in the temporary folder.
timeout 120 wineserver -w || fail "the uninstaller or another process did not end"
! lists_camera || fail "ffmpeg still lists the camera"
! wine_run reg query "$key" >/dev/null 2>&1 || fail "the uninstall entry is still there"
[ ! -e "$app_unix" ] || fail "left behind: $(find "$app_unix")"
[ -f "$logs/zarncamvcam.log" ] || fail "the log folder went too"
echo "setup, upgrade and uninstall passed"
