#include "otherParts.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "algorithmFacts.h"
#include "certFacts.h"
#include "certText.h"
#include "containerFacts.h"
#include "extensionFacts.h"
#include "keyFacts.h"
#include "kxcert/asn1/modules/CryptographicMessageSyntax.h"
#include "kxcert/asn1/modules/OCSP.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/pkcs12.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/trust/ocspResponse.h"
#include "nameFacts.h"
#include "nameForm.h"
#include "ocspFacts.h"
#include "oidInput.h"
#include "report.h"
#include "requestFacts.h"
#include "unknownParts.h"
#include "visibleText.h"

namespace {

constexpr int kIndent = 1;  // TABs under the line that names the block

using Octets = std::span<const unsigned char>;

template <class Tree>
bool Decode(Tree &tree, Octets octets) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets.data()), static_cast<int>(octets.size())) == 0;
}

// A headline, what is told, and the same in the document.
void Put(const std::string &where, const char *kind, const std::string &text, const Facts &facts, Report &report) {
  Facts all = {{"input", where}, {"kind", kind}};
  all.update(facts);
  all["text"] = VisibleText(text);
  report.Line(where + ":");
  report.Line(text);
  report.Document()["objects"].push_back(std::move(all));
}

void PutLine(SxStream *out, int indent, const std::string &text) {
  out->Indent(indent);
  out->Put(text);
  out->Put("\n");
}

std::string Trimmed(const SxStream &text) { return std::string(TrimEnd(text.Text())); }

// Nothing but printable characters of any alphabet, and blanks.
bool IsText(Octets octets) {
  return std::ranges::all_of(octets, [](unsigned char c) { return c >= 0x20 ? c != 0x7F : c >= '\t' && c <= '\r'; });
}

// --- parameters of keys ---

size_t BitsOf(const sxAsnInt &number) {
  kxBinBuf octets;
  if (AsnInt2BinBuf(&number, octets) != 0) return 0;
  const unsigned char *pos = octets.Data(), *const end = pos + octets.Len();
  pos = std::find_if(pos, end, [](unsigned char octet) { return octet != 0; });
  if (pos == end) return 0;
  size_t bits = static_cast<size_t>(end - pos) * 8;
  for (int bit = 7; (*pos >> bit & 1) == 0; --bit) --bits;
  return bits;
}

//   DHParameter ::= SEQUENCE { prime INTEGER, base INTEGER, privateValueLength INTEGER OPTIONAL } (PKCS #3, 9)
//   Dss-Parms ::= SEQUENCE { p INTEGER, q INTEGER, g INTEGER } (RFC 3279, 2.3.2), and so begins RFC 3279, 2.3.3
struct Parameters {
  const char *kind, *text;
  size_t bits = 0;
};

// A private key does: none of its numbers are to be read here.
bool BeginsWithVersion(Octets octets) {
  constexpr unsigned char kLongLen = 0x80;
  if (octets.size() < 2) return true;
  const size_t first = octets[1] < kLongLen ? 2 : 2 + (octets[1] & 0x7FU);
  return first + 1 >= octets.size() || octets[first + 1] <= 1;
}

// @return text null: none of them
Parameters ParametersOf(Octets octets) {
  constexpr size_t kLeastBits = 256, kMostGeneratorBits = 64;
  if (BeginsWithVersion(octets)) return {nullptr, nullptr};
  sxASN_NoticeReferenceSeqOf numbers;  // SEQUENCE OF INTEGER
  if (!Decode(numbers, octets) || numbers.Count() < 2) return {nullptr, nullptr};
  std::vector<size_t> bits;
  for (const sxAsnInt &number : numbers) bits.push_back(BitsOf(number));
  if (bits[0] < kLeastBits) return {nullptr, nullptr};
  if (bits[1] <= kMostGeneratorBits && bits.size() <= 3) return {"dhParameters", "Diffie-Hellman parameters", bits[0]};
  if (bits.size() == 3 && bits[1] < bits[0]) return {"dsaParameters", "DSA parameters", bits[0]};
  return {nullptr, nullptr};
}

bool TellParameters(const std::string &where, Octets octets, Report &report) {
  const Parameters found = ParametersOf(octets);
  if (found.text == nullptr) return false;
  Put(where, found.kind, std::string("  ") + found.text + ", " + std::to_string(found.bits) + " bits",
      {{"bits", found.bits}}, report);
  return true;
}

void TellCurve(const std::string &where, Octets octets, Report &report) {
  sxAsnOid curve;
  const bool isNamed = Decode(curve, octets);
  const std::string name = isNamed ? NamedOid(curve) : "a curve that is described, not named";
  Put(where, "ecParameters", "  elliptic-curve parameters: " + name, {{"curve", isNamed ? NameOrOid(curve) : ""}},
      report);
}

