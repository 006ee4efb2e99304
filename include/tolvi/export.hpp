#pragma once

// The library is built with hidden visibility; only what carries TOLVI_API is exported.
#if defined(_WIN32)
#define TOLVI_API
#define TOLVI_API_INLINE
#else
#define TOLVI_API __attribute__((visibility("default")))
// An inline function that the library exports as well: callers inline it, and every object of
// the library emits a copy (`used`), so the shared object defines it for those that call it.
#define TOLVI_API_INLINE __attribute__((visibility("default"), used))
#endif
