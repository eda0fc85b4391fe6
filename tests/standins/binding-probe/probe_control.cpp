#include "probe_control.h"

#include <node.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "bridge/component.h"
#include "bridge/crash_emitter.h"
#include "bridge/diagnostics_component.h"
#include "bridge/hwsupport_component.h"
#include "bridge/pointercapture.h"
#include "bridge/record_traits.h"
#include "common/com/allocator.h"
#include "common/com/disposable.h"
#include "common/com/shared_state.h"
#include "common/utils/failure.h"
#include "common/utils/log.h"
#include "common/v8binding/v8binding.h"
#include "common/v8binding/v8utils.h"
#include "probe_component.h"
#include "probe_wrapped.h"
#include "refusing_engine.h"

namespace probe {

namespace {

using common::ComPtr;
using common::SourceLocation;
using common::diagnostics::Log;
using common::diagnostics::LogContext;
using v8::FunctionCallbackInfo;
using v8::Local;
using v8::Value;

Local<v8::String> text(v8::Isolate* isolate, std::string_view value) {
    return v8::String::NewFromUtf8(isolate, value.data(), v8::NewStringType::kNormal, static_cast<int>(value.size()))
        .ToLocalChecked();
}

std::string textArgument(const FunctionCallbackInfo<Value>& info, int index) {
    return *v8::String::Utf8Value(info.GetIsolate(), info[index]);
}

std::int64_t numberArgument(const FunctionCallbackInfo<Value>& info, int index) {
    return info[index]->IntegerValue(info.GetIsolate()->GetCurrentContext()).FromMaybe(0);
}

Local<v8::Array> array(v8::Isolate* isolate, const std::vector<std::string>& values) {
    std::vector<Local<Value>> elements;
    for (const std::string& value : values) elements.push_back(text(isolate, value));
    return v8::Array::New(isolate, elements.data(), elements.size());
}

void set(v8::Isolate* isolate, Local<v8::Object> object, const char* name, Local<Value> value) {
    object->Set(isolate->GetCurrentContext(), text(isolate, name), value).Check();
}

// ---- what is behind a script object --------------------------------------------------------------------------------

struct KnownType {
    const char* name;
    const std::type_info* id;
};

// This module's own types. The object's module has other copies, which are found by the same decorated names.
const KnownType kInterfaces[] = {
    {"IAnything", &typeid(IAnything)},
    {"IRefCounted", &typeid(IRefCounted)},
    {"zeb::Component", &typeid(zeb::Component)},
    {"zeb::PointerCapture", &typeid(zeb::PointerCapture)},
    {"zeb::RawInputDriver", &typeid(zeb::RawInputDriver)},
    {"common::Allocator", &typeid(common::Allocator)},
    {"common::Disposable", &typeid(common::Disposable)},
    {"common::js::V8WeakReferenceHolder", &typeid(common::js::V8WeakReferenceHolder)},
};
const KnownType kClasses[] = {
    {"zeb::CrashEmitter", &typeid(zeb::CrashEmitter)},
    {"zeb::DiagnosticsComponent", &typeid(zeb::DiagnosticsComponent)},
    {"zeb::HwComponentComponent", &typeid(zeb::HwComponentComponent)},
    {"zeb::PointerCaptureImpl", &typeid(zeb::PointerCaptureImpl)},
};

// The weak reference is the shared state, and the name of its class names the counting policy.
std::string_view countingOf(IRefCounted& native) {
    using namespace common::com_internal;
    IWeakReference* const state = native.getWeakReference();
    std::string_view policy = "unknown";
    if (dynamic_cast<ComClassSharedState<common::SingleThreadRC>*>(state) != nullptr) policy = "SingleThreadRC";
    if (dynamic_cast<ComClassSharedState<common::StrictSingleThreadRC>*>(state) != nullptr) {
        policy = "StrictSingleThreadRC";
    }
    if (dynamic_cast<ComClassSharedState<common::ConcurrentRC>*>(state) != nullptr) policy = "ConcurrentRC";
    state->release();
    return policy;
}

// (object): { fields, external, released, isRefCounted, refCount, counting, interfaces, classes }, as far as they apply
void inspect(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const Local<v8::Object> object = info[0].As<v8::Object>();
    const Local<v8::Object> result = v8::Object::New(isolate);
    info.GetReturnValue().Set(result);
    set(isolate, result, "fields", v8::Number::New(isolate, object->InternalFieldCount()));
    if (object->InternalFieldCount() == 0) return;
    const Local<v8::Data> field = object->GetInternalField(0);
    const bool external = field->IsValue() && field.As<Value>()->IsExternal();
    set(isolate, result, "external", v8::Boolean::New(isolate, external));
    if (!external) return;
    auto* const native = static_cast<IRefCounted*>(common::js::externalValue(field.As<Value>().As<v8::External>()));
    set(isolate, result, "released", v8::Boolean::New(isolate, native == nullptr));
    if (native == nullptr) return;
    set(isolate, result, "isRefCounted",
        v8::Boolean::New(isolate, native->query(typeid(IRefCounted)) == static_cast<void*>(native)));
    set(isolate, result, "refCount", v8::Number::New(isolate, native->refCount()));
    set(isolate, result, "counting", text(isolate, countingOf(*native)));
    std::vector<std::string> interfaces;
    for (const KnownType& known : kInterfaces) {
        if (native->supports(*known.id) != (native->query(*known.id) != nullptr)) interfaces.emplace_back("undecided");
        if (native->supports(*known.id)) interfaces.emplace_back(known.name);
    }
    set(isolate, result, "interfaces", array(isolate, interfaces));
    std::vector<std::string> classes;
    for (const KnownType& known : kClasses) {
        if (native->query(*known.id) != nullptr) classes.emplace_back(known.name);
    }
    set(isolate, result, "classes", array(isolate, classes));
}

int g_strangersTarget = 0;

// The newest releases of the engine require a type tag.
template <typename Object>
void setAlignedPointer(Local<Object> object, void* value) {
    if constexpr (requires { object->SetAlignedPointerInInternalField(0, value); }) {
        object->SetAlignedPointerInInternalField(0, value);
    } else {
        object->SetAlignedPointerInInternalField(0, value, 0);
    }
}

// Makes objects with internal fields that are not ours.
void stranger(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const std::string kind = textArgument(info, 0);
    const Local<v8::ObjectTemplate> objectTemplate = v8::ObjectTemplate::New(isolate);
    objectTemplate->SetInternalFieldCount(kind == "two fields" ? 2 : 1);
    const Local<v8::Object> object = objectTemplate->NewInstance(isolate->GetCurrentContext()).ToLocalChecked();
    if (kind == "external" || kind == "two fields") {
        object->SetInternalField(0, common::js::makeExternal(isolate, &g_strangersTarget));
    } else if (kind == "null external") {
        object->SetInternalField(0, common::js::makeExternal(isolate, nullptr));
    } else if (kind == "number") {
        object->SetInternalField(0, v8::Number::New(isolate, 1));
    } else if (kind == "aligned pointer") {
        setAlignedPointer(object, &g_strangersTarget);
    }
    info.GetReturnValue().Set(object);
}

void wrappedEnds(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(array(info.GetIsolate(), takeWrappedEnds()));
}

void endedProbes(const FunctionCallbackInfo<Value>& info) { info.GetReturnValue().Set(Probe::ended()); }

// ---- log ------------------------------------------------------------------------------------------------------------

/// The log records of every thread, as "level|function|file|line|message".
struct RecordedLog {
    std::mutex mutex;
    std::vector<std::string> records;
};

RecordedLog& recordedLog() {
    static RecordedLog instance;
    return instance;
}

void recordLog(const FunctionCallbackInfo<Value>&) {
    Log::setHandler(
        common::makeFunctor<Log::Handler>([](Log::Level level, const LogContext& context, const char* message) {
            RecordedLog& log = recordedLog();
            const std::lock_guard lock(log.mutex);
            log.records.push_back(std::to_string(static_cast<int>(level)) + '|' + std::string(context.function) + '|' +
                                  std::string(context.file) + '|' +
                                  (context.line ? std::to_string(*context.line) : std::string()) + '|' + message);
        }));
}

void takeLog(const FunctionCallbackInfo<Value>& info) {
    RecordedLog& log = recordedLog();
    const std::lock_guard lock(log.mutex);
    info.GetReturnValue().Set(array(info.GetIsolate(), std::exchange(log.records, {})));
}

void writeLog(const FunctionCallbackInfo<Value>& info) {
    Log::write(static_cast<Log::Level>(numberArgument(info, 0)), SourceLocation{"probe", "probe", 1},
               textArgument(info, 1));
}

void writeLogOnThread(const FunctionCallbackInfo<Value>& info) {
    std::thread([level = static_cast<Log::Level>(numberArgument(info, 0)), message = textArgument(info, 1)] {
        Log::write(level, SourceLocation{"probe", "probe", 1}, message);
    }).join();
}

// ---- assertions -----------------------------------------------------------------------------------------------------

/// Failures as "function|file|line|module|expression|message". A long message is given as its length and its ends.
class RecordingHandler : public common::AssertionHandler {
public:
    explicit RecordingHandler(std::vector<std::string>& list) : m_list(list) {}

