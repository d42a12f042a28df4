; The installer of the module. Built by scripts/package, which defines:
;   STAGE    folder of what is installed     FILES    include file with the macros InstallFiles and RemoveFiles
;   OUT      the program to write            VERSION  MAJOR.MINOR.PATCH      SIZE  of it all, in KB
; For people it has the usual pages. setup.exe /S installs without asking, /D=FOLDER (last, without quotes) says where.
; It ends with 0, or with 2 when the effects could not be registered; then everything is as it was before.
Target amd64-unicode

!include MUI2.nsh
!include LogicLib.nsh
!include FileFunc.nsh

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\KORVA"
!define MODULE "$INSTDIR\korvafx.dll"
; A class of the module's: where it points is what the system will load.
!define CLASS_KEY "CLSID\{28D9F1E0-6ECC-11D0-AEBC-00A0C9053912}\InprocServer32"
; The category of the system's list of filters that the effects are in.
!define FILTERS_KEY "CLSID\{083863F1-70DE-11D0-BD40-00A0C911CE86}\Instance"
; What waits for the next start goes by name, and other files may have come to that name by then. So each run names what
; steps aside and what waits after the time since the start, which no other run has.
!define ASIDE "${MODULE}.$run.old"
!define WAITING "${MODULE}.$run.new"

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

Var pending ; 1 while a program holds the older module in a way that it cannot step aside
Var run
Var older   ; folder of the version that the system's list names

!macro NameRun
  System::Call 'kernel32::GetTickCount64() l .s'
  Pop $run
!macroend

; A folder has many spellings. Where the list's one names this folder, which a file in it shows, it is taken.
!macro SpellAsListed File
  ReadRegStr $older HKLM "${KEY}" InstallLocation
  ${If} $older == ""
  ${OrIf} ${FileExists} "$older\${File}"
    ${If} $older != ""
      StrCpy $INSTDIR $older
    ${EndIf}
    StrCpy $older $INSTDIR
  ${EndIf}
!macroend

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

; Takes out what the module cannot, because it is damaged or gone: every class that still points to it.
!macro DeleteClasses
  StrCpy $0 0
  ${Do}
    EnumRegKey $1 HKCR CLSID $0
    ${If} $1 == ""
      ${ExitDo}
    ${EndIf}
    ReadRegStr $2 HKCR "CLSID\$1\InprocServer32" ""
    ${If} $2 == "${MODULE}"
      DeleteRegKey HKCR "${FILTERS_KEY}\$1"
      DeleteRegKey HKCR "CLSID\$1"
    ${Else}
      IntOp $0 $0 + 1
    ${EndIf}
  ${Loop}
!macroend

Section
  SetRegView 64
  SetShellVarContext all
  SetOutPath "$INSTDIR"
  StrCpy $pending 0
  !insertmacro NameRun
  Delete "${MODULE}.*.old"
  File "/oname=korvafx.dll.$run.new" "${STAGE}/korvafx.dll"
  !insertmacro SpellAsListed "korvafx.dll.$run.new"
  ReadRegStr $R0 HKCR "${CLASS_KEY}" ""

  ; The older module steps aside, so that it can come back. A program that has it loaded goes on with it.
  ClearErrors
  ${If} ${FileExists} "${MODULE}"
    Rename "${MODULE}" "${ASIDE}"
    ${If} ${Errors}
      StrCpy $pending 1
    ${EndIf}
  ${EndIf}

  ${If} $pending == 1
    Rename /REBOOTOK "${WAITING}" "${MODULE}"
    SetRebootFlag true
    ExecWait '"$SYSDIR\regsvr32.exe" /s "${MODULE}"'
  ${Else}
    Rename "${WAITING}" "${MODULE}"
    !insertmacro Register "${MODULE}" $0
    ${If} $0 == 0
      ; What it did before it failed is taken back.
      ExecWait '"$SYSDIR\regsvr32.exe" /u /s "${MODULE}"'
      !insertmacro DeleteClasses
      Delete "${MODULE}"
      ${If} ${FileExists} "${ASIDE}"
        Rename "${ASIDE}" "${MODULE}"
      ${EndIf}
      ${If} ${FileExists} "$R0"
        ExecWait '"$SYSDIR\regsvr32.exe" /s "$R0"'
      ${EndIf}
      SetOutPath "$TEMP" ; a folder that is the current one stays
      RMDir "$INSTDIR"
      SetErrorLevel 2
      MessageBox MB_OK|MB_ICONSTOP "$(failed)" /SD IDOK
      Quit
    ${EndIf}
    Delete /REBOOTOK "${ASIDE}"
    Delete "${MODULE}.*.new" ; of an upgrade that still waited
  ${EndIf}

  ; The older version knows its own files. In another folder all of it goes; the classes are no longer its own.
  ${If} $older == $INSTDIR
    ${If} ${FileExists} "$older\uninstall.exe"
      ExecWait '"$older\uninstall.exe" /S /FILES _?=$older'
    ${EndIf}
  ${ElseIf} ${FileExists} "$older\uninstall.exe"
    ExecWait '"$older\uninstall.exe" /S _?=$older'
    Delete "$older\uninstall.exe"
    RMDir "$older"
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

; With /FILES only what the version laid down beside the module goes: a newer one takes its place.
Section Uninstall
  SetRegView 64
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/FILES" $1
  ${IfNot} ${Errors}
    !insertmacro RemoveFiles
    Return
  ${EndIf}
  !insertmacro NameRun
  FileOpen $0 "${WAITING}" w
  FileClose $0
  !insertmacro SpellAsListed "korvafx.dll.$run.new"
  ReadRegStr $0 HKCR "${CLASS_KEY}" ""
  ${If} $0 == "${MODULE}"
    ExecWait '"$SYSDIR\regsvr32.exe" /u /s "${MODULE}"'
  ${EndIf}
  !insertmacro DeleteClasses
  !insertmacro RemoveFiles
  SetOutPath "$TEMP"
  ; A program that still has the module loaded keeps it until the system starts again.
  ${If} ${FileExists} "${MODULE}"
    ClearErrors
    Rename "${MODULE}" "${ASIDE}"
    ${If} ${Errors}
      Delete /REBOOTOK "${MODULE}"
    ${EndIf}
  ${EndIf}
  Delete "${MODULE}.*.new"
  Delete /REBOOTOK "${MODULE}.*.old"
  ${If} $older == $INSTDIR
    DeleteRegKey HKLM "${KEY}"
  ${EndIf}
  Delete "$INSTDIR\uninstall.exe"
  ${If} ${FileExists} "${MODULE}*"
    RMDir /REBOOTOK "$INSTDIR"
  ${Else}
    RMDir "$INSTDIR"
  ${EndIf}
SectionEnd
