#include "templateParts.h"

#include <cstring>

#include "extensionDer.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "strictDer.h"
#include "timeDer.h"
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

bool Is(sxOctetView content, const sxAsnOid &oid) { return sxEqual(content, sxView(oid.Data(), oid.Len())); }

sxWantedExtensions TakeExtensions(const sxASN_Extensions *tree, bool hasSubject, bool areFit) {
  sxWantedExtensions wanted;
  std::vector<sxExtToWrite> list;
  wanted.status = sxTakeExtensions(tree, &list);
  if (wanted.status == sxIssue_ok) wanted.status = sxCheckExtensions(hasSubject, &list, &wanted.facts);
  if (wanted.status == sxIssue_ok && !areFit) wanted.status = sxIssue_extension;
  if (wanted.status != sxIssue_ok) return wanted;
  for (const sxExtToWrite &ext : list) {
    sxOctetView keyId;
    if (Is(ext.oid, sxASN_id_ce_authorityKeyIdentifier)) {
      wanted.hasAuthority = true;
      wanted.authorityAt = wanted.octets.size();
      continue;
    }
    if (Is(ext.oid, sxASN_id_ce_subjectKeyIdentifier)) {
      if (!sxDerReader(ext.value).Take(kDerOctetString, &keyId)) return wanted.status = sxIssue_extension, wanted;
      wanted.subjectId.assign(keyId.begin(), keyId.end());
    }
    sxAppendExtension(ext.oid, ext.critical, ext.value, &wanted.octets);
  }
  if (!sxIsStrictDer(wanted.octets)) wanted.status = sxIssue_not_der;
  return wanted;
}

sxWantedValidity TakeValidity(const sxASN_OptionalValidity *tree) {
  if (tree == nullptr) return {sxIssue_validity, {}};
  constexpr int64_t kFirstUtc = -631152000;  // 1950-01-01 00:00 UTC: no form of RFC 5280, 4.1.2.5 is for earlier ones
  const std::optional<int64_t> notBefore = sxReadTime(tree->notBefore), notAfter = sxReadTime(tree->notAfter);
  if (!notBefore || !notAfter || *notBefore < kFirstUtc || *notAfter < kFirstUtc) return {sxIssue_validity, {}};
  if (*notAfter < *notBefore) return {sxIssue_validity_order, {}};
  const sxDerOctets first = sxValidityTimeDer(*notBefore), last = sxValidityTimeDer(*notAfter);
  if (first.empty() || last.empty()) return {sxIssue_validity, {}};
  return {sxIssue_ok, sxDerOf(kDerSequence, {first, last})};
}

}  // namespace

sxKeyInfo::sxKeyInfo(sxPubKey *key) {
  kxBinBuf octets;
  if (key == nullptr || sxExportKeyInfo(key, false, octets) != 0) return;
  der.assign(octets.Data(), octets.Data() + octets.Len());
  sxDerReader fields;
  sxDerElement algorithm;
  sxOctetView string;
  if (sxIsStrictElement(der) && sxDerReader(der).Enter(kDerSequence, &fields) && fields.Take(&algorithm) &&
      fields.Take(kDerBitString, &string) && !string.empty()) {
    bits = string.subspan(1);
  } else {
    der.clear();
  }
}

std::optional<sxKeyId> sxKeyInfo::Id(sx_md_type md) const {
  unsigned char digest[kMaxDigestLen];
  if (kx_md_hashbuf(md, bits.data(), bits.size(), digest, kx_md_len(md)) != 0) return std::nullopt;
  sxKeyId id;
  std::copy_n(digest, id.size(), id.begin());
  return id;
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
      keyId(key.Id(sx_md_sha1)),
      hasFitSubject(sxCheckName(subject)),
      hasFitExtensions(AreFit(tree.extensions)),
      extensions(TakeExtensions(tree.extensions, HasSubject(), hasFitExtensions)),
      validity(TakeValidity(tree.validity)) {}
