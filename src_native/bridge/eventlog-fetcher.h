#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bridge/event_log_source.h"

namespace zeb {

/// Reads records from the Windows event log, each as its XML rendering.
///
/// Holds no state; every call may run on any thread and waits for the service without limit. All handles are closed
/// and all buffers freed when a call returns or throws.
/// Failure: `common::Exception` whose message is the system's text for the error code; no partial result is given and
/// nothing is tried again.
class EventLogFetcher {
public:
    /// All records that `query` selects, oldest first; without an upper bound, so the query decides the cost.
    /// `query` is a structured XML query, which names its own channels. A channel that cannot be read fails the call.
    static std::vector<std::wstring> fetchLogs(const std::wstring& query);

    /// All records of an open result set, which stays open.
    static std::vector<std::wstring> getEvents(eventlog::Handle results);

    /// One record's XML, exactly as the service renders it. The record stays open.
    static std::wstring getEvent(eventlog::Handle record);

private:
    class Buffer;

    /// 0 when every channel of the query can be read; any other value says no more than that this is not so.
    static std::uint32_t checkQueryStatus(eventlog::Handle results);

    /// Has the service write a property into `buffer`, which stays empty when the property takes no space. Gives the
    /// thread's last error.
    static std::uint32_t getQueryProperty(eventlog::Handle results, eventlog::QueryProperty property, Buffer& buffer);
};

}  // namespace zeb
