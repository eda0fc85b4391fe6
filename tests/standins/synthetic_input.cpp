#include "standins/synthetic_input.h"

#include <utility>

#include "common/com/shared_state.h"

namespace zeb {

namespace standins {

SyntheticInput& SyntheticInput::shared() {
    static SyntheticInput& instance = *new SyntheticInput;
    return instance;
}

void SyntheticInput::push(std::vector<RawInputDriver::PointerData> records) {
    Job job;
    job.records = std::move(records);
    add(std::move(job));
}

void SyntheticInput::burst(std::uint32_t count, std::uint32_t first, std::uint32_t pressEvery) {
    Job job;
    job.count = count;
    job.first = first;
    job.pressEvery = pressEvery;
    add(std::move(job));
}

void SyntheticInput::add(Job job) {
    {
        const std::lock_guard guard(m_mutex);
        m_jobs.push_back(std::move(job));
    }
    m_changed.notify_all();
}

SyntheticDriver::~SyntheticDriver() { releasePointerCapture(); }

void SyntheticDriver::processInput() {
    SyntheticInput& input = SyntheticInput::shared();
    std::unique_lock lock(input.m_mutex);
    ++m_runs;
    const auto stopped = [&] { return m_stops >= m_runs; };
    for (;;) {
        input.m_changed.wait(lock, [&] { return stopped() || !input.m_jobs.empty(); });
        if (stopped()) return;
        std::vector<SyntheticInput::Job> jobs;
        jobs.swap(input.m_jobs);
        lock.unlock();
        const auto dispatch = [&](const PointerData& record) {
            dispatchPointerData(record);
            ++input.m_dispatched;
        };
        for (const SyntheticInput::Job& job : jobs) {
            for (const PointerData& record : job.records) dispatch(record);
            for (std::uint32_t index = 0; index < job.count; ++index) {
                const auto n = static_cast<std::int32_t>(job.first + index);
                PointerData record{{{1, -1}, {n, n + 1}}, {}};
                if (job.pressEvery != 0 && index % job.pressEvery == 0) record.buttons.left = 2;
                dispatch(record);
            }
        }
        lock.lock();
    }
}

void SyntheticDriver::interruptInputThread(uv_thread_t thread) {
    if (thread == uv_thread_t{}) return;  // it could not be started
    SyntheticInput& input = SyntheticInput::shared();
    {
        const std::lock_guard guard(input.m_mutex);
        ++m_stops;
    }
    input.m_changed.notify_all();
}

}  // namespace standins

common::ComPtr<RawInputDriver> makeRawInputDriver() {
    return common::makeInstance<standins::SyntheticDriver, common::ConcurrentRC>();
}

}  // namespace zeb
