#pragma once

#include <vector>

#include "../desktop/script.h"

/// What script tests need to steer the stand-ins and to see what the module asks of the system. Each list is defined in
/// its own source file.
namespace control {

std::vector<desktop::NamedFunction> standinFunctions();
std::vector<desktop::NamedFunction> registryFunctions();
std::vector<desktop::NamedFunction> windowFunctions();
std::vector<desktop::NamedFunction> textFunctions();
std::vector<desktop::NamedFunction> importFunctions();

}  // namespace control
