#include "standins/event_log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace standins {

EventLog& eventLog() {
    static EventLog log;
    return log;
}

namespace {

using zeb::eventlog::Handle;

// The handle of a result set is the address of the log; that of an event record is the address of its text.
std::size_t indexOf(Handle record) {
    return static_cast<std::size_t>(static_cast<std::wstring*>(record) - eventLog().records.data());
}

std::size_t g_position = 0;  // of the event record that the open query returns next

/// One call: counts it. It fails if a fault says so; otherwise `work` runs and returns an error code.
template <typename Work>
bool perform(EventLogCall call, Work work) {
    EventLog& log = eventLog();
    const int at = ++log.calls[call];
    const auto fault = std::find_if(log.faults.begin(), log.faults.end(), [&](const EventLogFault& candidate) {
        return candidate.call == call && candidate.at == at;
    });
    if (fault == log.faults.end()) {
        log.lastError = work();
        return log.lastError == zeb::eventlog::kSuccess;
    }
    if (fault->works) static_cast<void>(work());
    log.lastError = fault->code;
    return fault->succeeds;
}

std::uint32_t writeProperty(std::uint32_t size, void* buffer, std::uint32_t& used) {
    const std::vector<std::uint32_t>& statuses = eventLog().channelStatuses;
    using zeb::eventlog::Variant;
    if (eventLog().propertiesNeedNoBuffer) return zeb::eventlog::kSuccess;
    used = static_cast<std::uint32_t>(sizeof(Variant) + (statuses.size() * sizeof(std::uint32_t)));
    if (size < used) return zeb::eventlog::kInsufficientBuffer;
    auto* const values = static_cast<std::byte*>(buffer) + sizeof(Variant);
    const Variant variant{values, static_cast<std::uint32_t>(statuses.size()), 0};
    std::memcpy(buffer, &variant, sizeof variant);
    if (!statuses.empty()) std::memcpy(values, statuses.data(), statuses.size() * sizeof(std::uint32_t));
    return zeb::eventlog::kSuccess;
}

}  // namespace

}  // namespace standins

namespace zeb::eventlog {

using standins::EventLog;
using standins::eventLog;
using standins::EventLogCall;
using standins::perform;

std::uint32_t lastError() noexcept { return eventLog().lastError; }

Handle openQuery(const wchar_t* query) noexcept {
    eventLog().query = query;
    standins::g_position = 0;
    Handle opened = nullptr;
    const bool succeeded = perform(EventLogCall::openQuery, [&] {
        eventLog().open.insert(opened = &eventLog());
        return kSuccess;
    });
    return succeeded ? opened : nullptr;
}

// Both properties have the same layout. Of the names, only their number is read.
bool getQueryProperty(Handle, QueryProperty, std::uint32_t size, void* buffer, std::uint32_t& used) noexcept {
    return perform(EventLogCall::getQueryProperty, [&] { return standins::writeProperty(size, buffer, used); });
}

bool takeRecords(Handle, std::uint32_t capacity, Handle* records, std::uint32_t& taken) noexcept {
    EventLog& log = eventLog();
    log.capacities.push_back(capacity);
    return perform(EventLogCall::takeRecords, [&]() -> std::uint32_t {
        std::size_t& position = standins::g_position;
        if (log.calls[EventLogCall::takeRecords] == 1) position = 0;
        std::size_t count = std::min<std::size_t>(capacity, log.records.size() - position);
        if (!log.batches.empty()) {
            count = std::min<std::size_t>(count, log.batches.front());
            log.batches.erase(log.batches.begin());
        } else if (count == 0) {
            return kNoMoreItems;
        }
        for (std::size_t index = 0; index < count; ++index) {
            log.open.insert(records[index] = &log.records[position++]);
        }
        taken = static_cast<std::uint32_t>(count);
        return kSuccess;
    });
}

bool renderXml(Handle record, std::uint32_t size, void* buffer, std::uint32_t& used) noexcept {
    return perform(EventLogCall::renderXml, [&] {
        EventLog& log = eventLog();
        const std::size_t index = standins::indexOf(record);
        const std::wstring& xml = log.records.at(index);
        const auto bytes = static_cast<std::uint32_t>((xml.size() + 1) * sizeof(wchar_t));
        const auto said = log.renderSizes.find(index);
        used = said == log.renderSizes.end() ? bytes : said->second;
        if (size != 0) log.handled.push_back("rendered " + std::to_string(index));
        if (size != 0) std::memcpy(buffer, xml.c_str(), std::min(size, bytes));
        return size < bytes ? kInsufficientBuffer : kSuccess;
    });
}

void close(Handle handle) noexcept {
    const std::uint32_t before = eventLog().lastError;
    static_cast<void>(perform(EventLogCall::close, [&] {
        EventLog& log = eventLog();
        if (log.open.erase(handle) == 0) ++log.badCloses;
        log.handled.push_back("closed " + (handle == &log ? "the query" : std::to_string(standins::indexOf(handle))));
        return before;  // closing an open handle leaves the last error alone
    }));
}

void* allocate(std::uint32_t size) noexcept {
    void* block = nullptr;
    const std::uint32_t before = eventLog().lastError;
    static_cast<void>(perform(EventLogCall::allocate, [&] {
        block = std::malloc(size);
        return before;
    }));
    return block;
}

}  // namespace zeb::eventlog
