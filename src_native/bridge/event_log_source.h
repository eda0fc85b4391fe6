#pragma once

#include <cstdint>

/// The calls of the Windows event log service that the fetcher makes, one to one. Declared here, defined by the
/// platform's folder; a test supplies a service of its own.
///
/// Every function may be called on any thread. Those that give a bool say whether they succeeded; what went wrong is
/// the thread's last error.
namespace zeb::eventlog {

/// A result set or a record. The holder closes it.
using Handle = void*;

enum class QueryProperty : std::uint32_t {
    channelNames = 0,
    channelStatuses = 1,
};

/// How the service lays a query property out at the front of the buffer it fills. The values lie behind it.
struct Variant {
    const void* values;  ///< for `channelStatuses`: one 32-bit code per channel, 0 for a channel that can be read
    std::uint32_t count;
    std::uint32_t type;
};

constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kOutOfMemory = 14;
constexpr std::uint32_t kInsufficientBuffer = 122;
constexpr std::uint32_t kNoMoreItems = 259;

std::uint32_t lastError() noexcept;

/// Opens a structured query, which names its own channels, on the local machine. A channel that cannot be read does
/// not fail it. Null on failure.
Handle openQuery(const wchar_t* query) noexcept;

/// Writes a property of an open query into `buffer`. With too small a buffer it fails with `kInsufficientBuffer`; in
/// both cases `used` becomes the number of bytes needed.
bool getQueryProperty(Handle results, QueryProperty property, std::uint32_t size, void* buffer,
                      std::uint32_t& used) noexcept;

/// Takes up to `capacity` records, oldest first, waiting without limit. Fails with `kNoMoreItems` at the end.
bool takeRecords(Handle results, std::uint32_t capacity, Handle* records, std::uint32_t& taken) noexcept;

/// Writes a record's XML, NUL included, into `buffer`; sizes are in bytes, as for `getQueryProperty`.
bool renderXml(Handle record, std::uint32_t size, void* buffer, std::uint32_t& used) noexcept;

void close(Handle handle) noexcept;

/// Memory for a buffer, from `malloc` and for `free`. Null when there is none.
void* allocate(std::uint32_t size) noexcept;

}  // namespace zeb::eventlog
