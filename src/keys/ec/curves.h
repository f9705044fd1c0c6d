// The curves, their groups, and points read from octets.
#ifndef KXCERT_SRC_KEYS_EC_CURVES_H_
#define KXCERT_SRC_KEYS_EC_CURVES_H_

#include <openssl/ec.h>

#include "asn1/der.h"

class sxAsnOid;

struct Curve {
  const char *name;
  int nid;  // libcrypto's identifier
  const char *comment;
  const sxAsnOid *oid;
  int orderBits;
  int coordLen;   // octets of a coordinate
  int maxSigLen;  // octets of the longest ECDSA-Sig-Value

  int PointLen() const { return 1 + 2 * coordLen; }  // uncompressed
  int ScalarLen() const { return (orderBits + 7) / 8; }
};

constexpr int kMaxPointLen = 1 + 2 * 66;

// Lent, null for another curve.
const Curve *FindCurve(int nid);
const Curve *FindCurve(const char *name);  // null or "": the default one
const Curve *FindCurve(sxOctetView oid);   // its content octets

/// The process's group of the curve, with multiples of its generator computed ahead; made at the first
/// call. Lent for ever; null when libcrypto cannot make it.
const EC_GROUP *CurveGroup(const Curve &curve);

/// Checks that a point, uncompressed or compressed, is on its curve and not at infinity.
/// @param func  named in the log line
/// @param[out] point  kMaxPointLen octets: the uncompressed form
/// @return that form; empty: it is no such point
[[nodiscard]] sxOctetView ReadPoint(const char *func, const Curve &curve, sxOctetView octets, unsigned char *point);

#endif
