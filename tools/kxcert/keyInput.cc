#include "keyInput.h"

#include <algorithm>
#include <deque>
#include <span>
#include <string_view>
#include <vector>

#include "input.h"
#include "keyPassword.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "report.h"
#include "visibleText.h"

namespace {

using Items = std::vector<const sxLoadItem *>;
using Octets = std::span<const unsigned char>;

constexpr std::string_view kBegin = "-----BEGIN ", kLineBegin = "\n-----BEGIN ";

std::string_view TextOf(Octets octets) { return {reinterpret_cast<const char *>(octets.data()), octets.size()}; }

size_t BlanksOf(Octets octets) { return std::min(TextOf(octets).find_first_not_of(" \t\r\n"), octets.size()); }

bool StartsBlock(Octets octets) { return TextOf(octets).starts_with(kBegin); }

// Where the next PEM block begins a line behind @p pos; the end when there is none.
size_t NextBlock(Octets octets, size_t pos) {
  const size_t found = TextOf(octets).find(kLineBegin, pos);
  return found == std::string_view::npos ? octets.size() : found + 1;
}

// All of an input, with what its outer form hides: files that were joined need not be of one form.
class KeySearch {
 public:
  KeySearch(const std::string &name, Octets octets, KeyPassword &password) : m_name(name), m_password(password) {
    Load(0, octets);
    for (const PartBeside &part : PartsBesidePem(octets)) AddParts(part.offset, part.octets);
    if (const size_t rest = RestOf(Outer()); rest > 0) AddParts(rest, octets.subspan(rest));
  }

  Items Keys(sxLoadKind kind) const {
    Items keys;
    for (const sxLoader &loader : m_loaders) {
      for (const sxLoadItem &item : loader.Items()) {
        if (item.key != nullptr && item.kind == kind) keys.push_back(&item);
      }
    }
    return keys;
  }
  /// One that may be what was meant, and was not decrypted; null when there is none.
  const sxLoadItem *NotDecrypted() const {
    for (const sxLoader &loader : m_loaders) {
      for (const sxLoadItem &item : loader.Items()) {
        if (item.skip == sxLoadSkip::kEncrypted) return &item;
      }
    }
    return nullptr;
  }
  const sxLoader &Outer() const { return m_loaders.front(); }  ///< what was found without looking beside the blocks

 private:
  // Where the elements end that something else follows; 0 when there is no such place.
  static size_t RestOf(const sxLoader &loader) {
    const auto isCut = [](const sxLoadItem &item) {
      return item.place.line == 0 && item.place.member == 0 && item.skip == sxLoadSkip::kCutShort;
    };
    const auto found = std::ranges::find_if(loader.Items(), isCut);
    return found == loader.Items().end() || found->place.block < 2 ? 0 : found->place.offset;
  }

  // Each octet is looked at by one loader, whatever stands behind what.
  void AddParts(size_t offset, Octets octets) {
    size_t line = 0;  // where the next block begins a line
    for (size_t pos = BlanksOf(octets); pos < octets.size(); pos += BlanksOf(octets.subspan(pos))) {
      if (line <= pos) line = NextBlock(octets, pos);
      const Octets rest = octets.subspan(pos), before = rest.first(line - pos);
      const size_t elements = StartsBlock(rest) ? 0 : sxElementsLen(before);
      const size_t len = StartsBlock(rest) ? BlockLen(rest) : elements > 0 ? elements : before.size();
      Load(offset + pos, rest.first(len));
      pos += len;
    }
  }

  // What tells nothing is not kept: there may be many.
  void Load(size_t offset, Octets octets) {
    const std::string name = offset == 0 ? m_name : m_name + " from offset " + std::to_string(offset);
    sxLoader &loader = m_loaders.emplace_back(sxLoad_keys);
    loader.SetIterations(m_spent);
    loader.SetPassword([this](const sxLoadPlace &place, kxBinBuf &out) { return m_password.Give(place, out); });
    loader.AddOctets(octets.data(), octets.size(), name.c_str());
    m_spent = loader.Iterations();
    const auto isKey = [](const sxLoadItem &item) { return item.key != nullptr; };
    const auto isLocked = [](const sxLoadItem &item) { return item.skip == sxLoadSkip::kEncrypted; };
    const bool isFirstLocked = !m_hasLocked && std::ranges::any_of(loader.Items(), isLocked);
    if (offset > 0 && !isFirstLocked && std::ranges::none_of(loader.Items(), isKey)) m_loaders.pop_back();
    m_hasLocked = m_hasLocked || isFirstLocked;
  }

