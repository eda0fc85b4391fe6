#include "probe_wrapped.h"

#include <array>
#include <string_view>
#include <utility>

#include "common/com/disposable.h"
#include "common/com/shared_state.h"
#include "common/utils/log.h"
#include "common/v8binding/weak_reference_holder.h"

namespace probe {

namespace {

using common::TypeList;
using common::diagnostics::Log;
using common::js::V8WeakReferenceHolder;

std::vector<std::string>& ends() {
    static std::vector<std::string> list;
    return list;
}

void note(std::string_view what) {
    ends().push_back(std::string(what) + (common::js::insideWeakCallback() ? " inside" : " outside"));
}

class Plain : public Wrapped, public V8WeakReferenceHolder {
public:
    using Interfaces = TypeList<Wrapped, V8WeakReferenceHolder>;
    ~Plain() override { note("destroy"); }
    std::int32_t value() override { return 1; }
};

class WithoutHolder : public Wrapped {
public:
    using Interfaces = TypeList<Wrapped>;
    ~WithoutHolder() override { note("destroy"); }
    std::int32_t value() override { return 2; }
};

class DisposableObject : public Wrapped, public V8WeakReferenceHolder, public common::Disposable {
public:
    using Interfaces = TypeList<Wrapped, V8WeakReferenceHolder, common::Disposable>;
    ~DisposableObject() override { note("destroy"); }
    std::int32_t value() override { return 3; }
    void dispose() override {
        note("dispose");
        Log::write(Log::Level::warning, common::SourceLocation{"dispose", "probe", 1}, "disposed");
    }
};

}  // namespace

common::ComPtr<Wrapped> makeWrapped(WrappedKind kind) {
    switch (kind) {
        case WrappedKind::none:
            return {};
        case WrappedKind::plain:
            return common::makeInstance<Plain, common::StrictSingleThreadRC>();
        case WrappedKind::withoutHolder:
            return common::makeInstance<WithoutHolder, common::StrictSingleThreadRC>();
        case WrappedKind::disposable:
            return common::makeInstance<DisposableObject, common::StrictSingleThreadRC>();
    }
    return {};
}

common::js::MethodTable Wrapped::methods() {
    static constexpr std::array table{common::js::methodEntry<Wrapped, &Wrapped::value>("value")};
    return table;
}

std::vector<std::string> takeWrappedEnds() { return std::exchange(ends(), {}); }

}  // namespace probe
