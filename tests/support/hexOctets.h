/// @file
/// Octets written as hexadecimal text in tests.
#ifndef KXCERT_TESTS_SUPPORT_HEXOCTETS_H_
#define KXCERT_TESTS_SUPPORT_HEXOCTETS_H_

#include <cstddef>
#include <string>
#include <vector>

/// Digits of either case; blanks may stand between pairs. Throws std::runtime_error for what is none; the
/// rest of the notation of caseFile.h is known, too.
std::vector<unsigned char> DecodeHex(const char *text);

/// Lower case, no spaces.
std::string EncodeHex(const unsigned char *data, size_t dataLen);
std::string EncodeHex(const std::vector<unsigned char> &octets);

#endif
