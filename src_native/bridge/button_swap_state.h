#pragma once

#include <atomic>
#include <optional>

namespace zeb {

/// Whether the user has swapped the primary and secondary mouse buttons; one value for the process. An input thread
/// writes it, and any thread reads it: a reader that races with the writer gets the old or the new setting. False until
/// an input thread has read the system's setting.
inline std::atomic<std::optional<bool>> g_buttonSwapState{std::optional<bool>(false)};

}  // namespace zeb
