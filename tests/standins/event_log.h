#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bridge/event_log_source.h"

/// An event log service for unit tests. It answers the calls of bridge/event_log_source.h with what a test has put into
/// it, fails as told, and records what it is asked.
namespace standins {

enum class EventLogCall { openQuery, getQueryProperty, takeRecords, renderXml, close, allocate };

/// What happens at the `at`-th call (from 1) of a kind instead of success.
struct EventLogFault {
    EventLogCall call;
    int at;
    std::uint32_t code;     ///< the last error afterwards
    bool succeeds = false;  ///< what the call returns
    bool works = false;     ///< whether the call does its work nonetheless
};

struct EventLog {
    // What it contains.
    std::vector<std::uint32_t> channelStatuses{0};
    std::vector<std::wstring> records;  ///< oldest first
    // How it behaves.
    std::vector<std::uint32_t> batches;                ///< the most event records per `takeRecords`, 0 included
    std::map<std::size_t, std::uint32_t> renderSizes;  ///< reported for an event record instead of the true size
    std::vector<EventLogFault> faults;
    bool propertiesNeedNoBuffer = false;
    // What it has seen.
    std::wstring query;
    std::vector<std::uint32_t> capacities;
    std::map<EventLogCall, int> calls;
    std::set<zeb::eventlog::Handle> open;
    std::vector<std::string> handled;  ///< "rendered 0", "closed 0" and so on for event records, "closed the query"
    int badCloses = 0;
    std::uint32_t lastError = 0;

    /// Whether everything that was opened has been closed, exactly once.
    bool isClosed() const { return open.empty() && badCloses == 0; }
};

/// The service of the running test. Assign an empty one to start over.
EventLog& eventLog();

}  // namespace standins
