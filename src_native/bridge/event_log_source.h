#pragma once

#include <cstdint>

/// The calls of the Windows event log service that the fetcher makes, one function each. The platform's folder defines
/// them; a test supplies its own service.
///
/// Any thread may call every function. A function that returns bool returns whether it succeeded; if it did not, the
/// thread's last error tells why.
namespace zeb::eventlog {

/// A result set or an event record. The holder closes it.
using Handle = void*;

enum class QueryProperty : std::uint32_t {
    channelNames = 0,
    channelStatuses = 1,
};

/// The layout of a query property at the front of the buffer that the service fills. The values come after it.
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

/// Opens a structured query, which names its own channels, on the local machine. A channel that cannot be read does not
/// make it fail. Null on failure.
Handle openQuery(const wchar_t* query) noexcept;

/// Writes a property of an open query into `buffer`. If the buffer is too small, this fails with `kInsufficientBuffer`.
/// In both cases `used` is set to the number of bytes needed.
bool getQueryProperty(Handle results, QueryProperty property, std::uint32_t size, void* buffer,
                      std::uint32_t& used) noexcept;

/// Takes up to `capacity` event records, oldest first, and waits without limit. Fails with `kNoMoreItems` at the end.
bool takeRecords(Handle results, std::uint32_t capacity, Handle* records, std::uint32_t& taken) noexcept;

/// Writes an event record's XML, with its NUL, into `buffer`. Sizes are in bytes, as for `getQueryProperty`.
bool renderXml(Handle record, std::uint32_t size, void* buffer, std::uint32_t& used) noexcept;

void close(Handle handle) noexcept;

/// Allocates memory for a buffer with `malloc`; the caller frees it with `free`. Null if there is none.
void* allocate(std::uint32_t size) noexcept;

}  // namespace zeb::eventlog
