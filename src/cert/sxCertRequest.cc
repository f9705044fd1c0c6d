#include "kxcert/cert/sxCertRequest.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

#include "certPrint.h"
#include "dnValue.h"
#include "foundation/textOutput.h"
#include "keys/subjectPublicKey.h"
#include "kxcert/asn1/modules/SXUTILS.h"
#include "kxcert/cert/inputBlocks.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/algorithms.h"
#include "peerText.h"
#include "sxCertRequest_imp.h"
#include "sxExtension_imp.h"

namespace {

// RFC 7468, 7; the second one is what was written before it.
constexpr std::string_view kLabels[] = {"CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST"};

struct StringRow {
  int tag;
  int choice;
};
constexpr StringRow kStrings[] = {
    {kDerTeletexString, sxASN_AttributeValue::teletexStringCid},
    {kDerPrintableString, sxASN_AttributeValue::printableStringCid},
    {kDerUtf8String, sxASN_AttributeValue::utf8StringCid},
    {kDerBmpString, sxASN_AttributeValue::bmpStringCid},
    {kDerIa5String, sxASN_AttributeValue::ia5StringCid},
};

sxOctetView View(const sxAsnOid &oid) { return sxView(oid.Data(), oid.Len()); }

template <class Tree>
bool DecodeTree(Tree &tree, sxOctetView octets) {
  return sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(octets.data()), sxLen(octets)) == 0;
}

}  // namespace

// As files are loaded: some mix the ends of lines, some write in front of the block what is in it. Of two requests none
// is taken, as nobody could say which one was looked at.
int sxCertRequest_imp::ConvertBuf() {
  sxInputBlocks blocks(GetBuf(), BufLen());
  std::unique_ptr<unsigned char[]> octets;
  int len = 0;
  for (sxInputBlock block; blocks.Next(block);) {
    if (std::ranges::find(kLabels, block.label) == std::end(kLabels)) continue;
    const char *const wrong = octets != nullptr ? "more than one request" : block.encrypted ? "encrypted" : block.error;
    if (wrong != nullptr) return herror_func(0, 0, "sxCertRequest_imp::ConvertBuf: %s", wrong), -1;
    len = sxLen(block.octets);
    octets = std::make_unique_for_overwrite<unsigned char[]>(block.octets.size());
    std::ranges::copy(block.octets, octets.get());
  }
  if (octets == nullptr) return herror_func(0, 0, "sxCertRequest_imp::ConvertBuf: no block of a request"), -1;
  Adopt(std::move(octets), len);
  return 0;
}

void sxCertRequest_imp::Decode() {
  sxPlainRequest plain;
  if (DecodeWith([this, &plain] { return Read(&plain); }) == 0) Extract(plain);
}

// Plain DER is read as it stands; everything else is decoded by the codec and read from its encoding.
bool sxCertRequest_imp::Read(sxPlainRequest *plain) {
  if (sxReadPlainRequest({GetBuf(), BufLen()}, false, plain)) return true;
  sxASN_CertificationRequest decoded;
  kxBinBuf encoded;
  if (!DecodeTree(decoded, {GetBuf(), BufLen()}) || sxASN_EncodeBuf(decoded, encoded, 0) != 0) return false;
  m_plainOctets = std::make_unique_for_overwrite<unsigned char[]>(encoded.Len());
  std::memcpy(m_plainOctets.get(), encoded.Data(), encoded.Len());
  *plain = sxPlainRequest();
  return sxReadPlainRequest({m_plainOctets.get(), encoded.Len()}, true, plain);
}

