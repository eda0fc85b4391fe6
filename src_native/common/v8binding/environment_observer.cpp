#include "common/v8binding/environment_observer.h"

namespace common::js {

void EnvironmentObservers::notifyEnd() noexcept {
    while (EnvironmentObserver* const observer = m_newest) {
        observer->unlink();
        observer->onEnvironmentEnd();
    }
}

EnvironmentObserver::EnvironmentObserver(EnvironmentObservers* environment) noexcept : m_environment(environment) {
    if (environment == nullptr) return;
    m_older = environment->m_newest;
    if (m_older != nullptr) m_older->m_newer = this;
    environment->m_newest = this;
}

EnvironmentObserver::~EnvironmentObserver() { unlink(); }

void EnvironmentObserver::unlink() noexcept {
    if (m_environment == nullptr) return;
    if (m_newer != nullptr) {
        m_newer->m_older = m_older;
    } else {
        m_environment->m_newest = m_older;
    }
    if (m_older != nullptr) m_older->m_newer = m_newer;
    m_newer = m_older = nullptr;
    m_environment = nullptr;
}

}  // namespace common::js
