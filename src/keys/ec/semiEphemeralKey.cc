// Key pairs that exchanges share for some seconds.
#include <map>

#include "curves.h"
#include "keys/libcryptoTypes.h"
#include "kxcert/keys/kxECDH.h"
#include "kxcert/keys/kxECDSA.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"
#include "platform/guarded.h"

std::atomic<unsigned int> max_ephemeral_ec_key_age{10};

namespace {

constexpr const char *kFunc = "EC_KEY_new_semi_ephemeral";

struct Entry {
  sxMutex mutex;  // held while a pair is made: those that wait for it want that very pair
  EcKey key GUARDED_BY(mutex);
  unsigned int createdSec GUARDED_BY(mutex) = 0;
};

// The map's own lock is held for a look-up only, so that no curve waits for another one's pair. Entries
// keep their addresses, and are never destroyed: threads may outlive main.
Entry *FindEntry(int curveNid) {
  static sxMutex mutex;
  static auto *const entries = new std::map<int, Entry>;
  if (FindCurve(curveNid) == nullptr) return nullptr;
  const sxLock lock(mutex);
  return &(*entries)[curveNid];
}

// libcrypto made it, so it needs no check of what foreign keys may get wrong.
EcKey NewPair(int curveNid) {
  const ErrorQueueMark mark;
  EcKey key(EC_KEY_by_nid_with_precompute(curveNid));
  if (key != nullptr && EC_KEY_generate_key(key.get()) == 1) return key;
  tderrorFunc("ec", 1, 0, "%s: key-pair generation failed", kFunc);
  return nullptr;
}

}  // namespace

void set_max_ephemeral_ec_key_age(unsigned int ageSec) { max_ephemeral_ec_key_age = ageSec; }

EC_KEY *EC_KEY_new_semi_ephemeral(int curveNid, bool *isShared) {
  bool unused = false;
  if (isShared == nullptr) isShared = &unused;
  *isShared = false;
  const unsigned int maxAgeSec = max_ephemeral_ec_key_age;
  if (maxAgeSec == 0) return NewPair(curveNid).release();
  Entry *const entry = FindEntry(curveNid);
  if (entry == nullptr) {
    tderrorFunc("ec", 1, 0, "%s: Could not allocate entry", kFunc);
    return nullptr;
  }
  const auto nid = static_cast<unsigned int>(curveNid);
  const sxLock lock(entry->mutex);
  // Read under the lock: a time from before a pair that another thread just made would look like a
  // great age.
  const auto nowSec = static_cast<unsigned int>(kxClock_Now());
  if (entry->key == nullptr) {
    tderrorFunc("ec", 5, 0, "%s: Semi-ephemeral key not yet available for NID %u. Allocating", kFunc, nid);
  } else if (const unsigned int ageSec = nowSec - entry->createdSec; ageSec > maxAgeSec) {
    tderrorFunc("ec", 5, 0, "%s: Semi-ephemeral key for NID %u has expired. Generated %u seconds ago.", kFunc, nid,
                ageSec);
    entry->key.reset();
  }
  if (entry->key == nullptr) {
    entry->key = NewPair(curveNid);
    entry->createdSec = nowSec;
  }
  if (entry->key == nullptr || EC_KEY_up_ref(entry->key.get()) != 1) return nullptr;
  *isShared = true;
  return entry->key.get();
}
