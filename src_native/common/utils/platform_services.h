#pragma once

#include <cstdint>
#include <string>
#include <typeinfo>

/// What the foundation needs from the operating system. Each platform's folder defines these functions, and the build
/// chooses the folder. Any thread may call them.
namespace common::platform {

/// The calling thread's id as the operating system gives it; never 0.
std::uint32_t currentThreadId() noexcept;

/// The system's time in 100-nanosecond ticks since 1970-01-01 UTC, at the system's finest resolution.
std::int64_t systemTimeTicks() noexcept;

/// The readable name of a type in the platform's spelling, e.g. "struct IRefCounted" or "class common::CrtAllocator".
std::string typeName(const std::type_info& type);

}  // namespace common::platform
