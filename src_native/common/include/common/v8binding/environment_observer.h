#pragma once

namespace common::js {

class Environment;
class EnvironmentObserver;

/// Those who must hear of the end of an environment, which has one such list as its base.
class EnvironmentObservers {
public:
    EnvironmentObservers(const EnvironmentObservers&) = delete;
    EnvironmentObservers& operator=(const EnvironmentObservers&) = delete;

protected:
    EnvironmentObservers() = default;
    ~EnvironmentObservers() = default;

    /// Takes every observer off the list, newest first, and tells it.
    void notifyEnd() noexcept;

private:
    friend class EnvironmentObserver;
    EnvironmentObserver* m_newest = nullptr;
};

/// Base of objects that must let go of threads, handles or script values before their environment's engine ends. The
/// one way to hear of that end. Registered from construction to destruction; script thread only.
class EnvironmentObserver {
public:
    EnvironmentObserver(const EnvironmentObserver&) = delete;
    EnvironmentObserver& operator=(const EnvironmentObserver&) = delete;

    /// The environment is ending. Script must not be called, and nothing waited for that may never come.
    virtual void onEnvironmentEnd() noexcept = 0;

protected:
    /// `environment` may be null; the observer then hears nothing.
    explicit EnvironmentObserver(EnvironmentObservers* environment) noexcept;
    virtual ~EnvironmentObserver();

    /// Null once it has ended. Defined in `environment.h`.
    Environment* environment() const noexcept;

private:
    friend class EnvironmentObservers;
    void unlink() noexcept;

    EnvironmentObservers* m_environment;
    EnvironmentObserver* m_newer = nullptr;
    EnvironmentObserver* m_older = nullptr;
};

}  // namespace common::js
