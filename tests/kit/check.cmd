@echo off
rem check.cmd [--short] [RUNTIME...]: runs the checks in the Node.js releases of this folder, or in the programs that are
rem named: any node.exe, or a desktop runtime of a known module version that the environment makes run as Node.js.
setlocal
set "ZEB_KIT_CALLER=%CD%"
pushd "%~dp0"
runtimes\node22\node.exe tests\kit\check.js %*
set ended=%errorlevel%
rem A window that a double-click or a dropped file has opened would close before anybody reads it.
echo %cmdcmdline% | find /i "%~nx0" >nul && pause
popd
exit /b %ended%
