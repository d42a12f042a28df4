; The installer of the module. Built by scripts/package, which defines:
;   STAGE    folder of what is installed     FILES    include file with the macros InstallFiles and RemoveFiles
;   OUT      the program to write            VERSION  MAJOR.MINOR.PATCH      SIZE  of it all, in KB
; For people it has the usual pages. setup.exe /S installs without asking, /D=FOLDER (last, without quotes) says where.
; It ends with 0, or with 2 when the effects could not be registered; then everything is as it was before.
Target amd64-unicode

!include MUI2.nsh
!include LogicLib.nsh

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\KORVA"
!define MODULE "$INSTDIR\korvafx.dll"
; A class of the module's: where it points is what the system will load.
!define CLASS_KEY "CLSID\{28D9F1E0-6ECC-11D0-AEBC-00A0C9053912}\InprocServer32"

Name "KORVA"
OutFile "${OUT}"
InstallDir "$PROGRAMFILES64\KORVA"
; An upgrade goes where the older version is.
InstallDirRegKey HKLM "${KEY}" InstallLocation
RequestExecutionLevel admin
SetCompressor /SOLID lzma
ManifestDPIAware true
VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "KORVA"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "KORVA audio effects, setup"
VIAddVersionKey LegalCopyright "MIT licence"

!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_LICENSE "${STAGE}/LICENSE.txt"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES

!macro Language Name Failed InUse
  !insertmacro MUI_LANGUAGE "${Name}"
  LangString failed ${LANG_${Name}} "${Failed}"
  LangString inUse ${LANG_${Name}} "${InUse}"
!macroend
!include "${__FILEDIR__}/languages.nsh"
!include "${FILES}"

Var pending ; 1 while a program holds the older module

; Registers a module; the result is 1 when the system then knows it, otherwise 0. The program's word alone does not
; count: what matters is where the class points.
!macro Register Module Result
  ExecWait '"$SYSDIR\regsvr32.exe" /s "${Module}"' $1
  ReadRegStr $2 HKCR "${CLASS_KEY}" ""
  StrCpy ${Result} 0
  ${If} $1 == 0
  ${AndIf} $2 == "${Module}"
    StrCpy ${Result} 1
  ${EndIf}
!macroend

Section
  SetRegView 64
  SetShellVarContext all
  SetOutPath "$INSTDIR"
  StrCpy $pending 0

  ; The older module steps aside, so that it can come back. A program that has it loaded goes on with it.
  Delete "${MODULE}.old"
  ClearErrors
  ${If} ${FileExists} "${MODULE}"
    Rename "${MODULE}" "${MODULE}.old"
    ${If} ${Errors}
      StrCpy $pending 1
    ${EndIf}
  ${EndIf}

  ${If} $pending == 1
    File "/oname=korvafx.dll.new" "${STAGE}/korvafx.dll"
    Delete /REBOOTOK "${MODULE}"
    Rename /REBOOTOK "${MODULE}.new" "${MODULE}"
    SetRebootFlag true
  ${Else}
    File "${STAGE}/korvafx.dll"
    !insertmacro Register "${MODULE}" $0
    ${If} $0 == 0
      Delete "${MODULE}"
      ${If} ${FileExists} "${MODULE}.old"
        Rename "${MODULE}.old" "${MODULE}"
        ExecWait '"$SYSDIR\regsvr32.exe" /s "${MODULE}"'
      ${Else}
        SetOutPath "$TEMP" ; a folder that is the current one stays
        RMDir "$INSTDIR"
      ${EndIf}
      SetErrorLevel 2
      MessageBox MB_OK|MB_ICONSTOP "$(failed)" /SD IDOK
      Quit
    ${EndIf}
    Delete /REBOOTOK "${MODULE}.old"
  ${EndIf}

  !insertmacro InstallFiles
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${KEY}" DisplayName "KORVA"
  WriteRegStr HKLM "${KEY}" DisplayVersion "${VERSION}"
  WriteRegStr HKLM "${KEY}" DisplayIcon "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${KEY}" Publisher "The KORVA developers"
  WriteRegStr HKLM "${KEY}" InstallLocation "$INSTDIR"
  WriteRegStr HKLM "${KEY}" UninstallString '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${KEY}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${KEY}" EstimatedSize ${SIZE}
  WriteRegDWORD HKLM "${KEY}" NoModify 1
  WriteRegDWORD HKLM "${KEY}" NoRepair 1
  ${If} $pending == 1
    MessageBox MB_OK|MB_ICONINFORMATION "$(inUse)" /SD IDOK
  ${EndIf}
SectionEnd

Section Uninstall
  SetRegView 64
  ExecWait '"$SYSDIR\regsvr32.exe" /u /s "${MODULE}"'
  !insertmacro RemoveFiles
  SetOutPath "$TEMP"
  ; A program that still has the module loaded keeps it until the system starts again.
  Delete /REBOOTOK "${MODULE}"
  Delete /REBOOTOK "${MODULE}.old"
  Delete /REBOOTOK "${MODULE}.new"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${KEY}"
SectionEnd
