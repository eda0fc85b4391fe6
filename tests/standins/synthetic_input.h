#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "bridge/rawinputdriverbase.h"

namespace zeb::standins {

/// A driver whose pointer records come from the test. It stands in for the platform's driver when it is linked instead
/// of it: the source defines `makeRawInputDriver`.
///
/// Threads: any may call `push` and `burst`. The records are dispatched in order on the driver's input thread.
class SyntheticDriver : public RawInputDriverBase {
public:
    using Interfaces = common::TypeList<RawInputDriver>;

    ~SyntheticDriver() override;

    void processInput() override;
    void interruptInputThread(uv_thread_t thread) override;

private:
    // Counted, so that a stop is also seen when it comes before the thread waits. Under the source's mutex.
    std::uint64_t m_runs = 0;
    std::uint64_t m_stops = 0;
};

/// The input of all synthetic drivers of the process: the one that captures takes the next job.
class SyntheticInput {
public:
    static SyntheticInput& shared();

    /// Queues these records for the input thread.
    void push(std::vector<RawInputDriver::PointerData> records);
    /// Queues `count` records that the input thread makes: offset (1, -1), screen point (n, n + 1) with n counting from
    /// `first`; every `pressEvery`th also presses the left button (0: none).
    void burst(std::uint32_t count, std::uint32_t first, std::uint32_t pressEvery);
    /// How many records the input threads have dispatched.
    std::uint64_t dispatched() const noexcept { return m_dispatched; }

private:
    friend class SyntheticDriver;

    struct Job {
        std::vector<RawInputDriver::PointerData> records;
        std::uint32_t count = 0;
        std::uint32_t first = 0;
        std::uint32_t pressEvery = 0;
    };

    void add(Job job);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Job> m_jobs;
    std::atomic<std::uint64_t> m_dispatched{0};
};

}  // namespace zeb::standins
