#pragma once

/// What an assertion report needs from the operating system. Each platform's folder defines these functions, and the
/// build chooses the folder. Any thread may call them.
namespace common::platform {

/// True while a debugger is attached to the process.
bool isDebuggerAttached() noexcept;

/// Sends text to the attached debugger. Does nothing without one.
void writeDebugOutput(const char* text) noexcept;

/// Stops in the attached debugger.
void breakIntoDebugger();

/// Shows an error message and waits until the user dismisses it. The box has no owner window and one OK button.
void showErrorBox(const char* text, const char* caption);

}  // namespace common::platform
