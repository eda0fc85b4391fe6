#include "state.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <vector>

namespace standins::eventlog {
namespace {
struct Channel {
    std::wstring name;
    uint32_t status;
};

struct Fault {
    uint32_t code;
    bool result;
    bool work;
};

// Either a result set with its read position, or one event record.
struct Handle {
    bool isQuery;
    std::size_t position;
};

struct State {
    std::vector<Channel> channels;
    std::vector<std::wstring> records;
    std::vector<uint32_t> batches;
    std::map<std::size_t, uint32_t> sizes;
    std::map<std::string, std::map<uint32_t, Fault>, std::less<>> faults;
    bool quiet = false;

    std::map<EVT_HANDLE, Handle> handles;
    uint32_t nextBatch = 0;
    uint32_t badCloses = 0;
    std::map<std::string, uint32_t, std::less<>> counts;
    std::vector<std::string> calls;
};

constexpr std::string_view functions[] = {"EvtQuery", "EvtNext", "EvtRender", "EvtGetQueryInfo", "EvtClose"};

std::mutex mutex;
State state;
// Not part of the state: a handle from before a reset must not be equal to a new one.
uintptr_t lastHandle = 0x100;

EVT_HANDLE open(Handle handle) {
    const auto value = reinterpret_cast<EVT_HANDLE>(++lastHandle);
    state.handles.emplace(value, handle);
    return value;
}

Handle* find(EVT_HANDLE value, bool isQuery) {
    const auto found = state.handles.find(value);
    return found != state.handles.end() && found->second.isQuery == isQuery ? &found->second : nullptr;
}

// One call: counts it and records it. It fails if a fault says so; otherwise `work` runs and returns an error code.
template <typename Work>
bool perform(std::string_view function, JsonObject arguments, Work work) {
    const std::lock_guard lock(mutex);
    const uint32_t at = ++state.counts[std::string(function)];
    std::optional<Fault> fault;
    if (const auto faults = state.faults.find(function); faults != state.faults.end()) {
        if (const auto found = faults->second.find(at); found != faults->second.end()) {
            fault = found->second;
        }
    }
    uint32_t code = fault && !fault->work ? 0 : work();
    bool result = code == 0;
    if (fault) {
        code = fault->code;
        result = fault->result;
    }
    arguments.add("result", result).add("lastError", code);
    state.calls.push_back(JsonObject().add("call", function).text());
    state.calls.back().pop_back();
    state.calls.back() += "," + arguments.text().substr(1);
    if (!result || fault || !state.quiet) {
        SetLastError(code);
    }
    return result;
}

// Returns the bytes that a value of `size` needs, and copies it if the buffer is large enough.
uint32_t renderRecord(std::size_t record, DWORD size, void* buffer, DWORD* used) {
    const std::wstring& xml = state.records[record];
    const auto bytes = static_cast<DWORD>((xml.size() + 1) * sizeof(wchar_t));
    const auto said = state.sizes.find(record);
    *used = said == state.sizes.end() ? bytes : said->second;
    if (size < bytes) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    std::memcpy(buffer, xml.c_str(), bytes);
    return 0;
}

// A variant, then its array, then the names.
uint32_t writeProperty(bool names, DWORD size, EVT_VARIANT* buffer, DWORD* used) {
    const std::size_t count = state.channels.size();
    std::size_t need = sizeof(EVT_VARIANT) + count * (names ? sizeof(wchar_t*) : sizeof(uint32_t));
    std::size_t text = need;
    if (names) {
        for (const Channel& channel : state.channels) {
            need += (channel.name.size() + 1) * sizeof(wchar_t);
        }
    }
    *used = static_cast<DWORD>(need);
    if (size < need) {
        return ERROR_INSUFFICIENT_BUFFER;
    }
    auto* const bytes = reinterpret_cast<std::byte*>(buffer);
    buffer->Count = static_cast<DWORD>(count);
    buffer->Type = (names ? EvtVarTypeString : EvtVarTypeUInt32) | EVT_VARIANT_TYPE_ARRAY;
    buffer->UInt32Arr = reinterpret_cast<UINT32*>(buffer + 1);
    for (std::size_t i = 0; i != count; ++i) {
        const Channel& channel = state.channels[i];
        if (names) {
            const std::size_t length = (channel.name.size() + 1) * sizeof(wchar_t);
            std::memcpy(bytes + text, channel.name.c_str(), length);
            buffer->StringArr[i] = reinterpret_cast<wchar_t*>(bytes + text);
            text += length;
        } else {
            buffer->UInt32Arr[i] = channel.status;
        }
    }
    return 0;
}
}  // namespace

void apply(const Command& command) {
    const std::lock_guard lock(mutex);
    const std::string& verb = command.verb();
    if (verb == "reset") {
        state = State();
    } else if (verb == "channel") {
        state.channels.push_back({command.text(0), command.number(1)});
    } else if (verb == "record") {
        state.records.push_back(command.text(0));
    } else if (verb == "batch") {
        state.batches.push_back(command.number(0));
    } else if (verb == "size") {
        state.sizes[command.number(0)] = command.number(1);
    } else if (verb == "quiet") {
        state.quiet = command.flag(0);
    } else if (verb == "fault") {
        const std::string function = command.ascii(0);
        if (std::find(std::begin(functions), std::end(functions), function) == std::end(functions)) {
            throw std::invalid_argument("no function " + function);
        }
        state.faults[function][command.number(1)] = {command.number(2), command.flag(3), command.flag(4)};
    } else {
        throw std::invalid_argument("no such verb");
    }
}

bool report(std::string_view topic, std::string& json) {
    const std::lock_guard lock(mutex);
    if (topic == "calls") {
        json = jsonArray(state.calls);
    } else if (topic == "counts") {
        JsonObject counts;
        for (const std::string_view function : functions) {
            const auto found = state.counts.find(function);
            counts.add(function, found == state.counts.end() ? 0 : found->second);
        }
        json = counts.text();
    } else if (topic == "open") {
        const auto queries = std::count_if(state.handles.begin(), state.handles.end(),
                                           [](const auto& entry) { return entry.second.isQuery; });
        json = JsonObject()
                   .add("queries", queries)
                   .add("records", static_cast<std::ptrdiff_t>(state.handles.size()) - queries)
                   .add("badCloses", state.badCloses)
                   .text();
    } else {
        return false;
    }
    return true;
}

EVT_HANDLE query(EVT_HANDLE session, const wchar_t* path, const wchar_t* text, DWORD flags) {
    JsonObject arguments;
    arguments.add("session", session != nullptr).add("path", path != nullptr).add("flags", flags);
    arguments.raw("query", text ? quoted(std::wstring_view(text)) : "null");
    EVT_HANDLE opened = nullptr;
    const bool result = perform("EvtQuery", std::move(arguments), [&]() -> uint32_t {
        opened = open({true, 0});
        return 0;
    });
    return result ? opened : nullptr;
}

BOOL next(EVT_HANDLE query, DWORD size, EVT_HANDLE* records, DWORD timeout, DWORD flags, DWORD* returned) {
    JsonObject arguments;
    arguments.add("size", size).add("timeout", timeout).add("flags", flags);
    return perform("EvtNext", std::move(arguments), [&]() -> uint32_t {
        Handle* const set = find(query, true);
        if (!set) {
            return ERROR_INVALID_HANDLE;
        }
        uint32_t limit = size;
        if (state.nextBatch != state.batches.size()) {
            limit = std::min(limit, state.batches[state.nextBatch++]);
        } else if (set->position == state.records.size()) {
            *returned = 0;
            return ERROR_NO_MORE_ITEMS;
        }
        const std::size_t first = set->position;
        set->position = std::min(state.records.size(), first + limit);
        for (std::size_t record = first; record != set->position; ++record) {
            records[record - first] = open({false, record});
        }
        *returned = static_cast<DWORD>(set->position - first);
        return 0;
    });
}

BOOL render(EVT_HANDLE context, EVT_HANDLE record, DWORD flags, DWORD size, void* buffer, DWORD* used,
            DWORD* properties) {
    JsonObject arguments;
    arguments.add("context", context != nullptr).add("flags", flags).add("size", size);
    arguments.add("buffer", buffer != nullptr);
    return perform("EvtRender", std::move(arguments), [&]() -> uint32_t {
        const Handle* const found = find(record, false);
        if (!found) {
            return ERROR_INVALID_HANDLE;
        }
        *properties = 0;
        return renderRecord(found->position, size, buffer, used);
    });
}

BOOL queryInfo(EVT_HANDLE query, EVT_QUERY_PROPERTY_ID property, DWORD size, EVT_VARIANT* buffer, DWORD* used) {
    JsonObject arguments;
    arguments.add("property", static_cast<int>(property)).add("size", size).add("buffer", buffer != nullptr);
    return perform("EvtGetQueryInfo", std::move(arguments), [&]() -> uint32_t {
        if (!find(query, true)) {
            return ERROR_INVALID_HANDLE;
        }
        if (property != EvtQueryNames && property != EvtQueryStatuses) {
            return ERROR_INVALID_PARAMETER;
        }
        return writeProperty(property == EvtQueryNames, size, buffer, used);
    });
}

BOOL close(EVT_HANDLE handle) {
    JsonObject arguments;
    {
        const std::lock_guard lock(mutex);
        arguments.add("kind", find(handle, true) ? "query" : find(handle, false) ? "record" : "unknown");
    }
    return perform("EvtClose", std::move(arguments), [&]() -> uint32_t {
        if (state.handles.erase(handle) == 0) {
            ++state.badCloses;
            return ERROR_INVALID_HANDLE;
        }
        return 0;
    });
}
}  // namespace standins::eventlog
