#include "store/expiringRecords.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "kxcert/foundation/hexText.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/log.h"
#include "store/fdbCollect.h"

namespace {

constexpr char kVersion[] = "1";
constexpr size_t kExpiryLen = 4;
constexpr int kKeyDigestLen = 16;  // MD5: it spreads names over file names and protects nothing
constexpr int kKeyTextLen = 2 * kKeyDigestLen + 1;

int32_t Clamped(int64_t expirySec) {
  using Limits = std::numeric_limits<int32_t>;
  return static_cast<int32_t>(std::clamp<int64_t>(expirySec, Limits::min(), Limits::max()));
}

}  // namespace

bool sxExpiringRecord::Set(void *readBlock, int len) {
  static_assert(sizeof expirySec == kExpiryLen);
  block.reset(readBlock);
  if (readBlock == nullptr || len < static_cast<int>(kExpiryLen)) return false;
  std::memcpy(&expirySec, readBlock, kExpiryLen);
  value = static_cast<const unsigned char *>(readBlock) + kExpiryLen;
  valueLen = len - static_cast<int>(kExpiryLen);
  return true;
}

int sxExpiringRecords::InitPath(const char *func, const char *path) {
  if (path == nullptr) return tderrorFunc(m_topic, 1, 0, "%s: no path", func), -1;
  {
    const sxLock lock(m_mutex);
    m_db.reset();
    m_name = std::string(path) + "/" + m_folder;
  }
  tderrorFunc(m_topic, 4, 0, "%s: path= %s", func, path);
  return 0;
}

std::shared_ptr<FileDB> sxExpiringRecords::Open() {
  const sxLock lock(m_mutex);
  if (m_db == nullptr) { m_db = FileDB_New(m_name.empty() ? nullptr : m_name.c_str(), kVersion, m_topic, m_openFunc); }
  return m_db;
}

char *sxExpiringRecords::Key(const char *func, const std::string &text) const {
  tderrorFunc(m_topic, 4, 0, "%s: buf= %s", func, text.c_str());
  unsigned char digest[kKeyDigestLen];
  if (kx_md_hashbuf(sx_md_md5, text.c_str(), text.size() + 1, digest, kKeyDigestLen) != 0) {
    return tderrorFunc(m_topic, 1, 0, "%s: no MD5 digest", func), nullptr;
  }
  auto *key = static_cast<char *>(std::malloc(kKeyTextLen));
  if (key == nullptr) return tderrorFunc(m_topic, 1, errno, "%s: malloc", func), nullptr;
  bytes_to_string(digest, kKeyDigestLen, key, kKeyTextLen);
  tderrorFunc(m_topic, 4, 0, "%s: key= %s", func, key);
  return key;
}

int sxExpiringRecords::Store(const char *func, const char *key, const unsigned char *value, size_t valueLen,
                             int64_t expirySec) {
  if (value == nullptr || valueLen > INT32_MAX - kExpiryLen) {
    return tderrorFunc(m_topic, 1, 0, "%s: bad args", func), -1;
  }
  const size_t recordLen = kExpiryLen + valueLen;
  const std::unique_ptr<void, sxFreeBlock> record(std::malloc(recordLen));
  if (record == nullptr) return tderrorFunc(m_topic, 1, errno, "%s: malloc", func), -1;
  const int32_t expiry = Clamped(expirySec);
  std::memcpy(record.get(), &expiry, kExpiryLen);
  std::memcpy(static_cast<unsigned char *>(record.get()) + kExpiryLen, value, valueLen);
  return Open()->Store(key, record.get(), static_cast<int>(recordLen));
}

bool sxExpiringRecords::Get(const char *func, const char *key, int64_t nowSec, sxExpiringRecord *out) {
  void *block = nullptr;
  const int len = Open()->Get(key, &block);
  if (len < 0) return tderrorFunc(m_topic, 4, 0, "%s: record not found", func), false;
  if (out->Set(block, len) && nowSec < out->expirySec) return true;
  return tderrorFunc(m_topic, 4, 0, "%s: old record", func), false;
}

int sxExpiringRecords::Remove(const char *func, const char *key) {
  const int result = Open()->Remove(key);
  if (result != 0) {
    tderrorFunc(m_topic, 2, 0, "%s: fdb->Remove failed (key = %s).", func, key != nullptr ? key : "");
  }
  return result;
}

void sxExpiringRecords::CollectGarbage(const char *func) {
  const int64_t nowSec = kxClock_Now();
  if (nowSec < 0) {
    tderrorFunc(m_topic, 1, errno, "%s: time", func);
    return;
  }
  const std::shared_ptr<FileDB> held = Open();
  FileDB &db = *held;
  FileDB_SafeIter iter(db);
  while (const char *key = iter.Next()) {
    const fdb_look look(*db.m_fdb, key);
    if (IsGarbage(func, look, key, nowSec)) static_cast<void>(look.Remove());
  }
  if (db.m_fdb == nullptr || db.Lock() != 0) return;
  fdb_collect_temps(*db.m_fdb, nowSec);
  db.Unlock();
}

bool sxExpiringRecords::IsGarbage(const char *func, const fdb_look &look, const char *key, int64_t nowSec) const {
  int32_t expirySec = 0;
  const int64_t got = look.What() == fdb_look::kRecord ? look.Read(&expirySec, kExpiryLen) : -1;
  if (got >= 0) return got < static_cast<int64_t>(kExpiryLen) || expirySec <= nowSec;
  tderrorFunc(m_topic, 2, 0, "%s: fdb->Get failed (key = %s).", func, key);
  return look.What() == fdb_look::kNothing;
}

int sxExpiringRecords::Destroy() {
  const std::shared_ptr<FileDB> db = Open();
  const int result = db->Destroy();
  const sxLock lock(m_mutex);
  if (m_db == db) m_db.reset();
  return result;
}
