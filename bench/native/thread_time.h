#pragma once

namespace zeb::bench {

/// Processor time that the calling thread has used, in seconds.
double threadTime() noexcept;

}  // namespace zeb::bench
