// The stand-in wevtapi.dll: the service's functions under their own names, over one scripted log (state.h).

#include "state.h"

namespace eventlog = standins::eventlog;

extern "C" {
EVT_HANDLE WINAPI EvtQuery(EVT_HANDLE session, LPCWSTR path, LPCWSTR query, DWORD flags) {
    return eventlog::query(session, path, query, flags);
}

BOOL WINAPI EvtNext(EVT_HANDLE query, DWORD size, EVT_HANDLE* records, DWORD timeout, DWORD flags, DWORD* returned) {
    return eventlog::next(query, size, records, timeout, flags, returned);
}

BOOL WINAPI EvtRender(EVT_HANDLE context, EVT_HANDLE record, DWORD flags, DWORD size, void* buffer, DWORD* used,
                      DWORD* properties) {
    return eventlog::render(context, record, flags, size, buffer, used, properties);
}

BOOL WINAPI EvtGetQueryInfo(EVT_HANDLE query, EVT_QUERY_PROPERTY_ID property, DWORD size, EVT_VARIANT* buffer,
                            DWORD* used) {
    return eventlog::queryInfo(query, property, size, buffer, used);
}

BOOL WINAPI EvtClose(EVT_HANDLE handle) { return eventlog::close(handle); }

const char* standinCommand(const wchar_t* text, std::size_t units) noexcept {
    return standins::applyScript(text, units, eventlog::apply);
}

const char* standinReport(const char* topic) noexcept { return standins::makeReport(topic, eventlog::report); }
}
