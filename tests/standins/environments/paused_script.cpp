#include "paused_script.h"

#include <functional>

namespace environments {

namespace {

using Visit = std::function<void(uv_handle_t* handle, uv_handle_type type)>;

void forEachHandle(uv_loop_t* loop, Visit visit) {
    uv_walk(
        loop,
        [](uv_handle_t* handle, void* visitor) {
            if (uv_is_closing(handle) == 0) (*static_cast<Visit*>(visitor))(handle, uv_handle_get_type(handle));
        },
        &visit);
}

}  // namespace

PausedScript::PausedScript(uv_loop_t* loop) : m_loop(loop) {
    forEachHandle(loop, [this](uv_handle_t* handle, uv_handle_type type) {
        if (uv_is_active(handle) == 0) return;
        if (type == UV_TIMER) {
            auto* const timer = reinterpret_cast<uv_timer_t*>(handle);
            m_timers[timer] = {timer->timer_cb, uv_timer_get_due_in(timer)};
        } else if (type == UV_CHECK) {
            auto* const check = reinterpret_cast<uv_check_t*>(handle);
            m_checks[check] = check->check_cb;
        }
    });
    for (const auto& [timer, kept] : m_timers) uv_timer_stop(timer);
    for (const auto& [check, kept] : m_checks) uv_check_stop(check);
}

PausedScript::~PausedScript() {
    std::unordered_map<uv_timer_t*, Timer> timers;
    std::unordered_map<uv_check_t*, uv_check_cb> checks;
    forEachHandle(m_loop, [&](uv_handle_t* handle, uv_handle_type type) {
        if (uv_is_active(handle) != 0) return;
        if (type == UV_TIMER) {
            if (const auto found = m_timers.find(reinterpret_cast<uv_timer_t*>(handle)); found != m_timers.end()) {
                timers.insert(*found);
            }
        } else if (type == UV_CHECK) {
            if (const auto found = m_checks.find(reinterpret_cast<uv_check_t*>(handle)); found != m_checks.end()) {
                checks.insert(*found);
            }
        }
    });
    for (const auto& [timer, kept] : timers) {
        uv_timer_start(timer, kept.callback, kept.dueIn, uv_timer_get_repeat(timer));
    }
    for (const auto& [check, callback] : checks) uv_check_start(check, callback);
}

}  // namespace environments
