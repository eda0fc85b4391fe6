#pragma once

#include <string>
#include <string_view>

namespace unit {

/// How the platform spells a type in texts: "struct IRefCounted" where the names of the ABI carry the keyword, else
/// "IRefCounted". `name` is fully qualified.
std::string spelled(std::string_view keyword, std::string_view name);

}  // namespace unit
