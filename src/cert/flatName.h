/// @file
/// sxFlatName: a name's RDNs as positions in its encoding, without a tree.
///
/// Printing and comparing walk this form. Encodings that are not plain (indefinite lengths,
/// constructed strings) are first decoded and encoded again by the codec, so that one reader serves
/// both.
#ifndef KXCERT_SRC_CERT_FLATNAME_H_
#define KXCERT_SRC_CERT_FLATNAME_H_

#include <cstdint>
#include <vector>

#include "asn1/der.h"

/// One attribute type and value.
struct sxAva {
  uint32_t rdn;              ///< number of its RDN, root-most 0
  int32_t choice;            ///< alternative of sxASN_AttributeValue
  const unsigned char *oid;  ///< content octets
  uint32_t oidLen;
  uint32_t valueLen;
  const unsigned char *value;  ///< octets of the string; of a bit string those that hold its bits
};

class sxFlatName {
 public:
  /// Reads one RDNSequence that takes up all octets, which stay borrowed.
  /// @param decoded  the octets are the codec's own encoding of a name that decoded: a value of an open
  ///                 type then passes as it came, plain or not
  /// @return false when the encoding is not plain or no name at all; the object is then empty
  bool Read(sxOctetView der, bool decoded);

  uint32_t NumRdns() const { return m_numRdns; }
  const std::vector<sxAva> &Avas() const { return m_avas; }  ///< root-most RDN first

  /// Range of an RDN's AVAs, which lie behind each other: [begin, end).
  struct Range {
    const sxAva *begin;
    const sxAva *end;
    uint32_t Count() const { return static_cast<uint32_t>(end - begin); }
  };
  /// Walks RDNs from the root-most; start with Range{Avas().data(), Avas().data()}.
  Range Next(const Range &previous, uint32_t rdn) const;
  /// Walks RDNs from the most specific; start with both ends at the end of Avas().
  Range Previous(const Range &next, uint32_t rdn) const;
  Range Start() const { return {m_avas.data(), m_avas.data()}; }
  Range End() const { return {m_avas.data() + m_avas.size(), m_avas.data() + m_avas.size()}; }

 private:
  bool ReadRdn(sxDerReader rdn, bool decoded);
  bool ReadAva(sxDerReader ava, bool decoded);

  std::vector<sxAva> m_avas;
  uint32_t m_numRdns = 0;
};

#endif
