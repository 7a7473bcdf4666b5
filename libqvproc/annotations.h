#pragma once

// Lock annotations checked by clang with -Wthread-safety; empty for other compilers.
#if defined(__clang__)
#define QV_LOCK_ANNOTATION(x) __attribute__((x))
#else
#define QV_LOCK_ANNOTATION(x)
#endif

#define QV_CAPABILITY(name) QV_LOCK_ANNOTATION(capability(name))
#define QV_SCOPED_CAPABILITY QV_LOCK_ANNOTATION(scoped_lockable)
#define QV_REQUIRES(...) QV_LOCK_ANNOTATION(requires_capability(__VA_ARGS__))
#define QV_EXCLUDES(...) QV_LOCK_ANNOTATION(locks_excluded(__VA_ARGS__))
#define QV_ACQUIRE(...) QV_LOCK_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QV_RELEASE(...) QV_LOCK_ANNOTATION(release_capability(__VA_ARGS__))
#define QV_TRY_ACQUIRE(...) QV_LOCK_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QV_RETURN_CAPABILITY(x) QV_LOCK_ANNOTATION(lock_returned(x))
#define QV_NO_THREAD_SAFETY_ANALYSIS QV_LOCK_ANNOTATION(no_thread_safety_analysis)
