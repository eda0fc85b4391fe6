#pragma once

#include <cstdint>

/// Which of the harness's calls fail. Calls of a kind are numbered from 1 since the last plan for that kind.
/// Threads: any. A plan is made while no other thread calls.
namespace harness {

enum class Call : std::uint32_t {
    asyncInit,     ///< uv_async_init: UV_EMFILE
    threadCreate,  ///< uv_thread_create: UV_EAGAIN
    allocate,      ///< an object's memory from the current allocator: null
    operatorNew,   ///< operator new of the module's own code: std::bad_alloc
    count,
};

/// The threads that a plan applies to. Calls of other threads neither count nor fail.
enum class Caller : std::uint32_t { thisThread, otherThreads, anyThread };

/// Lets `length` calls fail, starting with call number `first`; 0 lets none fail.
void planFault(Call call, std::uint64_t first, std::uint64_t length, Caller caller) noexcept;

/// Counts a call and returns whether it must fail.
bool shouldFail(Call call) noexcept;

/// The calls of a kind since its last plan.
std::uint64_t callsSincePlan(Call call) noexcept;

/// Marks the harness's own work on the calling thread, which neither counts nor fails.
class OwnWork {
public:
    OwnWork() noexcept { ++t_depth; }
    ~OwnWork() { --t_depth; }
    OwnWork(const OwnWork&) = delete;
    OwnWork& operator=(const OwnWork&) = delete;

    static bool isRunning() noexcept { return t_depth > 0; }

private:
    static inline thread_local constinit int t_depth = 0;
};

}  // namespace harness
