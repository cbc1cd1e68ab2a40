#!/usr/bin/env bash
# Fails if a Windows binary imports a DLL that a stock Windows does not ship.
set -euo pipefail
binary=$1
system_dlls='^(kernel32|user32|gdi32|gdiplus|advapi32|ole32|oleaut32|shell32|shlwapi|winmm|msvcrt|ntdll|d3d11|dxgi|comctl32|version|ws2_32|bcrypt|api-ms-win-.*)\.dll$'
status=0
while read -r dll; do
  if ! echo "$dll" | tr 'A-Z' 'a-z' | grep -Eq "$system_dlls"; then
    echo "not a system DLL: $dll"
    status=1
  fi
done < <(x86_64-w64-mingw32-objdump -p "$binary" | sed -n 's/^\s*DLL Name: //p')
[ $status -eq 0 ] && echo "$(basename "$binary") imports only system DLLs"
exit $status
