#include "kxcert/cert/importKey.h"

#include <algorithm>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

bool IsKeyKind(sxLoadKind kind) { return kind == sxLoadKind::kPrivateKey || kind == sxLoadKind::kPublicKey; }

int ResultOf(const sxLoadItem &item) {
  if (item.skip == sxLoadSkip::kTooMuch) return sxKeyImport_tooCostly;
  switch (item.decryption) {
    case sxPbe_needsPassword: return sxKeyImport_needsPassword;
    case sxPbe_wrongPassword: return sxKeyImport_wrongPassword;
    case sxPbe_unsupported:
    case sxPbe_noProvider: return sxKeyImport_unsupported;
    case sxPbe_tooCostly: return sxKeyImport_tooCostly;
    default: break;
  }
  return IsKeyKind(item.kind) ? sxKeyImport_damaged : sxKeyImport_none;
}

// Why there is no key: of those that are keys, else of whatever is there.
int TellNone(const std::vector<sxLoadItem> &items, std::string *why) {
  const auto isKey = [](const sxLoadItem &item) { return IsKeyKind(item.kind) || item.skip == sxLoadSkip::kTooMuch; };
  auto found = std::ranges::find_if(items, isKey);
  if (found == items.end()) found = items.begin();
  if (found == items.end()) return *why = "no key in it", sxKeyImport_none;
  *why = found->reason;
  return ResultOf(*found);
}

// A private key that was not opened or read may be what was meant: no public one beside it is an answer.
const sxLoadItem *FindUnread(const std::vector<sxLoadItem> &items) {
  const auto isUnread = [](const sxLoadItem &item) {
    return item.skip == sxLoadSkip::kPkcs12 ? item.decryption != sxPbe_ok
                                            : item.kind == sxLoadKind::kPrivateKey && item.key == nullptr;
  };
  const auto found = std::ranges::find_if(items, isUnread);
  return found == items.end() ? nullptr : &*found;
}

int Import(const sxLoader &loader, sxPubKey **key, std::string *why) {
  const sxLoadItem *const unread = FindUnread(loader.Items());
  for (const sxLoadKind kind : {sxLoadKind::kPrivateKey, sxLoadKind::kPublicKey}) {
    const auto isOne = [kind](const sxLoadItem &item) { return item.key != nullptr && item.kind == kind; };
    const auto number = std::ranges::count_if(loader.Items(), isOne);
    if (number > 1) return *why = std::to_string(number) + " keys in it", sxKeyImport_several;
    if (number == 0 && kind == sxLoadKind::kPrivateKey && unread != nullptr) {
      return *why = unread->reason, ResultOf(*unread);
    }
    if (number == 0) continue;
    *key = std::ranges::find_if(loader.Items(), isOne)->key;
    sxSavePubKey(*key);
    return *why = "", sxKeyImport_ok;
  }
  return TellNone(loader.Items(), why);
}

}  // namespace

int sxImportKey(const unsigned char *octets, size_t len, const sxAskPassword &password, sxPubKey **key,
                std::string *why) {
  std::string text;
  if (key == nullptr) return sxKeyImport_none;
  sxLoader loader(sxLoad_keys);
  loader.SetPassword(password);
  loader.AddOctets(octets, len, "");
  const int rc = Import(loader, key, &text);
  if (why != nullptr) *why = std::move(text);
  return rc;
}

int sxImportKeyWithPassword(const unsigned char *octets, size_t len, const unsigned char *password, size_t passwordLen,
                            sxPubKey **key, std::string *why) {
  if (password == nullptr) return sxImportKey(octets, len, nullptr, key, why);
  const auto give = [password, passwordLen](const sxLoadPlace &, kxBinBuf &out) {
    if (passwordLen > kMaxPbePasswordLen) return false;
    out.Set(password, static_cast<unsigned int>(passwordLen));
    return true;
  };
  return sxImportKey(octets, len, give, key, why);
}
