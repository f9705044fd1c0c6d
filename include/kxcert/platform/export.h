/// @file
/// Marks what leaves the shared library. Everything else is hidden.
#ifndef KXCERT_PLATFORM_EXPORT_H_
#define KXCERT_PLATFORM_EXPORT_H_

#define KXCERT_EXPORT __attribute__((visibility("default")))

/// The compiler checks format and arguments; @p fmt and @p args count from 1, a member's this included.
#define KXCERT_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))

#endif
