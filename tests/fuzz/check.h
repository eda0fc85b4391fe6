#pragma once

#include <cstdlib>

namespace fuzz {

/// Ends the process when `holds` is false: how a fuzz target says that it has found something.
inline void check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace fuzz
