/// @file
/// What an encoding seems to be, told by the types of its first elements and without decoding it.
#ifndef KXCERT_SRC_CERT_OBJECTSHAPE_H_
#define KXCERT_SRC_CERT_OBJECTSHAPE_H_

#include "asn1/der.h"

/// Takes the element at the front of @p octets: DER, or BER as far as the codec takes it; of an indefinite
/// length the content is without the end-of-contents octets.
/// @return false at the end, for what is cut short or no element; nothing is then taken
bool sxTakeBer(sxOctetView &octets, sxDerElement *element);

enum class sxShape {
  kUnknown,
  kCertificate,
  kCrl,
  kRequest,
  kPkcs7,
  kPkcs12,
  kRsaPrivate,     ///< RSAPrivateKey
  kRsaPublic,      ///< RSAPublicKey
  kEcPrivate,      ///< ECPrivateKey
  kPrivateInfo,    ///< PrivateKeyInfo
  kEncryptedInfo,  ///< EncryptedPrivateKeyInfo
  kPublicInfo,     ///< SubjectPublicKeyInfo
};

sxShape sxShapeOf(const sxDerElement &element);
const char *sxShapeName(sxShape shape);  ///< "a certificate"

#endif
