// The memory of answers. Parts with a lock each, so that threads seldom meet; under a lock nothing is copied but a
// pointer, nothing is verified, and nothing is destroyed.
#include <atomic>
#include <list>
#include <unordered_map>

#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/trust/ocsp.h"
#include "platform/guarded.h"
#include "trust/revocation/ocspCertId.h"

namespace {

constexpr size_t kMaxShards = 16;
constexpr size_t kEntriesForShards = 256;  // fewer are one part, so that their bound is what was said
constexpr size_t kDefaultEntries = 4096;
constexpr size_t kDefaultOctets = size_t{16} << 20;

using Key = std::array<unsigned char, 32>;

struct HashOfKey {
  size_t operator()(const Key &key) const {
    size_t word = 0;
    std::memcpy(&word, key.data(), sizeof word);
    return word;
  }
};

struct Entry {
  Key key;
  sxOcspAnswer answer;
  sxOcspKept octets;
};
using EntryRef = std::shared_ptr<const Entry>;

struct Shard {
  sxMutex mutex;
  std::list<EntryRef> entries GUARDED_BY(mutex);  // most recently used first
  std::unordered_map<Key, std::list<EntryRef>::iterator, HashOfKey> table GUARDED_BY(mutex);
  size_t numOctets GUARDED_BY(mutex) = 0;

  void MoveOut(std::list<EntryRef>::iterator entry, std::list<EntryRef> *leaving) REQUIRES(mutex) {
    numOctets -= (*entry)->octets->size();
    table.erase((*entry)->key);
    leaving->splice(leaving->end(), entries, entry);
  }
};

struct Memory {
  Shard shards[kMaxShards];
  std::atomic<size_t> maxEntries{kDefaultEntries};
  std::atomic<size_t> maxOctets{kDefaultOctets};
  std::atomic<uint64_t> hits{0};
  std::atomic<uint64_t> misses{0};

  size_t NumShards() const { return maxEntries < kEntriesForShards ? 1 : kMaxShards; }
  Shard &Of(const Key &key) { return shards[key.back() % NumShards()]; }
};

Memory &TheMemory() {
  static auto *const memory = new Memory;  // asked until the process ends
  return *memory;
}

// Issuer's key, whom else the asker believes, issuer's name, serial number: all but the last one say where they end.
// @param configured  null: what the issuer or its delegate signed
// @return false: such a certificate is not remembered
bool MakeKey(const sxCert &cert, const sxCert &issuer, const sxCert *configured, Key *key) {
  unsigned char *name = nullptr;
  int nameLen = 0, serialLen = 0;
  const unsigned char *const serial = cert.SerialNum(serialLen);
  const unsigned char *const keyHash = issuer.PubKey()->PublicKeyHash();
  if (keyHash == nullptr || cert.Issuer()->DerEncode(&name, &nameLen) != 0) return false;
  std::vector<unsigned char> all(keyHash, keyHash + kPublicKeyHashLen);
  if (configured != nullptr) {
    const sxOcspDigest digest = sxOcspDigestOf(sx_md_sha256, {configured->GetBuf(), configured->BufLen()});
    all.insert(all.end(), digest.View().begin(), digest.View().end());
  }
  all.insert(all.end(), name, name + nameLen);
  all.insert(all.end(), serial, serial + serialLen);
  return kx_md_hashbuf(sx_md_sha256, all.data(), all.size(), key->data(), static_cast<int>(key->size())) == 0;
}

bool IsWhole(const sxOcspQuestion &question) {
  return question.cert != nullptr && question.issuer != nullptr && question.cert->OK() != 0 &&
         question.issuer->OK() != 0;
}

EntryRef Find(const Key &key) {
  Shard &shard = TheMemory().Of(key);
  const sxLock lock(shard.mutex);
  const auto found = shard.table.find(key);
  if (found == shard.table.end()) return nullptr;
  shard.entries.splice(shard.entries.begin(), shard.entries, found->second);
  return *found->second;
}

// Whether it takes the place of the other one.
bool IsNewer(const sxOcspAnswer &answer, const sxOcspAnswer &old) {
  if (answer.thisUpdateSec != old.thisUpdateSec) return answer.thisUpdateSec > old.thisUpdateSec;
  return answer.result == sxOcsp_revoked || old.result != sxOcsp_revoked;
}

// @return the one that is there afterwards
EntryRef Keep(const EntryRef &entry) {
  Memory &memory = TheMemory();
  const size_t numShards = memory.NumShards();
  const size_t maxEntries = memory.maxEntries / numShards, maxOctets = memory.maxOctets / numShards;
  if (maxEntries == 0 || entry->octets->size() > maxOctets) return entry;
  std::list<EntryRef> leaving, added{entry};  // what goes, goes after the lock
  Shard &shard = memory.Of(entry->key);
  const sxLock lock(shard.mutex);
  if (const auto found = shard.table.find(entry->key); found != shard.table.end()) {
    if (!IsNewer(entry->answer, (*found->second)->answer)) return *found->second;
    shard.MoveOut(found->second, &leaving);
  }
  shard.table[entry->key] = added.begin();
  shard.entries.splice(shard.entries.begin(), added);
  shard.numOctets += entry->octets->size();
  while (shard.entries.size() > maxEntries || shard.numOctets > maxOctets) {
    shard.MoveOut(std::prev(shard.entries.end()), &leaving);
  }
  return entry;
}

// What an entry says at the time of the question; false: nothing.
bool Answers(const Entry &entry, const sxOcspQuestion &question, sxOcspAnswer *answer) {
  if (question.policy.nonce == sxOcspNonce::kRequire && !entry.answer.hadNonce) return false;
  sxOcspAnswer copy = entry.answer;
  if (sxOcsp_JudgeTime(copy, question.policy, question.timeSec) < sxOcsp_good) return false;
  *answer = std::move(copy);
  return true;
}

bool FindFor(const sxOcspQuestion &question, const sxCert *configured, sxOcspAnswer *answer, sxOcspKept *octets) {
  Key key;
  if (!MakeKey(*question.cert, *question.issuer, configured, &key)) return false;
  const EntryRef found = Find(key);
  if (found == nullptr || !Answers(*found, question, answer)) return false;
  if (octets != nullptr) *octets = found->octets;
  return true;
}

}  // namespace

