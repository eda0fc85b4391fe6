#include <windows.h>

#include "common/utils/failure_services.h"

namespace common::platform {

bool isDebuggerAttached() noexcept { return IsDebuggerPresent() != FALSE; }

void writeDebugOutput(const char* text) noexcept { OutputDebugStringA(text); }

void breakIntoDebugger() { DebugBreak(); }

void showErrorBox(const char* text, const char* caption) { MessageBoxA(nullptr, text, caption, MB_ICONERROR | MB_OK); }

}  // namespace common::platform
