#include <windows.h>

#include <string_view>

#include "common/utils/platform_services.h"

namespace common::platform {

std::uint32_t currentThreadId() noexcept { return GetCurrentThreadId(); }

std::int64_t systemTimeTicks() noexcept {
    constexpr std::int64_t ticksFrom1601To1970 = 116'444'736'000'000'000;
    FILETIME since1601{};
    GetSystemTimePreciseAsFileTime(&since1601);
    return (std::int64_t{since1601.dwHighDateTime} << 32 | since1601.dwLowDateTime) - ticksFrom1601To1970;
}

std::string typeName(const std::type_info& type) {
    // The standard library's inline namespace is not part of the name that people know.
    constexpr std::string_view inlineNamespace = "std::__1::";
    const char* const known = type.name();  // null when there is no memory for it
    std::string name = known != nullptr ? known : "";
    for (auto at = name.find(inlineNamespace); at != std::string::npos; at = name.find(inlineNamespace, at)) {
        name.replace(at, inlineNamespace.size(), "std::");
    }
    return name;
}

}  // namespace common::platform
