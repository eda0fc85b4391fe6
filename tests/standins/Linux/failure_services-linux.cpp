#include "common/utils/failure_services.h"

#include <csignal>
#include <cstdio>

// The Linux add-on shows a failure as text on the error stream, where the script that runs it can read it.
namespace common::platform {

bool isDebuggerAttached() noexcept { return false; }

void writeDebugOutput(const char* text) noexcept { std::fputs(text, stderr); }

void breakIntoDebugger() { std::raise(SIGTRAP); }

void showErrorBox(const char* text, const char* caption) { std::fprintf(stderr, "[%s]%s", caption, text); }

}  // namespace common::platform
