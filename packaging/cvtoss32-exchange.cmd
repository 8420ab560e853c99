@echo off
rem One exchange of mail: scan what goes out, toss what came in, hand the bundles to the mailer. Started by the Task
rem Scheduler. Keep this file in the directory of cvtoss32.exe, cvkit.exe and CVTOSS32.CFG.
rem
rem   cvtoss32-exchange.cmd [OUTDIR BOX]
rem
rem With OUTDIR and BOX given, finished bundles are moved from OUTDIR to the mailer's BOX, which has to be on the same
rem drive: a mailer that sends whatever lies in its box must not see a bundle while it is being written.
rem
rem exchange.log in this directory gets one line for each failure, and the program's standard error. exchange.mark
rem contains the start time of the exchange at work: an exchange that did not end (power cut, shutdown, a killed run)
rem leaves it there. The next exchange reports that and calls cvkit verify --repair before its first run; the output is
rem in exchange.log. As long as the repair fails, the exchanges do nothing more: a run could store or send mail twice.
rem
rem The exit status is 1 when anything needs attention.
cd /d "%~dp0"
set STATUS=0
set KILLED=no
set UNREPAIRED=no
if exist exchange.mark (
  set /p BEGUN=<exchange.mark
  call :unfinished
)
if %UNREPAIRED%==yes exit /b 1
>exchange.mark echo %DATE% %TIME%

rem The scan comes first: no inbound file, however large, keeps outbound mail waiting.
call :run -scan
call :run -toss
if not "%~2"=="" if %KILLED%==no call :handover "%~1" "%~f2"
if %KILLED%==no del exchange.mark
exit /b %STATUS%

:unfinished
call :fail "the exchange of %BEGUN% did not end"
if not exist cvkit.exe (
  call :fail "there is no cvkit.exe here: what that exchange left is not repaired"
  goto :eof
)
cvkit.exe verify --repair >exchange.err 2>&1
set RESULT=%ERRORLEVEL%
rem Its errors begin with its name, and its answers do not.
for /f "usebackq tokens=1*" %%A in ("exchange.err") do (
  if "%%A"=="cvkit:" (>>exchange.log echo %DATE% %TIME% cvkit: %%B) else >>exchange.log echo %DATE% %TIME% cvkit: %%A %%B
)
del exchange.err
if %RESULT%==0 goto :eof
if %RESULT%==1 goto :eof
set UNREPAIRED=yes
call :fail "cvkit verify --repair failed (status %RESULT%); no run is started until it works"
goto :eof

rem A run with a status other than 0 and 1 was killed or has crashed. SAID: the reason for a failure, not only a warning, is
rem on standard error.
:run
cvtoss32.exe %1 CVTOSS32.CFG 2>exchange.err
set RESULT=%ERRORLEVEL%
for /f "usebackq delims=" %%L in ("exchange.err") do >>exchange.log echo %DATE% %TIME% cvtoss32 %1: %%L
set SAID=no
for /f "usebackq" %%W in ("exchange.err") do if not "%%W"=="Warning:" set SAID=yes
del exchange.err
if %RESULT%==0 goto :eof
set STATUS=1
if %RESULT%==1 if %SAID%==no call :fail "cvtoss32 %1 failed (status 1); TOSSER.LOG says why"
if %RESULT%==1 goto :eof
set KILLED=yes
call :fail "cvtoss32 %1 was killed (status %RESULT%); this exchange hands no bundle over"
goto :eof

rem A bundle is named <eight hexadecimal digits>.<day of the week><sequence>.
:handover
if not exist "%~2\" (
  call :fail "cannot hand bundles over: %~2 is not a directory"
  goto :eof
)
pushd "%~1" 2>nul
if errorlevel 1 (
  call :fail "cannot hand bundles over: %~1 is not a directory"
  goto :eof
)
for %%F in (????????.su? ????????.mo? ????????.tu? ????????.we? ????????.th? ????????.fr? ????????.sa?) do call :move "%%F" "%~2"
popd
goto :eof

rem A bundle that waits in the box is not replaced.
:move
if exist "%~2\%~1" (
  call :fail "could not move %~1 to %~2: there is a file of that name"
  goto :eof
)
move "%~1" "%~2\" >nul 2>nul
if errorlevel 1 call :fail "could not move %~1 to %~2"
goto :eof

:fail
set STATUS=1
set "LINE=%~1"
setlocal EnableDelayedExpansion
>>"%~dp0exchange.log" echo %DATE% %TIME% !LINE!
endlocal
goto :eof
