#include "kxcert/trust/sxcert_black_list.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "foundation/textOutput.h"
#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL_Encoder.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/clock.h"
#include "kxcert/platform/log.h"

class sxcert_black_list_imp : public sxCRL_Encoder {
 public:
  explicit sxcert_black_list_imp(int numExpected) : sxCRL_Encoder(numExpected) {}

  std::atomic<int32_t> m_refCount{1};
};

namespace {

constexpr char kTopic[] = "VALIDATE";
constexpr int kDeleteAt = 1;  // the count at which free deletes; not 0, by intent

}  // namespace

sxcert_black_list::sxcert_black_list(int numExpected) : m_imp(new sxcert_black_list_imp(numExpected)) {
  tderrorFunc(kTopic, 5, 0, "%s: reference count for %p: %d", "sxcert_black_list::sxcert_black_list",
              static_cast<void *>(this), m_imp->m_refCount.load());
}

sxcert_black_list::~sxcert_black_list() { delete m_imp; }

int sxcert_black_list::Add(const sxAsnInt &serial) {
  m_imp->AddEntry(serial, kxClock_Now());
  return 0;
}

int sxcert_black_list::AddFromString(const sxString &hex) {
  constexpr char kWhat[] = "sxcert_black_list::AddFromString";
  const int len = hex.length() / 2;
  std::vector<unsigned char> octets(static_cast<size_t>(len) + 1);  // never without a block
  const int rc = sxcert_hex_to_bin(hex.getstr(), octets.data(), len);
  if (rc != 0) {
    tderrorFunc(kTopic, 1, 0, "%s: sxcert_hex_to_bin failed. rc: %d", kWhat, rc);
    return -1;
  }
  const std::unique_ptr<sxAsnInt> serial(AsnIntFromBuf(octets.data(), len));
  if (serial == nullptr) {
    tderrorFunc(kTopic, 1, 0, "%s: AsnIntFromBuf failed.", kWhat);
    return -1;
  }
  return Add(*serial);
}

bool sxcert_black_list::IsExist(const sxCert &cert) const { return m_imp->IsEntryExist(cert); }
int sxcert_black_list::Size() const { return m_imp->GetSize(); }
void sxcert_black_list::Sprint(SxStream *out, int indent) const { m_imp->Sprint(out, indent); }
void sxcert_black_list::Fprint(FILE *out, int indent) const { sxFprintOf(*this, out, indent); }
void sxcert_black_list::Herror() const { sxHerrorOf(*this, 0); }
int sxcert_black_list::Diff(const sxcert_black_list *, const sxcert_black_list *) { return 0; }

int sxcert_black_list::save(sxcert_black_list *list) { return list != nullptr ? ++list->m_imp->m_refCount : -2; }

int sxcert_black_list::free(sxcert_black_list *list) {
  constexpr char kWhat[] = "sxcert_black_list::free";
  if (list == nullptr) return 0;
  const int count = --list->m_imp->m_refCount;
  if (count > kDeleteAt) return count;
  if (count <= 0) {
    tderrorFunc(kTopic, 3, 0, "%s: zero/negative reference count for %p: %d", kWhat, static_cast<void *>(list), count);
  }
  tderrorFunc(kTopic, 5, 0, "%s: deleting black_list: %p reference count: %d", kWhat, static_cast<void *>(list), count);
  delete list;
  return count;
}

int sxcert_hex_to_bin(const char *hex, unsigned char *out, int len) {
  constexpr char kWhat[] = "sxcert_hex_to_bin";
  if (len < 0 || hex == nullptr || out == nullptr) {
    tderrorFunc(kTopic, 1, 0, "%s: len: %d hexstr: 0x%x, bin: 0x%x", kWhat, len,
                static_cast<unsigned>(reinterpret_cast<uintptr_t>(hex)),
                static_cast<unsigned>(reinterpret_cast<uintptr_t>(out)));
    return -1;
  }
  const size_t hexLen = std::strlen(hex);
  if (hexLen != 2 * static_cast<size_t>(len)) {
    tderrorFunc(kTopic, 1, 0, "%s: improper len. strlen(hexstr): %d, while len*2: %d", kWhat, static_cast<int>(hexLen),
                len * 2);
    return -1;
  }
  for (int i = 0; i < len; ++i) {
    const char pair[3] = {hex[2 * i], hex[2 * i + 1], '\0'};
    unsigned value = 0;
    // Lenient as the conversion is ("+7", " 7"); BlackList.HexPairsReadAsScanfDoes holds it in place.
    // What it cannot convert is refused: it would stand for some other number.
    if (std::sscanf(pair, "%02x", &value) != 1) return -1;  // NOLINT(cert-err34-c): two digits do not overflow
    out[i] = static_cast<unsigned char>(value);
  }
  return 0;
}
