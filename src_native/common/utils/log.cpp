#include "common/utils/log.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <ratio>

namespace common::diagnostics {

namespace {

/// An installed handler and who is inside it. Guarded by `Slot::mutex`.
struct Installed {
    explicit Installed(std::unique_ptr<Log::Handler> newHandler) : handler(std::move(newHandler)) {}

    std::unique_ptr<Log::Handler> handler;
    int calls = 0;             // running calls, nested ones included
    bool ownedByCall = false;  // the outermost call on the replacing thread destroys it
};

struct Slot {
    std::mutex mutex;
    std::condition_variable left;
    Installed* current = nullptr;
};

// Never destroyed: threads may still write while the process runs its exit handlers.
Slot& slot() {
    static Slot& instance = *new Slot;
    return instance;
}

/// The calls of this thread, innermost first: tells a replacing thread how often it is inside the handler itself.
struct RunningCall {
    explicit RunningCall(Installed* entered);
    ~RunningCall();
    RunningCall(const RunningCall&) = delete;
    RunningCall& operator=(const RunningCall&) = delete;

    static int countOnThisThread(const Installed* installed);

    Installed* installed;
    RunningCall* outer;
};

thread_local RunningCall* t_running = nullptr;

RunningCall::RunningCall(Installed* entered) : installed(entered), outer(t_running) { t_running = this; }

int RunningCall::countOnThisThread(const Installed* installed) {
    int count = 0;
    for (const RunningCall* call = t_running; call != nullptr; call = call->outer) {
        if (call->installed == installed) ++count;
    }
    return count;
}

RunningCall::~RunningCall() {
    t_running = outer;
    bool last = false;
    {
        const std::lock_guard guard(slot().mutex);
        --installed->calls;
        last = installed->ownedByCall && countOnThisThread(installed) == 0;
    }
    slot().left.notify_all();
    if (last) delete installed;
}

std::int64_t currentTicks() {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

void Log::write(Level level, const LogContext& context, const std::string& message) {
    Installed* entered = nullptr;
    {
        const std::lock_guard guard(slot().mutex);
        entered = slot().current;
        if (entered == nullptr) return;
        ++entered->calls;
    }
    const RunningCall call(entered);
    (*entered->handler)(level, context, message.c_str());
}

void Log::write(Level level, const SourceLocation& location, const std::string& message) {
    write(level, LogContext{currentTicks(), location.function, location.file, location.line}, message);
}

void Log::setHandler(std::unique_ptr<Handler> handler) {
    Installed* const fresh = handler ? new Installed(std::move(handler)) : nullptr;
    Installed* old = nullptr;
    {
        std::unique_lock lock(slot().mutex);
        old = slot().current;
        slot().current = fresh;
        if (old == nullptr) return;
        const int own = RunningCall::countOnThisThread(old);
        slot().left.wait(lock, [&] { return old->calls == own; });
        if (own > 0) {
            old->ownedByCall = true;
            return;
        }
    }
    delete old;
}

}  // namespace common::diagnostics