    void onAssertionFailure(const SourceLocation& location, const char* module, const char* expression,
                            const char* message) override {
        std::string shown = message;
        if (shown.size() > 1000) {
            shown = std::to_string(shown.size()) + ' ' + shown.substr(0, 40) + ".." + shown.substr(shown.size() - 5);
        }
        m_list.push_back(std::string(location.function) + '|' + std::string(location.file) + '|' +
                         (location.line ? std::to_string(*location.line) : std::string()) + '|' +
                         (module == nullptr ? "null" : module) + '|' + expression + '|' + shown);
    }

private:
    std::vector<std::string>& m_list;
};

std::vector<std::string>& recordedAssertions() {
    static std::vector<std::string> list;
    return list;
}

void recordAssertions(const FunctionCallbackInfo<Value>&) {
    common::setAssertionHandler(std::make_unique<RecordingHandler>(recordedAssertions()));
}

void takeAssertions(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(array(info.GetIsolate(), std::exchange(recordedAssertions(), {})));
}

void raiseAssertion(const FunctionCallbackInfo<Value>&) {
    const ComPtr<IRefCounted> empty;
    static_cast<void>(empty.operator->());
}

// ---- strings and marshallers ----------------------------------------------------------------------------------------

// makeStr of empty text, in both forms and without an isolate: the result is the engine's own empty string each time.
void emptyTextsAreTheEngines(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const Local<v8::String> empty = v8::String::Empty(isolate);
    const auto same = [&](Local<v8::String> made) { return made == empty; };
    info.GetReturnValue().Set(same(common::js::makeStr(isolate, std::string_view())) &&
                              same(common::js::makeStr(nullptr, std::string_view(""))) &&
                              same(common::js::makeStr(isolate, std::u16string_view())) &&
                              same(common::js::makeStr(nullptr, std::u16string_view())));
}

void makeNarrow(const FunctionCallbackInfo<Value>& info) {
    info.GetReturnValue().Set(common::js::makeStr(nullptr, std::string_view(textArgument(info, 0))));
}

// (text): whether makeStr gave the empty string in both forms when the engine refused
void makeRefused(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const std::string narrow = textArgument(info, 0);
    const std::u16string wide = u"{0} gr\u00FC\u00DF %1";  // the text that the tests pass
    refuseStrings(true);
    const Local<v8::String> fromNarrow = common::js::makeStr(isolate, std::string_view(narrow));
    const Local<v8::String> fromWide = common::js::makeStr(isolate, std::u16string_view(wide));
    refuseStrings(false);
    const Local<v8::String> empty = v8::String::Empty(isolate);
    info.GetReturnValue().Set(fromNarrow == empty && fromWide == empty);
}

// A string one unit longer than the engine takes.
void makeTooLong(const FunctionCallbackInfo<Value>& info) {
    const std::string tooLong(std::size_t{v8::String::kMaxLength} + 1, 'a');
    info.GetReturnValue().Set(common::js::makeStr(info.GetIsolate(), std::string_view(tooLong)));
}

void callEmptyMarshallers(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const Local<Value> nothing;
    common::js::FunctionMarshaller<void, zeb::ButtonsEventData>(isolate, nothing).invoke({});
    common::js::FunctionMarshaller<void, zeb::MotionEventData>(isolate, nothing).invoke({});
    common::js::FunctionMarshaller<void, std::string, int>(isolate, nothing).invoke("", 0);
    common::js::FunctionMarshaller<void, std::string>(isolate, nothing).invoke("");
}

// ---- memory ---------------------------------------------------------------------------------------------------------

/// Gives the first `blocks` blocks and no more.
class LimitedAllocator : public common::Allocator {
public:
    using Interfaces = common::TypeList<common::Allocator>;

