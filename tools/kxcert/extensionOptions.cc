#include "extensionOptions.h"

#include <memory>
#include <optional>
#include <string_view>

#include "generalNameInput.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "logLines.h"
#include "oidInput.h"
#include "policyInput.h"
#include "report.h"
#include "visibleText.h"

namespace {

std::vector<std::string> PartsOf(const std::string &list) {
  std::vector<std::string> parts;
  for (size_t begin = 0, comma = 0; comma != std::string::npos; begin = comma + 1) {
    comma = list.find(',', begin);
    parts.push_back(list.substr(begin, comma - begin));
  }
  return parts;
}

// --- texts ---

int UsageBit(const std::string &name) {
  if (name == "contentCommitment") return sxKU_nonRepudiation;  // RFC 5280, 4.2.1.3: its later name
  for (int bit = sxKU_digitalSignature; bit <= sxKU_decipherOnly; ++bit) {
    if (name == sxKeyUsage::KeyusageStr(bit)) return bit;
  }
  return -1;
}

Words KeyUsageWords() {
  Words words;
  for (int bit = sxKU_digitalSignature; bit <= sxKU_decipherOnly; ++bit) {
    words.emplace_back(sxKeyUsage::KeyusageStr(bit));
  }
  return words;
}

std::string CheckUsages(const std::string &text) {
  for (const std::string &name : PartsOf(text)) {
    if (UsageBit(name) < 0) return UnknownWord("key usage", name, KeyUsageWords());
  }
  return "";
}

std::string CheckPurposes(const std::string &text) {
  for (const std::string &name : PartsOf(text)) {
    if (!ReadPurpose(name).has_value()) return UnknownWord("purpose", name, ExtKeyUsageWords());
  }
  return "";
}

struct RawExtension {
  sxAsnOid type;
  bool isCritical = false;
  std::vector<unsigned char> value;
};

// "TYPE[,critical]=HEX"
std::optional<RawExtension> ReadRaw(const std::string &text) {
  constexpr std::string_view kCritical = ",critical";
  const size_t equals = text.find('=');
  if (equals == std::string::npos) return std::nullopt;
  RawExtension raw;
  std::string_view type = std::string_view(text).substr(0, equals);
  raw.isCritical = type.ends_with(kCritical);
  if (raw.isCritical) type.remove_suffix(kCritical.size());
  const std::optional<sxAsnOid> oid = ReadExtensionType(type);
  const std::string digits = text.substr(equals + 1);
  raw.value.resize(digits.size() / 2);
  if (!oid.has_value() || digits.empty() ||
      string_to_bytes(digits.data(), static_cast<int>(digits.size()), raw.value.data(),
                      static_cast<int>(raw.value.size())) != 0) {
    return std::nullopt;
  }
  raw.type = *oid;
  return raw;
}

std::string CheckRaw(const std::string &text) {
  return ReadRaw(text).has_value()
             ? ""
             : "not OID[,critical]=HEX: " + VisibleLine(text) + "; 1.3.6.1.4.1.99999.1,critical=0500 is, a NULL";
}

// --- extensions ---

/// Sets extensions of one template.
class ExtensionSetter {
 public:
  ExtensionSetter(const ExtensionOptions &options, sxCertTemplate &wanted, Report &report)
      : m_options(options), m_wanted(wanted), m_report(report) {}

  bool SetAll() {
    for (const std::string &type : m_options.without) m_wanted.RemoveExtension(*ReadExtensionType(type));
    return SetConstraints() && SetUsages() && SetNames() && SetPlaces() && SetPolicies() && SetNameSpace() &&
           SetServer() && SetRaw();
  }

 private:
  bool Tell(const std::string &what, const std::string &reason) {
    return m_report.Problem(kExitInputError, what, "cannot be set" + reason), false;
  }

  bool Put(const sxAsnOid &type, bool critical, const sxExtension &ext) {
    const LogLines log;
    return m_wanted.SetExtension(type, critical, ext) == 0 || Tell(NameOrOid(type), log.Reason());
  }

  bool Put(const sxAsnOid &type, bool critical, sxAsnType &value) {
    const LogLines log;
    sxASN_Extension composed;
    const bool isSet =
        sxComposeExtension(value, type, 0, &composed) == 0 &&
        m_wanted.SetExtension(type, critical, composed.extnValue->Data(), composed.extnValue->Len()) == 0;
    return isSet || Tell(NameOrOid(type), log.Reason());
  }

