@echo off
rem  Tries Halvora on this machine and writes halvora-report.txt; README.md says what it does.
rem
rem    run.cmd [--trust-test-root]
rem
rem  Exit code 0 when all that ran passed, 1 when something failed, 3 when it could not run.
setlocal
"%~dp0platformkit.exe" %*
set "code=%errorlevel%"
if "%code%"=="0" exit /b 0
if "%code%"=="1" exit /b 1
if not "%code%"=="3" echo could not run: it needs a 64-bit Windows 7 or later, and the whole kit
exit /b 3
