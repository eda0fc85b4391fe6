#pragma once

/// What a failure report needs from the operating system. Declared here, defined by the platform's folder, which the
/// build chooses. Every function may be called on any thread.
namespace common::platform {

/// True while a debugger is attached to the process.
bool isDebuggerAttached() noexcept;

/// Sends text to the attached debugger; nothing happens without one.
void writeDebugOutput(const char* text) noexcept;

/// Stops in the attached debugger.
void breakIntoDebugger();

/// Shows an error message and waits until the user has dismissed it. No owner window; one OK button.
void showErrorBox(const char* text, const char* caption);

}  // namespace common::platform
