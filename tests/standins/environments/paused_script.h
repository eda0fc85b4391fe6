#pragma once

#include <uv.h>

#include <cstdint>
#include <unordered_map>

namespace environments {

/// Holds back a loop's timers and immediates while it exists.
///
/// While an environment ends, Node.js turns the shared loop and the engine refuses script. If another environment's
/// timer is due then, Node.js ends the process, so a host has to hold timers back.
class PausedScript {
public:
    explicit PausedScript(uv_loop_t* loop);
    /// Lets those that still exist come again.
    ~PausedScript();
    PausedScript(const PausedScript&) = delete;
    PausedScript& operator=(const PausedScript&) = delete;

private:
    struct Timer {
        uv_timer_cb callback;
        std::uint64_t dueIn;
    };

    uv_loop_t* const m_loop;
    std::unordered_map<uv_timer_t*, Timer> m_timers;
    std::unordered_map<uv_check_t*, uv_check_cb> m_checks;
};

}  // namespace environments
