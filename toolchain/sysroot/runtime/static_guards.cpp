// Thread-safe initialisation of function-local statics. Each static has a guard: 0 not started, -1 running, otherwise
// the epoch in which it was completed. Compiled code compares the guard with the thread's own epoch, and calls these
// functions only if the guard is newer or unfinished.
#include "runtime.h"

extern "C" {

int _Init_global_epoch = static_cast<int>(0x80000000);
__declspec(thread) int _Init_thread_epoch = static_cast<int>(0x80000000);

static SRWLOCK lock = SRWLOCK_INIT;
static CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;

// On return, either the guard is -1 and the caller initialises, or another thread has done it.
void __cdecl _Init_thread_header(int* guard) {
    AcquireSRWLockExclusive(&lock);
    while (*guard == -1) {
        SleepConditionVariableSRW(&changed, &lock, INFINITE, 0);
    }
    if (*guard == 0) {
        *guard = -1;
    } else {
        _Init_thread_epoch = _Init_global_epoch;
    }
    ReleaseSRWLockExclusive(&lock);
}

void __cdecl _Init_thread_footer(int* guard) {
    AcquireSRWLockExclusive(&lock);
    *guard = ++_Init_global_epoch;
    _Init_thread_epoch = _Init_global_epoch;
    ReleaseSRWLockExclusive(&lock);
    WakeAllConditionVariable(&changed);
}

// The constructor threw: the next caller tries again.
void __cdecl _Init_thread_abort(int* guard) {
    AcquireSRWLockExclusive(&lock);
    *guard = 0;
    ReleaseSRWLockExclusive(&lock);
    WakeAllConditionVariable(&changed);
}

}  // extern "C"
