/// @file
/// sxAsnBufSet: collects the encodings of SET OF elements and writes them sorted (X.690, 11.6).
#ifndef KXCERT_ASN1_SXASNBUFSET_H_
#define KXCERT_ASN1_SXASNBUFSET_H_

#include <memory>
#include <vector>

#include "kxcert/asn1/sxAsnBuf.h"

/// An owned copy of one element's encoding.
class KXCERT_EXPORT sxAsnDataBuf {
 public:
  sxAsnDataBuf(const unsigned char *data, int len)  ///< null or a negative length: no octets
      : m_octets(data, data + (data != nullptr && len > 0 ? len : 0)) {}
  const unsigned char *Data() const { return m_octets.data(); }
  int Len() const { return static_cast<int>(m_octets.size()); }

 private:
  std::vector<unsigned char> m_octets;
};

class KXCERT_EXPORT sxAsnBufSet {
 public:
  /// @param capacity     elements at most
  /// @param scratchSize  octets of the longest element
  sxAsnBufSet(int capacity, int scratchSize);
  ~sxAsnBufSet();
  sxAsnBufSet(const sxAsnBufSet &) = delete;
  sxAsnBufSet &operator=(const sxAsnBufSet &) = delete;

  /// Where the next element is encoded. Its sortSets flag is set, so that nested sets sort too.
  sxAsnWriteBuf &Scratch() { return m_buf; }

  /// Takes what the scratch buffer holds as one element and empties it. Too many elements, or one
  /// that did not fit, make Encode fail.
  void FinishBuf();

  /// Writes the elements in ascending order: octets compare unsigned, a prefix sorts first.
  /// @return octets written, or -1
  int Encode(sxAsnWriteBuf &out);

 private:
  int m_capacity;
  bool m_error = false;
  std::unique_ptr<unsigned char[]> m_area;
  sxAsnWriteBuf m_buf;
  std::vector<std::unique_ptr<sxAsnDataBuf>> m_elements;
};

#endif
