#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace zeb::bench {

/// How script asks a worker thread for records: the same for every contender. The worker spins while it waits, for the
/// time that the system takes to wake a sleeping thread would drown what is measured.
class Feed {
public:
    void ask(std::uint32_t count) noexcept { m_wanted.store(count); }
    void stop() noexcept { m_stopped.store(true); }
    void restart() noexcept {
        m_wanted.store(0);
        m_stopped.store(false);
    }

    /// Waits for the next request; 0 when it is over.
    std::uint32_t wait() noexcept {
        for (;;) {
            if (m_stopped.load()) return 0;
            if (const std::uint32_t count = m_wanted.exchange(0)) return count;
            std::this_thread::yield();
        }
    }

private:
    std::atomic<std::uint32_t> m_wanted{0};
    std::atomic<bool> m_stopped{false};
};

}  // namespace zeb::bench
