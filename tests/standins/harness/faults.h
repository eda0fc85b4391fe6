#pragma once

#include <cstdint>

/// Which of the harness's calls fail. A call is numbered from 1 since the last plan for its kind.
/// Threads: any; plans are made while nobody else calls.
namespace harness {

enum class Call : std::uint32_t {
    asyncInit,     ///< uv_async_init: UV_EMFILE
    threadCreate,  ///< uv_thread_create: UV_EAGAIN
    allocate,      ///< an object's memory from the current allocator: null
    operatorNew,   ///< operator new of the module's own code: std::bad_alloc
    count,
};

/// Whose calls a plan is about; nobody else's count or fail.
enum class Caller : std::uint32_t { thisThread, otherThreads, anyThread };

/// Lets the calls from number `first` on fail, `length` of them; 0: none.
void planFault(Call call, std::uint64_t first, std::uint64_t length, Caller caller) noexcept;

/// Counts a call and says whether it is to fail.
bool shouldFail(Call call) noexcept;

/// Calls of a kind since its last plan.
std::uint64_t callsSincePlan(Call call) noexcept;

/// Marks the harness's own work on the calling thread, which is neither counted nor failed.
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
