#pragma once

#include <cstdlib>

namespace fuzz {

/// Ends the process when `holds` is false: a fuzz target's way to report that it has found something.
inline void check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace fuzz
