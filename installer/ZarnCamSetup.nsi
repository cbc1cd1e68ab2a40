; ZarnCamSetup.exe: puts the camera module one folder below the application's folder (where it
; looks for "zarncam pro.exe"), registers it, and leaves an uninstaller beside it.
; CMake passes VERSION, PUBLISHER, BIN (the files to install) and OUTFILE.
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma

!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include Sections.nsh
!include WordFunc.nsh

!define PRODUCT "ZarnCam Pro"
!define MODULE "ZarnVirtualCam.ax"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\ZarnCam Pro"

Name "${PRODUCT}"
OutFile "${OUTFILE}"
InstallDir "$PROGRAMFILES64\${PRODUCT}"
; An upgrade goes where the last setup went, unless /D= says otherwise.
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"
RequestExecutionLevel admin

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${PRODUCT}"
VIAddVersionKey CompanyName "${PUBLISHER}"
VIAddVersionKey FileDescription "${PRODUCT} setup"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey LegalCopyright "${PUBLISHER}"

!define MUI_FINISHPAGE_TEXT_REBOOT "${PRODUCT} ${VERSION} is installed. A running application still holds the old camera module: it keeps working with it until it closes the camera, and the old file, renamed aside, is deleted when Windows restarts (see setup.log)."
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_COMPONENTS
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

Var Log
Var Aside

; Shown on the progress page, and kept in setup.log for silent runs.
!macro Log TEXT
  DetailPrint "${TEXT}"
  FileWrite $Log "${TEXT}$\r$\n"
!macroend

!macro Fail TEXT
  !insertmacro Log "${TEXT}"
  FileClose $Log
  Abort "${TEXT}"
!macroend

; A file that a running host has loaded can't be overwritten, but it can be moved: the copy goes
; aside and is deleted at the next restart, and the new one takes its name.
!macro Place NAME
  SetOverwrite try
  ClearErrors
  File "${BIN}/${NAME}"
  ${If} ${Errors}
    GetTempFileName $Aside "$OUTDIR"
    Delete $Aside
    ClearErrors
    Rename "$OUTDIR\${NAME}" $Aside
    ${If} ${Errors}
      !insertmacro Fail "Can't replace $OUTDIR\${NAME}: it is in use and can't be moved."
    ${EndIf}
    Delete /REBOOTOK $Aside
    !insertmacro Log "${NAME} is in use: the old copy is now $Aside and goes at the next restart."
    SetOverwrite on
    File "${BIN}/${NAME}"
  ${EndIf}
!macroend

Section "-Camera"
  SetOutPath "$INSTDIR\bin"
  FileOpen $Log "$INSTDIR\bin\setup.log" a
  FileSeek $Log 0 END
  ${GetTime} "" "L" $0 $1 $2 $3 $4 $5 $6
  !insertmacro Log "${PRODUCT} ${VERSION} setup into $INSTDIR\bin, $2-$1-$0 $4:$5:$6"

  !insertmacro Place "${MODULE}"
  !insertmacro Place "zarncam-probe.exe"
  !insertmacro Place "zarnmixer-sim.exe"
  WriteUninstaller "$INSTDIR\bin\uninstall.exe"

  ExecWait '"$SYSDIR\regsvr32.exe" /s "$INSTDIR\bin\${MODULE}"' $0
  ${If} $0 != 0
    !insertmacro Fail "regsvr32 failed to register $INSTDIR\bin\${MODULE} (exit code $0)."
  ${EndIf}
  !insertmacro Log "Registered $INSTDIR\bin\${MODULE}."

  ${GetSize} "$INSTDIR\bin" "/S=0K" $0 $1 $2
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${PRODUCT}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "${PUBLISHER}"
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\bin\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\bin\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
  ${If} ${RebootFlag}
    !insertmacro Log "Done; restart Windows to finish."
  ${Else}
    !insertmacro Log "Done."
  ${EndIf}
  FileClose $Log
SectionEnd

; The uninstaller runs from the module's folder, so $INSTDIR is <application folder>\bin here.
Section "-un.Camera"
  SetOutPath $TEMP
  ExecWait '"$SYSDIR\regsvr32.exe" /s /u "$INSTDIR\${MODULE}"'
  Delete /REBOOTOK "$INSTDIR\${MODULE}"
  Delete /REBOOTOK "$INSTDIR\zarncam-probe.exe"
  Delete /REBOOTOK "$INSTDIR\zarnmixer-sim.exe"
  ; Copies an upgrade moved aside, if the hosts that held them have let go since.
  Delete "$INSTDIR\ns*.tmp"
  Delete "$INSTDIR\setup.log"
  Delete "$INSTDIR\uninstall.exe"
  RMDir /REBOOTOK "$INSTDIR"
  ; The application's own files keep its folder.
  ${GetParent} "$INSTDIR" $0
  RMDir "$0"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
SectionEnd

Section /o "un.Also delete the camera's log files" UnLogs
  SetShellVarContext current
  RMDir /r "$APPDATA\zarncam pro\log"
  RMDir "$APPDATA\zarncam pro"
SectionEnd

Function .onInit
  ; A Unix shell under Wine quotes a /D= path with spaces, and NSIS itself skips a quoted one.
  ${GetParameters} $0
  ClearErrors
  ${WordFind} $0 '"/D=' "E+1}" $1
  ${IfNot} ${Errors}
    StrCpy $INSTDIR $1 -1
  ${EndIf}
FunctionEnd

Function un.onInit
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/PURGE" $1
  ${IfNot} ${Errors}
    !insertmacro SelectSection ${UnLogs}
  ${EndIf}
FunctionEnd
