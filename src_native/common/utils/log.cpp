#include "common/utils/log.h"

#include <chrono>
#include <ratio>
#include <utility>

#include "common/utils/lock.h"

namespace common::diagnostics {

namespace {

struct Slot {
    Lock lock;
    std::shared_ptr<Log::Handler> handler ZEB_GUARDED_BY(lock);
};

// Never destroyed: threads may still write while the process runs its exit handlers.
Slot& slot() {
    static Slot& instance = *new Slot;
    return instance;
}

std::shared_ptr<Log::Handler> installedHandler() {
    Slot& installed = slot();
    const LockGuard guard(installed.lock);
    return installed.handler;
}

std::int64_t currentTicks() {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    return std::chrono::duration_cast<Ticks>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

void Log::write(Level level, const LogContext& context, const std::string& message) {
    if (const auto handler = installedHandler()) (*handler)(level, context, message.c_str());
}

void Log::write(Level level, const SourceLocation& location, const std::string& message) {
    write(level, LogContext{currentTicks(), location.function, location.file, location.line}, message);
}

void Log::setHandler(std::unique_ptr<Handler> handler) {
    std::shared_ptr<Handler> shared(std::move(handler));
    Slot& installed = slot();
    const LockGuard guard(installed.lock);
    installed.handler.swap(shared);
}  // the one before is released after the lock

}  // namespace common::diagnostics
