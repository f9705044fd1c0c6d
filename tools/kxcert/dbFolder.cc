#include "dbFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "certFacts.h"
#include "crlFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "report.h"
#include "timeText.h"
#include "visibleText.h"

namespace fs = std::filesystem;

namespace {

constexpr sxStoreKind kKinds[] = {sxStoreKind::kCerts, sxStoreKind::kCrls};

bool IsFolder(const fs::path &path) {
  std::error_code ignored;
  return fs::is_directory(path, ignored);
}

Facts TimeFacts(int64_t seconds) { return {{"seconds", seconds}, {"text", PrintTime(seconds)}}; }

}  // namespace

OptionRow DbFolderRow(DbOptions &options) {
  return {"DIR", "the database's folder (CertCache_1 or CrlCache_1), or the one that it lies in", &options.folder,
          true};
}

OptionRow DbKindRow(DbOptions &options) {
  return {
      "--type",      "which database, where the folder's name does not say so",
      &options.kind, false,
      nullptr,       {{"cert", static_cast<int>(sxStoreKind::kCerts)}, {"crl", static_cast<int>(sxStoreKind::kCrls)}},
      "TYPE"};
}

std::optional<Db> FindDb(const DbOptions &options, bool mayBeNew, Report &report) {
  fs::path path = fs::path(options.folder).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();  // of "folder/"
  std::vector<Db> found;
  for (const sxStoreKind kind : kKinds) {
    const char *name = sxStoreFolder::NameOf(kind);
    const bool isItself = path.filename() == name;
    const fs::path parent = isItself ? path.parent_path() : path;
    const fs::path own = isItself ? path : path / name;
    const bool isNamed = isItself || options.kind == static_cast<int>(kind);
    if (options.kind != kAnyKind && options.kind != static_cast<int>(kind)) continue;
    const bool isThere = IsFolder(own) || (mayBeNew && isNamed && IsFolder(parent.empty() ? "." : parent));
    if (isThere) found.push_back({own.string(), parent.empty() ? "." : parent.string(), kind});
  }
  if (found.size() == 1) return found[0];
  report.Problem(kExitInputError, options.folder,
                 found.empty() ? "no database there" : "both databases are there: say which with --type");
  return std::nullopt;
}

bool ListDb(const Db &db, const sxStoreFolder &folder, std::vector<std::string> &files, Report &report) {
  if (folder.List(files) == 0) return true;
  report.Problem(kExitInputError, db.path, std::strerror(errno));
  return false;
}

bool CheckKey(const std::string &key, Report &report) {
  if (sxStoreFolder::IsKey(key)) return true;
  report.Problem(kExitInputError, key, "not a key: keys are file names, without a slash, and neither \".\" nor \"..\"");
  return false;
}

bool TellLookups(const std::string &folder, const std::vector<sxFailedLookup> &failed, Report &report) {
  for (const sxFailedLookup &lookup : failed) {
    report.Note(folder, std::string("record ") + lookup.key.getstr() + ", of " + VisibleLine(lookup.name.getstr()) +
                            ": " + sxStoreState_GetString(lookup.state));
  }
  return std::ranges::none_of(failed, [](const auto &row) { return row.state == sxStoreState::kUnreadable; });
}

std::string ItemName(const sxStoreItem &item) {
  if (item.cert != nullptr) return NameText(item.cert->Subject());
  sxASN_CertificateList tree;
  if (item.crl == nullptr || sxASN_DecodeBuf(tree, reinterpret_cast<const char *>(item.crl->GetBuf()),
                                             static_cast<int>(item.crl->BufLen())) != 0) {
    return "";
  }
  const sxDN issuer(tree.tbsCertList->issuer);
  return NameText(&issuer);
}

std::string ExpiryText(const sxStoreItem &item) {
  const bool hasOne = item.cert != nullptr || item.crl != nullptr || item.state == sxStoreState::kNotDecoded;
  return hasOne ? "until " + PrintTime(item.expirySec) : "";
}

Facts ItemFacts(const sxStoreItem &item) {
  Facts facts = {{"file", VisibleLine(item.file)}, {"state", sxStoreState_GetString(item.state)}};
  if (!item.key.empty()) facts["key"] = VisibleLine(item.key);
  if (!ExpiryText(item).empty()) facts["expiry"] = TimeFacts(item.expirySec);
  if (item.cert != nullptr) facts["certificate"] = CertFacts(*item.cert);
  if (item.crl != nullptr) facts["crl"] = CrlFacts(*item.crl);
  return facts;
}
