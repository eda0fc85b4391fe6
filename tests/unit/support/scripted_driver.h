#pragma once

#include <uv.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "bridge/rawinputdriverbase.h"

namespace unit {

/// A driver whose input loop belongs to the test: it runs tasks one after the other on the input thread until it is
/// interrupted.
class ScriptedDriver : public zeb::RawInputDriverBase {
public:
    using Interfaces = common::TypeList<zeb::RawInputDriver>;

    ~ScriptedDriver() override { releasePointerCapture(); }

    void processInput() override {
        std::unique_lock lock(m_mutex);
        ++m_runs;
        m_inputThreadId = std::this_thread::get_id();
        m_changed.notify_all();
        while (!m_returnsByItself) {
            m_changed.wait(lock, [&] { return !m_tasks.empty() || m_stops >= m_runs; });
            if (m_tasks.empty()) break;
            const std::function<void()> task = std::move(m_tasks.front());
            m_tasks.erase(m_tasks.begin());
            lock.unlock();
            task();
            lock.lock();
            ++m_done;
            m_changed.notify_all();
        }
    }

    void interruptInputThread(uv_thread_t thread) override {
        if (m_onInterrupt) m_onInterrupt();
        const std::lock_guard guard(m_mutex);
        ++m_stops;
        m_interrupted.push_back(thread);
        m_changed.notify_all();
    }

    /// Runs `task` on the input thread and waits for its end.
    void onInputThread(std::function<void()> task) {
        std::unique_lock lock(m_mutex);
        m_tasks.push_back(std::move(task));
        const int wanted = m_done + static_cast<int>(m_tasks.size());
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return m_done >= wanted; });
    }

    /// Posts `task` to the input thread without waiting.
    void postToInputThread(std::function<void()> task) {
        const std::lock_guard guard(m_mutex);
        m_tasks.push_back(std::move(task));
        m_changed.notify_all();
    }

    void waitForRuns(int runs) {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_runs >= runs; });
    }

    std::function<void()> m_onInterrupt;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::function<void()>> m_tasks;
    std::thread::id m_inputThreadId;
    std::vector<uv_thread_t> m_interrupted;
    bool m_returnsByItself = false;
    int m_runs = 0;
    int m_stops = 0;
    int m_done = 0;
};

}  // namespace unit
