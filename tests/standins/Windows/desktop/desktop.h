#pragma once

#include <vector>

#include "script.h"

/// What script tests need from Windows around the module: input, windows, processes. Each list is defined in its own
/// file.
namespace desktop {

std::vector<NamedFunction> inputFunctions();
std::vector<NamedFunction> windowFunctions();
std::vector<NamedFunction> processFunctions();
std::vector<NamedFunction> debugOutputFunctions();

}  // namespace desktop
