// std::type_info for the Microsoft ABI, with names as Microsoft's runtime gives them ("struct Foo", "class ns::Bar").
// Types are identical if their decorated names are, whichever module holds the information. Replaces libc++'s
// typeinfo.cpp.
#include <string.h>

#include <typeinfo>

#include "runtime.h"

// The vftable that the information of every type points to. Nothing calls through it: the information is only passed to
// this module and the C runtime, and neither destroys it.
extern "C" __attribute__((used))
const void* const zebTypeInfoVftable[2] __asm__("??_7type_info@@6B@") = {nullptr, nullptr};

// The C runtime undecorates a name once, keeps it in the type's information, and lists it in order to free it.
extern "C" const char* __cdecl __std_type_info_name(void* record, SLIST_HEADER* list);
extern "C" void __cdecl __std_type_info_destroy_list(SLIST_HEADER* list);
static SLIST_HEADER names;

extern "C" void freeTypeNames() { __std_type_info_destroy_list(&names); }

namespace std {

type_info::~type_info() {}

const char* type_info::name() const noexcept {
    const char* const name = __std_type_info_name(const_cast<void*>(static_cast<const void*>(&__data)), &names);
    return name ? name : &__data.__decorated_name[1];  // there is no memory for the readable name
}

int type_info::__compare(const type_info& other) const noexcept {
    return this == &other ? 0 : strcmp(&__data.__decorated_name[1], &other.__data.__decorated_name[1]);
}

size_t type_info::hash_code() const noexcept {  // FNV-1a of the decorated name
    size_t hash = 14695981039346656037ULL;
    for (const char* c = &__data.__decorated_name[1]; *c; ++c) {
        hash = (hash ^ static_cast<unsigned char>(*c)) * 1099511628211ULL;
    }
    return hash ^ (hash >> 32);
}

}  // namespace std
