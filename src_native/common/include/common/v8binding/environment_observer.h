#pragma once

namespace common::js {

class Environment;
class EnvironmentObserver;

/// The observers of one environment's end. `Environment` has this list as a base.
class EnvironmentObservers {
public:
    EnvironmentObservers(const EnvironmentObservers&) = delete;
    EnvironmentObservers& operator=(const EnvironmentObservers&) = delete;

protected:
    EnvironmentObservers() = default;
    ~EnvironmentObservers() = default;

    /// Removes every observer from the list, newest first, and tells it of the end.
    void notifyEnd() noexcept;

private:
    friend class EnvironmentObserver;
    EnvironmentObserver* m_newest = nullptr;
};

/// Base of objects that must release threads, handles or script values before their environment's engine ends. This is
/// the only way to hear of that end. Registered from construction to destruction. Script thread only.
///
///     class Blinker : private EnvironmentObserver {
///         explicit Blinker(Environment& environment) : EnvironmentObserver(&environment) {}
///         void onEnvironmentEnd() noexcept override { m_signal.reset(); }  // the loop still runs
///         AsyncHandle m_signal;
///     };
class EnvironmentObserver {
public:
    EnvironmentObserver(const EnvironmentObserver&) = delete;
    EnvironmentObserver& operator=(const EnvironmentObserver&) = delete;

    /// The environment is ending. Must not call script, and must not wait for anything that may never happen.
    virtual void onEnvironmentEnd() noexcept = 0;

protected:
    /// `environment` may be null; the observer is then never told.
    explicit EnvironmentObserver(EnvironmentObservers* environment) noexcept;
    virtual ~EnvironmentObserver();

    /// Null once the environment has ended. Defined in `environment.h`.
    Environment* environment() const noexcept;

private:
    friend class EnvironmentObservers;
    void unlink() noexcept;

    EnvironmentObservers* m_environment;
    EnvironmentObserver* m_newer = nullptr;
    EnvironmentObserver* m_older = nullptr;
};

}  // namespace common::js
