#include "extensionOptions.h"

#include <memory>
#include <optional>
#include <string_view>

#include "generalNameInput.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/modules/PKIX1Implicit88.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "logLines.h"
#include "oidInput.h"
#include "report.h"
#include "visibleText.h"

namespace {

constinit const sxAsnOid kIssuerAltName({2, 5, 29, 18});

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

std::string CheckUsages(const std::string &text) {
  for (const std::string &name : PartsOf(text)) {
    if (UsageBit(name) < 0) return "not a key usage: " + VisibleLine(name) + "; digitalSignature,keyAgreement are two";
  }
  return "";
}

std::string CheckPurposes(const std::string &text) {
  for (const std::string &name : PartsOf(text)) {
    if (!ReadPurpose(name).has_value()) {
      return "not a purpose: " + VisibleLine(name) + "; serverAuth is one, and so is any object identifier";
    }
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
    return SetConstraints() && SetUsages() && SetNames() && SetPlaces() && SetRaw();
  }

 private:
  bool Tell(const std::string &what, const std::string &reason) {
    return m_report.Problem(kExitInputError, what, "cannot be set" + reason), false;
  }

  bool Put(const sxAsnOid &type, bool critical, const sxASN_Extension &ext, const LogLines &log) {
    if (m_wanted.SetExtension(type, critical, ext.extnValue->Data(), ext.extnValue->Len()) == 0) return true;
    return Tell(ExtensionName(type), log.Reason());
  }

  bool Put(const sxAsnOid &type, bool critical, const sxExtension &ext) {
    const LogLines log;
    for (const sxExtComposer *row = Get_ExtComposerTable(); row->oid != nullptr; ++row) {
      if (!row->oid->OidEquiv(type)) continue;
      const std::unique_ptr<sxASN_Extension> composed(row->compose(ext, critical ? 1 : 0));
      return composed != nullptr ? Put(type, critical, *composed, log) : Tell(ExtensionName(type), log.Reason());
    }
    return Tell(ExtensionName(type), log.Reason());
  }

  bool Put(const sxAsnOid &type, bool critical, sxAsnType &value) {
    const LogLines log;
    sxASN_Extension composed;
    if (sxComposeExtension(value, type, 0, &composed) != 0) return Tell(ExtensionName(type), log.Reason());
    return Put(type, critical, composed, log);
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
           PutNames(kIssuerAltName, false, m_options.issuerNames);
  }

  // As a tree: lists of the library hold fewer kinds of names.
  bool PutNames(const sxAsnOid &type, bool critical, const std::vector<std::string> &texts) {
    if (texts.empty()) return true;
    sxASN_GeneralNames names;
    for (const std::string &text : texts) ReadGeneralName(text, names.Append());
    return Put(type, critical, names);
  }

  bool SetPlaces() {
    sxGeneralNames points;
    for (const std::string &uri : m_options.crlUris) AddUri(uri, &points);
    if (points.Count() > 0 && !Put(sxASN_id_ce_cRLDistributionPoints, false, sxExtGN(kExtNameDistPoints, points))) {
      return false;
    }
    sxAuthorityInfoAccess places;
    for (const std::string &uri : m_options.ocspUris) AddPlace(sxASN_id_ad_ocsp, uri, &places);
    for (const std::string &uri : m_options.issuerUris) AddPlace(sxASN_id_ad_caIssuers, uri, &places);
    return places.Count() == 0 || Put(sxASN_id_pe_authorityInfoAccess, false, places);
  }

  static sxGeneralName UriOf(const std::string &uri) { return {sxGN_uri, uri.data(), static_cast<int>(uri.size())}; }
  static void AddUri(const std::string &uri, sxGeneralNames *names) {
    const sxGeneralName name = UriOf(uri);
    names->Add(&name);
  }
  static void AddPlace(const sxAsnOid &method, const std::string &uri, sxAuthorityInfoAccess *places) {
    places->Add(method, UriOf(uri));
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
      {"--key-usage", "NAME[,NAME...], as digitalSignature,keyAgreement", &options.keyUsage, false, CheckUsages},
      {"--ext-key-usage", "NAME|OID[,...], as serverAuth,clientAuth", &options.extKeyUsage, false, CheckPurposes},
      {"--ca", "may issue certificates", &options.isCA},
      {"--path-len", "how many CAs may stand below this one", &options.pathLen},
      {"--crl-uri", "where its CRL is; may be repeated", &options.crlUris, false, CheckUri},
      {"--ocsp-uri", "of a responder that knows it; may be repeated", &options.ocspUris, false, CheckUri},
      {"--issuer-uri", "where its issuer's certificate is; may be repeated", &options.issuerUris, false, CheckUri},
      {"--extension", "OID[,critical]=HEX, the value as it is encoded; may be repeated", &options.raw, false, CheckRaw},
      {"--without", "NAME|OID of an extension that is not to be in it; may be repeated", &options.without, false,
       CheckExtensionType},
  };
}

bool SetExtensions(const ExtensionOptions &options, sxCertTemplate &wanted, Report &report) {
  return ExtensionSetter(options, wanted, report).SetAll();
}
