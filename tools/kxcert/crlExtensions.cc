#include "crlExtensions.h"

#include <algorithm>

#include "extensionFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/foundation/textStream.h"

namespace {

constexpr int kExtensionsTag = 0xA0;

// Whose lines are the number, the delta's base, the key, where deltas are, and the limits.
constinit const sxAsnOid kSaid[] = {sxAsnOid({2, 5, 29, 20}), sxAsnOid({2, 5, 29, 27}), sxAsnOid({2, 5, 29, 28}),
                                    sxAsnOid({2, 5, 29, 35}), sxAsnOid({2, 5, 29, 46})};

bool IsSaid(const sxAsnOid &type) {
  return std::ranges::any_of(kSaid, [&type](const sxAsnOid &each) { return each.OidEquiv(type); });
}

// RFC 5280, 5.1: the last element of tbsCertList; what stands before it has no tag of this number.
void ReadExtensions(const sxCRL &crl, sxASN_Extensions *extensions) {
  constexpr int kMaxElements = 7;
  sxAsnReadBuf buf;
  buf.Init(crl.GetBuf(), static_cast<int>(crl.BufLen()));
  int count = 0;
  for (int level = 0; level < 2; ++level) {
    if (BDecTag(buf, count) < 0) return;
    BDecLen(buf, count);
  }
  sxAsnRawAny element;
  for (int i = 0; i < kMaxElements && buf.PeekByte() != kExtensionsTag; ++i) {
    if (element.BDec(buf, count) < 0) return;
  }
  if (BDecTag(buf, count) != kExtensionsTag || BDecLen(buf, count) < 0 || element.BDec(buf, count) < 0) return;
  if (sxASN_DecodeBuf(*extensions, reinterpret_cast<const char *>(element.Data()), element.Len()) != 0) {
    extensions->Clear();
  }
}

}  // namespace

Facts TellCrlExtensions(const sxCRL &crl, CrlWords which, SxStream *text, int indent) {
  sxASN_Extensions all, unsaid;
  ReadExtensions(crl, &all);
  if (which == CrlWords::kAll) return ExtensionFacts(&all, text, indent);
  for (const sxASN_Extension &ext : all) {
    if (!IsSaid(*ext.extnID)) unsaid.AppendCopy(ext);
  }
  static_cast<void>(ExtensionFacts(&unsaid, text, indent));
  SxStream unused;
  return ExtensionFacts(&all, &unused, indent);
}
