/// @file
/// One object out of one encoding, or the reason why there is none.
#ifndef KXCERT_SRC_CERT_LOADOBJECTS_H_
#define KXCERT_SRC_CERT_LOADOBJECTS_H_

#include "kxcert/cert/loadFiles.h"
#include "objectShape.h"

struct sxPkcs12Bag;

/// What a PEM label promises; kUnknown for labels that are not read.
sxShape sxShapeOfLabel(std::string_view label);

/// The kind that an object of the shape is; kNothing for those that are not read.
sxLoadKind sxKindOf(sxShape shape);

/// Decodes, with the shape as what is expected: sets @p item's kind and object, or its skip and reason.
/// Not for kPkcs7 and kPkcs12.
void sxLoadObject(sxShape shape, sxOctetView octets, unsigned wanted, sxLoadItem &item);

/// sxPbeResult that says the same as a result of sxPkcs12.
int sxDecryptionOf(int result);
/// What is in a bag of a container that is open: as sxLoadObject has it, with a reference of the item's own.
void sxLoadBag(const sxPkcs12Bag &bag, unsigned wanted, sxLoadItem &item);

/// Whether octets begin as the text of an attribute set does, and no encoding.
bool sxLooksLikeSet(sxOctetView octets);
/// A key out of one: sets @p item's kind and key, or its skip and reason.
void sxLoadKeySet(sxOctetView text, sxLoadItem &item);

void sxSkipItem(sxLoadItem &item, sxLoadSkip skip, std::string reason);

/// Where a SignedData has its certificates and CRLs; empty where it has none.
struct sxContainerFields {
  sxOctetView certificates;  ///< content of the SET
  sxOctetView crls;
};
/// @return null, or why it is not one
const char *sxOpenContainer(sxOctetView octets, sxContainerFields *fields);

#endif
