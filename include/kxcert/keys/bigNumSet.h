/// @file
/// Big numbers in configuration sets: magnitudes in little-endian order, as binary attributes.
#ifndef KXCERT_KEYS_BIGNUMSET_H_
#define KXCERT_KEYS_BIGNUMSET_H_

#include "kxcert/platform/export.h"

struct bignum_st;
class sxset;

constexpr int kMaxSetNumberLen = 1024;  ///< octets of the longest number, in either direction

/// A new set (for delete) with one binary attribute. The number 0 is one octet 00.
/// @return null for null arguments, a negative number or one above kMaxSetNumberLen
KXCERT_EXPORT sxset *sxBN2SetAttr(const bignum_st *number, const char *attrName);

/// Stores such a set, its attribute called "value", under a member's name. @return 0 or -1
KXCERT_EXPORT int sxBN2SetValue(sxset *set, const char *memberName, const bignum_st *number);

/// The number back, for BN_clear_free; null when it is missing, no hexadecimal text, empty or too long.
KXCERT_EXPORT bignum_st *sxSetAttr2BN(const sxset *object, const char *attrName);
KXCERT_EXPORT bignum_st *sxSetValue2BN(const sxset *set, const char *memberName);

#endif
