#pragma once

namespace zeb::bench {

/// The processor time that the calling thread has used, in seconds.
double threadTime() noexcept;

}  // namespace zeb::bench
