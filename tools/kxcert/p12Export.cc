// kxcert p12 export: a PKCS #12 container of a key and its certificates.
#include <algorithm>
#include <iterator>
#include <memory>
#include <set>
#include <string_view>

#include "certFacts.h"
#include "certInput.h"
#include "containerFacts.h"
#include "crlInput.h"
#include "filePlace.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/cert/pkcs12.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "report.h"
#include "secretInput.h"
#include "verb.h"

namespace {

constexpr int kNotGiven = -1;
constexpr int kMinIterations = 1000;  // RFC 8018, 4.2

struct Options {
  std::string key, keyPassword, name;
  std::vector<std::string> certs, chain, crls;
  bool legacy = false, pbmac1 = false, noPassword = false;
  int cipher = kNotGiven, macDigest = kNotGiven, iterations = kUsualPbeIterations;
  std::string newPassword;
  OutputOptions output;
};

struct Parts {
  FoundKey key;
  std::vector<FoundCert> certs;
  std::vector<FoundCrl> crls;
  std::vector<sxPkcs12Entry> entries;
};

const char *WrongUsage(const Options &options) {
  if (options.key.empty() && options.certs.empty() && options.chain.empty() && options.crls.empty()) {
    return "nothing to write: give --key, --cert, --chain or --crl";
  }
  const bool isChosen = options.cipher != kNotGiven || options.macDigest != kNotGiven || options.pbmac1;
  if (options.legacy && isChosen) return "--legacy chooses cipher and MAC itself";
  if (options.noPassword && (options.legacy || isChosen || !options.newPassword.empty())) {
    return "--no-password leaves nothing to encrypt";
  }
  const bool isInRange =
      options.iterations >= kMinIterations && static_cast<uint64_t>(options.iterations) <= kMaxPbeIterations;
  return isInRange ? nullptr : "--iterations is from 1000 to 10000000";
}

sxPkcs12Settings SettingsOf(const Options &options) {
  sxPkcs12Settings settings = options.legacy ? sxPkcs12_LegacySettings() : sxPkcs12Settings();
  if (options.cipher != kNotGiven) {
    settings.keys.cipher = settings.certs.cipher = static_cast<sxPbeCipher>(options.cipher);
  }
  if (options.macDigest != kNotGiven) settings.macDigest = static_cast<sx_md_type>(options.macDigest);
  if (options.pbmac1) settings.mac = sxPkcs12MacKind::kPbmac1;
  settings.keys.iterations = settings.certs.iterations = settings.macIterations = options.iterations;
  settings.isOpen = options.noPassword;
  return settings;
}

// Certificates in the order in which they were named, each once; but the key's own first.
bool SortCerts(Parts &parts, Report &report) {
  std::vector<FoundCert> &certs = parts.certs;
  const auto isOwn = [&parts](const FoundCert &found) {
    return sxPubKey_Equal(parts.key.key.get(), found.cert->PubKey()) == 1;
  };
  if (parts.key.key != nullptr && !certs.empty()) {
    const auto own = std::ranges::find_if(certs, isOwn);
    if (own == certs.end()) {
      return report.Problem(kExitInputError, parts.key.where, "no certificate that was given is this key's"), false;
    }
    std::rotate(certs.begin(), own, own + 1);
  }
  std::set<std::string_view> seen;
  for (const FoundCert &found : certs) {
    const std::string_view octets(reinterpret_cast<const char *>(found.cert->GetBuf()), found.cert->BufLen());
    if (seen.insert(octets).second) parts.entries.emplace_back().cert = found.cert.get();
  }
  return true;
}

bool ReadParts(const Options &options, Parts &parts, Report &report) {
  if (!options.key.empty()) {
    parts.key = ReadKey(options.key, KeyPart::kPrivate, report, options.keyPassword);
    if (parts.key.key == nullptr) return false;
  }
  for (const std::vector<std::string> *const files : {&options.certs, &options.chain}) {
    for (const std::string &file : *files) std::ranges::move(ReadCerts(file, report), std::back_inserter(parts.certs));
  }
  for (const std::string &file : options.crls) parts.crls.push_back(ReadOneCrl(file, report));
  if (report.Worst() != kExitYes || !SortCerts(parts, report)) return false;
  if (parts.entries.empty()) parts.entries.emplace_back();
  parts.entries[0].key = parts.key.key.get();
  parts.entries[0].name = options.name;
  for (const FoundCrl &found : parts.crls) parts.entries.emplace_back().crl = found.crl.get();
  std::erase_if(parts.entries, [](const sxPkcs12Entry &entry) {
    return entry.key == nullptr && entry.cert == nullptr && entry.crl == nullptr;
  });
  return true;
}

bool ReplacesInput(const Options &options) {
  const auto isOutput = [&options](const std::string &input) { return IsInput(options.output.file, input); };
  return (!options.key.empty() && isOutput(options.key)) || std::ranges::any_of(options.certs, isOutput) ||
         std::ranges::any_of(options.chain, isOutput) || std::ranges::any_of(options.crls, isOutput);
}

void Run(const Options &options, Report &report) {
  if (const char *const wrong = WrongUsage(options)) return report.Problem(kExitUsage, "", wrong);
  if (!options.output.file.empty() && ReplacesInput(options)) {
    return report.Problem(kExitUsage, options.output.file, "is an input, and is not replaced");
  }
  Parts parts;
  if (!ReadParts(options, parts, report)) return;
  kxBinBuf password, container;
  password.SetSensitive(true);
  if (!options.noPassword) {
    const std::string error = ReadNewPassword(options.newPassword, password);
    if (!error.empty()) return report.Problem(kExitInputError, "", error);
  }
  std::string why;
  const sxPbeOctets given = options.noPassword ? sxPbeOctets() : sxPbeOctets(password.Data(), password.Len());
  const int result = sxPkcs12_Write(parts.entries, SettingsOf(options), given, container, &why);
  if (result != sxPkcs12_ok) return report.Problem(kExitInputError, "", "no container can be made: " + why);
  if (!WriteOctets({container.Data(), container.Len()}, options.output, report)) return;
  report.Document()["certificates"] =
      std::ranges::count_if(parts.entries, [](const sxPkcs12Entry &entry) { return entry.cert != nullptr; });
  report.Document()["key"] = parts.key.key != nullptr;
}

}  // namespace

