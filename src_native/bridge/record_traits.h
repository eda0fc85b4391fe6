#pragma once

#include "bridge/rawinputdriver.h"
#include "common/v8binding/v8convert.h"

/// How script sees a pointer record: the one list of its fields. The order is that of the numbers in memory, which
/// `pointer_delivery.cpp` checks at compile time. A test checks that `pointer_delivery.js` makes the same objects.
namespace common::js {

template <>
struct RecordTraits<zeb::Point> {
    template <typename Visit>
    static constexpr void forEachField(Visit visit) {
        visit("x", &zeb::Point::x);
        visit("y", &zeb::Point::y);
    }
};

template <>
struct RecordTraits<zeb::MotionEventData> {
    template <typename Visit>
    static constexpr void forEachField(Visit visit) {
        visit("offset", &zeb::MotionEventData::offset);
        visit("screenPoint", &zeb::MotionEventData::screenPoint);
    }
};

template <>
struct RecordTraits<zeb::ButtonsEventData> {
    template <typename Visit>
    static constexpr void forEachField(Visit visit) {
        visit("left", &zeb::ButtonsEventData::left);
        visit("middle", &zeb::ButtonsEventData::middle);
        visit("right", &zeb::ButtonsEventData::right);
    }
};

}  // namespace common::js
