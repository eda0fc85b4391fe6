@echo off
rem check.cmd [--short] [RUNTIME...]: runs the checks in the Node.js releases of this folder, or in the programs that are
rem named: any node.exe, or a desktop runtime of a known module version that the environment makes run as Node.js.
setlocal
cd /d "%~dp0"
runtimes\node22\node.exe tests\kit\check.js %*
set ended=%errorlevel%
if "%~1"=="" pause
exit /b %ended%
