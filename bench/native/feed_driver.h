#pragma once

#include "native/feed.h"

namespace zeb::bench {

/// What the product's captures read from in this module: a driver whose input thread makes the records asked for.
/// The source defines `makeRawInputDriver`.
Feed& driverFeed();

}  // namespace zeb::bench
