#include "kxcert/foundation/base64.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstring>

#include "kxcert/platform/secureMemory.h"
#include "platform/owned.h"

namespace {

// What is handed out stands behind its length, so that it can be wiped: it may be a key.
constexpr size_t kHeadLen = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
static_assert(kHeadLen >= sizeof(size_t));

unsigned char *NewBuffer(size_t len) {
  auto *const head = new unsigned char[kHeadLen + len];
  std::memcpy(head, &len, sizeof len);
  return head + kHeadLen;
}

using Buffer = sxOwned<unsigned char, Base64FreeBuffer>;

constexpr size_t kLineOctets = 48;  // make 64 characters
constexpr int kGroupChars = 4;
constexpr int kGroupOctets = 3;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

int DigitValue(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  return c == '/' ? 63 : -1;
}

// Takes characters one by one and gives octets for each whole group.
class GroupReader {
 public:
  // False when the character cannot stand here.
  bool Take(char c, unsigned char **out) {
    if (m_ended) return false;
    if (c == '=') {
      if (m_numChars < 2) return false;
      ++m_numPads;
    } else {
      const int digit = DigitValue(c);
      if (digit < 0 || m_numPads != 0) return false;
      m_bits |= static_cast<unsigned>(digit) << (6 * (kGroupChars - 1 - m_numChars));
    }
    if (++m_numChars == kGroupChars) return EndGroup(out);
    return true;
  }
  bool AtGroupStart() const { return m_numChars == 0; }

 private:
  bool EndGroup(unsigned char **out) {
    const int numOctets = kGroupOctets - m_numPads;
    // Bits below the last octet would let several texts stand for the same octets.
    if ((m_bits & ((1U << (8 * m_numPads)) - 1)) != 0) return false;
    for (int i = 0; i < numOctets; ++i) *(*out)++ = static_cast<unsigned char>(m_bits >> (16 - 8 * i));
    m_ended = m_numPads != 0;
    m_bits = 0;
    m_numChars = 0;
    m_numPads = 0;
    return true;
  }

  unsigned m_bits = 0;  // of the group so far, the first character highest
  int m_numChars = 0;
  int m_numPads = 0;
  bool m_ended = false;  // a padded group is the last one
};

}  // namespace

char *Base64Encode(const unsigned char *data, int dataLen) {
  if (dataLen < 0 || (data == nullptr && dataLen != 0)) return nullptr;
  const size_t len = static_cast<size_t>(dataLen);
  const size_t numGroups = (len + kGroupOctets - 1) / kGroupOctets;
  const size_t numLines = (len + kLineOctets - 1) / kLineOctets;
  Buffer text(NewBuffer(numGroups * kGroupChars + numLines + 1));
  unsigned char *out = text.get();
  for (size_t pos = 0; pos < len; pos += kLineOctets) {
    // EVP_EncodeBlock adds a NUL, which the line feed then replaces.
    out += EVP_EncodeBlock(out, data + pos, static_cast<int>(std::min(kLineOctets, len - pos)));
    *out++ = '\n';
  }
  *out = '\0';
  return reinterpret_cast<char *>(text.release());
}

unsigned char *Base64Decode(const char *text, int textLen, int *dataLen) {
  if (dataLen == nullptr) return nullptr;
  *dataLen = 0;
  if (text == nullptr || textLen < 0) return nullptr;
  const size_t numGroups = static_cast<size_t>(textLen) / kGroupChars;
  Buffer octets(NewBuffer(numGroups * kGroupOctets + 1));  // never of length 0
  unsigned char *out = octets.get();
  GroupReader reader;
  for (int i = 0; i < textLen; ++i) {
    if (!IsBlank(text[i]) && !reader.Take(text[i], &out)) return nullptr;
  }
  if (!reader.AtGroupStart()) return nullptr;
  *dataLen = static_cast<int>(out - octets.get());
  return octets.release();
}

void Base64FreeBuffer(void *buffer) {
  if (buffer == nullptr) return;
  unsigned char *const head = static_cast<unsigned char *>(buffer) - kHeadLen;
  size_t len = 0;
  std::memcpy(&len, head, sizeof len);
  KX_memset(buffer, len);
  delete[] head;
}
