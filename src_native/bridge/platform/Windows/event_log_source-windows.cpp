#include <windows.h>
#include <winevt.h>

#include <cstddef>
#include <cstdlib>

#include "bridge/event_log_source.h"

namespace zeb::eventlog {

static_assert(sizeof(Variant) == sizeof(EVT_VARIANT));
static_assert(offsetof(Variant, values) == offsetof(EVT_VARIANT, UInt32Arr));
static_assert(offsetof(Variant, count) == offsetof(EVT_VARIANT, Count));
static_assert(offsetof(Variant, type) == offsetof(EVT_VARIANT, Type));
static_assert(static_cast<int>(QueryProperty::channelNames) == EvtQueryNames);
static_assert(static_cast<int>(QueryProperty::channelStatuses) == EvtQueryStatuses);
static_assert(kSuccess == ERROR_SUCCESS && kOutOfMemory == ERROR_OUTOFMEMORY);
static_assert(kInsufficientBuffer == ERROR_INSUFFICIENT_BUFFER && kNoMoreItems == ERROR_NO_MORE_ITEMS);

namespace {

DWORD* out(std::uint32_t& value) noexcept {
    static_assert(sizeof(DWORD) == sizeof value);
    return reinterpret_cast<DWORD*>(&value);
}

}  // namespace

std::uint32_t lastError() noexcept { return GetLastError(); }

Handle openQuery(const wchar_t* query) noexcept {
    return EvtQuery(nullptr, nullptr, query, EvtQueryChannelPath | EvtQueryTolerateQueryErrors);
}

bool getQueryProperty(Handle results, QueryProperty property, std::uint32_t size, void* buffer,
                      std::uint32_t& used) noexcept {
    return EvtGetQueryInfo(results, static_cast<EVT_QUERY_PROPERTY_ID>(property), size,
                           static_cast<EVT_VARIANT*>(buffer), out(used)) != FALSE;
}

bool takeRecords(Handle results, std::uint32_t capacity, Handle* records, std::uint32_t& taken) noexcept {
    return EvtNext(results, capacity, records, INFINITE, 0, out(taken)) != FALSE;
}

bool renderXml(Handle record, std::uint32_t size, void* buffer, std::uint32_t& used) noexcept {
    DWORD properties = 0;
    return EvtRender(nullptr, record, EvtRenderEventXml, size, buffer, out(used), &properties) != FALSE;
}

void close(Handle handle) noexcept { EvtClose(handle); }

void* allocate(std::uint32_t size) noexcept { return std::malloc(size); }

}  // namespace zeb::eventlog
