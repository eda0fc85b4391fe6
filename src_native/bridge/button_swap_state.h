#pragma once

#include <atomic>
#include <optional>

namespace zeb {

/// Whether the user has swapped the primary and secondary mouse buttons; one for the process. Written by the input
/// thread, read on any; a reader that races the writer gets the old or the new setting. Not swapped until an input
/// thread has looked.
inline std::atomic<std::optional<bool>> g_buttonSwapState{std::optional<bool>(false)};

}  // namespace zeb