void sxCertRequest_imp::Extract(const sxPlainRequest &plain) {
  m_version = plain.version;
  m_subject.emplace(plain.subject.data(), sxLen(plain.subject));
  if (!ExtractKey(plain)) return;
  sxAsnOid oid;
  oid.Set(plain.signatureAlgorithm.oid.data(), sxLen(plain.signatureAlgorithm.oid));
  m_signAlgorithm = AlgType_By_SignOID(oid);
  m_hashAlgorithm = MdType_By_SignOID(oid);
  m_attributes.reserve(plain.attributes.size());
  for (const sxPlainAttribute &attribute : plain.attributes) {
    m_attributes.emplace_back().type.Set(attribute.oid.data(), sxLen(attribute.oid));
    m_attributes.back().values = attribute.values;
  }
  if (const char *const wrong = TakeExtensions(); wrong != nullptr) SetError(wrong);
}

bool sxCertRequest_imp::ExtractKey(const sxPlainRequest &plain) {
  if (m_pubKey != nullptr) return true;
  sxSpkiResult result = sxSpki_ok;
  const sxOctetView parameters = plain.keyAlgorithm.parameters;
  m_pubKey.reset(sxPubKey_FromSPKI(plain.keyAlgorithm.oid.data(), sxLen(plain.keyAlgorithm.oid), parameters.data(),
                                   sxLen(parameters), plain.keyBits.data(), sxLen(plain.keyBits), &result));
  if (m_pubKey != nullptr) return true;
  SetError(result == sxSpki_unsupported || result == sxSpki_dsa ? "Key not supported" : "Error decoding key");
  return false;
}

const sxCertRequest_imp::Attribute *sxCertRequest_imp::Find(sxOctetView type) const {
  const auto found = std::ranges::find_if(
      m_attributes, [type](const Attribute &attribute) { return sxEqual(View(attribute.type), type); });
  return found == m_attributes.end() ? nullptr : &*found;
}

// Whoever signs and whoever looks must not take one of two each.
const sxCertRequest_imp::Attribute *sxCertRequest_imp::FindOnly(sxOctetView type) const {
  const auto isOne = [type](const Attribute &attribute) { return sxEqual(View(attribute.type), type); };
  return std::ranges::count_if(m_attributes, isOne) == 1 ? Find(type) : nullptr;
}

// @return null, or what is wrong
const char *sxCertRequest_imp::TakeExtensions() {
  if (Find(kOidExtensionRequest) == nullptr) return nullptr;
  const Attribute *const asked = FindOnly(kOidExtensionRequest);
  if (asked == nullptr) return "Extensions requested twice";
  if (asked->values.size() != 1) return "Error decoding requested extensions";
  auto tree = std::make_unique<sxASN_Extensions>();
  if (!DecodeTree(*tree, asked->values[0])) return "Error decoding requested extensions";
  if (tree->Count() == 0) return nullptr;
  m_allExtensions = std::move(tree);
  if (const sxAsnOid *const unhandled = m_extensions.Parse(m_allExtensions.get(), Get_ExtParserTable())) {
    SetUnhandledExt(unhandled);
  }
  return nullptr;
}

std::optional<std::string> sxCertRequest_imp::ChallengePassword() const {
  const Attribute *const attribute = FindOnly(kOidChallengePassword);  // RFC 2985, 5.4.1: one value
  sxDerElement value;
  if (attribute == nullptr || attribute->values.size() != 1 || !sxDerReader(attribute->values[0]).Take(&value)) {
    return std::nullopt;
  }
  for (const StringRow &row : kStrings) {
    if (row.tag != value.tag) continue;
    sxAva ava = {};
    ava.choice = row.choice;
    ava.value = value.content.data();
    ava.valueLen = static_cast<uint32_t>(value.content.size());
    sxValueText text;
    if (!sxValueOctets(ava, &text) || text.raw) return std::nullopt;
    return std::string(text.octets);
  }
  return std::nullopt;
}