// --- OCSP ---

void TellCertId(const sxASN_CertID &id, SxStream *out, Facts &list) {
  const auto hex = [](const sxAsnOcts &octets) { return HexOf(octets.Data(), static_cast<size_t>(octets.Len())); };
  PutLine(out, kIndent, "Certificate:");
  PutLine(out, kIndent + 1, "Serial Number: " + NumberText(*id.serialNumber));
  PutLine(out, kIndent + 1, "Digest: " + AlgorithmText(*id.hashAlgorithm));
  PutLine(out, kIndent + 1, "Digest of the issuer's name: " + hex(*id.issuerNameHash));
  PutLine(out, kIndent + 1, "Digest of the issuer's key: " + hex(*id.issuerKeyHash));
  list.push_back({{"serial", NumberText(*id.serialNumber)},
                  {"hashAlgorithm", OidText(*id.hashAlgorithm->algorithm)},
                  {"issuerNameHash", hex(*id.issuerNameHash)},
                  {"issuerKeyHash", hex(*id.issuerKeyHash)}});
}

bool TellOcspRequest(const std::string &where, Octets octets, Report &report) {
  sxASN_OCSPRequest request;
  if (!Decode(request, octets) || request.tbsRequest->requestList->Count() == 0) return false;
  SxStream text;
  PutLine(&text, 0, "  an OCSP request");
  Facts facts = {{"certificates", Facts::array()}};
  for (const sxASN_Request &each : *request.tbsRequest->requestList) {
    TellCertId(*each.reqCert, &text, facts["certificates"]);
  }
  facts.update(ExtensionFacts(request.tbsRequest->requestExtensions, &text, kIndent));
  facts["signed"] = request.optionalSignature != nullptr;
  PutLine(&text, kIndent,
          request.optionalSignature != nullptr ? "Signed; the signature was not checked" : "Not signed");
  Put(where, "ocspRequest", Trimmed(text), facts, report);
  return true;
}

bool TellOcspResponse(const std::string &where, Octets octets, Report &report) {
  sxOcspResponse response;
  if (sxOcspResponse_Read(octets.data(), octets.size(), &response) != nullptr) return false;
  Facts facts = {{"input", where}, {"kind", "ocspResponse"}};
  report.Line(where + ":");
  report.Line("  an OCSP response");
  TellResponse(response, report, facts);
  report.Document()["objects"].push_back(std::move(facts));
  return true;
}

// --- requests with keys that are not used here ---

// @param extensions  gets those that it asks for
void TellAttribute(const sxASN_Attribute &attribute, SxStream *out, Facts &list, sxASN_Extensions &extensions) {
  constinit static const sxAsnOid kChallengePassword({1, 2, 840, 113549, 1, 9, 7});
  const std::string name = NameOrOid(*attribute.type);
  const bool isSecret = attribute.type->OidEquiv(kChallengePassword);
  list.push_back({{"oid", OidText(*attribute.type)}, {"name", name}, {"numValues", attribute.values->Count()}});
  for (const sxASN_AttributeValue &value : *attribute.values) {
    if (value.extensions() != nullptr) {
      for (const sxASN_Extension &ext : *value.extensions()) extensions.AppendCopy(ext);
      continue;
    }
    PutLine(out, kIndent, isSecret ? name + ": given, and not shown" : "Attribute " + name + ": " + StringText(value));
  }
}

bool TellUnusedRequest(const std::string &where, Octets octets, Report &report) {
  sxASN_CertificationRequest request;
  if (!Decode(request, octets)) return false;
  const sxASN_CertificationRequestInfo &info = *request.certificationRequestInfo;
  const sxDN subject(info.subject);
  bool isUnsupported = false;
  const std::string key = UnusedKeyWords(*info.subjectPublicKeyInfo, &isUnsupported);
  if (!isUnsupported) return false;
  SxStream text;
  PutLine(&text, kIndent, "Subject: " + NameText(&subject));
  PutLine(&text, kIndent, "Public key: " + key);
  PutLine(&text, kIndent, "Signature: " + SignatureWords(*request.signatureAlgorithm));
  Facts facts = {{"version", int64_t{info.version->GetShortVal()} + 1},
                 {"subject", NameText(&subject)},
                 {"subjectRdns", RdnFacts(&subject)},
                 {"unusable", key},
                 {"signature", SignatureWords(*request.signatureAlgorithm)},
                 {"keyAlgorithm", AlgorithmFacts(*info.subjectPublicKeyInfo->algorithm)},
                 {"signatureAlgorithm", AlgorithmFacts(*request.signatureAlgorithm)},
                 {"attributes", Facts::array()}};
  sxASN_Extensions extensions;
  if (info.attributes != nullptr) {
    for (const sxASN_Attribute &each : *info.attributes) TellAttribute(each, &text, facts["attributes"], extensions);
  }
  facts["subjectAltNames"] = AltNameFacts(&extensions, sxASN_id_ce_subjectAltName);
  facts.update(ExtensionFacts(&extensions, &text, kIndent));
  Put(where, "request", Trimmed(text), facts, report);
  return true;
}

