/// @file
/// Whether a name's text parses back to the same name.
#ifndef KXCERT_FUZZ_NAMEROUNDTRIP_H_
#define KXCERT_FUZZ_NAMEROUNDTRIP_H_

#include <memory>
#include <string>

#include "cert/dnValue.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"

constexpr uint32_t kMaxAssertionsOfText = 5;  // of one RDN, when it is parsed

inline bool IsBlank(char c) { return c == ' ' || c == '\n'; }

// What printing leaves as it is and parsing does not: backslashes, quotes, blanks at the ends; raw
// values and those with a NUL print as digits, and an empty value is no value.
inline bool ValueRoundTrips(const sxAva &ava) {
  sxValueText value;
  if (!sxValueOctets(ava, &value) || value.raw || value.octets.empty()) return false;
  return !IsBlank(value.octets.front()) && !IsBlank(value.octets.back()) &&
         value.octets.find_first_of(std::string_view("\\\"\0", 3)) == std::string_view::npos;
}

// Dotted text takes eleven arcs of 32 bits, each encoded in its shortest form.
inline bool TypeRoundTrips(const sxAva &ava) {
  sxAsnOid type;
  type.Set(ava.oid, static_cast<int>(ava.oidLen));
  char keyword[512];
  if (sxDN_OID2Str(type, keyword, sizeof keyword) < 0) return false;
  const std::unique_ptr<sxAsnOid> back(sxDN_Str2OID(keyword));
  return back != nullptr && back->OidEquiv(type);
}

inline bool NameRoundTrips(const sxDN &dn) {
  kxBinBuf der;
  sxFlatName flat;
  if (dn.GetName() == nullptr || sxASN_EncodeBuf(const_cast<sxASN_RDNSequence &>(*dn.GetName()), der, 0) != 0 ||
      !flat.Read({der.Data(), der.Len()}, true)) {
    return false;
  }
  sxFlatName::Range rdn = flat.Start();
  for (uint32_t i = 0; i < flat.NumRdns(); ++i) {
    rdn = flat.Next(rdn, i);
    if (rdn.Count() == 0 || rdn.Count() > kMaxAssertionsOfText) return false;
    for (const sxAva *ava = rdn.begin; ava < rdn.end; ++ava) {
      if (!ValueRoundTrips(*ava) || !TypeRoundTrips(*ava)) return false;
    }
  }
  return true;
}

#endif
