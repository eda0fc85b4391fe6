#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace zeb::bench {

/// How script asks a worker thread for records: the same for every contender. Both sides spin while they wait, and
/// script goes on when the worker has handed all records over: the time that the system takes to wake a sleeping thread
/// or event loop would drown what is measured.
class Feed {
public:
    /// Returns when the worker has handed over `count` records.
    void ask(std::uint32_t count) noexcept {
        m_busy.store(true);
        m_wanted.store(count);
        while (m_busy.load() && !m_stopped.load()) std::this_thread::yield();
    }
    void stop() noexcept { m_stopped.store(true); }
    void restart() noexcept {
        m_wanted.store(0);
        m_stopped.store(false);
    }

    /// Waits for the next request; 0 when it is over.
    std::uint32_t wait() noexcept {
        if (m_wanted.load() == 0) m_busy.store(false);
        for (;;) {
            if (m_stopped.load()) return 0;
            if (const std::uint32_t count = m_wanted.exchange(0)) return count;
            std::this_thread::yield();
        }
    }

private:
    std::atomic<std::uint32_t> m_wanted{0};
    std::atomic<bool> m_busy{false};
    std::atomic<bool> m_stopped{false};
};

}  // namespace zeb::bench