// --- containers ---

std::string ContentTypeOf(Octets octets) {
  sxASN_ContentInfo info;
  return Decode(info, octets) && info.contentType != nullptr ? NamedOid(*info.contentType) : "";
}

bool TellLocked(const std::string &where, Octets octets, Report &report) {
  sxPkcs12 container;
  if (container.Read(octets, nullptr) != sxPkcs12_ok) return false;
  Put(where, "pkcs12",
      "  PKCS #12, not opened: what is told is only what the file claims\n" + ContainerLines(container),
      {{"container", ContainerFacts(container)}}, report);
  return true;
}

bool TellCms(const std::string &where, Octets octets, Report &report) {
  const std::string type = ContentTypeOf(octets);
  if (type.empty()) return false;
  Put(where, "pkcs7", "  a PKCS #7 container without certificates and CRLs: " + type, {{"contentType", type}}, report);
  return true;
}

// --- labels of PEM that the library does not read ---

enum class Labelled { kParameters, kCurve, kKey, kOcspRequest, kOcspResponse };
struct LabelRow {
  std::string_view label;
  Labelled kind;
  const char *text = nullptr;
};
constexpr LabelRow kLabels[] = {
    {"DH PARAMETERS", Labelled::kParameters},
    {"X9.42 DH PARAMETERS", Labelled::kParameters},
    {"DSA PARAMETERS", Labelled::kParameters},
    {"EC PARAMETERS", Labelled::kCurve},
    {"DSA PRIVATE KEY", Labelled::kKey, "a DSA private key"},
    {"OPENSSH PRIVATE KEY", Labelled::kKey, "a private key of OpenSSH"},
    {"OCSP REQUEST", Labelled::kOcspRequest},
    {"OCSP RESPONSE", Labelled::kOcspResponse},
};

const LabelRow *FindLabel(std::string_view label) {
  const auto *const found = std::ranges::find(kLabels, label, &LabelRow::label);
  return found == std::end(kLabels) ? nullptr : found;
}

bool TellLabelled(const std::string &where, const std::string &label, Octets octets, Report &report) {
  const LabelRow *const row = FindLabel(label);
  if (row == nullptr) return false;
  switch (row->kind) {
    case Labelled::kParameters: return TellParameters(where, octets, report);
    case Labelled::kCurve: return TellCurve(where, octets, report), true;
    case Labelled::kOcspRequest: return TellOcspRequest(where, octets, report);
    case Labelled::kOcspResponse: return TellOcspResponse(where, octets, report);
    case Labelled::kKey: break;
  }
  Put(where, "privateKey", std::string("  ") + row->text + ", not supported", {{"usable", false}}, report);
  return true;
}

void TellUnusableKey(const std::string &where, const sxLoadItem &item, Report &report) {
  const bool isPrivate = item.kind == sxLoadKind::kPrivateKey;
  const std::string reason = VisibleLine(item.reason);
  Put(where, isPrivate ? "privateKey" : "publicKey",
      std::string("  a ") + (isPrivate ? "private" : "public") + " key that is not usable here: " + reason,
      {{"usable", false}, {"reason", reason}}, report);
}

void TellEncryptedKey(const std::string &where, const std::string &protection, Report &report) {
  Put(where, "encryptedKey", "  an encrypted private key: " + protection, {{"protection", protection}}, report);
}

std::string ProtectionOf(Octets keyInfo) { return ProtectionText(sxEncryptedKey_Protection(keyInfo)); }

bool IsOcsp(Octets octets) {
  sxOcspResponse response;
  sxASN_OCSPRequest request;
  return sxOcspResponse_Read(octets.data(), octets.size(), &response) == nullptr || Decode(request, octets);
}

// Whether what was passed over is something to tell of, and none of it a secret: octets of that are kept.
bool IsPublic(const sxLoadItem &item, Octets octets) {
  const bool isKey = item.kind == sxLoadKind::kPrivateKey || item.kind == sxLoadKind::kPublicKey;
  const LabelRow *const row = FindLabel(item.label);
  sxPkcs12 container;
  switch (item.skip) {
    case sxLoadSkip::kLabel: return row != nullptr && row->kind != Labelled::kKey;
    case sxLoadSkip::kPkcs12:
    case sxLoadSkip::kEncrypted: return container.Read(octets, nullptr) == sxPkcs12_ok;
    case sxLoadSkip::kUnknown: return item.place.member == 0 && IsOcsp(octets);
    case sxLoadSkip::kNotDecoded: return !isKey || ParametersOf(octets).text != nullptr;
    default: return false;
  }
}

}  // namespace