Verb P12Export() {
  const auto options = std::make_shared<Options>();
  Verb verb = {
      {{"--key", "the private key", &options->key},
       PasswordRow(options->keyPassword, "--key-password"),
       {"--cert", "the key's certificate, with its chain or not; may be repeated", &options->certs},
       {"--chain", "certificates of issuers; may be repeated", &options->chain},
       {"--crl", "a CRL; may be repeated", &options->crls},
       {"--name", "the friendly name of the key and its certificate, UTF-8", &options->name},
       {"--legacy", "for what reads nothing newer: 3DES, and a MAC of SHA-1", &options->legacy},
       {"--cipher",
        "aes256 unless given",
        &options->cipher,
        false,
        nullptr,
        {{"aes256", sxPbe_aes256}, {"aes192", sxPbe_aes192}, {"aes128", sxPbe_aes128}, {"3des", sxPbe_3des}},
        "CIPHER"},
       {"--mac-digest",
        "sha256 unless given",
        &options->macDigest,
        false,
        nullptr,
        {{"sha1", sx_md_sha1}, {"sha256", sx_md_sha256}, {"sha384", sx_md_sha384}, {"sha512", sx_md_sha512}},
        "DIGEST"},
       {"--pbmac1", "a MAC of PBMAC1, which few read yet", &options->pbmac1},
       {"--iterations", "of each key derivation (50000)", &options->iterations},
       {"--new-password", "where the container's password is: file:PATH, env:NAME or fd:NUMBER; else it is asked for",
        &options->newPassword, false, CheckSecretSource},
       {"--no-password", "neither encrypt nor protect anything", &options->noPassword}},
      [options](Report &report) { Run(*options, report); }};
  std::ranges::move(OutputRows(options->output), std::back_inserter(verb.options));
  return verb;
}
