#include "common/utils/log.h"

#include <cstddef>
#include <new>
#include <utility>

#include "common/utils/lock.h"
#include "common/utils/platform_services.h"

namespace common::diagnostics {

namespace {

struct Slot {
    Lock lock;
    std::shared_ptr<Log::Handler> handler ZEB_GUARDED_BY(lock);
};

// Never destroyed, because threads may still write while the process runs its exit handlers. The memory is static,
// because the first use may be the removal of a handler, which must not fail.
Slot& slot() {
    alignas(Slot) static std::byte memory[sizeof(Slot)];
    static Slot& instance = *new (memory) Slot;
    return instance;
}

std::shared_ptr<Log::Handler> installedHandler() {
    Slot& installed = slot();
    const LockGuard guard(installed.lock);
    return installed.handler;
}

}  // namespace

void Log::write(Level level, const LogContext& context, const std::string& message) {
    if (const auto handler = installedHandler()) (*handler)(level, context, message.c_str());
}

void Log::write(Level level, const SourceLocation& location, const std::string& message) {
    write(level, LogContext{platform::systemTimeTicks(), location.function, location.file, location.line}, message);
}

void Log::setHandler(std::unique_ptr<Handler> handler) {
    std::shared_ptr<Handler> shared(std::move(handler));
    Slot& installed = slot();
    const LockGuard guard(installed.lock);
    installed.handler.swap(shared);
}  // the previous handler is released after the lock

}  // namespace common::diagnostics
