/// @file
/// How fuzz targets say that a property does not hold.
#ifndef KXCERT_FUZZ_CHECK_H_
#define KXCERT_FUZZ_CHECK_H_

#include <cstdio>
#include <cstdlib>

/// Ends the process when the property does not hold, in every build.
#define KX_ASSERT(property)                                                              \
  do {                                                                                   \
    if (!(property)) {                                                                   \
      std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #property); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (false)

#endif
