#include "kxcert/store/storeFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/store/Cert_Cache_DB.h"
#include "store/expiringRecords.h"
#include "store/fdbCollect.h"

namespace {

constexpr int kMaxLooks = 3;          // at a name whose file is replaced again and again
constexpr size_t kMaxFileName = 255;  // of Linux

struct StateRow {
  sxStoreState state;
  const char *text;
  bool isUseless;
};
constexpr StateRow kStates[] = {
    {sxStoreState::kGood, "good", false},
    {sxStoreState::kOtherKey, "under another name's key", false},
    {sxStoreState::kUnreadable, "cannot be read", false},
    {sxStoreState::kForeign, "no file of a database", false},
    {sxStoreState::kTemporary, "temporary of a store that may be in progress", false},
    {sxStoreState::kGone, "gone", false},
    {sxStoreState::kExpired, "expired", true},
    {sxStoreState::kTooShort, "too short", true},
    {sxStoreState::kNotDecoded, "does not decode", true},
    {sxStoreState::kDangling, "link to nowhere", true},
    {sxStoreState::kLeftOver, "left over by a store that did not end", true},
};

const StateRow &RowOf(sxStoreState state) {
  return *std::ranges::find_if(kStates, [state](const StateRow &row) { return row.state == state; });
}

bool IsUnderItsKey(const sxCert &cert, const std::string &key) {
  static const auto *const db = new Cert_Cache_DB;  // without a folder: for its rule of keys
  const std::unique_ptr<char, sxFreeBlock> own(cert.Subject() != nullptr ? db->Key(*cert.Subject()) : nullptr);
  return own != nullptr && key == own.get();
}

sxStoreState Decode(sxStoreKind kind, const sxExpiringRecord &record, sxStoreItem &item) {
  if (kind == sxStoreKind::kCrls) {
    item.crl = {sxCRL_Decode(record.value, record.valueLen), sxFreeBy<sxCRL_Free>()};
    return item.crl != nullptr ? sxStoreState::kGood : sxStoreState::kNotDecoded;
  }
  item.cert = {sxCert_Decode(record.value, record.valueLen), sxFreeBy<sxCert_Free>()};
  if (item.cert == nullptr) return sxStoreState::kNotDecoded;
  return IsUnderItsKey(*item.cert, item.key) ? sxStoreState::kGood : sxStoreState::kOtherKey;
}

// What can be said without its octets, or kGood.
sxStoreState StateOfFile(const fdb_look &look) {
  if (!look.IsThere()) return look.Error() == ENOENT ? sxStoreState::kGone : sxStoreState::kUnreadable;
  const bool isRegular = look.Info().isRegular;
  const bool isSpecial = look.Error() == ENXIO || look.Error() == EISDIR;  // or leads to something that is
  if (!isRegular && (isSpecial || look.What() == fdb_look::kRecord)) return sxStoreState::kForeign;
  if (look.What() == fdb_look::kNothing) return sxStoreState::kDangling;
  return look.What() == fdb_look::kUnknown ? sxStoreState::kUnreadable : sxStoreState::kGood;
}

sxStoreState ReadRecord(const fdb_look &look, sxStoreKind kind, int64_t nowSec, sxStoreItem &item) {
  if (const sxStoreState state = StateOfFile(look); state != sxStoreState::kGood) return state;
  const size_t maxLen = kind == sxStoreKind::kCerts ? kMaxStoredCertLen : kMaxStoredCrlLen;
  if (look.Info().size > static_cast<int64_t>(maxLen)) return sxStoreState::kUnreadable;
  const auto len = static_cast<size_t>(look.Info().size);
  void *const block = std::malloc(len + 1);  // one that is empty has a block, too
  const int64_t got = block != nullptr ? look.Read(block, len) : -1;
  sxExpiringRecord record;
  if (!record.Set(block, static_cast<int>(got))) return got < 0 ? sxStoreState::kUnreadable : sxStoreState::kTooShort;
  item.expirySec = record.expirySec;
  item.valueLen = static_cast<size_t>(record.valueLen);
  const sxStoreState state = Decode(kind, record, item);
  const bool isLate = record.expirySec <= nowSec;
  return isLate && state != sxStoreState::kNotDecoded ? sxStoreState::kExpired : state;
}

}  // namespace

const char *sxStoreState_GetString(sxStoreState state) { return RowOf(state).text; }

sxStoreFolder::sxStoreFolder(const char *folder, sxStoreKind kind)
    : m_kind(kind), m_db(new fdb_handle{folder != nullptr ? folder : "", 1, {}}) {}
sxStoreFolder::~sxStoreFolder() = default;

const char *sxStoreFolder::NameOf(sxStoreKind kind) {
  return kind == sxStoreKind::kCerts ? "CertCache_1" : "CrlCache_1";
}

bool sxStoreFolder::IsKey(const std::string &key) {
  const bool fits = !key.empty() && key.size() <= kMaxFileName - (sizeof kFdbRecordPrefix - 1);
  return fits && key != "." && key != ".." && key.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

int sxStoreFolder::List(std::vector<std::string> &files) const {
  files.clear();
  kxDir *const dir = kxDir_Open(m_db->path.c_str());
  if (dir == nullptr) return -1;
  while (const char *name = kxDir_Next(dir)) {
    if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) files.emplace_back(name);
  }
  const int err = errno;
  kxDir_Close(dir);
  std::ranges::sort(files);
  errno = err;
  return err == 0 ? 0 : -1;
}

sxStoreItem sxStoreFolder::Look(const std::string &file, int64_t nowSec) const { return Visit(file, nowSec, nullptr); }

sxStoreItem sxStoreFolder::Repair(const std::string &file, int64_t nowSec, bool &removed) const {
  removed = false;
  return Visit(file, nowSec, &removed);
}

// Removes what is useless where @p removed is not null.
sxStoreItem sxStoreFolder::Visit(const std::string &file, int64_t nowSec, bool *removed) const {
  sxStoreItem item;
  item.file = file;
  constexpr size_t kPrefixLen = sizeof kFdbRecordPrefix - 1;
  const std::string key = file.starts_with(kFdbRecordPrefix) ? file.substr(kPrefixLen) : "";
  if (!IsKey(key)) {
    VisitTemp(nowSec, item, removed);
    return item;
  }
  item.key = key;
  for (int looks = 0; looks < kMaxLooks; ++looks) {
    const fdb_look look(*m_db, key.c_str());
    item.state = ReadRecord(look, m_kind, nowSec, item);
    if (removed != nullptr && RowOf(item.state).isUseless) *removed = look.Remove() == 0;
    if (item.state != sxStoreState::kUnreadable) break;
  }
  return item;
}

void sxStoreFolder::VisitTemp(int64_t nowSec, sxStoreItem &item, bool *removed) const {
  if (!fdb_is_temp_name(item.file)) return;
  const std::string path = m_db->path + "/" + item.file;
  kxFileInfo info;
  if (kxFile_Info(path.c_str(), &info) != 0) {
    item.state = errno == ENOENT ? sxStoreState::kGone : sxStoreState::kUnreadable;
  } else if (info.isRegular) {
    const bool isOld = info.modifiedSec < nowSec - kFdbTempLifeSec;
    item.state = isOld ? sxStoreState::kLeftOver : sxStoreState::kTemporary;
    if (isOld && removed != nullptr) *removed = kxFile_Remove(path.c_str()) == 0;
  }
}
