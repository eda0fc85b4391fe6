// Entry point of a console program: test programs and benchmarks.
#include <stdlib.h>

#include "runtime.h"

extern "C" {

int main(int, char**, char**);
void __cdecl _set_app_type(int);
int __cdecl _configure_narrow_argv(int);
int __cdecl _initialize_narrow_environment();
char** __cdecl _get_initial_narrow_environment();
int* __cdecl __p___argc();
char*** __cdecl __p___argv();
int __cdecl _crt_atexit(Procedure);
void __cdecl _register_thread_local_exe_atexit_callback(PIMAGE_TLS_CALLBACK);
[[noreturn]] void __cdecl terminate();

int __cdecl atexit(Procedure procedure) { return _crt_atexit(procedure); }

// A C++ exception that nothing catches ends the program through std::terminate.
static LONG WINAPI onUnhandled(EXCEPTION_POINTERS* pointers) {
    constexpr DWORD kCxxException = 0xE06D7363;
    if (pointers->ExceptionRecord->ExceptionCode == kCxxException) {
        terminate();
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

void mainCRTStartup() {
    _set_app_type(1);  // console
    SetUnhandledExceptionFilter(onUnhandled);
    if (_configure_narrow_argv(1) != 0 || _initialize_narrow_environment() != 0 || !runInitializers()) {
        ExitProcess(255);
    }
    _register_thread_local_exe_atexit_callback([](PVOID, DWORD, PVOID) { endThread(); });  // exit() calls it first
    exit(main(*__p___argc(), *__p___argv(), _get_initial_narrow_environment()));
}

}  // extern "C"
