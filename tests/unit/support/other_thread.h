#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>

namespace unit {

/// Runs calls on another thread while this thread waits and keeps the locks that it holds.
/// The destructor waits for calls that have not ended, so the object must outlive whatever holds such a lock.
class OtherThread {
public:
    OtherThread() = default;
    OtherThread(const OtherThread&) = delete;
    OtherThread& operator=(const OtherThread&) = delete;
    ~OtherThread() {
        if (m_thread.joinable()) m_thread.join();
    }

    /// Whether `call` ends while this thread waits. It does not if it needs a lock that this thread holds.
    bool ends(std::function<void()> call) {
        if (m_thread.joinable()) m_thread.join();
        std::packaged_task<void()> task(std::move(call));
        const std::future<void> ended = task.get_future();
        m_thread = std::thread(std::move(task));
        return ended.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }

private:
    std::thread m_thread;
};

}  // namespace unit
