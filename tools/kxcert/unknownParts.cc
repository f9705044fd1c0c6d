#include "unknownParts.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "issuedFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oidNames.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
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

struct ExtensionText {
  ReadAs how = ReadAs::kUnknown;
  SxStream text;
  Facts members;
};

// By the command's own words, else by the library's.
ExtensionText WordsOf(const sxASN_Extension &ext, int indent) {
  ExtensionText words;
  words.how = TellInWords(ext, &words.text, indent, &words.members);
  if (words.how != ReadAs::kUnknown) return words;
  std::unique_ptr<sxExtension> made;
  words.how = ReadExtension(ext, &made);
  if (words.how != ReadAs::kRead) return words;
  made->Sprint(&words.text, indent);
  words.members = IssuedFacts(*ext.extnID, *made);
  return words;
}

Facts ReadFacts(const sxASN_Extension &ext) {
  const ExtensionText words = WordsOf(ext, 0);
  Facts facts = HeadOf(ext);
  facts["text"] = VisibleText(TrimEnd(words.text.Text()));
  facts.update(words.members);
  return facts;
}

void PrintRead(const sxASN_Extension &ext, const ExtensionText &words, int indent, SxStream *out) {
  if (IsCritical(ext)) {
    out->Indent(indent);
    out->Put("Critical:\n");
  }
  out->Put(words.text.Text());
}

Facts PrintUnread(const sxASN_Extension &ext, bool isBroken, SxStream *out, int indent) {
  std::string title = (IsCritical(ext) ? "Critical extension " : "Extension ") + OidText(*ext.extnID);
  const char *const name = sxOidName(*ext.extnID);
  if (name != nullptr) title += std::string(", ") + name;
  if (isBroken) title += " that does not decode";
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
  return *text != '\0' ? text : "?";
}

std::string OidText(std::span<const unsigned char> content) {
  sxAsnOid oid;
  oid.Set(content.data(), static_cast<int>(content.size()));
  return OidText(oid);
}

// The list has the extensions that it understood in their order.
Facts PrintUnknown(const sxASN_Extensions *extensions, const sxExtensionsList &known, const sxAsnOid *alsoKnown,
                   SxStream *out, int indent, Facts *all) {
  auto unread = Facts::array(), each = Facts::array();
  const sxExtensionsList::ExtItem *item = known.First();
  const auto tell = [&](const sxASN_Extension &ext) -> Facts {
    const ExtensionText words = WordsOf(ext, indent);
    const bool isRead = words.how == ReadAs::kRead, isBroken = words.how == ReadAs::kBroken;
    // One that does not decode is not in the list, though the next one of its type may be.
    if (item != nullptr && item->oid->OidEquiv(*ext.extnID) && !isBroken) {
      item = item->next;
      return isRead ? ReadFacts(ext) : HeadOf(ext);
    }
    if (!isRead) {
      unread.push_back(PrintUnread(ext, isBroken, out, indent));
      return HeadOf(ext);
    }
    if (alsoKnown == nullptr || !alsoKnown->OidEquiv(*ext.extnID)) PrintRead(ext, words, indent, out);
    return ReadFacts(ext);
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
std::string SpkiSha256(const unsigned char *octets, size_t len) {
  constexpr int kBefore = 5;  // and the version, which may be absent
  sxAsnReadBuf buf;
  buf.Init(octets, static_cast<int>(len));
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

std::string SpkiSha256(const sxCert &cert) { return SpkiSha256(cert.GetBuf(), cert.BufLen()); }