  // A path length alone changes that of the CA that the template is for.
  bool SetConstraints() {
    if (!m_options.isCA && m_options.pathLen < 0) return true;
    const auto *const before =
        static_cast<const sxBasicConstraint *>(m_wanted.Extensions().Find(&sxASN_id_ce_basicConstraints));
    if (!m_options.isCA && (before == nullptr || !before->IsCA())) {
      return m_report.Problem(kExitUsage, "--path-len", "only a CA has one: give --ca, too"), false;
    }
    return Put(sxASN_id_ce_basicConstraints, true, sxBasicConstraint(true, m_options.pathLen));
  }

  bool SetUsages() {
    if (!m_options.keyUsage.empty()) {
      unsigned int bits = 0;
      for (const std::string &name : PartsOf(m_options.keyUsage)) bits |= 1U << UsageBit(name);
      if (!Put(sxASN_id_ce_keyUsage, true, sxKeyUsage(bits))) return false;
    }
    if (m_options.extKeyUsage.empty()) return true;
    sxExtKeyUsage purposes;
    for (const std::string &name : PartsOf(m_options.extKeyUsage)) purposes.Add(*ReadPurpose(name));
    return Put(sxASN_id_ce_extKeyUsage, false, purposes);
  }

  bool SetNames() {
    const bool hasSubject = m_wanted.Subject() != nullptr && m_wanted.Tree().subject->Count() > 0;
    return PutNames(sxASN_id_ce_subjectAltName, !hasSubject, m_options.subjectNames) &&
           PutNames(sxASN_id_ce_issuerAltName, false, m_options.issuerNames);
  }

  // As a tree: lists of the library hold fewer kinds of names.
  bool PutNames(const sxAsnOid &type, bool critical, const std::vector<std::string> &texts) {
    if (texts.empty()) return true;
    sxASN_GeneralNames names;
    for (const std::string &text : texts) ReadGeneralName(text, names.Append());
    return Put(type, critical, names);
  }

  bool SetPlaces() {
    sxAuthorityInfoAccess places;
    for (const std::string &uri : m_options.ocspUris) places.Add(sxASN_id_ad_ocsp, UriOf(uri));
    for (const std::string &uri : m_options.issuerUris) places.Add(sxASN_id_ad_caIssuers, UriOf(uri));
    if (places.Count() > 0 && !Put(sxASN_id_pe_authorityInfoAccess, false, places)) return false;
    std::vector<sxAccess> repositories;
    for (const std::string &uri : m_options.repositoryUris) {
      sxAnyName place;
      place.kind = sxNameKind::kUri;
      place.text = uri;
      repositories.push_back({sxASN_id_ad_caRepository, std::move(place)});
    }
    return PutPoints(sxASN_id_ce_cRLDistributionPoints, kExtNameDistPoints, m_options.crlUris) &&
           PutPoints(sxASN_id_ce_freshestCRL, kExtNameFreshestCRL, m_options.deltaUris) &&
           (repositories.empty() ||
            Put(sxASN_id_pe_subjectInfoAccess, false, sxSubjectInfoAccess(std::move(repositories))));
  }

  static sxGeneralName UriOf(const std::string &uri) { return {sxGN_uri, uri.data(), static_cast<int>(uri.size())}; }

  bool PutPoints(const sxAsnOid &type, const char *extName, const std::vector<std::string> &uris) {
    sxGeneralNames points;
    for (const std::string &uri : uris) {
      const sxGeneralName name = UriOf(uri);
      points.Add(&name);
    }
    return uris.empty() || Put(type, false, sxExtGN(extName, points));
  }

  bool SetPolicies() {
    std::vector<sxPolicy> policies;
    for (const std::string &text : m_options.policies) policies.push_back(*ReadPolicy(text));
    if (!policies.empty() && !Put(sxASN_id_ce_certificatePolicies, false, sxCertPolicies(std::move(policies)))) {
      return false;
    }
    std::vector<sxPolicyMapping> mappings;
    for (const std::string &text : m_options.mappings) mappings.push_back(*ReadPolicyMapping(text));
    if (!mappings.empty() && !Put(sxASN_id_ce_policyMappings, true, sxPolicyMappings(std::move(mappings)))) {
      return false;
    }
    const sxPolicyLimits limits{m_options.requireExplicit, m_options.inhibitMapping};
    const bool hasLimits = limits.requireExplicit >= 0 || limits.inhibitMapping >= 0;
    if (hasLimits && !Put(sxASN_id_ce_policyConstraints, true, sxPolicyConstraints(limits))) return false;
    const int inhibitAny = m_options.inhibitAny;
    return inhibitAny < 0 || Put(sxASN_id_ce_inhibitAnyPolicy, true, sxInhibitAnyPolicy(inhibitAny));
  }

