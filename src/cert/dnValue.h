/// @file
/// Values of attributes as text: printing and comparing.
#ifndef KXCERT_SRC_CERT_DNVALUE_H_
#define KXCERT_SRC_CERT_DNVALUE_H_

#include <cstdint>
#include <string>
#include <string_view>

#include "flatName.h"

/// The octets that stand for a value in text and comparisons.
struct sxValueText {
  std::string_view octets;
  bool raw = false;       ///< written as "#" and hexadecimal digits
  std::string converted;  ///< holds octets when they had to be converted
};

/// @return false for alternatives that have no text (one line logged)
bool sxValueOctets(const sxAva &ava, sxValueText *out);

/// True for a text that holds a NUL: as a C string it would be another one.
bool sxValueHoldsNul(const sxAva &ava);

/// Appends the printed form: "#" digits for raw values and those that hold a NUL (and, with @p ascii,
/// for values that hold an octet outside 0x20..0x7F), else the octets with eight characters escaped.
bool sxAppendValue(const sxAva &ava, bool ascii, std::string *text);

/// Equal texts whatever their string types, without regard to case and to how spaces run; raw values
/// want the same type and length.
bool sxAttrValEqual(const sxAva &a, const sxAva &b);

/// Equal values have equal hashes.
uint64_t sxAttrValHash(const sxAva &ava);

/// Appends octets that are the same for equal values, and for no others.
/// @return false for a value that equals none
bool sxAppendValueKey(const sxAva &ava, std::string *key);

#endif
