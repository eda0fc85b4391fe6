// std::exception_ptr: a counted copy of a thrown object, made and destroyed with what the compiler recorded about its
// type at the throw. These records hold addresses relative to the image that threw, so the image is remembered too.
#include <stdlib.h>
#include <string.h>

#include <exception>
#include <new>

#include "runtime.h"

extern "C" {
EXCEPTION_RECORD** __cdecl __current_exception();
[[noreturn]] void __cdecl _CxxThrowException(void* object, const void* throwInfo);
extern IMAGE_DOS_HEADER __ImageBase;
}

namespace {

// The records as compilers for this ABI write them.
struct CatchableType {
    enum Flags { kPlainData = 1, kHasVirtualBase = 4 };
    int flags, type, memberOffset, pointerOffset, tableOffset, size, copyConstructor;
};
struct CatchableTypes {
    int count, types[1];  // the first is the thrown type itself
};
struct ThrowInfo {
    int attributes, destructor, forwardCompatibility, catchableTypes;
};

struct Held {
    LONG references;
    const ThrowInfo* info;
    ULONGLONG image;
    alignas(16) char object[1];
};

template <class T>
T* at(ULONGLONG image, int offset) {
    return reinterpret_cast<T*>(image + static_cast<unsigned>(offset));
}

const CatchableType* thrownType(const ThrowInfo* info, ULONGLONG image) {
    return at<CatchableType>(image, at<CatchableTypes>(image, info->catchableTypes)->types[0]);
}

void copyObject(void* to, const void* from, const CatchableType* type, ULONGLONG image) {
    if (!type->copyConstructor || (type->flags & CatchableType::kPlainData)) {
        memcpy(to, from, static_cast<size_t>(type->size));
        return;
    }
    void* copy = at<void>(image, type->copyConstructor);
    if (type->flags & CatchableType::kHasVirtualBase) {
        reinterpret_cast<void (*)(void*, const void*, int)>(copy)(to, from, 1);  // 1: make the virtual bases too
    } else {
        reinterpret_cast<void (*)(void*, const void*)>(copy)(to, from);
    }
}

Held* hold(const void* object, const ThrowInfo* info, ULONGLONG image) {
    const CatchableType* type = thrownType(info, image);
    auto* held = static_cast<Held*>(malloc(sizeof(Held) + static_cast<size_t>(type->size)));
    if (!held) {
        std::terminate();
    }
    held->references = 1;
    held->info = info;
    held->image = image;
    copyObject(held->object, object, type, image);
    return held;
}

void retain(void* pointer) {
    if (pointer) {
        InterlockedIncrement(&static_cast<Held*>(pointer)->references);
    }
}

void release(void* pointer) {
    auto* held = static_cast<Held*>(pointer);
    if (!held || InterlockedDecrement(&held->references) != 0) {
        return;
    }
    if (held->info->destructor) {
        reinterpret_cast<void (*)(void*)>(at<void>(held->image, held->info->destructor))(held->object);
    }
    free(held);
}

// exception_ptr's first word, which is private in its declaration.
Held*& heldBy(std::exception_ptr& pointer) { return *reinterpret_cast<Held**>(&pointer); }

}  // namespace

namespace std {

exception_ptr::exception_ptr() noexcept : __ptr1_(), __ptr2_() {}
exception_ptr::exception_ptr(nullptr_t) noexcept : __ptr1_(), __ptr2_() {}
exception_ptr::exception_ptr(const exception_ptr& other) noexcept : __ptr1_(other.__ptr1_), __ptr2_() {
    retain(__ptr1_);
}
exception_ptr& exception_ptr::operator=(const exception_ptr& other) noexcept {
    if (this == &other) return *this;
    retain(other.__ptr1_);
    release(__ptr1_);
    __ptr1_ = other.__ptr1_;
    return *this;
}
exception_ptr& exception_ptr::operator=(nullptr_t) noexcept {
    release(__ptr1_);
    __ptr1_ = nullptr;
    return *this;
}
exception_ptr::~exception_ptr() noexcept { release(__ptr1_); }
exception_ptr::operator bool() const noexcept { return __ptr1_ != nullptr; }

bool operator==(const exception_ptr& a, const exception_ptr& b) noexcept {
    return *reinterpret_cast<void* const*>(&a) == *reinterpret_cast<void* const*>(&b);
}

void swap(exception_ptr& a, exception_ptr& b) noexcept {
    Held* held = heldBy(a);
    heldBy(a) = heldBy(b);
    heldBy(b) = held;
}

exception_ptr __copy_exception_ptr(void* object, const void* info) {
    exception_ptr result;
    heldBy(result) = hold(object, static_cast<const ThrowInfo*>(info), reinterpret_cast<ULONGLONG>(&__ImageBase));
    return result;
}

exception_ptr current_exception() noexcept {
    constexpr DWORD kCxxException = 0xE06D7363;
    exception_ptr result;
    const EXCEPTION_RECORD* record = *__current_exception();
    if (record && record->ExceptionCode == kCxxException && record->NumberParameters == 4) {
        const ULONG_PTR* parameters = record->ExceptionInformation;
        heldBy(result) = hold(reinterpret_cast<const void*>(parameters[1]),
                              reinterpret_cast<const ThrowInfo*>(parameters[2]), parameters[3]);
    }
    return result;
}

void rethrow_exception(exception_ptr pointer) {
    Held* held = heldBy(pointer);
    if (!held) {
        terminate();
    }
    // A thrown object lives in the frame that threw it until its handler ends.
    const CatchableType* type = thrownType(held->info, held->image);
    const auto room = reinterpret_cast<ULONG_PTR>(__builtin_alloca(static_cast<size_t>(type->size) + 15));
    void* object = reinterpret_cast<void*>((room + 15) & ~static_cast<ULONG_PTR>(15));
    copyObject(object, held->object, type, held->image);
    _CxxThrowException(object, held->info);
}

nested_exception::nested_exception() noexcept : __ptr_(current_exception()) {}
nested_exception::~nested_exception() noexcept {}
void nested_exception::rethrow_nested() const {
    if (!__ptr_) {
        terminate();
    }
    rethrow_exception(__ptr_);
}

}  // namespace std
