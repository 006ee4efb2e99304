#pragma once

// The library is built with hidden visibility; only what carries TOLVI_API is exported.
#if defined(_WIN32)
#define TOLVI_API
#else
#define TOLVI_API __attribute__((visibility("default")))
#endif