  const std::string m_name;
  KeyPassword &m_password;
  std::deque<sxLoader> m_loaders;
  uint64_t m_spent = 0;      // iterations, of all loaders
  bool m_hasLocked = false;  // a key that was not decrypted was kept
};

// The item that may be what was meant: one that fails to be a key rather than one that is something else.
const sxLoadItem *MostTelling(const sxLoader &loader) {
  const sxLoadItem *found = nullptr;
  for (const sxLoadItem &item : loader.Items()) {
    const bool isKey = item.kind == sxLoadKind::kPrivateKey || item.kind == sxLoadKind::kPublicKey;
    if (found == nullptr || (isKey && item.skip != sxLoadSkip::kNot)) found = &item;
    if (isKey && item.skip != sxLoadSkip::kNot) break;
  }
  return found;
}

std::string WhyNone(const sxLoadItem &item, KeyPart part) {
  if (item.key != nullptr && part == KeyPart::kPrivate) return "a public key; the private one is needed";
  if (item.skip == sxLoadSkip::kUnwanted) {
    const char *const what = item.kind == sxLoadKind::kCrl       ? "a CRL"
                             : item.kind == sxLoadKind::kRequest ? "a certificate request"
                                                                 : "a certificate";
    return std::string(what) + "; a key is needed";
  }
  if (item.skip == sxLoadSkip::kCutShort) return "no key: neither PEM, DER nor an attribute set";
  return item.reason;
}

bool AreOf(const Items &publicKeys, sxPubKey &key) {
  return std::ranges::all_of(publicKeys, [&key](const auto *item) { return sxPubKey_Equal(item->key, &key) == 1; });
}

void TellNone(const sxLoader &loader, const std::string &path, KeyPart part, Report &report) {
  if (const sxLoadItem *const item = MostTelling(loader)) {
    report.Problem(kExitInputError, item->place.Text(), WhyNone(*item, part));
  } else {
    report.Problem(kExitInputError, InputName(path), "no key in it");
  }
}

void TellNotDecrypted(const sxLoadItem &item, const KeyPassword &password, Report &report) {
  if (password.IsTold()) return;
  const bool isAsked = item.decryption == sxPbe_needsPassword;
  report.Problem(kExitInputError, item.place.Text(),
                 item.reason + (isAsked ? ", and there is no terminal to ask; an option says where it is" : ""));
}

}  // namespace

FoundKey ReadKey(const std::string &path, KeyPart part, Report &report, const std::string &passwordSource) {
  FoundKey found;
  const std::string name = InputName(path);
  kxBinBuf octets;
  octets.SetSensitive(true);
  const std::string error = ReadOctets(path, octets);
  if (!error.empty()) return report.Problem(kExitInputError, name, error), std::move(found);
  KeyPassword password(passwordSource, report);
  const KeySearch search(name, {octets.Data(), octets.Len()}, password);
  if (const sxLoadItem *const item = search.NotDecrypted())
    return TellNotDecrypted(*item, password, report), std::move(found);
  const Items publicKeys = search.Keys(sxLoadKind::kPublicKey);
  Items keys = search.Keys(sxLoadKind::kPrivateKey);
  const bool hasPrivate = !keys.empty();
  if (!hasPrivate && part == KeyPart::kAny) keys = publicKeys;
  if (keys.empty()) return TellNone(search.Outer(), path, part, report), std::move(found);
  if (keys.size() > 1) {
    report.Problem(kExitInputError, name, std::to_string(keys.size()) + " keys in it; one is needed");
    return found;
  }
  const sxLoadItem &item = *keys.front();
  if (hasPrivate && !AreOf(publicKeys, *item.key)) {
    if (part == KeyPart::kAny) {
      report.Problem(kExitInputError, name, "a private key in it, and another one's public key; one is needed");
      return found;
    }
    report.Note(name, "another one's public key is in it; passed over");
  }
  sxSavePubKey(item.key);
  found.key.reset(item.key);
  found.isPrivate = hasPrivate;
  found.where = VisibleLine(item.place.Text());
  return found;
}