    explicit LimitedAllocator(std::int64_t blocks) : m_left(blocks) {}

    void* reallocate(void* block, std::size_t size) noexcept override {
        if (block == nullptr && m_left-- <= 0) return nullptr;
        return std::realloc(block, size);
    }
    void deallocate(void* block, const common::BlockDescriptor&) noexcept override { std::free(block); }

private:
    std::int64_t m_left;
};

/// Overwrites freed blocks and never reuses them, so any later use fails: no word is a valid address, and each word is
/// far above the one before, so that no range that was empty still looks empty.
class PoisoningAllocator : public common::Allocator {
public:
    using Interfaces = common::TypeList<common::Allocator>;

    void* reallocate(void* block, std::size_t size) noexcept override { return std::realloc(block, size); }
    void deallocate(void* block, const common::BlockDescriptor& descriptor) noexcept override {
        auto* const words = static_cast<std::uint64_t*>(block);
        for (std::size_t index = 0; index < descriptor.size / sizeof(std::uint64_t); ++index) {
            words[index] = 0xdd00'0000'0000'0000u + (std::uint64_t{index} << 32);
        }
    }
};

void poisonFreed(const FunctionCallbackInfo<Value>&) {
    common::setCurrentAllocator(common::makeInstance<PoisoningAllocator, common::ConcurrentRC>());
}

void limitAllocations(const FunctionCallbackInfo<Value>& info) {
    common::setCurrentAllocator({});  // otherwise the new one would be made in the old one's memory
    common::setCurrentAllocator(common::makeInstance<LimitedAllocator, common::ConcurrentRC>(numberArgument(info, 0)));
}

// (refuse, with an exception)
void refuseAllInstances(const FunctionCallbackInfo<Value>& info) {
    refuseInstances(info[0]->IsTrue(), info[1]->IsTrue());
}

void unlimitAllocations(const FunctionCallbackInfo<Value>&) { common::setCurrentAllocator({}); }

// The origins of exceptions of which script only sees the message: "function|file|line" each. The second component gets
// no memory for its driver.
void throwSites(const FunctionCallbackInfo<Value>& info) {
    v8::Isolate* const isolate = info.GetIsolate();
    const ComPtr<zeb::Component> component =
        zeb::makeComponent<zeb::HwComponentComponent>(isolate, v8::Object::New(isolate));
    std::vector<std::string> sites;
    const auto note = [&sites](auto&& run) {
        try {
            run();
        } catch (const common::Exception& failure) {
            const common::SourceLocation at = failure.location();
            sites.push_back(std::string(at.function) + '|' + std::string(at.file) + '|' +
                            std::to_string(at.line.value_or(0)));
        }
    };
    note([] { common::js_internal::throwTooFewArguments(2, 1); });
    common::setCurrentAllocator(common::makeInstance<LimitedAllocator, common::ConcurrentRC>(0));
    note([&component] {
        auto* const hardware =
            static_cast<zeb::HwComponentComponent*>(component->query(typeid(zeb::HwComponentComponent)));
        static_cast<void>(hardware->capturePointer());
    });
    common::setCurrentAllocator({});
    info.GetReturnValue().Set(array(isolate, sites));
}

}  // namespace

void addControl(v8::Isolate* isolate, v8::Local<v8::Context> context, v8::Local<v8::Object> exports) {
    const Local<v8::Object> control = v8::Object::New(isolate);
    NODE_SET_METHOD(control, "inspect", &inspect);
    NODE_SET_METHOD(control, "stranger", &stranger);
    NODE_SET_METHOD(control, "wrappedEnds", &wrappedEnds);
    NODE_SET_METHOD(control, "endedProbes", &endedProbes);
    NODE_SET_METHOD(control, "recordLog", &recordLog);
    NODE_SET_METHOD(control, "takeLog", &takeLog);
    NODE_SET_METHOD(control, "writeLog", &writeLog);
    NODE_SET_METHOD(control, "writeLogOnThread", &writeLogOnThread);
    NODE_SET_METHOD(control, "recordAssertions", &recordAssertions);
    NODE_SET_METHOD(control, "takeAssertions", &takeAssertions);
    NODE_SET_METHOD(control, "raiseAssertion", &raiseAssertion);
    NODE_SET_METHOD(control, "throwSites", &throwSites);
    NODE_SET_METHOD(control, "emptyTextsAreTheEngines", &emptyTextsAreTheEngines);
    NODE_SET_METHOD(control, "makeNarrow", &makeNarrow);
    NODE_SET_METHOD(control, "makeRefused", &makeRefused);
    NODE_SET_METHOD(control, "makeTooLong", &makeTooLong);
    NODE_SET_METHOD(control, "callEmptyMarshallers", &callEmptyMarshallers);
    NODE_SET_METHOD(control, "poisonFreed", &poisonFreed);
    NODE_SET_METHOD(control, "limitAllocations", &limitAllocations);
    NODE_SET_METHOD(control, "refuseInstances", &refuseAllInstances);
    NODE_SET_METHOD(control, "unlimitAllocations", &unlimitAllocations);
    exports->Set(context, text(isolate, "control"), control).Check();
}

}  // namespace probe
