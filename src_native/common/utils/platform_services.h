#pragma once

#include <cstdint>
#include <string>
#include <typeinfo>

/// What the foundation needs from the operating system. Declared here, defined by the platform's folder, which the
/// build chooses. Every function may be called on any thread.
namespace common::platform {

/// The calling thread's id as the C runtime gives it; never 0.
std::uint32_t currentThreadId() noexcept;

/// The system's time in 100-nanosecond ticks since 1970-01-01 UTC, as finely as the system knows it.
std::int64_t systemTimeTicks() noexcept;

/// A type's name as the platform spells it for people, e.g. "struct IRefCounted" or "class common::CrtAllocator".
std::string typeName(const std::type_info& type);

}  // namespace common::platform
