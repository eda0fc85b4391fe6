// Stack protection: the cookie that compiled functions check before they return, and the probe of large frames.
#include "runtime.h"

extern "C" {

ULONG_PTR __security_cookie =
    0x00002B992DDFA232ULL;  // the loader replaces this value, which the load configuration names

void __cdecl __security_check_cookie(ULONG_PTR cookie) {
    if (__builtin_expect(static_cast<long>(cookie != __security_cookie), 0)) {
        __asm__ volatile("int $0x29" : : "c"(2));  // fast fail, reason: stack cookie
        __builtin_unreachable();
    }
}

}  // extern "C"

// __chkstk touches each page of the rax bytes below the caller's stack pointer, so that the guard page grows the stack
// page by page. It changes no register.
__asm__(R"(
  .text
  .globl __chkstk
  .def __chkstk; .scl 2; .type 32; .endef
  .p2align 4
__chkstk:
  .seh_proc __chkstk
  pushq %rcx
  .seh_pushreg %rcx
  pushq %rax
  .seh_pushreg %rax
  .seh_endprologue
  leaq 24(%rsp), %rcx
1:cmpq $0x1000, %rax
  jb 2f
  subq $0x1000, %rcx
  testq %rcx, (%rcx)
  subq $0x1000, %rax
  jmp 1b
2:subq %rax, %rcx
  testq %rcx, (%rcx)
  popq %rax
  popq %rcx
  retq
  .seh_endproc
)");