bool sxOcspMemory_Find(const sxOcspQuestion &question, sxOcspAnswer *answer, sxOcspKept *octets) {
  Memory &memory = TheMemory();
  if (answer == nullptr || !IsWhole(question) || memory.maxEntries == 0) return false;
  const bool isFound = (question.responder != nullptr && FindFor(question, question.responder, answer, octets)) ||
                       FindFor(question, nullptr, answer, octets);
  (isFound ? memory.hits : memory.misses).fetch_add(1, std::memory_order_relaxed);
  return isFound;
}

sxOcspAnswer sxOcspMemory_Take(const unsigned char *octets, size_t len, const sxOcspQuestion &question,
                               sxOcspKept *kept) {
  sxOcspAnswer answer = sxOcsp_Judge(octets, len, question);
  if (answer.result < sxOcsp_good) return answer;
  const auto own = std::make_shared<const std::vector<unsigned char>>(octets, octets + len);
  if (kept != nullptr) *kept = own;
  if (answer.result == sxOcsp_unknown) return answer;
  Key key;
  const bool isByConfigured = answer.signer == sxOcspSigner::kConfigured;
  if (!MakeKey(*question.cert, *question.issuer, isByConfigured ? question.responder : nullptr, &key)) return answer;
  const EntryRef entry = std::make_shared<Entry>(Entry{key, answer, own});
  const EntryRef there = Keep(entry);
  if (there != entry && Answers(*there, question, &answer) && kept != nullptr) *kept = there->octets;
  return answer;
}

void sxOcspMemory_SetLimits(size_t maxEntries, size_t maxOctets) {
  Memory &memory = TheMemory();
  memory.maxEntries = maxOctets == 0 ? 0 : maxEntries;
  memory.maxOctets = maxOctets;
  sxOcspMemory_Clear();
}

void sxOcspMemory_Clear() {
  for (Shard &shard : TheMemory().shards) {
    std::list<EntryRef> leaving;
    const sxLock lock(shard.mutex);
    leaving.swap(shard.entries);
    shard.table.clear();
    shard.numOctets = 0;
  }
}

sxOcspMemoryStats sxOcspMemory_Stats() {
  Memory &memory = TheMemory();
  sxOcspMemoryStats stats = {memory.hits, memory.misses, 0, 0};
  for (Shard &shard : memory.shards) {
    const sxLock lock(shard.mutex);
    stats.entries += shard.entries.size();
    stats.octets += shard.numOctets;
  }
  return stats;
}
