#include "common/utils/platform_services.h"

#include <cxxabi.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <memory>

namespace common::platform {

std::uint32_t currentThreadId() noexcept { return static_cast<std::uint32_t>(gettid()); }

std::int64_t systemTimeTicks() noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * std::int64_t{10'000'000} + now.tv_nsec / 100;
}

// "IRefCounted", where Windows says "struct IRefCounted", because this ABI's names do not distinguish structs and
// classes.
std::string typeName(const std::type_info& type) {
    struct Free {
        void operator()(char* text) const noexcept { std::free(text); }
    };
    int status = 0;
    const std::unique_ptr<char, Free> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status));
    return name ? name.get() : type.name();
}

}  // namespace common::platform
