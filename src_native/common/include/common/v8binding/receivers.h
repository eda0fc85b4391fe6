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

/// A receiver: a native object behind a script object. Owns the reference that keeps the native object alive for
/// script.
struct Receiver {
    ComPtr<IRefCounted> native;
    Environment* environment;
    ReceiverList* home;
    /// A component lives until it is released; any other object goes with its script object.
    bool isComponent = false;
    v8::Global<v8::Object> object;  // weak
    // The answer to the last query, because methods of one class all ask for that class.
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

    /// The receivers of `isolate`, or null if none of its environments has loaded the module.
    static Receivers* of(v8::Isolate* isolate) noexcept {
        return isolate == t_last.isolate && isolate != nullptr ? t_last.receivers : search(isolate);
    }

    /// An environment's share. The receivers of an isolate live while an environment has one. Throws `std::bad_alloc`.
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

    /// `environment` has ended: running methods no longer find it.
    void forget(const Environment& environment) noexcept;

    /// Stores `native` in internal field 0 of `object` and appends a receiver for the pair to `home`.
    void link(ReceiverList& home, Environment& environment, v8::Local<v8::Object> object, ComPtr<IRefCounted> native,
              bool isComponent);

    /// The receiver that `object` stands for, or null. Script can use any object as a `this`, so the pointer in
    /// internal field 0 is only followed if `link` has stored it in this very object.
    Receiver* find(v8::Local<v8::Object> object) {
        if (m_last != nullptr && m_last->object == object) return m_last;
        return searchTable(object);
    }

    /// Detaches the script object from its native object and drops the reference. This happens at once or, while a
    /// method runs, when the outermost method has returned, because it may be a method of that object. Allocates no
    /// native memory.
    void retire(Receiver& receiver) noexcept;

    /// The script object of `native` has been garbage-collected. Passes on the reference; empty if `native` is not
    /// known.
    ComPtr<IRefCounted> takeCollected(IRefCounted* native) noexcept;

    /// Marks native code that runs for `environment`: a method, the loading of the module, a release of components.
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

    /// The environment for which native code runs. Null if none runs, or if that environment has ended meanwhile.
    Environment* runningEnvironment() const noexcept {
        return m_innermost != nullptr ? m_innermost->m_environment : nullptr;
    }

private:
    struct Registry;

    /// The result of the last look-up on this thread, because a thread usually has one isolate.
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
    Receiver* m_last = nullptr;  // calls of one object's methods come in a row
    CallScope* m_innermost = nullptr;
    ReceiverList m_retired;
    std::size_t m_users = 0;     // shares, and a running `settle`
    bool m_isUnsettled = false;  // the end of the outermost method has work to do
};

}  // namespace common::js
