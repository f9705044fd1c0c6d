// kxcert crmf new: a certificate request message, signed with the key that it is about.
#include <arpa/inet.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>

#include "certFacts.h"
#include "certInput.h"
#include "input.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/inputBlocks.h"
#include "kxcert/cert/sxGeneralName.h"
#include "kxcert/enroll/kxCRMF.h"
#include "logLines.h"
#include "nameInput.h"
#include "report.h"
#include "secretInput.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr char kPemLabel[] = "CERTIFICATE REQUEST MESSAGE";  // RFC 7468 has none for it
constexpr int kNumKeyUsages = 9;

struct Options {
  std::string keyPassword;
  std::string key;
  std::string subject;
  std::string from;
  std::vector<std::string> altNames;
  std::vector<std::string> keyUsages;
  std::string old;
  std::string password;
  int digest = sx_md_sha1;
  int id = 0;
  int form = kObjectForm_pem;
  OutputOptions output;
};

// "DNS:host.example"; kind -1 for anything else.
sxGeneralName ParseAltName(const std::string &text) {
  struct Kind {
    const char *prefix;
    sxGNtype type;
  };
  static constexpr Kind kKinds[] = {{"DNS:", sxGN_dns}, {"EMAIL:", sxGN_email}, {"URI:", sxGN_uri}};
  for (const Kind &kind : kKinds) {
    if (!text.starts_with(kind.prefix)) continue;
    const std::string name = text.substr(std::string_view(kind.prefix).size());
    return name.empty() ? sxGeneralName() : sxGeneralName(kind.type, name.data(), static_cast<int>(name.size()));
  }
  if (!text.starts_with("IP:")) return {};
  inx_addr_kxt address;
  in6_addr_kxt address6;
  if (inet_pton(AF_INET, text.c_str() + 3, &address) == 1) return sxGeneralName(address);
  return inet_pton(AF_INET6, text.c_str() + 3, &address6) == 1 ? sxGeneralName(address6) : sxGeneralName();
}

std::string CheckAltName(const std::string &text) {
  if (ParseAltName(text).GetType() != sxGN_error) return "";
  return "not a name: " + VisibleLine(text) + "; write DNS:, IP:, EMAIL: or URI: before it";
}

int KeyUsageBit(const std::string &name) {
  for (int bit = 0; bit < kNumKeyUsages; ++bit) {
    if (name == sxKeyUsage::KeyusageStr(bit)) return bit;
  }
  return -1;
}

Words KeyUsageWords() {
  Words words;
  for (int bit = 0; bit < kNumKeyUsages; ++bit) words.emplace_back(sxKeyUsage::KeyusageStr(bit));
  return words;
}

std::string CheckKeyUsage(const std::string &name) {
  return KeyUsageBit(name) >= 0 ? "" : UnknownWord("key usage", name, KeyUsageWords());
}

// What can be asked for again: a certificate, or a PKCS #10 request.
bool SetFrom(std::span<const unsigned char> der, sxCertTemplate &wanted) {
  const auto len = static_cast<int>(der.size());
  const CertRef cert(sxCert_Decode(der.data(), len));
  return (cert != nullptr && wanted.Set(cert.get()) == 0) || wanted.SetFromRequest(der.data(), len) == 0;
}

// From the first block that is one. @return false: a problem, which has been told
bool ReadFrom(const std::string &path, sxCertTemplate &wanted, Report &report) {
  kxBinBuf octets;
  const std::string name = InputName(path), error = ReadOctets(path, octets);
  if (!error.empty()) return report.Problem(kExitInputError, name, error), false;
  const LogLines log;
  bool found = false;
  sxInputBlocks blocks(octets.Data(), octets.Len());
  for (sxInputBlock block; blocks.Next(block);) {
    sxCertTemplate other;
    if (!SetFrom(block.octets, found ? other : wanted)) continue;
    if (found) report.Note(name + " line " + std::to_string(block.line), "another certificate or request; passed over");
    found = true;
  }
  TellPartsBesidePem(name, {octets.Data(), octets.Len()}, report);
  if (!found) {
    report.Problem(kExitInputError, name, "neither a certificate nor a certification request" + log.Reason());
  }
  return found;
}

// What belongs to the issuer or to the key of the certificate that was read.
bool IsOfTheIssued(const sxAsnOid &oid) {
  for (const sxAsnOid *const row : {&sxASN_id_ce_subjectKeyIdentifier, &sxASN_id_ce_authorityKeyIdentifier,
                                    &sxASN_id_pe_authorityInfoAccess, &sxASN_id_ce_cRLDistributionPoints}) {
    if (row->OidEquiv(oid)) return true;
  }
  return false;
}

sxExtensionsList GivenExtensions(const Options &options) {
  sxExtensionsList given;
  sxGeneralNames names;
  for (const std::string &text : options.altNames) {
    const sxGeneralName name = ParseAltName(text);
    names.Add(&name);
  }
  if (names.Count() > 0) { given.Add(&sxASN_id_ce_subjectAltName, 0, new sxExtGN(kExtNameSubjectAltName, names)); }
  unsigned bits = 0;
  for (const std::string &name : options.keyUsages) bits |= 1U << KeyUsageBit(name);
  if (bits != 0) given.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(bits));
  return given;
}

