#pragma once

// Marks what the shared library exports. Everything else is hidden (the library is built with hidden
// visibility).
//
// QOLIVE_TYPE stands in a class that hosts derive from: its type information and its table of virtual
// operations are exported as well (on Windows by src/exported.def). QOLIVE_LOCAL stands in front of its
// members that are not.
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
#define QOLIVE_TYPE
#define QOLIVE_LOCAL
#else
#define QOLIVE_API __attribute__((visibility("default")))
#define QOLIVE_TYPE __attribute__((visibility("default")))
#define QOLIVE_LOCAL __attribute__((visibility("hidden")))
#endif