OtherParts::OtherParts(sxLoader &loader) : m_loader(loader) {
  loader.SetObserver(
      [this](const sxLoadItem &item, Octets octets, const std::string &dekInfo) { Observe(item, octets, dekInfo); });
}

void OtherParts::Observe(const sxLoadItem &item, Octets octets, const std::string &dekInfo) {
  const size_t index = m_loader.Items().size();
  if (item.skip == sxLoadSkip::kNot) {
    const std::string type = ContentTypeOf(octets);
    m_containers[index] = {VisibleLine(item.place.Text()), type};
    return;
  }
  if (item.place.member == 0) m_containers.erase(index);  // there was nothing in it
  Part part;
  part.isText = item.skip == sxLoadSkip::kCutShort && item.place.offset == 0 && IsText(octets);
  const bool isLocked = item.skip == sxLoadSkip::kEncrypted && item.place.member == 0;
  if (isLocked) part.protection = dekInfo.empty() ? ProtectionOf(octets) : dekInfo.substr(0, dekInfo.find(','));
  if (IsPublic(item, octets)) part.octets.assign(octets.begin(), octets.end());
  if (part.isText || isLocked || !part.octets.empty()) m_parts.emplace(index, std::move(part));
}

bool OtherParts::TellContainers(size_t index, Report &report) const {
  const auto found = m_containers.find(index);
  if (found == m_containers.end()) return false;
  const auto &[where, type] = found->second;
  if (type.empty()) {
    Put(where, "pkcs12", "  PKCS #12", {}, report);
  } else {
    Put(where, "pkcs7", "  a PKCS #7 container: " + type, {{"contentType", type}}, report);
  }
  return true;
}

Told OtherParts::Tell(size_t index, const sxLoadItem &item, int level, Report &report) const {
  const std::string where = VisibleLine(item.place.Text());
  if (item.request != nullptr) {
    SxStream text;
    Facts facts = RequestFacts(*item.request, &text, kIndent);
    Put(where, "request", Trimmed(text), facts, report);
    return Told::kOther;
  }
  if (item.key != nullptr) {
    const bool isPrivate = item.kind == sxLoadKind::kPrivateKey;
    Put(where, isPrivate ? "privateKey" : "publicKey", KeyLines(*item.key, isPrivate),
        {{"key", KeyFacts(*item.key, isPrivate)}}, report);
    return Told::kOther;
  }
  const auto found = m_parts.find(index);
  return TellSkipped(item, found == m_parts.end() ? Part() : found->second, level, report);
}

Told OtherParts::TellSkipped(const sxLoadItem &item, const Part &part, int level, Report &report) const {
  const std::string where = VisibleLine(item.place.Text());
  const bool isKey = item.kind == sxLoadKind::kPrivateKey || item.kind == sxLoadKind::kPublicKey;
  const auto other = [](bool isTold) { return isTold ? Told::kOther : Told::kNothing; };
  switch (item.skip) {
    case sxLoadSkip::kLabel: return other(TellLabelled(where, item.label, part.octets, report));
    case sxLoadSkip::kEncrypted:
      if (!part.octets.empty()) return other(TellLocked(where, part.octets, report));
      TellEncryptedKey(where, part.protection.empty() ? VisibleLine(item.reason) : VisibleLine(part.protection),
                       report);
      return Told::kOther;
    case sxLoadSkip::kPkcs12: return other(TellLocked(where, part.octets, report));
    case sxLoadSkip::kUnknown:
      return other(!part.octets.empty() &&
                   (TellOcspResponse(where, part.octets, report) || TellOcspRequest(where, part.octets, report)));
    case sxLoadSkip::kCutShort:
      if (!part.isText) return Told::kNothing;
      report.Problem(kExitInputError, where, "plain text, and no PEM block in it");
      return Told::kOther;
    case sxLoadSkip::kNotDecoded: break;
    default: return Told::kNothing;
  }
  if (item.kind == sxLoadKind::kRequest) return other(TellUnusedRequest(where, part.octets, report));
  if (item.kind == sxLoadKind::kNothing) return other(TellCms(where, part.octets, report));
  if (isKey) {
    if (!TellParameters(where, part.octets, report)) TellUnusableKey(where, item, report);
    return Told::kOther;
  }
  if (item.kind != sxLoadKind::kCertificate) return Told::kNothing;
  Facts facts;
  bool isUnsupported = false;
  const std::string text = UnusedCertText(part.octets, level, facts, &isUnsupported);
  if (text.empty()) return Told::kNothing;
  Put(where, "certificate", text, facts, report);
  if (!isUnsupported) report.Problem(kExitInputError, where, VisibleLine(item.reason));
  return Told::kCertificate;
}
