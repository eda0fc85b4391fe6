// thread_local variables: the TLS directory, through which the loader gives each thread its copy, and the constructors
// and destructors of those that have any.
#include "runtime.h"

extern "C" {

// ---- the directory, which the linker finds by the name _tls_used ----
ULONG _tls_index = 0;
__attribute__((section(".tls"), used)) char zebTlsStart = 0;
__attribute__((section(".tls$ZZZ"), used)) char zebTlsEnd = 0;
__attribute__((section(".CRT$XLA"), used)) PIMAGE_TLS_CALLBACK zebFirstTlsCallback = nullptr;
__attribute__((section(".CRT$XLZ"), used)) PIMAGE_TLS_CALLBACK zebLastTlsCallback = nullptr;
__attribute__((section(".rdata$T"), used)) extern const IMAGE_TLS_DIRECTORY64 _tls_used = {
    reinterpret_cast<ULONGLONG>(&zebTlsStart),
    reinterpret_cast<ULONGLONG>(&zebTlsEnd),
    reinterpret_cast<ULONGLONG>(&_tls_index),
    reinterpret_cast<ULONGLONG>(&zebFirstTlsCallback + 1),
    0,
    {}};

// ---- constructors: the range .CRT$XD runs once per thread ----
// Threads that already exist when a DLL is loaded never tell it that they started. So compiled code tests __tls_guard
// at each access and calls __dyn_tls_on_demand_init while it is false.
__attribute__((section(".CRT$XDA"), used)) Procedure zebFirstOfThread = nullptr;
__attribute__((section(".CRT$XDZ"), used)) Procedure zebLastOfThread = nullptr;

__declspec(thread) bool __tls_guard = false;

void __cdecl __dyn_tls_on_demand_init() {
    if (__tls_guard) {
        return;
    }
    __tls_guard = true;
    for (Procedure* f = &zebFirstOfThread + 1; f < &zebLastOfThread; ++f) {
        if (*f) {
            (*f)();
        }
    }
}

// ---- destructors: a list per thread, last registered first ----
struct DestructorBlock {
    DestructorBlock* next;
    int count;
    Procedure destructors[30];
};
static __declspec(thread) DestructorBlock* destructors = nullptr;

int __cdecl __tlregdtor(Procedure destructor) {
    DestructorBlock* block = destructors;
    if (!block || block->count == 30) {
        block = static_cast<DestructorBlock*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof *block));
        if (!block) {
            return -1;
        }
        block->next = destructors;
        destructors = block;
    }
    block->destructors[block->count++] = destructor;
    return 0;
}

void endThread() {
    while (DestructorBlock* block = destructors) {
        if (block->count) {
            block->destructors[--block->count]();  // may register another one
        } else {
            destructors = block->next;
            HeapFree(GetProcessHeap(), 0, block);
        }
    }
}

// The loader calls this for each thread that starts or ends. It is also told that the image ends, but not whether the
// process does; the entry points handle that. Objects with constructors demand this function by its name.
void NTAPI __dyn_tls_init(PVOID, DWORD reason, PVOID) {
    if (reason == DLL_THREAD_ATTACH) {
        __dyn_tls_on_demand_init();
    } else if (reason == DLL_THREAD_DETACH) {
        endThread();
    }
}
__attribute__((section(".CRT$XLC"), used)) PIMAGE_TLS_CALLBACK zebTlsCallback = __dyn_tls_init;

}  // extern "C"
