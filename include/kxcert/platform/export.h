/// @file
/// Marks what leaves the shared library. Everything else is hidden.
///
/// Every header includes this one, so that here stands also what they demand of the compiler.
#ifndef KXCERT_PLATFORM_EXPORT_H_
#define KXCERT_PLATFORM_EXPORT_H_

#if __cplusplus < 202002L
#error "kxcert's headers need C++20: compile with -std=c++20 or later."
#endif

#define KXCERT_EXPORT __attribute__((visibility("default")))

/// The compiler checks format and arguments; @p fmt and @p args count from 1, a member's this included.
#define KXCERT_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))

#endif
