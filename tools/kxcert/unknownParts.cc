#include "unknownParts.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "issuedFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/algorithms.h"
#include "kxcert/platform/digest.h"
#include "oidInput.h"
#include "templateInput.h"
#include "visibleText.h"

namespace {

constexpr int kSha256Len = 32;
constexpr int kMaxOctetsShown = 4096;  // of one extension; a file may hold megabytes
constexpr int kVersionTag = 0xA0;

void PrintOctets(const sxASN_Extension &ext, const std::string &title, SxStream *out, int indent) {
  const int len = ext.extnValue->Len();
  const int shown = std::min(len, kMaxOctetsShown);
  kxBinBuf(ext.extnValue->Data(), static_cast<unsigned>(shown)).Sprint(out, title.c_str(), indent);
  if (shown == len) return;
  out->Indent(indent);
  out->Printf("%d more\n", len - shown);
}

Facts HeadOf(const sxASN_Extension &ext) {
  return {{"name", NameOrOid(*ext.extnID)}, {"oid", OidText(*ext.extnID)}, {"critical", IsCritical(ext)}};
}

Facts ReadFacts(const sxASN_Extension &ext, const sxExtension &made) {
  SxStream text;
  made.Sprint(&text, 0);
  Facts facts = HeadOf(ext);
  facts["text"] = VisibleText(TrimEnd(text.Text()));
  facts.update(IssuedFacts(*ext.extnID, made));
  return facts;
}

void PrintRead(const sxASN_Extension &ext, const sxExtension &made, SxStream *out, int indent) {
  if (IsCritical(ext)) {
    out->Indent(indent);
    out->Put("Critical:\n");
  }
  made.Sprint(out, indent);
}

Facts PrintUnread(const sxASN_Extension &ext, bool isBroken, SxStream *out, int indent) {
  const std::string oid = OidText(*ext.extnID);
  std::string title = (IsCritical(ext) ? "Critical extension " : "Extension ") + oid;
  if (isBroken) title += ", " + NameOrOid(*ext.extnID) + " that does not decode";
  PrintOctets(ext, title, out, indent);
  Facts facts = HeadOf(ext);
  const int shown = std::min(ext.extnValue->Len(), kMaxOctetsShown);
  if (isBroken) facts["decodes"] = false;
  facts["len"] = ext.extnValue->Len();
  facts["octets"] = HexOf(ext.extnValue->Data(), static_cast<size_t>(shown));
  return facts;
}

}  // namespace

std::string OidText(const sxAsnOid &oid) {
  char text[252] = "";
  static_cast<void>(oid.GetStr(text, sizeof text));  // a longer one ends in "?"
  return text;
}

std::string OidText(std::span<const unsigned char> content) {
  sxAsnOid oid;
  oid.Set(content.data(), static_cast<int>(content.size()));
  return OidText(oid);
}

std::string AlgorithmText(const sxASN_AlgorithmIdentifier &algorithm) {
  std::string text = OidText(*algorithm.algorithm);
  const auto *value = algorithm.parameters == nullptr ? nullptr : algorithm.parameters->Value();
  const auto *raw = dynamic_cast<const sxAsnRawAny *>(value);
  sxAsnOid oid;
  if (raw == nullptr || raw->Len() == 0 || raw->Data()[0] != 0x06 ||
      sxASN_DecodeBuf(oid, reinterpret_cast<const char *>(raw->Data()), raw->Len()) != 0) {
    return text;
  }
  return text + " with " + OidText(oid);
}

std::string UnknownSignature(const sxASN_AlgorithmIdentifier &algorithm) {
  const bool isKnown = MdType_By_SignOID(*algorithm.algorithm) != sx_md_unknown;
  return isKnown ? "" : AlgorithmText(algorithm);
}

// The list has the extensions that it understood in their order.
Facts PrintUnknown(const sxASN_Extensions *extensions, const sxExtensionsList &known, const sxAsnOid *alsoKnown,
                   SxStream *out, int indent, Facts *all) {
  auto unread = Facts::array(), each = Facts::array();
  const sxExtensionsList::ExtItem *item = known.First();
  const auto tell = [&](const sxASN_Extension &ext) -> Facts {
    std::unique_ptr<sxExtension> made;
    const ReadAs how = ReadExtension(ext, &made);
    // One that does not decode is not in the list, though the next one of its type may be.
    if (item != nullptr && item->oid->OidEquiv(*ext.extnID) && how != ReadAs::kBroken) {
      const sxExtension *const kept = std::exchange(item, item->next)->ext;
      return kept == nullptr ? HeadOf(ext) : ReadFacts(ext, *kept);
    }
    if (alsoKnown != nullptr && alsoKnown->OidEquiv(*ext.extnID)) return HeadOf(ext);
    if (how == ReadAs::kRead) {
      PrintRead(ext, *made, out, indent);
      return ReadFacts(ext, *made);
    }
    unread.push_back(PrintUnread(ext, how == ReadAs::kBroken, out, indent));
    return HeadOf(ext);
  };
  if (extensions != nullptr) {
    for (const sxASN_Extension &ext : *extensions) each.push_back(tell(ext));
  }
  if (all != nullptr) *all = std::move(each);
  return unread;
}

std::string Sha256Of(const unsigned char *octets, size_t len) {
  unsigned char digest[kSha256Len];
  return kx_md_hashbuf(sx_md_sha256, octets, len, digest, kSha256Len) == 0 ? HexOf(digest, kSha256Len) : "";
}

// RFC 5280, 4.1: the element behind version, serialNumber, signature, issuer, validity and subject.
std::string SpkiSha256(const sxCert &cert) {
  constexpr int kBefore = 5;  // and the version, which may be absent
  sxAsnReadBuf buf;
  buf.Init(cert.GetBuf(), static_cast<int>(cert.BufLen()));
  int bytesDecoded = 0;
  for (int level = 0; level < 2; ++level) {
    if (BDecTag(buf, bytesDecoded) < 0) return "";
    BDecLen(buf, bytesDecoded);
  }
  sxAsnRawAny element;
  for (int left = kBefore + (buf.PeekByte() == kVersionTag ? 1 : 0); left >= 0; --left) {
    if (element.BDec(buf, bytesDecoded) < 0) return "";
  }
  return Sha256Of(element.Data(), static_cast<size_t>(element.Len()));
}
