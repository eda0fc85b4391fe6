#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bridge/event_log_source.h"

namespace zeb {

/// Reads event records from the Windows event log, each rendered as XML.
///
/// Holds no state. Any thread may make every call; a call waits for the service without limit. All handles are closed
/// and all buffers freed when a call returns or throws.
/// Failure: throws a `common::Exception` whose message is the system's text for the error code. Returns no partial
/// result and does not retry.
class EventLogFetcher {
public:
    /// All event records that `query` selects, oldest first. There is no upper bound, so the query decides the cost.
    /// `query` is a structured XML query, which names its own channels. A channel that cannot be read makes the call
    /// fail.
    static std::vector<std::wstring> fetchLogs(const std::wstring& query);

    /// All event records of an open result set, which stays open.
    static std::vector<std::wstring> getEvents(eventlog::Handle results);

    /// The XML of one event record, exactly as the service renders it. The record stays open.
    static std::wstring getEvent(eventlog::Handle record);

private:
    class Buffer;

    /// 0 if every channel of the query can be read. Any other value only means that one cannot.
    static std::uint32_t checkQueryStatus(eventlog::Handle results);

    /// Lets the service write a property into `buffer`, which stays empty if the property takes no space. Returns the
    /// thread's last error.
    static std::uint32_t getQueryProperty(eventlog::Handle results, eventlog::QueryProperty property, Buffer& buffer);
};

}  // namespace zeb
