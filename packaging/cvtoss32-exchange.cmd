@echo off
rem One exchange of mail: toss what came in, then scan what goes out. Started by the Task Scheduler.
rem Keep this file in the directory of cvtoss32.exe and CVTOSS32.CFG.
rem The exit status is 1 when either run needs attention; TOSSER.LOG in this directory says why.
cd /d "%~dp0"
set STATUS=0
cvtoss32.exe -toss CVTOSS32.CFG
if errorlevel 1 set STATUS=1
cvtoss32.exe -scan CVTOSS32.CFG
if errorlevel 1 set STATUS=1
exit /b %STATUS%
