#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/com/comptr.h"
#include "common/v8binding/v8binding.h"

namespace probe {

/// An object for script to hold, with the method "value".
struct Wrapped : virtual IRefCounted {
    virtual std::int32_t value() = 0;

    static common::js::MethodTable methods();
};

/// When a `collecting` one hears that its environment ends, it deletes script's global `kept` and collects garbage.
enum class WrappedKind : std::int32_t { none, plain, withoutHolder, disposable, collecting };

/// Empty for `none` and for unknown kinds.
common::ComPtr<Wrapped> makeWrapped(WrappedKind kind);

/// What wrapped objects recorded at an end: "dispose inside", "destroy outside" and so on, where "inside" means
/// inside a weak callback. Empties the list.
std::vector<std::string> takeWrappedEnds();

}  // namespace probe
