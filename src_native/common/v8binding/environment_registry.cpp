#include "common/v8binding/environment_registry.h"

namespace common::js {

// Never destroyed, because workers may still end while the process runs its exit handlers.
EnvironmentRegistry& EnvironmentRegistry::instance() {
    static EnvironmentRegistry& registry = *new EnvironmentRegistry;
    return registry;
}

void EnvironmentRegistry::add(std::list<Entry> entry) noexcept {
    const LockGuard guard(m_lock);
    m_entries.splice(m_entries.end(), entry);
}

bool EnvironmentRegistry::remove(const Environment& environment) noexcept {
    const LockGuard guard(m_lock);
    return m_entries.remove_if([&environment](const Entry& entry) { return entry.environment == &environment; }) != 0;
}

Environment* EnvironmentRegistry::find(const node::Environment* host) noexcept {
    const LockGuard guard(m_lock);
    for (const Entry& entry : m_entries) {
        if (entry.host == host) return entry.environment;
    }
    return nullptr;
}

void EnvironmentRegistry::requestReleaseOutside(const v8::Isolate* isolate) noexcept {
    const LockGuard guard(m_lock);
    for (const Entry& entry : m_entries) {
        if (entry.isolate != isolate) entry.requests->requestRelease();
    }
}

}  // namespace common::js
