#include "keyInput.h"

#include <vector>

#include "input.h"
#include "kxcert/cert/loadFiles.h"
#include "report.h"
#include "visibleText.h"

namespace {

using Items = std::vector<const sxLoadItem *>;

bool IsPrivate(const sxLoadItem &item) { return item.kind == sxLoadKind::kPrivateKey; }

Items KeysIn(const sxLoader &loader, bool privateOnly) {
  Items keys;
  for (const sxLoadItem &item : loader.Items()) {
    if (item.key != nullptr && (!privateOnly || IsPrivate(item))) keys.push_back(&item);
  }
  return keys;
}

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
    const char *const what = item.kind == sxLoadKind::kCrl ? "a CRL" : "a certificate";
    return std::string(what) + "; a key is needed";
  }
  if (item.skip == sxLoadSkip::kCutShort) return "no key: neither PEM, DER nor an attribute set";
  return item.reason;
}

void TellNone(const sxLoader &loader, const std::string &path, KeyPart part, Report &report) {
  if (const sxLoadItem *const item = MostTelling(loader)) {
    report.Problem(kExitInputError, item->place.Text(), WhyNone(*item, part));
  } else {
    report.Problem(kExitInputError, InputName(path), "no key in it");
  }
}

}  // namespace

FoundKey ReadKey(const std::string &path, KeyPart part, Report &report) {
  FoundKey found;
  sxLoader loader(sxLoad_keys);
  if (!LoadInput(path, loader, report)) return found;
  Items keys = KeysIn(loader, true);
  if (keys.empty() && part == KeyPart::kAny) keys = KeysIn(loader, false);
  if (keys.empty()) return TellNone(loader, path, part, report), std::move(found);
  if (keys.size() > 1) {
    report.Problem(kExitInputError, InputName(path), std::to_string(keys.size()) + " keys in it; one is needed");
    return found;
  }
  const sxLoadItem &item = *keys.front();
  sxSavePubKey(item.key);
  found.key.reset(item.key);
  found.isPrivate = IsPrivate(item);
  found.where = VisibleLine(item.place.Text());
  return found;
}
