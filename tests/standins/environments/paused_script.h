#pragma once

#include <uv.h>

#include <cstdint>
#include <unordered_map>

namespace environments {

/// Lets no timer and no immediate of a loop come while it exists.
///
/// The end of an environment turns the loop it shares while the engine refuses script. Node.js ends the process when
/// another environment's timer is due then, so a host has to hold them back.
class PausedScript {
public:
    explicit PausedScript(uv_loop_t* loop);
    /// Lets those come again that still exist.
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
