#pragma once

#include <v8.h>

#include <list>
#include <typeinfo>
#include <unordered_map>

#include "common/com/comptr.h"
#include "common/com/interfaces.h"

namespace common::js {

class Environment;
struct Receiver;

/// The native objects of one environment that script can call methods on, in the order in which they were linked.
using ReceiverList = std::list<Receiver>;

/// A native object behind a script object. Owns the reference that keeps the native object alive for script.
struct Receiver {
    ComPtr<IRefCounted> native;
    Environment* environment;
    ReceiverList* home;
    /// A component lives until it is released; any other object goes with its script object.
    bool isComponent = false;
    v8::Global<v8::Object> object;  // weak
    // The last answered query: a method asks every time for the same class.
    const std::type_info* askedClass = nullptr;
    void* asClass = nullptr;
};

/// What the environments of one isolate share: the table that finds the native object behind a script object, and the
/// methods that are running.
///
/// Script thread only. Lives while an environment has a share or a method is running.
class Receivers {
public:
    Receivers(const Receivers&) = delete;
    Receivers& operator=(const Receivers&) = delete;

    /// Those of `isolate`, or null when no environment of it has loaded the module.
    static Receivers* of(v8::Isolate* isolate) noexcept {
        return isolate == t_last.isolate && isolate != nullptr ? t_last.receivers : search(isolate);
    }

    /// An environment's share: the receivers of its isolate live while one has it. Throws std::bad_alloc.
    class Share {
    public:
        explicit Share(v8::Isolate* isolate) : m_receivers(open(isolate)) {}
        ~Share() { m_receivers.leave(); }
        Share(const Share&) = delete;
        Share& operator=(const Share&) = delete;
        Receivers& operator*() const noexcept { return m_receivers; }
        Receivers* operator->() const noexcept { return &m_receivers; }

    private:
        Receivers& m_receivers;
    };

    /// `environment` has ended: no running method finds it any more.
    void forget(const Environment& environment) noexcept;

    /// Stores `native` in internal field 0 of `object` and appends a receiver for the two to `home`.
    void link(ReceiverList& home, Environment& environment, v8::Local<v8::Object> object, ComPtr<IRefCounted> native,
              bool isComponent);

    /// The receiver that `object` stands for, or null. Any object can be passed as a receiver, so the pointer in
    /// internal field 0 is followed only when it is one that `link` has stored in this very object.
    Receiver* find(v8::Local<v8::Object> object) {
        if (m_last != nullptr && m_last->object == object) return m_last;
        return searchTable(object);
    }

    /// Cuts the script object off from its native object and drops the reference: at once, or, while a method runs,
    /// when the outermost one has returned, because it may be a method of that object. Allocates nothing natively.
    void retire(Receiver& receiver) noexcept;

    /// The script object of `native` has been garbage-collected. Hands over the reference; empty when it is not known.
    ComPtr<IRefCounted> takeCollected(IRefCounted* native) noexcept;

    /// Marks native code that runs for `environment`: a method, the load of the module, a release of components.
    class CallScope {
    public:
        CallScope(Receivers& receivers, Environment* environment) noexcept
            : m_receivers(receivers), m_environment(environment), m_outer(receivers.m_innermost) {
            receivers.m_innermost = this;
        }
        ~CallScope() {
            m_receivers.m_innermost = m_outer;
            if (m_outer == nullptr && m_receivers.m_isUnsettled) m_receivers.settle();
        }
        CallScope(const CallScope&) = delete;
        CallScope& operator=(const CallScope&) = delete;

    private:
        friend class Receivers;
        Receivers& m_receivers;
        Environment* m_environment;
        CallScope* const m_outer;
    };

    /// The environment for which native code runs, or null when none does or it has ended meanwhile.
    Environment* runningEnvironment() const noexcept {
        return m_innermost != nullptr ? m_innermost->m_environment : nullptr;
    }

private:
    struct Registry;

    /// What the last look-up on this thread found: a thread has one isolate as a rule.
    struct Last {
        v8::Isolate* isolate;
        Receivers* receivers;
    };

    explicit Receivers(v8::Isolate* isolate) noexcept : m_isolate(isolate) {}
    ~Receivers() = default;

    static Registry& registry();
    static Receivers* search(v8::Isolate* isolate) noexcept;
    static Receivers& open(v8::Isolate* isolate);
    static inline thread_local constinit Last t_last{nullptr, nullptr};

    Receiver* searchTable(v8::Local<v8::Object> object);
    ReceiverList take(IRefCounted* native) noexcept;
    void settle() noexcept;
    void leave() noexcept;

    v8::Isolate* const m_isolate;
    std::unordered_map<const void*, ReceiverList::iterator> m_table;
    Receiver* m_last = nullptr;  // the method calls of one object come in a row
    CallScope* m_innermost = nullptr;
    ReceiverList m_retired;
    std::size_t m_users = 0;     // shares, and a running `settle`
    bool m_isUnsettled = false;  // the outermost method's end has something to do
};

}  // namespace common::js