void sxCertRequest_imp::Sprint(SxStream *out, int indent) const {
  if (out == nullptr) return;
  if (OK() == 0) return sxSigned_imp::Sprint(out, indent);
  const char *const subject = m_subject->GetStr_ascii();
  out->Indent(indent);
  out->Printf("Certificate Request Version %d\n", m_version);
  if (UnhandledCritExt() != nullptr) {
    out->Indent(indent);
    out->Printf("Unhandled critical extension %s\n", sxOidText(*UnhandledCritExt()).c_str());
  }
  out->Indent(indent);
  out->Printf("Subject: %s\n", subject == nullptr ? "" : subject);
  out->Indent(indent);
  out->Puts("Signature Algorithm: ");
  sxPrintAlgorithms(out, m_signAlgorithm, m_hashAlgorithm, *m_pubKey);
  for (const Attribute &attribute : m_attributes) {
    out->Indent(indent);
    out->Printf("Attribute %s (%zu values)\n", sxOidText(attribute.type).c_str(), attribute.values.size());
  }
  m_extensions.Sprint(out, indent);
}

sxCertRequest::sxCertRequest(const unsigned char *buf, unsigned int len)
    : sxCertRequest(new sxCertRequest_imp(buf, len)) {}
sxCertRequest::sxCertRequest(sxCertRequest_imp *imp) : sxSigned(imp) {}

sxCertRequest_imp *sxCertRequest::Imp() const { return static_cast<sxCertRequest_imp *>(m_imp); }

int sxCertRequest::Version() const { return Imp()->Version(); }
const sxDN *sxCertRequest::Subject() const { return Imp()->Subject(); }
sxPubKey *sxCertRequest::PubKey() const { return Imp()->PubKey(); }
int sxCertRequest::signatureSignAlgorithm() const { return Imp()->signatureSignAlgorithm(); }
int sxCertRequest::signatureHashAlgorithm() const { return Imp()->signatureHashAlgorithm(); }
int sxCertRequest::VerifySig() const { return VerifySig(PubKey()); }
const sxExtensionsList &sxCertRequest::Extensions() const { return Imp()->Extensions(); }
const sxASN_Extensions *sxCertRequest::AllExtensions() const { return Imp()->AllExtensions(); }

int sxCertRequest::ChallengePassword(char *buf, int len) const {
  const std::optional<std::string> text = Imp()->ChallengePassword();
  return text ? sxHandOut("sxCertRequest::ChallengePassword", *text, buf, len) : -1;
}

int sxCertRequest::CountAttributes() const { return static_cast<int>(Imp()->Attributes().size()); }

const sxAsnOid *sxCertRequest::AttributeType(int i) const {
  return i < 0 || i >= CountAttributes() ? nullptr : &Imp()->Attributes()[static_cast<size_t>(i)].type;
}

int sxCertRequest::FindAttribute(const sxAsnOid &type) const {
  const sxCertRequest_imp::Attribute *const found = Imp()->Find(View(type));
  return found == nullptr ? -1 : static_cast<int>(found - Imp()->Attributes().data());
}

int sxCertRequest::CountAttributeValues(int i) const {
  return AttributeType(i) == nullptr ? 0 : static_cast<int>(Imp()->Attributes()[static_cast<size_t>(i)].values.size());
}

const unsigned char *sxCertRequest::AttributeValue(int i, int number, int *len) const {
  if (len == nullptr || number < 0 || number >= CountAttributeValues(i)) return nullptr;
  const sxOctetView value = Imp()->Attributes()[static_cast<size_t>(i)].values[static_cast<size_t>(number)];
  *len = sxLen(value);
  return value.data();
}

void sxCertRequest::Sprint(SxStream *out, int indent) const { Imp()->Sprint(out, indent); }
void sxCertRequest::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxCertRequest::Herror() const { sxHerrorOf(*this, 0); }

sxCertRequest *sxCertRequest_Decode(const unsigned char *buf, int len) {
  if (buf == nullptr || len <= 0) return nullptr;
  auto *request = new sxCertRequest(buf, static_cast<unsigned int>(len));
  if (request->OK() != 0) return request;
  herror_func(0, 0, "sxCertRequest_Decode: %s", request->Error().getstr());
  sxCertRequest_Free(request);
  return nullptr;
}

void sxCertRequest_Free(sxCertRequest *request) { sxFreeSigned(request); }
void sxCertRequest_Save(sxCertRequest *request) { sxSaveSigned(request); }
