@echo off
rem One exchange of mail: toss what came in, scan what goes out, hand the bundles to the mailer. Started by the Task
rem Scheduler. Keep this file in the directory of cvtoss32.exe and CVTOSS32.CFG.
rem
rem   cvtoss32-exchange.cmd [OUTDIR BOX]
rem
rem With OUTDIR and BOX given, finished bundles are moved from OUTDIR to the mailer's BOX, which has to be on the same
rem drive: a mailer that sends whatever lies in its box must not see a bundle while it is being written.
rem
rem The exit status is 1 when either run needs attention; TOSSER.LOG in this directory says why.
cd /d "%~dp0"
set STATUS=0
cvtoss32.exe -toss CVTOSS32.CFG
if errorlevel 1 set STATUS=1
cvtoss32.exe -scan CVTOSS32.CFG
if errorlevel 1 set STATUS=1
if not "%~2"=="" call :handover "%~1" "%~f2"
exit /b %STATUS%

rem A bundle is named <eight hexadecimal digits>.<day of the week><sequence>.
:handover
pushd "%~1"
if errorlevel 1 goto :failed
for %%F in (????????.su? ????????.mo? ????????.tu? ????????.we? ????????.th? ????????.fr? ????????.sa?) do call :move "%%F" "%~2"
popd
goto :eof

rem A bundle that waits in the box is not replaced.
:move
if exist "%~2\%~1" goto :failed
move "%~1" "%~2\" >nul
if errorlevel 1 goto :failed
goto :eof

:failed
set STATUS=1
goto :eof