// Those that were read, without the issuer's, and those that were given, instead of read ones.
bool SetExtensions(const Options &options, sxCertTemplate &wanted) {
  const sxExtensionsList given = GivenExtensions(options);
  sxCertTemplate composed;
  if (composed.SetExtensions(&given) != 0) return false;
  sxASN_CertTemplate tree(wanted.Tree());
  auto all = std::make_unique<sxASN_Extensions>();
  if (tree.extensions != nullptr) {
    for (const sxASN_Extension &ext : *tree.extensions) {
      if (!IsOfTheIssued(*ext.extnID) && given.Find(ext.extnID) == nullptr) all->AppendCopy(ext);
    }
  }
  if (composed.Tree().extensions != nullptr) {
    for (const sxASN_Extension &ext : *composed.Tree().extensions) all->AppendCopy(ext);
  }
  delete tree.extensions;
  tree.extensions = all->Count() > 0 ? all.release() : nullptr;
  return wanted.Set(&tree) == 0;
}

// @return false: a problem, which has been told
bool MakeTemplate(const Options &options, sxPubKey *key, sxCertTemplate &wanted, Report &report) {
  if (!options.from.empty() && !ReadFrom(options.from, wanted, report)) return false;
  if (wanted.PubKey() != nullptr && sxPubKey_Equal(wanted.PubKey(), key) == 0) {
    report.Note(InputName(options.from), "has another key; the request is for the one that signs it");
  }
  // RFC 4211, 5: the serial number is the CA's to choose; so is the rest, where nobody asks for it.
  wanted.SetSerialNum(nullptr);
  wanted.SetIssuer(nullptr);
  wanted.SetValidity(-1, -1);
  if (!options.subject.empty()) {
    std::string reason;
    const std::optional<sxDN> subject = ReadName(options.subject, &reason);
    if (!subject.has_value()) return report.Problem(kExitUsage, options.subject, "not a legal name" + reason), false;
    wanted.SetSubject(&*subject);
  }
  const LogLines log;
  if (wanted.SetPubKey(key) == 0 && SetExtensions(options, wanted)) return true;
  report.Problem(kExitInputError, options.key, "cannot be asked for" + log.Reason());
  return false;
}

bool AddOldCert(const std::string &path, kxCRMF &crmf, Report &report) {
  if (path.empty()) return true;
  const FoundCert old = ReadOneCert(path, report);
  if (old.cert == nullptr) return false;
  if (crmf.AddOldCertIdControl(old.cert.get()) == 0) return true;
  report.Problem(kExitInputError, old.where, "has no issuer that can be named");
  return false;
}

void Run(const Options &options, Report &report) {
  const FoundKey key = ReadKey(options.key, KeyPart::kPrivate, report, options.keyPassword);
  sxCertTemplate wanted;
  if (key.key == nullptr || !MakeTemplate(options, key.key.get(), wanted, report)) return;
  kxBinBuf password;
  if (!options.password.empty()) {
    const std::string error = ReadSecret(options.password, password);
    if (!error.empty()) return report.Problem(kExitInputError, "", error);
    if (wanted.Subject() != nullptr) {
      report.Note("", "the password is not used: the signature covers the subject");
    } else if (wanted.Tree().extensions != nullptr || !options.old.empty()) {
      report.Note("",
                  "the signature and the MAC cover the key alone, neither extensions nor the old certificate's name");
    }
  }
  kxCRMF crmf(options.id, wanted);
  if (!AddOldCert(options.old, crmf, report)) return;
  kxBinBuf der;
  const LogLines log;
  const auto md = static_cast<sx_md_type>(options.digest);
  if (crmf.DerEncode(md, key.key.get(), der, password.IsEmpty() ? nullptr : &password) != 0) {
    return report.Problem(kExitInputError, key.where, "no request can be made" + log.Reason());
  }
  WriteObject({der.Data(), der.Len()}, kPemLabel, options.form, options.output, report);
}

}  // namespace

Verb CrmfNew() {
  const auto options = std::make_shared<Options>();
  Verb verb = {{{"--key", "private key: PEM, DER or an attribute set; the certificate is for it", &options->key, true},
                PasswordRow(options->keyPassword, "--key-password"),
                {"--subject", "name, as text or DER in hexadecimal", &options->subject},
                {"--from", "certificate or PKCS #10 request to take subject and extensions from", &options->from},
                {"--san", "DNS:, IP:, EMAIL: or URI: and an alternative name; may be repeated", &options->altNames,
                 false, CheckAltName},
                WithWords({"--key-usage", "digitalSignature and the like; may be repeated", &options->keyUsages, false,
                           CheckKeyUsage},
                          KeyUsageWords),
                {"--old", "certificate that the new one replaces", &options->old},
                {"--password", "where it is: file:PATH, env:NAME or fd:NUMBER; for requests without a subject",
                 &options->password, false, CheckSecretSource},
                {"--digest",
                 "sha1 (the default) or md5: longer ones are not signed",
                 &options->digest,
                 false,
                 nullptr,
                 {{"sha1", sx_md_sha1}, {"md5", sx_md_md5}},
                 "DIGEST"},
                {"--id", "number of the request (0)", &options->id},
                ObjectFormRow(options->form)},
               [options](Report &report) { Run(*options, report); },
               [options] {
                 const bool named = !options->subject.empty() || !options->from.empty() || !options->password.empty();
                 return named ? nullptr : "--subject, --from or --password";
               }};
  std::ranges::move(OutputRows(options->output), std::back_inserter(verb.options));
  return verb;
}
