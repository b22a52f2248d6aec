#pragma once

// Marks what the shared library exports. Everything else is hidden (the library is built with hidden
// visibility).
//
// QOLIVE_REPORT_BUILDING is set while the library itself is compiled, QOLIVE_REPORT_STATIC for code that
// links the library's objects into the same binary (its own tests).

#if defined(_WIN32)
#if defined(QOLIVE_REPORT_STATIC)
#define QOLIVE_API
#elif defined(QOLIVE_REPORT_BUILDING)
#define QOLIVE_API __declspec(dllexport)
#else
#define QOLIVE_API __declspec(dllimport)
#endif
#else
#define QOLIVE_API __attribute__((visibility("default")))
#endif
