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
/// Threads: records may be written on any thread; the handler runs on the writing thread, outside every lock, and may
/// write records or install another handler itself. Handlers are installed on a script thread.
/// Ownership: the log owns the handler. A handler that is replaced is destroyed on the thread that replaced it: at
/// once, or, when that thread is inside this very handler, as soon as its outermost call returns.
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

    /// Installs `handler`, or none, in place of the one before. Waits until no other thread is inside that one; so a
    /// handler must never wait, on a foreign thread, for a thread that installs handlers.
    static void setHandler(std::unique_ptr<Handler> handler);
};

}  // namespace common::diagnostics
