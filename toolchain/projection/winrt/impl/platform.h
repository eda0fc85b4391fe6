#pragma once

/// The system functions that the projection needs, and nothing else of the system's headers.
///
/// Each function is declared in this namespace and bound to the system's name by an assembler label. So these headers
/// work with or without <windows.h> and do not bring its macros. Structures and handles are plain pointers here.
///
/// `calls` holds the functions whose failure cannot be provoked from outside. Tests replace one for a scope; nothing
/// else writes to it, so it needs no lock.

#include <cstddef>
#include <cstdint>

namespace winrt::impl::platform {
extern "C" {
/// Strings of the runtime: an immutable counted block; null for the empty string.
int32_t createString(const wchar_t* text, uint32_t length, void** string) noexcept __asm__("WindowsCreateString");
int32_t duplicateString(void* string, void** copy) noexcept __asm__("WindowsDuplicateString");
int32_t deleteString(void* string) noexcept __asm__("WindowsDeleteString");
const wchar_t* stringBuffer(void* string, uint32_t* length) noexcept __asm__("WindowsGetStringRawBuffer");

/// BSTR: a pointer to text that has its length in front.
void freeBstr(wchar_t* text) noexcept __asm__("SysFreeString");
uint32_t bstrLength(wchar_t* text) noexcept __asm__("SysStringLen");

/// The calling thread's error object. Taking it empties the slot.
int32_t takeErrorInfo(uint32_t reserved, void** info) noexcept __asm__("GetErrorInfo");
int32_t setErrorInfo(uint32_t reserved, void* info) noexcept __asm__("SetErrorInfo");

int32_t createFreeThreadedMarshaler(void* outer, void** marshaler) noexcept __asm__("CoCreateFreeThreadedMarshaler");

uint32_t formatMessage(uint32_t flags, const void* source, uint32_t code, uint32_t language, wchar_t** buffer,
                       uint32_t size, void* arguments) noexcept __asm__("FormatMessageW");
void* freeLocal(void* memory) noexcept __asm__("LocalFree");
uint32_t lastError() noexcept __asm__("GetLastError");

int32_t toWide(uint32_t codePage, uint32_t flags, const char* text, int32_t bytes, wchar_t* out, int32_t units) noexcept
    __asm__("MultiByteToWideChar");
int32_t fromWide(uint32_t codePage, uint32_t flags, const wchar_t* text, int32_t units, char* out, int32_t bytes,
                 const char* replacement, int32_t* replaced) noexcept __asm__("WideCharToMultiByte");

void* createEventW(void* security, int32_t manualReset, int32_t set, const wchar_t* name) noexcept
    __asm__("CreateEventW");
int32_t setEvent(void* event) noexcept __asm__("SetEvent");
uint32_t waitForObject(void* object, uint32_t milliseconds) noexcept __asm__("WaitForSingleObject");
int32_t closeHandle(void* handle) noexcept __asm__("CloseHandle");

void* loadLibrary(const wchar_t* name, void* reserved, uint32_t flags) noexcept __asm__("LoadLibraryExW");
int32_t freeLibrary(void* library) noexcept __asm__("FreeLibrary");
void* functionOf(void* library, const char* name) noexcept __asm__("GetProcAddress");

void lockExclusive(void** lock) noexcept __asm__("AcquireSRWLockExclusive");
void unlockExclusive(void** lock) noexcept __asm__("ReleaseSRWLockExclusive");
}

inline constexpr uint32_t searchDefaultFolders = 0x1000;
inline constexpr uint32_t searchSystemFolder = 0x800;
inline constexpr uint32_t utf8 = 65001;
inline constexpr uint32_t forever = 0xFFFFFFFF;

/// An optional function of the runtime's own library, or null. The library stays loaded.
inline void* runtimeFunction(const char* name) noexcept {
    void* const library = loadLibrary(L"combase.dll", nullptr, searchSystemFolder);
    return library != nullptr ? functionOf(library, name) : nullptr;
}

/// An unnamed manual-reset event. On failure null, with the thread's last error set.
inline void* createManualEvent() noexcept { return createEventW(nullptr, 1, 0, nullptr); }

struct Calls {
    void* (*runtimeFunction)(const char* name) noexcept = platform::runtimeFunction;
    void* (*createEvent)() noexcept = createManualEvent;
    int32_t (*createMarshaler)(void* outer, void** marshaler) noexcept = createFreeThreadedMarshaler;
};

inline Calls calls;
}  // namespace winrt::impl::platform