  bool SetNameSpace() {
    if (m_options.permitted.empty() && m_options.excluded.empty()) return true;
    return Put(sxASN_id_ce_nameConstraints, true,
               sxNameConstraints({SubtreesOf(m_options.permitted), SubtreesOf(m_options.excluded)}));
  }

  static std::vector<sxNameSubtree> SubtreesOf(const std::vector<std::string> &texts) {
    std::vector<sxNameSubtree> subtrees;
    for (const std::string &text : texts) {
      sxASN_GeneralName name;
      ReadNameBase(text, &name);
      subtrees.emplace_back().base.Set(name, sxNameUse::kBase);
    }
    return subtrees;
  }

  bool SetServer() {
    std::vector<int> features;
    for (const std::string &text : m_options.tlsFeatures) features.push_back(*ReadTlsFeature(text));
    if (!features.empty() && !Put(sxASN_id_pe_tlsFeature, false, sxTlsFeature(std::move(features)))) return false;
    return !m_options.noCheck || Put(sxASN_id_pkix_ocsp_nocheck, false, sxOcspNoCheck());
  }

  bool SetRaw() {
    for (const std::string &text : m_options.raw) {
      const LogLines log;
      const RawExtension raw = *ReadRaw(text);
      if (m_wanted.SetExtension(raw.type, raw.isCritical, raw.value.data(), static_cast<int>(raw.value.size())) != 0) {
        return Tell(text, log.Reason());
      }
    }
    return true;
  }

  const ExtensionOptions &m_options;
  sxCertTemplate &m_wanted;
  Report &m_report;
};

}  // namespace

std::vector<OptionRow> ExtensionRows(ExtensionOptions &options) {
  return {
      {"--san",
       "alternative name of the subject, KIND:VALUE (dns, ip, email, uri, dn, oid, upn, other); may be repeated",
       &options.subjectNames, false, CheckGeneralName},
      {"--issuer-alt-name", "alternative name of the issuer, KIND:VALUE; may be repeated", &options.issuerNames, false,
       CheckGeneralName},
      WithWords(
          {"--key-usage", "NAME[,NAME...], as digitalSignature,keyAgreement", &options.keyUsage, false, CheckUsages},
          KeyUsageWords),
      WithWords(
          {"--ext-key-usage", "NAME|OID[,...], as serverAuth,clientAuth", &options.extKeyUsage, false, CheckPurposes},
          ExtKeyUsageWords),
      {"--ca", "may issue certificates", &options.isCA},
      {"--path-len", "how many CAs may stand below this one", &options.pathLen},
      {"--crl-uri", "where its CRL is; may be repeated", &options.crlUris, false, CheckUri},
      {"--delta-crl-uri", "where its newest delta CRL is; may be repeated", &options.deltaUris, false, CheckUri},
      {"--ocsp-uri", "of a responder that knows it; may be repeated", &options.ocspUris, false, CheckUri},
      {"--issuer-uri", "where its issuer's certificate is; may be repeated", &options.issuerUris, false, CheckUri},
      {"--repository-uri", "where it puts what it issues, a CA; may be repeated", &options.repositoryUris, false,
       CheckUri},
      {"--policy", "OID[,cps=URI][,notice=TEXT], or any instead of the OID; may be repeated", &options.policies, false,
       CheckPolicy},
      {"--policy-mapping", "OID=OID, the issuer's and the subject's; may be repeated", &options.mappings, false,
       CheckPolicyMapping},
      {"--require-explicit-policy", "after how many certificates a policy is required", &options.requireExplicit},
      {"--inhibit-policy-mapping", "after how many certificates policies are not mapped any more",
       &options.inhibitMapping},
      {"--inhibit-any-policy", "after how many certificates any policy is none", &options.inhibitAny},
      {"--permit", "names that it may certify, a CA: KIND:VALUE (dns, ip, email, uri, dn); may be repeated",
       &options.permitted, false, CheckNameBase},
      {"--exclude", "names that it may not certify, likewise; may be repeated", &options.excluded, false,
       CheckNameBase},
      WithWords({"--tls-feature", "one of these, or the number of a TLS extension; may be repeated",
                 &options.tlsFeatures, false, CheckTlsFeature},
                TlsFeatureWords),
      {"--ocsp-no-check", "an OCSP signer that is trusted without a check", &options.noCheck},
      {"--extension", "OID[,critical]=HEX, the value as it is encoded; may be repeated", &options.raw, false, CheckRaw},
      WithWords({"--without", "NAME|OID of an extension that is not to be in it; may be repeated", &options.without,
                 false, CheckExtensionType},
                ExtensionWords),
  };
}

bool SetExtensions(const ExtensionOptions &options, sxCertTemplate &wanted, Report &report) {
  return ExtensionSetter(options, wanted, report).SetAll();
}
