// Clang's thread-safety attributes; nothing elsewhere.
#pragma once

#if defined(__clang__)
#define LUMO_TSA(x) __attribute__((x))
#else
#define LUMO_TSA(x)
#endif

#define LUMO_CAPABILITY(name) LUMO_TSA(capability(name))
#define LUMO_SCOPED_CAPABILITY LUMO_TSA(scoped_lockable)
#define LUMO_GUARDED_BY(lock) LUMO_TSA(guarded_by(lock))
#define LUMO_REQUIRES(...) LUMO_TSA(requires_capability(__VA_ARGS__))
#define LUMO_ACQUIRE(...) LUMO_TSA(acquire_capability(__VA_ARGS__))
#define LUMO_RELEASE(...) LUMO_TSA(release_capability(__VA_ARGS__))
#define LUMO_TRY_ACQUIRE(...) LUMO_TSA(try_acquire_capability(__VA_ARGS__))
#define LUMO_EXCLUDES(...) LUMO_TSA(locks_excluded(__VA_ARGS__))
#define LUMO_NO_THREAD_SAFETY_ANALYSIS LUMO_TSA(no_thread_safety_analysis)
