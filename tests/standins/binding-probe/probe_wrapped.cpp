#include "probe_wrapped.h"

#include <array>
#include <string_view>
#include <utility>

#include "common/com/disposable.h"
#include "common/com/shared_state.h"
#include "common/utils/log.h"
#include "common/v8binding/environment.h"
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

class Collecting : public Wrapped, public V8WeakReferenceHolder, private common::js::EnvironmentObserver {
public:
    using Interfaces = TypeList<Wrapped, V8WeakReferenceHolder>;
    Collecting()
        : EnvironmentObserver(common::js::Environment::running(v8::Isolate::GetCurrent())),
          m_context(v8::Isolate::GetCurrent(), v8::Isolate::GetCurrent()->GetCurrentContext()) {}
    ~Collecting() override { note("destroy"); }
    std::int32_t value() override { return 4; }
    void onEnvironmentEnd() noexcept override {
        v8::Isolate* const isolate = v8::Isolate::GetCurrent();
        const v8::Local<v8::Context> context = m_context.Get(isolate);
        const v8::Local<v8::String> name = v8::String::NewFromUtf8Literal(isolate, "kept");
        static_cast<void>(context->Global()->Delete(context, name));
        isolate->LowMemoryNotification();
        note("collected");
    }

private:
    v8::Global<v8::Context> m_context;
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
        case WrappedKind::collecting:
            return common::makeInstance<Collecting, common::StrictSingleThreadRC>();
    }
    return {};
}

common::js::MethodTable Wrapped::methods() {
    static constexpr std::array table{common::js::methodEntry<Wrapped, &Wrapped::value>("value")};
    return table;
}

std::vector<std::string> takeWrappedEnds() { return std::exchange(ends(), {}); }

}  // namespace probe
