#pragma once

#include <string>
#include <string_view>

namespace unit {

/// How the platform spells a type in texts: "struct IRefCounted" if the ABI's names carry the keyword, otherwise
/// "IRefCounted". `name` is fully qualified.
std::string spelled(std::string_view keyword, std::string_view name);

}  // namespace unit
