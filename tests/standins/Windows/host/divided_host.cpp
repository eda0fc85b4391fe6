#include <windows.h>

// A program whose engine is in a DLL beside it.
int main() {
    const HMODULE engine = LoadLibraryW(L"libnode.dll");
    const FARPROC run = engine != nullptr ? GetProcAddress(engine, "runRecordingHost") : nullptr;
    return run != nullptr ? reinterpret_cast<int (*)()>(reinterpret_cast<void*>(run))() : 3;
}
