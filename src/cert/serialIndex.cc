#include "serialIndex.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "kxcert/platform/random.h"

namespace {

constexpr size_t kWordLen = 8;
constexpr size_t kNumPairs = 5;  // words that are multiplied with keys of their own
constexpr size_t kMinSlots = 8;

// With the key, the octets that its reading takes.
struct HashKey {
  uint32_t words[2 * kNumPairs];
  HashKey() { sxrand_gen(reinterpret_cast<unsigned char *>(words), sizeof words); }
};

uint64_t Word(const unsigned char *octets) {
  uint64_t word = 0;
  std::memcpy(&word, octets, kWordLen);
  return word;
}

// Fewer octets than a word has.
uint64_t ShortWord(const unsigned char *octets, size_t len) {
  uint64_t word = 0;
  for (size_t i = 0; i < len; ++i) word = word << 8 | octets[i];
  return word;
}

// A product of two sums with secret numbers; sums of such products collide with odds of 1 in 2^32 whatever the
// words are, if each has a pair of its own.
uint64_t Product(const HashKey &key, size_t pair, uint64_t word) {
  const auto low = static_cast<uint32_t>(word) + key.words[2 * pair];
  const auto high = static_cast<uint32_t>(word >> 32) + key.words[2 * pair + 1];
  return uint64_t{low} * high;
}

// Of what is longer than there are pairs, the value so far goes on as a word.
class Hash {
 public:
  explicit Hash(const HashKey &key, uint64_t start) : m_key(key), m_value(Product(key, 0, start)) {}

  void Add(uint64_t word) {
    if (m_pair == kNumPairs) {
      m_value = Product(m_key, 0, Mixed());
      m_pair = 1;
    }
    m_value += Product(m_key, m_pair++, word);
  }
  // A bijection: it spreads what differs over all bits, and makes nothing equal.
  uint64_t Mixed() const {
    uint64_t value = m_value;
    value = (value ^ value >> 33) * 0xFF51AFD7ED558CCD;
    value = (value ^ value >> 33) * 0xC4CEB9FE1A85EC53;
    return value ^ value >> 33;
  }

 private:
  const HashKey &m_key;
  uint64_t m_value;
  size_t m_pair = 1;
};

}  // namespace

uint64_t sxSerialHash(const sxAsnDigits &number, const sxIssuerId *issuer) {
  static const HashKey key;
  auto left = static_cast<size_t>(number.len);
  const unsigned char *pos = number.octets;
  Hash hash(key, uint64_t{left} << 2 | (number.negative ? 2 : 0) | (issuer != nullptr ? 1 : 0));
  if (issuer != nullptr) {
    hash.Add(Word(issuer->data()));
    hash.Add(Word(issuer->data() + kWordLen));
  }
  for (; left > kWordLen; left -= kWordLen, pos += kWordLen) hash.Add(Word(pos));
  // The last word may have octets of the one before it: the length tells how many.
  const bool isLong = static_cast<size_t>(number.len) >= kWordLen;
  hash.Add(isLong ? Word(pos + left - kWordLen) : ShortWord(pos, left));
  return hash.Mixed();
}

void sxSerialIndex::Reset(size_t numEntries, size_t maxOffset) {
  // Seven octets an entry: with four slots for seven none is far from where it belongs.
  std::vector<uint32_t>(numEntries + numEntries / 4 * 3 + kMinSlots).swap(m_slots);
  m_maxEntries = numEntries;
  m_offsetMask = static_cast<uint32_t>((uint64_t{1} << std::bit_width(maxOffset)) - 1);
}
