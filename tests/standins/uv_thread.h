#pragma once

/// libuv's thread calls for unit tests, which run without a Node.js that would bring libuv along.
namespace standins {

/// Whether `uv_thread_create` fails.
void failThreadCreation(bool fail);

/// Threads that were created and not joined yet.
int unjoinedThreads();

/// Calls of `uv_thread_join` so far.
int joinCalls();

}  // namespace standins
