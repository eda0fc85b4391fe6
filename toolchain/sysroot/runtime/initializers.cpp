// Static initialisation. Compilers put a pointer to each initialiser into a section named .CRT$X<range><position>. The
// linker sorts these sections by name, so objects in the first and the last position delimit a range.
#include "runtime.h"

#define ZEB_RANGE_LIMIT(section_name) __attribute__((section(section_name), used))

extern "C" {

int _fltused = 0x9875;  // every object that uses floating point demands it

ZEB_RANGE_LIMIT(".CRT$XIA") FallibleProcedure zebFirstOfC = nullptr;
ZEB_RANGE_LIMIT(".CRT$XIZ") FallibleProcedure zebLastOfC = nullptr;
ZEB_RANGE_LIMIT(".CRT$XCA") Procedure zebFirstOfCxx = nullptr;
ZEB_RANGE_LIMIT(".CRT$XCZ") Procedure zebLastOfCxx = nullptr;

bool runInitializers() {
    for (FallibleProcedure* f = &zebFirstOfC + 1; f < &zebLastOfC; ++f) {
        if (*f && (*f)() != 0) {
            return false;
        }
    }
    for (Procedure* f = &zebFirstOfCxx + 1; f < &zebLastOfCxx; ++f) {
        if (*f) {
            (*f)();
        }
    }
    __dyn_tls_on_demand_init();
    return true;
}

}  // extern "C"
