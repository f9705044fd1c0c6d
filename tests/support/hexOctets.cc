#include "support/hexOctets.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>

std::vector<unsigned char> DecodeHex(const char *text) {
  std::vector<unsigned char> octets;
  for (const char *p = text; *p != '\0'; ++p) {
    if (*p == ' ') continue;
    unsigned value = 0;
    // Not the library's own reader: that one is under test.
    if (!std::isxdigit(static_cast<unsigned char>(p[0])) || !std::isxdigit(static_cast<unsigned char>(p[1])) ||
        std::sscanf(p, "%2x", &value) != 1) {
      ADD_FAILURE() << "not hexadecimal from character " << p - text << " on: " << text;
      break;
    }
    octets.push_back(static_cast<unsigned char>(value));
    ++p;
  }
  return octets;
}

std::string EncodeHex(const unsigned char *data, size_t dataLen) {
  std::string text;
  for (size_t i = 0; i < dataLen; ++i) {
    char pair[3];
    std::snprintf(pair, sizeof pair, "%02x", data[i]);
    text += pair;
  }
  return text;
}

std::string EncodeHex(const std::vector<unsigned char> &octets) { return EncodeHex(octets.data(), octets.size()); }
