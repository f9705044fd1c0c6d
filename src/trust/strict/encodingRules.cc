// Certificates that RFC 5280 does not allow, whatever path they are on.
#include "cert/issueRules.h"
#include "cert/strictDer.h"
#include "cert/sxExtension_imp.h"
#include "keys/keyAlgorithms.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxCert.h"
#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

namespace {

constexpr size_t kMaxSerialLen = 20;                  // content octets: RFC 5280, 4.1.2.2
constexpr size_t kUtcLen = 13, kGeneralizedLen = 15;  // characters of the only forms that are allowed

std::string TextOf(const sxPlainExtension &extension) {
  sxAsnOid oid;
  oid.Set(extension.oid.data(), sxLen(extension.oid));
  return sxOidWords(oid);
}

// The first extension of which something holds.
template <class Test>
StrictOutcome FailsAt(const StrictCert &cert, const char *label, const Test &isWrong) {
  for (const StrictExtension &extension : cert.Extensions()) {
    if (isWrong(extension)) return StrictFails(label, TextOf(extension));
  }
  return StrictPasses();
}

// The first one whose form has a fault. @param faultOf  static, or null
template <class FaultOf>
StrictOutcome FailsFor(const StrictCert &cert, const char *label, const FaultOf &faultOf) {
  for (size_t i = 0; i < cert.Extensions().size(); ++i) {
    const StrictExtension &extension = cert.Extensions()[i];
    const char *const fault = faultOf(extension, cert.Form(i));
    if (fault == nullptr) continue;
    std::vector<sxFact> facts;
    facts.push_back({label, TextOf(extension)});
    facts.push_back({"fault", fault});
    return StrictFails(std::move(facts));
  }
  return StrictPasses();
}

StrictOutcome IsDer(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (!cert.IsReadable() || !sxIsStrictElement({cert.Cert().GetBuf(), cert.Cert().BufLen()})) {
    return StrictFails("encoding", "not DER");
  }
  if (!cert.Get().areUniqueIdsDer) return StrictFails("unique identifiers", "not DER");
  // X.690, 11.5: what is the default is left out.
  if (cert.Get().saysVersion && cert.Get().version == 1) return StrictFails("default that is written", "version 1");
  StrictOutcome outcome = FailsAt(cert, "criticality that is written, although it is the default",
                                  [](const StrictExtension &ext) { return ext.saysIt && !ext.critical; });
  if (outcome.result != sxFindingResult::kPassed) return outcome;
  return FailsFor(cert, "value that is not DER", [](const StrictExtension &, const StrictForm &form) {
    return !form.isDer ? "its encoding" : form.fault.isOfDer ? form.fault.reason : nullptr;
  });
}

StrictOutcome FitsItsVersion(StrictPath &path, int level) {
  const StrictCert::Fields &fields = path.At(level).Get();
  const bool isKnown = fields.version >= 1 && fields.version <= 3;
  if (isKnown && (!fields.hasExtensions || fields.version == 3) && (!fields.hasUniqueIds || fields.version >= 2)) {
    return StrictPasses();
  }
  std::vector<sxFact> facts;
  facts.push_back({"version", std::to_string(fields.version)});
  if (fields.hasExtensions) facts.push_back({"extensions", "present"});
  if (fields.hasUniqueIds) facts.push_back({"unique identifiers", "present"});
  return StrictFails(std::move(facts));
}

StrictOutcome NothingTwice(StrictPath &path, int level) {
  const std::vector<StrictExtension> &all = path.At(level).Extensions();
  std::vector<sxOctetView> oids;
  oids.reserve(all.size());
  for (const sxPlainExtension &extension : all) oids.push_back(extension.oid);
  std::ranges::sort(oids, [](sxOctetView a, sxOctetView b) { return std::ranges::lexicographical_compare(a, b); });
  const auto twice = std::ranges::adjacent_find(oids, sxEqual);
  if (twice == oids.end()) return StrictPasses();
  return StrictFails("stands twice", TextOf({*twice, false, {}}));
}

StrictOutcome SerialIsSound(StrictPath &path, int level) {
  const sxOctetView serial = path.At(level).Get().serial;
  if (serial.empty() || serial[0] >= 0x80) return StrictFails("serial number", "negative");
  if (std::ranges::all_of(serial, [](unsigned char octet) { return octet == 0; })) {
    return StrictFails("serial number", "zero");
  }
  if (serial.size() <= kMaxSerialLen) return StrictPasses();
  return StrictFails("serial number's octets", std::to_string(serial.size()));
}

// RFC 5280, 4.1.2.5.1 and 4.1.2.5.2: to the second, in UTC, and which of the two is said by the year.
bool IsTime(const sxPlainTime &time) {
  const bool isUtc = time.tag == kDerUtcTime;
  const size_t len = isUtc ? kUtcLen : kGeneralizedLen;
  if (time.text.size() != len || time.text.back() != 'Z') return false;
  if (!std::ranges::all_of(time.text.first(len - 1), [](unsigned char c) { return c >= '0' && c <= '9'; }))
    return false;
  constexpr int64_t kFirstGeneralized = 2524608000;  // 2050-01-01 00:00 UTC
  const std::optional<int64_t> seconds = sxReadTime(time);
  return seconds && (isUtc || *seconds >= kFirstGeneralized);
}

std::string TimeText(const sxPlainTime &time) {
  std::string text;
  for (const unsigned char c : time.text) text += c >= ' ' && c <= '~' ? static_cast<char>(c) : '?';
  return text;
}

StrictOutcome TimesAreSound(StrictPath &path, int level) {
  const StrictCert::Fields &fields = path.At(level).Get();
  if (!IsTime(fields.notBefore)) return StrictFails("notBefore as written", TimeText(fields.notBefore));
  if (!IsTime(fields.notAfter)) return StrictFails("notAfter as written", TimeText(fields.notAfter));
  return StrictPasses();
}

constexpr char kHollow[] = "with an empty relative name, or a value that is empty or no string";

StrictOutcome HasIssuer(StrictPath &path, int level) {
  const sxOctetView issuer = path.At(level).Get().issuer;
  if (sxIsEmptyName(issuer)) return StrictFails("issuer", "empty");
  return StrictPassesIf(sxIsNameForm(issuer), "issuer", kHollow);
}

StrictOutcome HasSubject(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (!sxIsEmptyName(cert.Get().subject)) {
    return StrictPassesIf(sxIsNameForm(cert.Get().subject), "subject", kHollow);
  }
  if (cert.IsCA()) return StrictFails("CA's subject", "empty");
  if (cert.MayUse(sxKU_cRLSign)) return StrictFails("CRL issuer's subject", "empty");
  const sxPlainExtension *const names = cert.Find(kOidSubjectAltName);
  if (names == nullptr) return StrictFails("subject", "empty, and no alternative name");
  return StrictPassesIf(names->critical, "subject", "empty, and the alternative name is not critical");
}

// A value of another type is no empty list: it is not of its form.
bool IsEmpty(const StrictExtension &extension) {
  const sxExtensionRule *const rule = extension.rule;
  sxOctetView content;
  return rule != nullptr && !rule->mayBeEmpty && sxDerReader(extension.value).Take(rule->tag, &content) &&
         content.empty();
}

StrictOutcome NothingEmpty(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (cert.Get().hasExtensions && cert.Extensions().empty()) return StrictFails("list of extensions", "empty");
  return FailsAt(cert, "empty", IsEmpty);
}

// Who processes path validation has no use for them in an end entity (RFC 5280, 6.1.4), which is told so by nobody else.
StrictOutcome OfItsSubject(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  if (cert.IsCA()) return StrictPasses();
  return FailsAt(cert, "for CAs alone",
                 [](const StrictExtension &ext) { return ext.rule != nullptr && ext.rule->isForCAs; });
}

StrictOutcome CriticalAsSaid(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  const bool hasSubject = !sxIsEmptyName(cert.Get().subject), isCA = cert.IsCA();
  // Of an issuer's basic constraints caConstraints.critical speaks.
  const auto isWrong = [&](const StrictExtension &extension, bool shouldBe) {
    const sxExtensionRule *const rule = extension.rule;
    if (rule == nullptr || !rule->isMust || extension.critical == shouldBe) return false;
    if (rule->critical == sxCritical::kOfCAs && level > 0) return false;
    return sxCriticalityOf(*rule, extension.critical, isCA, hasSubject) == shouldBe;
  };
  StrictOutcome outcome =
      FailsAt(cert, "not critical", [&](const auto &extension) { return isWrong(extension, true); });
  if (outcome.result != sxFindingResult::kPassed) return outcome;
  return FailsAt(cert, "critical", [&](const auto &extension) { return isWrong(extension, false); });
}

StrictOutcome UsageFits(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  const bool signsCerts = cert.MayUse(sxKU_keyCertSign);
  const bool hasPathLen = cert.Constraints() != nullptr && cert.Constraints()->hasPathLen;
  if (cert.HasUsage()) {
    bool hasAny = false;
    for (int bit = sxKU_digitalSignature; bit <= sxKU_decipherOnly; ++bit) hasAny |= cert.MayUse(bit);
    if (!hasAny) return StrictFails("key usage", "without any");
  }
  if (cert.IsCA() && !cert.HasUsage()) return StrictFails("key usage of a CA", "absent");
  if (!cert.IsCA() && signsCerts) return StrictFails("key usage", "keyCertSign, but no CA");
  if (hasPathLen && !cert.IsCA()) return StrictFails("path length constraint", "of no CA");
  return StrictPassesIf(!hasPathLen || signsCerts, "path length constraint", "without keyCertSign");
}

bool HasKeyId(const sxPlainExtension &extension) {
  sxDerReader fields;
  sxOctetView id;
  return sxDerReader(extension.value).Enter(kDerSequence, &fields) && fields.Take(DerContext(0), &id) && !id.empty();
}

StrictOutcome HasKeyIds(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  const sxPlainExtension *const authority = cert.Find(kOidAuthorityKeyId);
  const bool isSelfSigned = cert.IsSelfIssued() && level == path.Top();  // RFC 5280, 4.2.1.1; not a CA's new key
  if (!isSelfSigned && (authority == nullptr || !HasKeyId(*authority))) {
    return StrictFails("authority key identifier", "absent");
  }
  return StrictPassesIf(!cert.IsCA() || cert.Find(kOidSubjectKeyId) != nullptr, "subject key identifier of a CA",
                        "absent");
}

// Of types without a row, and of values that are not DER, whose form nobody reads. What the certificate keeps is not looked
// up: it may hold thousands, and the first of a type alone.
bool Decodes(const StrictCert &cert, const StrictExtension &extension) {
  if (StrictCert::IsIssuedType(extension.oid)) return cert.Issued(extension) != nullptr;
  sxAsnOid oid;
  oid.Set(extension.oid.data(), sxLen(extension.oid));
  const sxExtParser *row = Get_ExtParserTable();
  while (row->oid != nullptr && !row->oid->OidEquiv(oid)) ++row;
  if (row->oid == nullptr || row->parse == sxParseNoParse) return true;
  sxASN_Extension tree;
  tree.extnID = new sxAsnOid(oid);
  tree.extnValue = new sxAsnOcts(extension.value.data(), sxLen(extension.value));
  int isUnderstood = 0;
  return std::unique_ptr<sxExtension>(row->parse(tree, isUnderstood)) != nullptr;
}

StrictOutcome KnownOnesDecode(StrictPath &path, int level) {
  const StrictCert &cert = path.At(level);
  const auto faultOf = [&cert](const StrictExtension &extension, const StrictForm &form) -> const char * {
    if (!form.isDer || extension.rule == nullptr) return Decodes(cert, extension) ? nullptr : "it cannot be decoded";
    return form.fault.isOfDer || IsEmpty(extension) ? nullptr : form.fault.reason;  // other rules say those
  };
  return FailsFor(cert, "not of its form", faultOf);
}

constexpr unsigned char kNull[] = {kDerNull, 0};

// RFC 5758, 3.2: an ECDSA signature has none. RFC 4055, 5 and RFC 3279, 2.2.1: an RSA signature has NULL; the former
// lets readers take absent ones, as the usual checks do, but no issuer leave them out.
// @return why they are not what the algorithm has, or null
const char *SignatureFault(sxOctetView whole) {
  sxDerReader reader(whole);
  sxPlainAlgorithm algorithm;
  if (!sxTakePlainAlgorithm(reader, true, &algorithm)) return "cannot be read";
  const KeyAlgorithm *const known = FindKeyAlgorithm(algorithm.oid);
  if (known == nullptr || known->mdType == sx_md_unknown) return nullptr;
  if (known->family == sxPK_ECDSA) return algorithm.parameters.empty() ? nullptr : "there, and should not be";
  return sxEqual(algorithm.parameters, kNull) ? nullptr : "not NULL";
}

// In strict DER, where zero is one octet.
bool TakePositive(sxDerReader &from) {
  sxOctetView number;
  return from.Take(kDerInteger, &number) && number[0] < 0x80 && (number[0] > 0 || number.size() > 1);
}

//   RSAPublicKey ::= SEQUENCE { modulus INTEGER, publicExponent INTEGER }
bool IsRsaKey(sxOctetView key) {
  sxDerReader numbers;
  return sxIsStrictElement(key) && sxDerReader(key).Enter(kDerSequence, &numbers) && TakePositive(numbers) &&
         TakePositive(numbers) && numbers.AtEnd();
}

// RFC 3279, 2.3.1. An EC key without a named curve is none that decodes.
StrictOutcome KeyIsSound(const StrictCert::Fields &fields) {
  const auto &[oid, parameters] = fields.keyAlgorithm;
  if (!sxEqual(oid, sxView(sxASN_rsaEncryption.Data(), sxASN_rsaEncryption.Len()))) return StrictPasses();
  if (!sxEqual(parameters, kNull)) return StrictFails("parameters of the key", "not NULL");
  return StrictPassesIf(IsRsaKey(fields.keyBits), "key", "not two positive numbers in DER");
}

StrictOutcome AlgorithmsAreSound(StrictPath &path, int level) {
  const StrictCert::Fields &fields = path.At(level).Get();
  if (const char *const fault = SignatureFault(fields.innerAlgorithm); fault != nullptr) {
    return StrictFails("parameters of the signed algorithm", fault);
  }
  if (const char *const fault = SignatureFault(fields.outerAlgorithm); fault != nullptr) {
    return StrictFails("parameters of the outer algorithm", fault);
  }
  return KeyIsSound(fields);
}

constexpr char kReissue[] = "Have the certificate issued anew: RFC 5280 does not allow this.";

constexpr StrictRule Row(const char *name, const char *source, StrictOutcome (*check)(StrictPath &, int)) {
  return {name, source, sxValidation_badInput, StrictWhere::kBelowRoot, true, check, kReissue};
}
constexpr StrictRule kRules[] = {
    Row("encoding.der", "RFC 5280, 4.1", IsDer),
    Row("encoding.version", "RFC 5280, 4.1.2.1", FitsItsVersion),
    Row("encoding.serial", "RFC 5280, 4.1.2.2", SerialIsSound),
    Row("encoding.algorithms", "RFC 3279, 2.2 and 2.3.1; RFC 4055, 5; RFC 5758, 3.2", AlgorithmsAreSound),
    Row("encoding.times", "RFC 5280, 4.1.2.5", TimesAreSound),
    Row("encoding.issuer", "RFC 5280, 4.1.2.4", HasIssuer),
    Row("encoding.subject", "RFC 5280, 4.1.2.6", HasSubject),
    Row("encoding.extensionTwice", "RFC 5280, 4.2", NothingTwice),
    Row("encoding.emptySequence", "RFC 5280, 4.2.1", NothingEmpty),
    Row("encoding.criticality", "RFC 5280, 4.2.1", CriticalAsSaid),
    Row("encoding.caExtensions", "RFC 5280, 4.2.1.5, 4.2.1.10, 4.2.1.11 and 4.2.1.14", OfItsSubject),
    Row("encoding.keyUsage", "RFC 5280, 4.2.1.3 and 4.2.1.9", UsageFits),
    Row("encoding.keyIdentifiers", "RFC 5280, 4.2.1.1 and 4.2.1.2", HasKeyIds),
    Row("encoding.knownExtensions", "RFC 5280, 4.2.1", KnownOnesDecode),
};

}  // namespace

std::span<const StrictRule> EncodingRules() { return kRules; }
