// kxcert db list, db show: what is in a database.
#include <memory>

#include "dbFolder.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/clock.h"
#include "report.h"
#include "timeText.h"
#include "visibleText.h"

namespace {

constexpr char kRecordPrefix[] = "rec_";
constexpr int kIndent = 1;  // TABs under the line that names the record

struct Options {
  DbOptions db;
  std::vector<std::string> keys;
};

std::string StateText(const sxStoreItem &item) {
  return item.state == sxStoreState::kGood ? "" : std::string("[") + sxStoreState_GetString(item.state) + "] ";
}

void List(const Options &options, Report &report) {
  report.Document()["records"] = Facts::array();
  const std::optional<Db> db = FindDb(options.db, false, report);
  if (!db.has_value()) return;
  const sxStoreFolder folder(db->path.c_str(), db->kind);
  std::vector<std::string> files;
  if (!ListDb(*db, folder, files, report)) return;
  const int64_t now = kxClock_Now();
  size_t numRecords = 0;
  for (const std::string &file : files) {
    const sxStoreItem item = folder.Look(file, now);
    if (item.state == sxStoreState::kUnreadable) report.Worsen(kExitInputError);
    const bool isNone = item.state == sxStoreState::kGone || item.state == sxStoreState::kForeign;
    if (item.key.empty() || isNone) continue;
    ++numRecords;
    report.Line(VisibleLine(item.key) + "  " + ExpiryText(item) + "  " + StateText(item) + ItemName(item));
    report.Document()["records"].push_back(ItemFacts(item));
  }
  report.Line(Counted(numRecords, "record"));
}

std::string ObjectText(const sxStoreItem &item) {
  SxStream text;
  if (item.cert != nullptr) item.cert->Sprint(&text, sxCert_full, kIndent);
  if (item.crl != nullptr) item.crl->Sprint(&text, kIndent);
  return InUtc(TrimEnd(text.Text()));
}

void ShowKey(const std::string &key, const sxStoreFolder &folder, Report &report) {
  const sxStoreItem item = folder.Look(kRecordPrefix + key, kxClock_Now());
  if (item.state == sxStoreState::kGone) return report.Problem(kExitNo, key, "no such record");
  const bool isReadable = item.state != sxStoreState::kUnreadable && item.state != sxStoreState::kForeign;
  if (!isReadable) return report.Problem(kExitInputError, key, sxStoreState_GetString(item.state));
  const std::string text = ObjectText(item);
  report.Line(VisibleLine(key) + ": " + StateText(item) + ExpiryText(item));
  if (!text.empty()) report.Line(text);
  Facts facts = ItemFacts(item);
  facts["text"] = VisibleText(text);
  report.Document()["records"].push_back(std::move(facts));
}

void Show(const Options &options, Report &report) {
  report.Document()["records"] = Facts::array();
  const std::optional<Db> db = FindDb(options.db, false, report);
  if (!db.has_value()) return;
  const sxStoreFolder folder(db->path.c_str(), db->kind);
  for (const std::string &key : options.keys) {
    if (CheckKey(key, report)) ShowKey(key, folder, report);
  }
}

}  // namespace

Verb DbList() {
  const auto options = std::make_shared<Options>();
  return {{DbFolderRow(options->db), DbKindRow(options->db)}, [options](Report &report) { List(*options, report); }};
}

Verb DbShow() {
  const auto options = std::make_shared<Options>();
  return {
      {DbFolderRow(options->db), {"KEY", "keys as db list prints them", &options->keys, true}, DbKindRow(options->db)},
      [options](Report &report) { Show(*options, report); }};
}
