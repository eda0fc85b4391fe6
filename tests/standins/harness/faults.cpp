#include "faults.h"

#include <array>
#include <atomic>
#include <cstddef>

namespace harness {

namespace {

// Its address tells threads apart.
thread_local constinit char t_thread = 0;

struct Plan {
    std::atomic<Caller> caller{Caller::anyThread};
    std::atomic<const char*> planner{nullptr};
    std::atomic<std::uint64_t> calls{0};
    std::atomic<std::uint64_t> first{0};
    std::atomic<std::uint64_t> length{0};
};

constinit std::array<Plan, static_cast<std::size_t>(Call::count)> g_plans{};

Plan& planOf(Call call) noexcept { return g_plans[static_cast<std::size_t>(call)]; }

}  // namespace

void planFault(Call call, std::uint64_t first, std::uint64_t length, Caller caller) noexcept {
    Plan& plan = planOf(call);
    plan.length = 0;
    plan.caller = caller;
    plan.planner = &t_thread;
    plan.calls = 0;
    plan.first = first;
    plan.length = length;
}

bool shouldFail(Call call) noexcept {
    if (OwnWork::isRunning()) return false;
    Plan& plan = planOf(call);
    const Caller caller = plan.caller;
    if (caller != Caller::anyThread && (plan.planner == &t_thread) != (caller == Caller::thisThread)) return false;
    const std::uint64_t number = ++plan.calls;
    return number >= plan.first && number - plan.first < plan.length;
}

std::uint64_t callsSincePlan(Call call) noexcept { return planOf(call).calls; }

}  // namespace harness
