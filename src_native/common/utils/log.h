#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "common/utils/failure.h"
#include "common/utils/functor.h"

namespace common::diagnostics {

/// Where and when a log record was written. The texts are views that are valid during the handler's call.
struct LogContext {
    std::int64_t timeStamp;  ///< 100-nanosecond ticks since 1970-01-01 UTC
    std::string_view function;
    std::string_view file;
    std::optional<std::uint32_t> line;
};

/// The module's log. Log records go to the one installed handler; without a handler they are dropped.
///
///     const SourceLocation here{"zeb::openWindow", "src_native/bridge/window", 41};
///     const std::string text = format("The window was refused with error {0}", error);
///     diagnostics::Log::write(diagnostics::Log::Level::warning, here, text);
///
/// Threads: any. The handler runs on the thread that writes and outside every lock, on several threads at once if they
/// write at once. It may itself write log records and install another handler. Nothing waits for a handler to return.
/// Ownership: the log shares a handler with the calls that are running it. A replaced handler is destroyed when the
/// last of these calls returns, on that call's thread, or at once if there is none. If it owns something that only one
/// thread may destroy, such as a script function, its destructor sends that there.
/// Failure: a handler must not throw, because the code that writes is often already reporting a failure.
class Log {
public:
    /// Script sees the plain number.
    enum class Level : int {
        information = 0,
        warning = 1,
        error = 2,
    };

    using Handler = FunctorClass<1, void, TypeList<Level, const LogContext&, const char*>>;

    Log() = delete;

    /// Passes one log record to the installed handler.
    static void write(Level level, const LogContext& context, const std::string& message);

    /// Writes a log record with the current time.
    static void write(Level level, const SourceLocation& location, const std::string& message);

    /// Installs `handler` in place of the previous one; null removes it. Never waits, so the previous handler may still
    /// be running on other threads when this returns. Throws `std::bad_alloc`, and keeps the previous handler, when
    /// there is no memory for a new one. Removing the handler cannot fail.
    static void setHandler(std::unique_ptr<Handler> handler);
};

}  // namespace common::diagnostics
