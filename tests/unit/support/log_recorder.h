#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "common/utils/log.h"

namespace unit {

/// A log record as its handler received it, with copies of the texts.
struct LogRecord {
    int level;
    std::string function;
    std::string file;
    std::optional<std::uint32_t> line;
    std::string message;
    std::int64_t timeStamp;
};

/// Keeps the log records that any thread writes from construction to the end of the scope.
class LogRecorder {
public:
    LogRecorder() {
        using common::diagnostics::Log;
        using common::diagnostics::LogContext;
        Log::setHandler(
            common::makeFunctor<Log::Handler>([this](Log::Level level, const LogContext& context, const char* message) {
                const std::lock_guard guard(m_mutex);
                m_records.push_back({static_cast<int>(level), std::string(context.function), std::string(context.file),
                                     context.line, message, context.timeStamp});
            }));
    }
    ~LogRecorder() { common::diagnostics::Log::setHandler(nullptr); }
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    std::vector<LogRecord> records() const {
        const std::lock_guard guard(m_mutex);
        return m_records;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<LogRecord> m_records;
};

}  // namespace unit
