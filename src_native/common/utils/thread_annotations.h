#pragma once

/// Names for clang's thread-safety attributes: clang checks the lock rules when it compiles the code. Other compilers
/// ignore them.
/// https://clang.llvm.org/docs/ThreadSafetyAnalysis.html

#if defined(__clang__)
#define ZEB_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define ZEB_THREAD_ATTRIBUTE(attribute)
#endif

#define ZEB_CAPABILITY(name) ZEB_THREAD_ATTRIBUTE(capability(name))
#define ZEB_SCOPED_CAPABILITY ZEB_THREAD_ATTRIBUTE(scoped_lockable)
#define ZEB_GUARDED_BY(lock) ZEB_THREAD_ATTRIBUTE(guarded_by(lock))
#define ZEB_ACQUIRE(...) ZEB_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZEB_RELEASE(...) ZEB_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
