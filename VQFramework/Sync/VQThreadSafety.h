// Clang's thread-safety annotations under names of our own. Other compilers see nothing.
// Every lock of the framework is a "capability"; members say which lock guards them, functions which they need.
#pragma once

#if defined(__clang__)
#define VQ_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define VQ_THREAD_ATTRIBUTE(x)
#endif

#define VQ_CAPABILITY(name) VQ_THREAD_ATTRIBUTE(capability(name))
#define VQ_SCOPED_CAPABILITY VQ_THREAD_ATTRIBUTE(scoped_lockable)
#define VQ_GUARDED_BY(lock) VQ_THREAD_ATTRIBUTE(guarded_by(lock))
#define VQ_REQUIRES(...) VQ_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define VQ_EXCLUDES(...) VQ_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define VQ_ACQUIRE(...) VQ_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define VQ_TRY_ACQUIRE(...) VQ_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
#define VQ_RELEASE(...) VQ_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define VQ_ACQUIRED_BEFORE(...) VQ_THREAD_ATTRIBUTE(acquired_before(__VA_ARGS__))
#define VQ_NO_THREAD_SAFETY_ANALYSIS VQ_THREAD_ATTRIBUTE(no_thread_safety_analysis)
