// kxcert db rm, db gc: records by their keys, and what has expired.
#include <algorithm>
#include <memory>

#include "dbFolder.h"
#include "kxcert/platform/clock.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "kxcert/store/CrlDB.h"
#include "kxcert/store/FileDB.h"
#include "report.h"
#include "visibleText.h"

namespace {

struct Options {
  DbOptions db;
  std::vector<std::string> keys;
};

// Does it with the database, whichever it is.
template <class Action>
void With(const Db &db, Action action) {
  Cert_Cache_DB certs;
  CrlDB crls;
  if (db.kind == sxStoreKind::kCerts) {
    certs.InitPath(db.parent.c_str());
    action(certs);
  } else {
    crls.InitPath(db.parent.c_str());
    action(crls);
  }
}

void Remove(const Options &options, Report &report) {
  report.Document()["removed"] = Facts::array();
  const std::optional<Db> db = FindDb(options.db, false, report);
  if (!db.has_value()) return;
  With(*db, [&](auto &database) {
    for (const std::string &key : options.keys) {
      if (!CheckKey(key, report)) continue;
      const sxStoreState state = sxStoreFolder(db->path.c_str(), db->kind).Look("rec_" + key, kxClock_Now()).state;
      if (state == sxStoreState::kGone) {
        report.Problem(kExitNo, key, "no such record");
      } else if (database.FDB()->Remove(key.c_str()) != 0) {
        report.Problem(kExitInputError, key, "cannot be removed");
      } else {
        report.Line("removed " + VisibleLine(key));
        report.Document()["removed"].push_back(VisibleLine(key));
      }
    }
  });
}

bool WasToGo(const sxStoreItem &item) {
  return item.state == sxStoreState::kExpired || item.state == sxStoreState::kTooShort ||
         item.state == sxStoreState::kLeftOver;
}

void Collect(const Options &options, Report &report) {
  const std::optional<Db> db = FindDb(options.db, false, report);
  if (!db.has_value()) return;
  const sxStoreFolder folder(db->path.c_str(), db->kind);
  std::vector<std::string> before, after, removed;
  const int64_t nowSec = kxClock_Now();
  if (!ListDb(*db, folder, before, report)) return;
  With(*db, [](auto &database) { database.GarbageCollector(); });
  if (!ListDb(*db, folder, after, report)) return;
  std::ranges::set_difference(before, after, std::back_inserter(removed));
  report.Line("removed " + Counted(removed.size(), "file") + ", left " + std::to_string(after.size()));
  report.Document()["removed"] = Facts::array();
  for (const std::string &file : removed) report.Document()["removed"].push_back(VisibleLine(file));
  report.Document()["left"] = after.size();
  for (const std::string &file : after) {
    if (WasToGo(folder.Look(file, nowSec))) report.Problem(kExitInputError, file, "cannot be removed");
  }
}

}  // namespace

Verb DbRemove() {
  const auto options = std::make_shared<Options>();
  return {
      {DbFolderRow(options->db), {"KEY", "keys as db list prints them", &options->keys, true}, DbKindRow(options->db)},
      [options](Report &report) { Remove(*options, report); }};
}

Verb DbCollect() {
  const auto options = std::make_shared<Options>();
  return {{DbFolderRow(options->db), DbKindRow(options->db)}, [options](Report &report) { Collect(*options, report); }};
}
