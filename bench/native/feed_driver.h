#pragma once

#include "native/feed.h"

namespace zeb::bench {

/// What the product's captures read from in this module: a driver whose input thread makes the pointer records that
/// script asks for. The source defines `makeRawInputDriver`.
Feed& driverFeed();

}  // namespace zeb::bench
