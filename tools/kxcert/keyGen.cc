// kxcert key gen: new keys.
#include <algorithm>
#include <charconv>
#include <memory>

#include "keyFacts.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/keys/dhGroups.h"
#include "kxcert/keys/kxDhKey.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/rsaGeneration.h"
#include "logLines.h"
#include "progressLine.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kMinBits = 1024;
constexpr int kBitsStep = 256;  // primes come in multiples of 128 bits; another length would give a longer key
constexpr int kExponent = 65537;
constexpr int kMaxGroup = 255;            // numbers of IKE's groups that are looked for
constexpr int kCurveGroups[] = {19, 20};  // which have names among them

struct Options {
  std::string kind;
  std::string size;
  int form = kKeyForm_pem;
  EncryptOptions encrypt;
  OutputOptions output;
};

int NumberIn(const std::string &text) {
  int number = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

// Each makes a key, or tells the problem.

sxPubKey *MakeRsa(const std::string &size, Report &report) {
  const int bits = NumberIn(size);
  if (bits < kMinBits || bits > kMaxRsaBits || bits % kBitsStep != 0) {
    report.Problem(kExitUsage, size,
                   "the bits of an RSA key are a multiple of " + std::to_string(kBitsStep) + " from " +
                       std::to_string(kMinBits) + " to " + std::to_string(kMaxRsaBits));
    return nullptr;
  }
  const ProgressLine line("making an RSA key of " + size + " bits");
  return sxGenerateRSA(bits, kExponent);
}

Words CurveWords() { return {"P-256", "P-384", "P-521"}; }

sxPubKey *MakeEc(const std::string &curve, Report &report) {
  struct Alias {
    const char *name;
    const char *curve;
  };
  static constexpr Alias kAliases[] = {
      {"P-256", "prime256v1"},    {"secp256r1", "prime256v1"}, {"prime256v1", "prime256v1"}, {"P-384", "secp384r1"},
      {"secp384r1", "secp384r1"}, {"P-521", "secp521r1"},      {"secp521r1", "secp521r1"}};
  const auto *const alias = std::ranges::find_if(kAliases, [&curve](const Alias &row) { return curve == row.name; });
  if (alias != std::end(kAliases)) return new kxECDSA(alias->curve);
  report.Problem(kExitUsage, "", UnknownWord("curve", curve, CurveWords()));
  return nullptr;
}

// @param group  its number or its name
sxPubKey *MakeDh(const std::string &group, Report &report) {
  std::string error;
  if (LoadDHGroupsFile(nullptr, &error) != 0) return report.Problem(kExitInputError, "", error), nullptr;
  const int number = NumberIn(group);
  const char *const name = number < 0 ? group.c_str() : FindIKEDHGroupByGrpNum(number);
  sxPubKey *const key = name == nullptr ? nullptr : DhKey_create(name, 0);
  if (key == nullptr) report.Problem(kExitUsage, group, "no such group in the file of Diffie-Hellman groups");
  return key;
}

Words BitsWords() { return {"2048", "3072", "4096"}; }

Words GroupWords() {
  Words words;
  std::string error;
  if (LoadDHGroupsFile(nullptr, &error) != 0) return words;
  for (int number = 1; number <= kMaxGroup; ++number) {
    const bool isCurve = number == kCurveGroups[0] || number == kCurveGroups[1];
    if (!isCurve && FindIKEDHGroupByGrpNum(number) != nullptr) words.push_back(std::to_string(number));
  }
  return words;
}

struct KindRow {
  const char *name;
  sxPubKey *(*make)(const std::string &size, Report &report);
  Words (*sizes)();  // that completion offers
};
constexpr KindRow kKinds[] = {{"rsa", MakeRsa, BitsWords}, {"ec", MakeEc, CurveWords}, {"dh", MakeDh, GroupWords}};

const KindRow *FindKind(const std::string &name) {
  const auto *const found = std::ranges::find_if(kKinds, [&name](const KindRow &row) { return name == row.name; });
  return found == std::end(kKinds) ? nullptr : found;
}

Words SizeWords(const std::string &kind) {
  const KindRow *const row = FindKind(kind);
  return row == nullptr ? Words() : row->sizes();
}

Words KindWords() {
  Words words;
  for (const KindRow &row : kKinds) words.emplace_back(row.name);
  return words;
}

std::string CheckKind(const std::string &name) {
  return FindKind(name) != nullptr ? "" : UnknownWord("kind of key", name, KindWords());
}

void Run(const Options &options, Report &report) {
  KeyProtection protection;
  const bool hasForm = options.form != kKeyForm_set;
  if (!ReadProtection(options.encrypt, hasForm, protection, report)) return;  // before what may take long
  KeyRef key;
  std::string reason;
  {
    const LogLines log;
    key.reset(FindKind(options.kind)->make(options.size, report));
    reason = log.Reason();
  }
  if (key == nullptr || key->OK() == 0) {
    if (report.Worst() == kExitYes) report.Problem(kExitInternal, "", "no key was made" + reason);
    return;
  }
  if (!WriteKey(*key, true, static_cast<KeyForm>(options.form), options.output, report, &protection)) return;
  report.Document()["key"] = KeyFacts(*key, true);
  if (!options.output.file.empty()) report.Line(options.output.file + ": " + KeyName(*key));
}

}  // namespace

Verb KeyGen() {
  const auto options = std::make_shared<Options>();
  std::vector<OptionRow> rows = {
      WithWords({"KIND", "what the key is", &options->kind, true, CheckKind}, KindWords),
      WithWords(
          {"SIZE", "a curve, or the bits of an RSA key (3072), or a Diffie-Hellman group (14)", &options->size, true},
          CurveWords),
      FormRow(options->form)};
  rows[1].wordsBehind = SizeWords;
  std::ranges::move(EncryptRows(options->encrypt), std::back_inserter(rows));
  std::ranges::move(OutputRows(options->output), std::back_inserter(rows));
  return {std::move(rows), [options](Report &report) { Run(*options, report); }};
}
