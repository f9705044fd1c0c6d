// kxcert key sign and key verify: signatures over the digest of a file.
#include <algorithm>
#include <memory>

#include "input.h"
#include "keyFacts.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"
#include "report.h"
#include "verb.h"

namespace {

struct Options {
  std::string file;
  std::string key;
  std::string signature;
  std::string password;
  int hash = sx_md_sha256;
  OutputOptions output;
};

struct Digest {
  unsigned char octets[kMaxDigestLen];
  int len = 0;
};

OptionRow HashRow(int &hash) {
  return {
      "--hash", "the digest; sha256 unless given",
      &hash,    false,
      nullptr,  {{"sha1", sx_md_sha1}, {"sha256", sx_md_sha256}, {"sha384", sx_md_sha384}, {"sha512", sx_md_sha512}},
      "DIGEST"};
}

// Plain ECDSA is over the digest itself, RSA over a DigestInfo.
sxPKop_type OperationOf(const sxPubKey &key) { return key.algorithm() == sxPK_RSA ? sxPKop_digest : sxPKop_raw; }

bool CanSign(const FoundKey &key, Report &report) {
  if (key.key == nullptr) return false;
  if (key.key->algorithm() != sxPK_DH) return true;
  report.Problem(kExitInputError, key.where, "a Diffie-Hellman key, which signs nothing");
  return false;
}

bool DigestOf(const std::string &file, int hash, Digest *digest, Report &report) {
  kxBinBuf content;
  const std::string error = ReadOctets(file, content);
  if (!error.empty()) return report.Problem(kExitInputError, InputName(file), error), false;
  digest->len = kx_md_len(hash);
  if (kx_md_hashbuf(hash, content.Data(), content.Len(), digest->octets, digest->len) == 0) return true;
  return report.Problem(kExitInternal, InputName(file), "the digest cannot be computed"), false;
}

void Sign(const Options &options, Report &report) {
  const FoundKey found = ReadKey(options.key, KeyPart::kPrivate, report, options.password);
  Digest digest;
  if (!CanSign(found, report) || !DigestOf(options.file, options.hash, &digest, report)) return;
  const auto hash = static_cast<sx_md_type>(options.hash);
  const int maxLen = found.key->GetLen(sxPK_len_output);
  std::vector<unsigned char> signature(static_cast<size_t>(std::max(maxLen, 0)));
  const int len = found.key->Sign(OperationOf(*found.key), hash, digest.octets, digest.len, signature.data(), maxLen);
  if (len <= 0) return report.Problem(kExitInternal, found.where, "the key cannot sign this: " + std::to_string(len));
  if (!WriteOctets({signature.data(), static_cast<size_t>(len)}, options.output, report)) return;
  report.Document()["key"] = KeyFacts(*found.key, true);
  report.Document()["octets"] = len;
}

void Verify(const Options &options, Report &report) {
  const FoundKey found = ReadKey(options.key, KeyPart::kAny, report, options.password);
  kxBinBuf signature;
  Digest digest;
  if (!CanSign(found, report)) return;
  const std::string error = ReadOctets(options.signature, signature);
  if (!error.empty()) return report.Problem(kExitInputError, InputName(options.signature), error);
  if (!DigestOf(options.file, options.hash, &digest, report)) return;
  const bool isValid = found.key->Verify(OperationOf(*found.key), static_cast<sx_md_type>(options.hash), digest.octets,
                                         digest.len, signature.Data(), static_cast<int>(signature.Len())) == 0;
  report.Document()["valid"] = isValid;
  report.Document()["key"] = KeyFacts(*found.key, found.isPrivate);
  report.Verdict(isValid, isValid ? "valid signature" : "not this key's signature of that file");
  if (!isValid) report.Worsen(kExitNo);
}

}  // namespace

Verb KeySign() {
  const auto options = std::make_shared<Options>();
  std::vector<OptionRow> rows = {{"FILE", "what is signed; - is standard input", &options->file, true},
                                 {"--key", "an RSA or EC private key", &options->key, true},
                                 HashRow(options->hash),
                                 PasswordRow(options->password)};
  std::ranges::move(OutputRows(options->output), std::back_inserter(rows));
  return {std::move(rows), [options](Report &report) { Sign(*options, report); }};
}

Verb KeyVerify() {
  const auto options = std::make_shared<Options>();
  return {{{"FILE", "what is signed; - is standard input", &options->file, true},
           {"--key", "an RSA or EC key, of which the public part counts", &options->key, true},
           {"--signature", "the signature, as octets", &options->signature, true},
           HashRow(options->hash),
           PasswordRow(options->password)},
          [options](Report &report) { Verify(*options, report); }};
}
