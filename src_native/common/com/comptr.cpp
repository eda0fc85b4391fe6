#include "common/com/comptr.h"

#include "common/utils/failure.h"
#include "common/utils/format.h"
#include "common/utils/log.h"

namespace common::com_internal {

namespace {

constexpr std::string_view kFile = "src_native/common/include/common/com/comptr";

}  // namespace

void raiseNotDereferencible(const std::type_info& pointee) {
    const std::string function = common::format("common::ComPtr<%1>::operator ->", pointee);
    raiseAssertionFailure({function, kFile, 180}, nullptr, "m_instance",
                          common::format("ComPtr<%1> is not dereferencible", pointee));
}

void logApiNotExposed(const std::type_info& source, const std::type_info& target) {
    const std::string function = common::format("common::ComPtr<%1>::acquire", target);
    diagnostics::Log::write(diagnostics::Log::Level::error, SourceLocation{function, kFile, 240},
                            common::format("Expected API not exposed: (%2). Source type (%1)", source, target));
}

}  // namespace common::com_internal
