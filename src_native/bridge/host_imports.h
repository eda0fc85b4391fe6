#pragma once

#include <string>

namespace zeb {

/// Which of the functions that the module needs is missing in the program that loads it or in the system: empty, or a
/// sentence that names the first one. The sentence is another one if the system does not let the module write to the
/// table of these functions, or protect it.
///
/// The first call binds every delay-loaded function and makes their table read-only, so that no later call finds a
/// function missing and nobody can replace one. The functions that it takes to throw a script error are bound before
/// static initialisation. If one of those is missing, the module does not load, and the runtime reports that.
/// Any thread.
const std::string& missingImport();

}  // namespace zeb
