/// @file
/// Steps that the interpreters of SEQUENCE, SET, lists and CHOICE share: which identifiers an element
/// accepts, and how one element is decoded and encoded with its tags.
#ifndef KXCERT_SRC_ASN1_ELEMENT_H_
#define KXCERT_SRC_ASN1_ELEMENT_H_

#include "kxcert/asn1/sxAsnType.h"

/// Identifier and length of an element that was read; where it starts.
struct sxAsnHeader {
  const unsigned char *start;  ///< first identifier octet
  int startCount;              ///< the caller's count of octets there
  unsigned int tag;
};

/// True when an element of this class may begin with the identifier.
bool sxAsnTypeAccepts(const sxAsnTypeInfo &type, unsigned int tag);
bool sxAsnElemAcceptsOther(const sxAsnElem &elem, unsigned int tag);
/// The same with the element's own tag, if it has one.
inline bool sxAsnElemAccepts(const sxAsnElem &elem, unsigned int tag) {
  if (elem.tagging == sxAsnElem::kNone && tag != 0 && tag == static_cast<unsigned int>(elem.type->tag)) return true;
  return sxAsnElemAcceptsOther(elem, tag);
}

/// Copies the elements of a SEQUENCE or SET into an empty value of its class that is no part of it.
void sxAsnCopyElems(const sxAsnType &from, sxAsnType &to);

/// The messages of the kinds differ in wording; each is a printf format with the class name and what
/// stands here as its arguments.
struct sxAsnTexts {
  const char *decodeLength;
  const char *decodeContent;  ///< class, element
  const char *unexpectedTag;  ///< class, offset
  const char *decodeEoc;
  const char *discrepancy;    ///< class, offset
  const char *encodeContent;  ///< class, element
  const char *encodeLength;   ///< class, element
  const char *encodeTag;      ///< class, element
};

/// Decodes one element whose identifier was read, up to its end, into @p value, which is empty and of
/// the element's class.
/// @return 0, or -1 (logged with @p texts and the class name @p owner)
int sxAsnDecodeElem(const sxAsnElem &elem, sxAsnType &value, sxAsnReadBuf &buf, const sxAsnHeader &header,
                    const char *owner, const sxAsnTexts &texts, int &bytesDecoded);

/// Decodes an explicitly tagged element behind its outer header.
/// @param len  of that header, or kIndefiniteLen
/// @return 0, or -1 (logged)
int sxAsnDecodeExplicit(const sxAsnElem &elem, sxAsnType &value, sxAsnReadBuf &buf, int len, const char *owner,
                        const sxAsnTexts &texts, int &bytesDecoded);

/// Encodes one element with all its tags.
/// @return octets, or -1 (logged with @p texts and the class name @p owner)
int sxAsnEncodeElem(const sxAsnElem &elem, sxAsnType &value, sxAsnWriteBuf &buf, const char *owner,
                    const sxAsnTexts &texts);

#endif
