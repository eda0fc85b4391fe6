#pragma once

#include <v8.h>

#include <cstdint>

namespace common::js {

/// Reads `value` if it is a small integer, which the engine keeps in the handle itself, and returns whether it was one.
///
/// Nearly every integer argument is a small integer. Checking the tag here, as the inline accessors of the engine's own
/// headers do, saves two calls into the engine per argument.
inline bool readSmallInteger(v8::Local<v8::Value> value, std::int64_t& result) noexcept {
    using Tagging = v8::internal::Internals;
    const v8::internal::Address tagged = v8::internal::ValueHelper::ValueAsAddress(*value);
    if (Tagging::HasHeapObjectTag(tagged)) return false;
    result = Tagging::SmiValue(tagged);
    return true;
}

}  // namespace common::js
