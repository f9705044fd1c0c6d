/// @file
/// Names that the resolver of the tests' program answers in its own way (namesOfTests.cc).
#ifndef KXCERT_TESTS_SUPPORT_NAMESOFTESTS_H_
#define KXCERT_TESTS_SUPPORT_NAMESOFTESTS_H_

#include <atomic>

extern std::atomic<int> g_numLateLookUps;  ///< of "late.example", which is found after half a second

#endif
