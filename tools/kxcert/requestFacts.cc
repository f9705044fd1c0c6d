#include "requestFacts.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>

#include "certFacts.h"
#include "extensionFacts.h"
#include "keyFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/sxPubKey.h"
#include "nameFacts.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constinit const sxAsnOid kChallengePassword({1, 2, 840, 113549, 1, 9, 7});
constinit const sxAsnOid kExtensionRequest({1, 2, 840, 113549, 1, 9, 14});
constinit const sxAsnOid kUnstructuredName({1, 2, 840, 113549, 1, 9, 2});

struct AttributeName {
  const sxAsnOid *type;
  const char *name;
};
const AttributeName kAttributeNames[] = {
    {&kChallengePassword, "challengePassword"},
    {&kExtensionRequest, "extensionRequest"},
    {&kUnstructuredName, "unstructuredName"},
};

constexpr size_t kMaxShown = 4096;  // octets of a value; a request may hold megabytes
constexpr int kMaxValues = 50;      // of one attribute
constexpr size_t kHeaderLen = 2;    // of a value that is shown as text

std::string NameOf(const sxAsnOid &type) {
  const auto *const found =
      std::ranges::find_if(kAttributeNames, [&type](const AttributeName &row) { return row.type->OidEquiv(type); });
  return found == std::end(kAttributeNames) ? OidText(type) : found->name;
}

// Strings of ASCII or UTF-8, which are short, as text; else hexadecimal.
std::string ValueText(std::span<const unsigned char> element) {
  constexpr unsigned char kUtf8 = 0x0C, kPrintable = 0x13, kIa5 = 0x16;
  const bool isShort = element.size() >= kHeaderLen && element[1] == element.size() - kHeaderLen;
  if (isShort && (element[0] == kUtf8 || element[0] == kPrintable || element[0] == kIa5)) {
    const auto content = element.subspan(kHeaderLen);
    return VisibleLine({reinterpret_cast<const char *>(content.data()), content.size()});
  }
  const size_t shown = std::min(element.size(), kMaxShown);
  const std::string more = shown < element.size() ? "... (" + Counted(element.size(), "octet") + ")" : "";
  return HexOf(element.data(), shown) + more;
}

void PutLine(SxStream *out, int indent, const std::string &label, const std::string &text) {
  out->Indent(indent);
  out->Printf("%s: %s\n", label.c_str(), text.c_str());
}

Facts AttributeFacts(const sxCertRequest &request, int i, SxStream *out, int indent) {
  const sxAsnOid &type = *request.AttributeType(i);
  const int numValues = request.CountAttributeValues(i);
  Facts facts = {{"oid", OidText(type)}, {"name", NameOf(type)}, {"numValues", numValues}};
  if (kExtensionRequest.OidEquiv(type)) return facts;  // its extensions are told by themselves
  if (kChallengePassword.OidEquiv(type)) return PutLine(out, indent, NameOf(type), "given, and not shown"), facts;
  facts["values"] = Facts::array();
  for (int number = 0; number < std::min(numValues, kMaxValues); ++number) {
    int len = 0;
    const unsigned char *const value = request.AttributeValue(i, number, &len);
    const std::string text = ValueText({value, static_cast<size_t>(len)});
    PutLine(out, indent, "Attribute " + NameOf(type), text);
    facts["values"].push_back(text);
  }
  if (numValues > kMaxValues) PutLine(out, indent, "Attribute " + NameOf(type), "and more values");
  return facts;
}

}  // namespace

Facts RequestFacts(const sxCertRequest &request, SxStream *text, int indent) {
  Facts facts = {{"version", request.Version()},
                 {"subject", NameText(request.Subject())},
                 {"subjectRdns", RdnFacts(request.Subject())},
                 {"subjectAltNames", AltNameFacts(request.AllExtensions(), sxASN_id_ce_subjectAltName)},
                 {"key", KeyFacts(*request.PubKey(), false)},
                 {"signature", SignatureText(request.signatureSignAlgorithm(), request.signatureHashAlgorithm())}};
  if (const sxExtension *const usage = request.Extensions().Find(&sxASN_id_ce_extKeyUsage)) {
    facts["extKeyUsage"] = PurposeFacts(*static_cast<const sxExtKeyUsage *>(usage));
  }
  PutLine(text, indent, "Subject", NameText(request.Subject()));
  PutLine(text, indent, "Public key", KeyName(*request.PubKey()));
  PutLine(text, indent, "SHA-256 of the SubjectPublicKeyInfo", KeyFingerprint(*request.PubKey()));
  PutLine(text, indent, "Signature", facts["signature"].Text());
  facts["attributes"] = Facts::array();
  for (int i = 0; i < request.CountAttributes(); ++i) {
    facts["attributes"].push_back(AttributeFacts(request, i, text, indent));
  }
  facts.update(ExtensionFacts(request.AllExtensions(), text, indent));
  return facts;
}
