#include "unit/support/type_spelling.h"

namespace unit {

std::string spelled(std::string_view, std::string_view name) { return std::string(name); }

}  // namespace unit
