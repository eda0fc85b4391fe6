// Speaks the event log service's protocol, but only through the calls in event_log_source.h, so it compiles on any
// platform.
#include "bridge/eventlog-fetcher.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <string_view>
#include <utility>

#include "bridge/system_error_text.h"
#include "common/utils/system_exception.h"

namespace zeb {

namespace {

constexpr std::string_view kFile = "src_native/bridge/platform/Windows/eventlog-fetcher";

common::common_internal::SystemException failure(std::string_view function, std::uint32_t line, std::uint32_t error) {
    return {{function, kFile, line}, systemErrorText(error), error};
}

struct HandleCloser {
    void operator()(eventlog::Handle handle) const noexcept { eventlog::close(handle); }
};
using ResultSet = std::unique_ptr<void, HandleCloser>;

/// The slots that the service fills with event records. Closes those that are left.
class RecordBatch {
public:
    RecordBatch() = default;
    ~RecordBatch() {
        for (std::size_t index = 0; index < m_records.size(); ++index) close(index);
    }
    RecordBatch(const RecordBatch&) = delete;
    RecordBatch& operator=(const RecordBatch&) = delete;

    bool take(eventlog::Handle results, std::uint32_t& taken) noexcept {
        return eventlog::takeRecords(results, static_cast<std::uint32_t>(m_records.size()), m_records.data(), taken);
    }
    eventlog::Handle operator[](std::size_t index) const { return m_records[index]; }
    void close(std::size_t index) noexcept {
        if (void* const record = std::exchange(m_records[index], nullptr)) eventlog::close(record);
    }

private:
    std::array<eventlog::Handle, 10> m_records{};
};

}  // namespace

/// Memory that the service writes into. It is zeroed, so that a service that reports success without writing anything
/// is read as an empty answer.
class EventLogFetcher::Buffer {
public:
    bool allocate(std::uint32_t size) noexcept {
        m_block.reset(eventlog::allocate(size));
        m_size = m_block ? size : 0;
        if (m_block) std::memset(m_block.get(), 0, size);
        return m_block != nullptr;
    }
    void* get() const noexcept { return m_block.get(); }

    std::wstring_view text() const noexcept {
        const auto* const begin = static_cast<const wchar_t*>(m_block.get());
        const auto* const end = begin + (m_size / sizeof(wchar_t));
        return {begin, std::find(begin, end, L'\0')};
    }

    const eventlog::Variant* property() const noexcept {
        return m_size < sizeof(eventlog::Variant) ? nullptr : static_cast<const eventlog::Variant*>(m_block.get());
    }

private:
    struct Freer {
        void operator()(void* block) const noexcept { std::free(block); }
    };

    std::unique_ptr<void, Freer> m_block;
    std::uint32_t m_size = 0;
};

std::vector<std::wstring> EventLogFetcher::fetchLogs(const std::wstring& query) {
    constexpr std::string_view function = "zeb::EventLogFetcher::fetchLogs";
    const ResultSet results(eventlog::openQuery(query.c_str()));
    if (!results) throw failure(function, 30, eventlog::lastError());
    // The status is a sum of codes, so it has no text. If a channel failed, the last error is no better; if the status
    // could not be read, the last error says why.
    if (checkQueryStatus(results.get()) != 0) throw failure(function, 38, eventlog::lastError());
    return getEvents(results.get());
}

std::uint32_t EventLogFetcher::checkQueryStatus(eventlog::Handle results) {
    Buffer names;
    if (const std::uint32_t error = getQueryProperty(results, eventlog::QueryProperty::channelNames, names)) {
        return error;
    }
    Buffer statuses;
    if (const std::uint32_t error = getQueryProperty(results, eventlog::QueryProperty::channelStatuses, statuses)) {
        return error;
    }
    if (names.property() == nullptr || statuses.property() == nullptr) return 0;
    const auto* const codes = static_cast<const std::uint32_t*>(statuses.property()->values);
    const std::uint32_t channels = codes == nullptr ? 0 : names.property()->count;
    return std::accumulate(codes, codes + channels, std::uint32_t{0});
}

std::uint32_t EventLogFetcher::getQueryProperty(eventlog::Handle results, eventlog::QueryProperty property,
                                                Buffer& buffer) {
    std::uint32_t size = 0;
    if (eventlog::getQueryProperty(results, property, 0, nullptr, size)) return eventlog::kSuccess;
    if (eventlog::lastError() == eventlog::kInsufficientBuffer) {
        if (!buffer.allocate(size)) return eventlog::kOutOfMemory;
        // The last error decides whether this call succeeded, not its result: the service sets it to 0 on success.
        static_cast<void>(eventlog::getQueryProperty(results, property, size, buffer.get(), size));
    }
    return eventlog::lastError();
}

std::vector<std::wstring> EventLogFetcher::getEvents(eventlog::Handle results) {
    std::vector<std::wstring> events;
    RecordBatch batch;
    std::uint32_t taken = 0;
    while (batch.take(results, taken)) {
        for (std::uint32_t index = 0; index < taken; ++index) {
            events.push_back(getEvent(batch[index]));
            batch.close(index);
        }
    }
    const std::uint32_t error = eventlog::lastError();
    if (error != eventlog::kNoMoreItems) throw failure("zeb::EventLogFetcher::getEvents", 140, error);
    return events;
}

std::wstring EventLogFetcher::getEvent(eventlog::Handle record) {
    constexpr std::string_view function = "zeb::EventLogFetcher::getEvent";
    Buffer buffer;
    std::uint32_t size = 0;
    if (!eventlog::renderXml(record, 0, nullptr, size)) {
        if (eventlog::lastError() == eventlog::kInsufficientBuffer) {
            if (!buffer.allocate(size)) throw failure(function, 186, eventlog::kOutOfMemory);
            static_cast<void>(eventlog::renderXml(record, size, buffer.get(), size));  // the last error decides
        }
        if (const std::uint32_t error = eventlog::lastError()) throw failure(function, 193, error);
    }
    return std::wstring(buffer.text());
}

}  // namespace zeb
