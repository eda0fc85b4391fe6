#pragma once

#include <node.h>
#include <v8.h>

#include <list>
#include <memory>

#include "common/utils/lock.h"
#include "common/v8binding/thread_requests.h"

namespace common::js {

class Environment;

/// The environments of the process that have loaded the module, oldest first. Any thread may call this; an environment
/// itself is only used on its own thread.
class EnvironmentRegistry {
public:
    struct Entry {
        Environment* environment;
        const node::Environment* host;
        v8::Isolate* isolate;
        std::shared_ptr<ThreadRequests> requests;
    };

    EnvironmentRegistry(const EnvironmentRegistry&) = delete;
    EnvironmentRegistry& operator=(const EnvironmentRegistry&) = delete;

    static EnvironmentRegistry& instance();

    /// Adds the one entry of a list. The caller makes the list beforehand, so that this cannot fail.
    void add(std::list<Entry> entry) noexcept;
    /// False if it was removed before.
    bool remove(const Environment& environment) noexcept;

    /// Null if the runtime's environment has not loaded the module.
    Environment* find(const node::Environment* host) noexcept;

    /// The oldest environment of `isolate` that `predicate` accepts, or null. Call on the isolate's thread.
    template <typename Predicate>
    Environment* findOn(v8::Isolate* isolate, Predicate predicate) noexcept {
        const LockGuard guard(m_lock);
        for (const Entry& entry : m_entries) {
            if (entry.isolate == isolate && predicate(*entry.environment)) return entry.environment;
        }
        return nullptr;
    }

    /// Asks the environments of all other isolates to release their components.
    void requestReleaseOutside(const v8::Isolate* isolate) noexcept;

private:
    EnvironmentRegistry() = default;

    Lock m_lock;
    std::list<Entry> m_entries ZEB_GUARDED_BY(m_lock);
};

}  // namespace common::js
