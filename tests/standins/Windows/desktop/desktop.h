#pragma once

#include <vector>

#include "script.h"

/// What script tests need from Windows beside the module: input, windows and processes. Each list is one source file.
namespace desktop {

std::vector<NamedFunction> inputFunctions();
std::vector<NamedFunction> windowFunctions();
std::vector<NamedFunction> processFunctions();
std::vector<NamedFunction> debugOutputFunctions();

}  // namespace desktop
