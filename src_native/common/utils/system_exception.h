#pragma once

#include <cstdint>
#include <string_view>

#include "common/utils/failure.h"

namespace common::common_internal {

/// A system call failed. The message is the system's text, which differs between releases and languages, so script also
/// gets the error number. `code()` is this module's own code and stays 0.
class SystemException final : public DefaultException {
public:
    SystemException(const SourceLocation& location, std::string_view message, std::uint32_t systemError)
        // NOLINTNEXTLINE(bugprone-throw-keyword-missing): a base class
        : DefaultException(location, message, 0), m_systemError(systemError) {}

    std::uint32_t systemError() const noexcept { return m_systemError; }

private:
    std::uint32_t m_systemError;
};

}  // namespace common::common_internal
