#include "templateParts.h"

#include <cstring>

#include "issueRules.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "valueExtension.h"

namespace {

bool AreFit(const sxASN_Extensions *extensions) {
  const auto isFit = [](const sxASN_Extension &ext) {
    return ext.extnID != nullptr && ext.extnValue != nullptr &&
           sxMayBeIssued(sxView(ext.extnID->Data(), ext.extnID->Len()),
                         sxView(ext.extnValue->Data(), ext.extnValue->Len()));
  };
  return extensions == nullptr || sxAllOf(*extensions, isFit);
}

}  // namespace

sxKeyInfo::sxKeyInfo(sxPubKey *key) {
  kxBinBuf octets;
  if (key == nullptr || sxExportKeyInfo(key, false, octets) != 0) return;
  der.assign(octets.Data(), octets.Data() + octets.Len());
  sxDerReader fields;
  sxDerElement algorithm;
  sxOctetView string;
  if (sxDerReader(der).Enter(kDerSequence, &fields) && fields.Take(&algorithm) && fields.Take(kDerBitString, &string) &&
      !string.empty()) {
    bits = string.subspan(1);
  } else {
    der.clear();
  }
}

sxDerOctets sxNameOctets(const sxASN_RDNSequence *name) {
  if (name == nullptr || name->Count() == 0) return {kDerSequence, 0};
  sxASN_RDNSequence copy(*name);  // encoding sorts its sets
  kxBinBuf der;
  if (sxASN_EncodeBuf(copy, der, 1) != 0) return {};
  return sxDerOctets(der.Data(), der.Data() + der.Len());
}

bool sxIsSameKey(sxPubKey *a, sxPubKey *b) {
  const unsigned char *const hashA = a == nullptr ? nullptr : a->PublicKeyHash();
  const unsigned char *const hashB = b == nullptr ? nullptr : b->PublicKeyHash();
  return hashA != nullptr && hashB != nullptr && std::memcmp(hashA, hashB, kPublicKeyHashLen) == 0;
}

sxTemplateParts::sxTemplateParts(const sxASN_CertTemplate &tree, sxPubKey *pubKey)
    : subject(sxNameOctets(tree.subject)),
      key(pubKey),
      hasFitSubject(sxCheckName(subject)),
      hasFitExtensions(AreFit(tree.extensions)) {}
