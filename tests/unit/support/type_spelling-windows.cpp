#include "unit/support/type_spelling.h"

namespace unit {

std::string spelled(std::string_view keyword, std::string_view name) {
    return std::string(keyword) + ' ' + std::string(name);
}

}  // namespace unit
