#pragma once

#include <string>

namespace zeb {

/// What the program that loads the module, or the system, lacks of the functions that the module takes from them:
/// empty, or a sentence that names the first one.
///
/// The first call binds every function that the linker has left to be bound later, and makes their table read-only, so
/// that nothing is missing at a later call and nothing can be put in place of a function. What is needed to tell script
/// about a failure is bound before static initialisation; where even that is missing, the module does not load and the
/// runtime says so.
/// Any thread.
const std::string& missingImport();

}  // namespace zeb
