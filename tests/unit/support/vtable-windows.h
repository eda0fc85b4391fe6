#pragma once

#include <cstddef>
#include <cstring>

/// The binary layout of interfaces and objects as other modules of this ABI see it: slots and fields by number.
namespace unit {

/// The function in slot `index` of the table that `interface` points to, as a function of the given type. The first
/// parameter of that type is the interface pointer.
template <typename Function>
Function slot(const void* interface, std::size_t index) {
    const void* const* table = nullptr;
    std::memcpy(&table, interface, sizeof table);
    Function function = nullptr;
    std::memcpy(&function, table + index, sizeof function);
    return function;
}

/// The field `offset` bytes into an object.
template <typename Field>
Field field(const void* object, std::size_t offset) {
    Field value;
    std::memcpy(&value, static_cast<const std::byte*>(object) + offset, sizeof value);
    return value;
}

/// Tells a deleting destructor to leave the memory alone.
inline constexpr unsigned kKeepMemory = 0;
using DeletingDestructor = void* (*)(void* interface, unsigned flags);

}  // namespace unit
