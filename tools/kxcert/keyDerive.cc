// kxcert key derive: the secret that two keys share.
#include <algorithm>
#include <memory>

#include "keyFacts.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/keyExchange.h"
#include "report.h"
#include "verb.h"

namespace {

struct Options {
  std::string key;
  std::string peer;
  std::string password;
  OutputOptions output;
};

const char *WhyNone(int rc) {
  switch (rc) {
    case kKeyNotImplemented: return "an RSA key, which shares no secret";
    case kKeyLenMismatch: return "the keys are not of the same kind and group, or curve";
    default: return "there is no secret: the peer's value gives one that anybody knows, or is of no use";
  }
}

void Run(const Options &options, Report &report) {
  const FoundKey own = ReadKey(options.key, KeyPart::kPrivate, report, options.password);
  const FoundKey peer = ReadKey(options.peer, KeyPart::kAny, report);
  if (own.key == nullptr || peer.key == nullptr) return;
  kxBinBuf secret;
  const int rc = sxSharedSecret(own.key.get(), peer.key.get(), secret);
  if (rc != 0) return report.Problem(kExitInputError, own.where + " and " + peer.where, WhyNone(rc));
  if (!WriteOctets({secret.Data(), secret.Len()}, options.output, report)) return;
  report.Document()["key"] = KeyFacts(*own.key, true);
  report.Document()["peer"] = KeyFacts(*peer.key, peer.isPrivate);
  report.Document()["octets"] = secret.Len();
}

}  // namespace

Verb KeyDerive() {
  const auto options = std::make_shared<Options>();
  std::vector<OptionRow> rows = {{"--key", "the own private key, EC or Diffie-Hellman", &options->key, true},
                                 {"--peer", "the other's public key", &options->peer, true},
                                 PasswordRow(options->password)};
  std::ranges::move(OutputRows(options->output), std::back_inserter(rows));
  return {std::move(rows), [options](Report &report) { Run(*options, report); }};
}
