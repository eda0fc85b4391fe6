#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "common/utils/failure.h"
#include "common/utils/functor.h"

namespace common::diagnostics {

/// Where and when a log record was written. The texts are views that live as long as the handler's call.
struct LogContext {
    std::int64_t timeStamp;  ///< 100-nanosecond ticks since 1970-01-01 UTC
    std::string_view function;
    std::string_view file;
    std::optional<std::uint32_t> line;
};

/// The module's log: records go to the one installed handler; without one they are dropped. It has no sink of its own.
///
/// Threads: any. The handler runs on the writing thread, outside every lock, on several threads at once if they write
/// at once; it may write records and install another handler itself. Nothing waits for a handler to return.
/// Ownership: the log shares a handler with the calls that are inside it. One that was replaced ends with the last of
/// these calls, on its thread, or at once when there is none. What may end only on a thread of its own, such as a
/// script function, the handler's destructor sends there.
/// Failure: a handler must not throw. Whoever writes a record is often in the middle of reporting a failure.
class Log {
public:
    /// Handed to script as its plain number.
    enum class Level : int {
        information = 0,
        warning = 1,
        error = 2,
    };

    using Handler = FunctorClass<1, void, TypeList<Level, const LogContext&, const char*>>;

    Log() = delete;

    /// Hands one record to the installed handler.
    static void write(Level level, const LogContext& context, const std::string& message);

    /// Writes a record of this moment.
    static void write(Level level, const SourceLocation& location, const std::string& message);

    /// Installs `handler`, or none, in place of the one before. Never waits, so that one may still be running on other
    /// threads when this returns. Throws `std::bad_alloc`, and keeps the one before, when there is no memory for a new
    /// one; installing none cannot fail.
    static void setHandler(std::unique_ptr<Handler> handler);
};

}  // namespace common::diagnostics
