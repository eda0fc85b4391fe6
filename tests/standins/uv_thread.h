#pragma once

/// libuv's thread calls for unit tests, which run without Node.js and so without libuv.
namespace standins {

/// Makes `uv_thread_create` fail, or succeed again.
void failThreadCreation(bool fail);

/// Threads that were created and not yet joined.
int unjoinedThreads();

/// Calls of `uv_thread_join` so far.
int joinCalls();

}  // namespace standins
