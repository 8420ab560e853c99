; The installer for Windows, made by script/package: makensis with VERSION, NUMBERS, FILES (the macros that install and
; remove each file) and OUTPUT.
;
;   /S                silent          /D=DIRECTORY      where the programs go (the last option, without quotes)
;   /TASK             also schedule   /SITE=DIRECTORY   the site whose mail the schedule exchanges
;
; The uninstaller removes what was installed, and the task; nothing in the site's directory.
Unicode true
!ifdef TARGET
  Target ${TARGET}
!endif
SetCompressor /SOLID lzma
SetDateSave off ; the files get the time of their installation
!include MUI2.nsh
!include LogicLib.nsh
!include x64.nsh
!include FileFunc.nsh
!include StrFunc.nsh
!include "${FILES}"
${StrRep}

!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\cvtoss32"
!define TASK "cvtoss32 mail exchange"

Name "cvtoss32 ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\cvtoss32"
RequestExecutionLevel admin
BrandingText " "
VIProductVersion "${NUMBERS}"
VIAddVersionKey ProductName "cvtoss32"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "Installer of cvtoss32"
VIAddVersionKey LegalCopyright "Copyright 2026 The cvtoss32 authors. MIT License."

Var Site

!insertmacro MUI_PAGE_LICENSE "LICENSE"
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!define MUI_PAGE_CUSTOMFUNCTION_PRE SiteIsWanted
!define MUI_PAGE_HEADER_TEXT "The site's directory"
!define MUI_PAGE_HEADER_SUBTEXT "The one with CVTOSS32.CFG, where TOSSER.LOG is to be kept."
!define MUI_DIRECTORYPAGE_TEXT_TOP "The programs and the exchange script are copied there, and the schedule starts them there."
!define MUI_DIRECTORYPAGE_VARIABLE $Site
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE English

; A run at work is never cut off: a program that is running cannot be opened for writing.
!macro REFUSE_WHILE_RUNNING DIRECTORY
  ${If} ${FileExists} "${DIRECTORY}\cvtoss32.exe"
    ClearErrors
    FileOpen $0 "${DIRECTORY}\cvtoss32.exe" a
    ${If} ${Errors}
      MessageBox MB_OK|MB_ICONSTOP "A run is at work in ${DIRECTORY}. Try again when it has ended." /SD IDOK
      SetErrorLevel 2
      Quit
    ${EndIf}
    FileClose $0
  ${EndIf}
!macroend

Section "Programs and documents"
  SectionIn RO
  !insertmacro REFUSE_WHILE_RUNNING $INSTDIR
  ${If} ${RunningX64}
    !insertmacro INSTALL_x64
  ${Else}
    !insertmacro INSTALL_x86
  ${EndIf}
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayName" "cvtoss32"
  WriteRegStr HKLM "${UNINSTALL}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL}" "Publisher" "The cvtoss32 maintainers"
  WriteRegStr HKLM "${UNINSTALL}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL}" "NoRepair" 1
SectionEnd

Section /o "Exchange mail every 15 minutes" SecTask
  !insertmacro REFUSE_WHILE_RUNNING $Site
  SetOutPath "$Site"
  ClearErrors
  CopyFiles /SILENT "$INSTDIR\cvtoss32.exe" "$Site"
  CopyFiles /SILENT "$INSTDIR\cvkit.exe" "$Site"
  CopyFiles /SILENT "$INSTDIR\packaging\cvtoss32-exchange.cmd" "$Site"
  ; The ready task with the site's directory in it, kept there.
  ${StrRep} $3 "$Site" "&" "&amp;"
  FileOpen $0 "$INSTDIR\packaging\cvtoss32-task.xml" r
  FileOpen $1 "$Site\cvtoss32-task.xml" w
  FileWriteUTF16LE /BOM $1 ""
  ${Do}
    ClearErrors
    FileRead $0 $2
    ${If} ${Errors} ; at its end
      ${ExitDo}
    ${EndIf}
    ${StrRep} $2 $2 "C:\CVBBS\FTN" $3
    FileWriteUTF16LE $1 $2
  ${Loop}
  FileClose $0
  FileClose $1
  nsExec::ExecToLog 'schtasks /Create /TN "${TASK}" /XML "$Site\cvtoss32-task.xml" /RU SYSTEM /F'
  Pop $0
  ${If} $0 == 0
    WriteRegStr HKLM "${UNINSTALL}" "Task" "${TASK}"
  ${Else}
    MessageBox MB_OK|MB_ICONEXCLAMATION "The task could not be made (schtasks: $0). The operator's guide shows how to make it by hand." /SD IDOK
    SetErrorLevel 1
  ${EndIf}
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SecTask} "Puts a copy of the program into the site's directory and makes a scheduled task that runs as SYSTEM. Have CVTOSS32.CFG there, and checked, first."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Function .onInit
  ${If} ${RunningX64}
    SetRegView 64
  ${EndIf}
  StrCpy $Site "C:\CVBBS\FTN"
  ${GetParameters} $0
  ClearErrors
  ${GetOptions} $0 "/SITE=" $1
  ${IfNot} ${Errors}
    StrCpy $Site $1
  ${EndIf}
  ClearErrors
  ${GetOptions} $0 "/TASK" $1
  ${IfNot} ${Errors}
    SectionSetFlags ${SecTask} ${SF_SELECTED}
  ${EndIf}
FunctionEnd

Function SiteIsWanted
  ${IfNot} ${SectionIsSelected} ${SecTask}
    Abort
  ${EndIf}
FunctionEnd

Function un.onInit
  ${If} ${RunningX64}
    SetRegView 64
  ${EndIf}
FunctionEnd

Section Uninstall
  !insertmacro REFUSE_WHILE_RUNNING $INSTDIR
  ReadRegStr $0 HKLM "${UNINSTALL}" "Task"
  ${If} $0 != ""
    nsExec::ExecToLog 'schtasks /Delete /TN "${TASK}" /F'
    Pop $0
  ${EndIf}
  !insertmacro REMOVE_x64
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINSTALL}"
SectionEnd
