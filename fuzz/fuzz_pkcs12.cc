// PKCS #12: what is opened is written and opens again as the same; whatever is not says why. With the first octet 0 there is
// no password; else it is "secret".
#include <cstdint>
#include <cstring>
#include <string>

#include "check.h"
#include "kxcert/cert/pkcs12.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "kxcert/trust/pkcs12Keys.h"

namespace {

constexpr unsigned char kSecret[] = {'s', 'e', 'c', 'r', 'e', 't'};
constexpr uint64_t kMaxCheap = 2000;
constexpr size_t kMaxWritten = 8;

// What costs as much as the limits allow would be all that is ever run.
bool IsCheap(const sxPkcs12 &container) {
  bool isCheap = container.Mac().iterations <= kMaxCheap;
  const auto look = [&isCheap](const sxPkcs12Protection &protection) {
    isCheap = isCheap && protection.iterations <= kMaxCheap && protection.text.find("scrypt") == std::string::npos;
  };
  for (const sxPkcs12Safe &safe : container.Safes()) look(safe.protection);
  for (const sxPkcs12Bag &bag : container.Bags()) look(bag.protection);
  return isCheap;
}

void CheckBag(const sxPkcs12 &container, const sxPkcs12Bag &bag) {
  KX_ASSERT(bag.safe >= 0 && static_cast<size_t>(bag.safe) < container.Safes().size());
  KX_ASSERT(bag.nesting >= 0 && bag.nesting <= kMaxPkcs12SafeNesting);
  KX_ASSERT((bag.cert != nullptr) + (bag.crl != nullptr) + (bag.key != nullptr) + !bag.value.IsEmpty() <= 1);
  KX_ASSERT(bag.cert == nullptr || bag.cert->OK() == 1);
  KX_ASSERT(bag.crl == nullptr || bag.crl->OK() == 1);
  KX_ASSERT(bag.key == nullptr || (bag.key->OK() == 1 && sxPubKey_HasPrivate(bag.key) == 1));
  KX_ASSERT((bag.result == sxPkcs12_ok) == bag.why.empty());
}

// Each bag is in one place of the order, or in the chains of several keys.
void CheckOrder(const sxPkcs12 &container) {
  const sxPkcs12Order order = sxPkcs12_Order(container);
  std::vector<int> seen(container.Bags().size());
  for (const sxPkcs12Key &key : order.keys) {
    KX_ASSERT(!key.chain.empty() && seen.at(static_cast<size_t>(key.key))++ == 0);
    for (const int number : key.chain) seen.at(static_cast<size_t>(number)) = 1;
  }
  for (const std::vector<int> *rest : {&order.otherKeys, &order.otherCerts, &order.otherCrls, &order.others}) {
    for (const int number : *rest) KX_ASSERT(seen.at(static_cast<size_t>(number))++ == 0);
  }
  for (size_t i = 0; i < seen.size(); ++i) {
    KX_ASSERT(seen[i] == (container.Bags()[i].kind == sxPkcs12Kind::kSafe ? 0 : 1));
  }
}

void ExpectSame(const sxPkcs12 &container) {
  std::vector<sxPkcs12Entry> entries;
  for (const sxPkcs12Bag &bag : container.Bags()) {
    kxBinBuf der;
    // A private RSA key without its primes has no form that is written.
    const bool isWritten =
        bag.key == nullptr ? bag.cert != nullptr || bag.crl != nullptr : sxExportKeyInfo(bag.key, true, der) == 0;
    if (isWritten) entries.push_back({bag.key, bag.cert, bag.crl, bag.name});
    if (entries.size() == kMaxWritten) break;
  }
  if (entries.empty()) return;
  sxPkcs12Settings open;
  open.isOpen = true;
  kxBinBuf out;
  std::string why;
  const int result = sxPkcs12_Write(entries, open, {}, out, &why);  // reads it again and compares
  KX_ASSERT(result == sxPkcs12_ok || why.find("no UTF-8") != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  sxPkcs12 container;
  std::string why;
  const int read = container.Read({data + 1, size - 1}, &why);
  KX_ASSERT(why.starts_with(sxPkcs12_ResultText(read)) &&
            std::strcmp(sxPkcs12_ResultText(read), "unknown result") != 0);
  if (read != sxPkcs12_ok || !IsCheap(container)) return 0;
  const int opened = container.Open(data[0] == 0 ? sxPbeOctets() : sxPbeOctets(kSecret), &why);
  KX_ASSERT(why.starts_with(sxPkcs12_ResultText(opened)) && container.IsOpen() == (opened == sxPkcs12_ok));
  if (opened != sxPkcs12_ok) return 0;
  for (const sxPkcs12Bag &bag : container.Bags()) CheckBag(container, bag);
  CheckOrder(container);
  ExpectSame(container);
  return 0;
}
