#pragma once

/// What the stand-in event log contains, how it misbehaves, and what it has seen. One per process; any thread may call
/// every function.
///
/// Script verbs:
///
///   reset                           an empty log, no faults, nothing seen; open handles are forgotten
///   channel   NAME STATUS           a channel that every query names, with its status (0: readable)
///   record    XML                   one more event record, oldest first
///   batch     COUNT                 the most event records that the next EvtNext returns; one line per call
///   size      RECORD BYTES          the size that EvtRender reports for an event record instead of the true one
///   quiet     FLAG                  1: success leaves the thread's last error as it was (default 0: sets it to 0)
///   fault     CALL AT CODE RESULT WORK
///             the AT-th call (from 1) of a function returns RESULT (0 or 1) and sets the last error to CODE; WORK says
///             whether the call does its work nonetheless
///
/// Report topics: "calls" (every call with its arguments, in order), "counts" (calls by name), "open" (handles).

#include "../control_text.h"

#include <cstdint>
#include <string>
#include <string_view>

#include <windows.h>

#include <winevt.h>

namespace standins::eventlog {
void apply(const Command& command);
bool report(std::string_view topic, std::string& json);

EVT_HANDLE query(EVT_HANDLE session, const wchar_t* path, const wchar_t* text, DWORD flags);
BOOL next(EVT_HANDLE query, DWORD size, EVT_HANDLE* records, DWORD timeout, DWORD flags, DWORD* returned);
BOOL render(EVT_HANDLE context, EVT_HANDLE record, DWORD flags, DWORD size, void* buffer, DWORD* used,
            DWORD* properties);
BOOL queryInfo(EVT_HANDLE query, EVT_QUERY_PROPERTY_ID property, DWORD size, EVT_VARIANT* buffer, DWORD* used);
BOOL close(EVT_HANDLE handle);
}  // namespace standins::eventlog
