// CRLs: decoded with their index, decoded and verified, asked, made and signed. Serial numbers have 16 octets; every
// second list has a reason with each entry.
#include <malloc.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/serialNumber.h"
#include "kxcert/cert/sxCRL_Encoder.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/keys/kxECDSA.h"
#include "support.h"

namespace {

constexpr int kSerialLen = 16;
constexpr int64_t kTime = 1893456000;  // 2030-01-01 00:00 UTC
constexpr size_t kNumAsked = 1 << 16;

struct Keys {
  std::shared_ptr<EVP_PKEY> theirs{EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"), EVP_PKEY_free};
  sxPubKey *ours = nullptr;  // for the process
  Keys() {
    unsigned char *der = nullptr;
    const int len = i2d_PrivateKey(theirs.get(), &der);
    ours = sxImportECDSAKey(sxPK_private, der, len, 0);
    OPENSSL_free(der);
  }
};
const Keys &TheKeys() {
  static const Keys keys;
  return keys;
}

// Numbers that a CA might draw; positive.
void NumberOf(uint64_t seed, unsigned char *serial) {
  std::mt19937_64 random(seed);
  for (int i = 0; i < kSerialLen; i += 8) {
    const uint64_t word = random();
    std::memcpy(serial + i, &word, sizeof word);
  }
  serial[0] = static_cast<unsigned char>((serial[0] & 0x3F) | 0x40);
}

struct List {
  Octets der;
  std::unique_ptr<sxCRL_Encoder> encoder;
};

// Made at the first use, so that those that are not asked for cost nothing.
const List &TheList(int numEntries, bool withReasons) {
  static std::map<std::pair<int, bool>, List> lists;
  List &list = lists[{numEntries, withReasons}];
  if (list.encoder != nullptr) return list;
  list.encoder = std::make_unique<sxCRL_Encoder>(numEntries);
  list.encoder->SetIssuer(sxDN("CN=Bench CA,O=Example"));
  list.encoder->SetThisUpdate(kTime);
  list.encoder->SetNextUpdate(kTime + 86400);
  const sxAsnInt number(7);
  list.encoder->SetNumber(&number);
  unsigned char serial[kSerialLen];
  sxRevokedEntry entry;
  entry.serial = serial;
  entry.serialLen = kSerialLen;
  entry.revokedSec = kTime - 1000;
  if (withReasons) entry.reason = sxCrlReason_superseded;
  for (int i = 0; i < numEntries; ++i) {
    NumberOf(static_cast<uint64_t>(i), serial);
    list.encoder->AddEntry(entry);
  }
  sxCRL *const crl = list.encoder->Encode(TheKeys().ours, sx_md_sha256);
  list.der.assign(crl->GetBuf(), crl->GetBuf() + crl->BufLen());
  sxCRL_Free(crl);
  return list;
}

double HeapBytes() {
  const auto info = mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

void DecodeOurs(benchmark::State &state, int numEntries, bool withReasons, bool verify) {
  const Octets &der = TheList(numEntries, withReasons).der;
  const double before = HeapBytes();
  sxCRL *const kept = sxCRL_Decode(der.data(), static_cast<int>(der.size()));
  state.counters["beyond/entry"] = (HeapBytes() - before - static_cast<double>(der.size())) / numEntries;
  sxCRL_Free(kept);
  for (auto _ : state) {
    sxCRL *const crl = sxCRL_Decode(der.data(), static_cast<int>(der.size()));
    if (crl == nullptr || (verify && crl->VerifySig(TheKeys().ours) != 0)) state.SkipWithError("no good CRL");
    sxCRL_Free(crl);
  }
}

X509_CRL *Theirs(const Octets &der) {
  const unsigned char *pos = der.data();
  return d2i_X509_CRL(nullptr, &pos, static_cast<long>(der.size()));
}

void DecodeTheirs(benchmark::State &state, int numEntries, bool withReasons, bool verify) {
  const Octets &der = TheList(numEntries, withReasons).der;
  const double before = HeapBytes();
  X509_CRL *const kept = Theirs(der);
  state.counters["beyond/entry"] = (HeapBytes() - before - static_cast<double>(der.size())) / numEntries;
  X509_CRL_free(kept);
  for (auto _ : state) {
    X509_CRL *const crl = Theirs(der);
    if (crl == nullptr || (verify && X509_CRL_verify(crl, TheKeys().theirs.get()) != 1))
      state.SkipWithError("no good CRL");
    X509_CRL_free(crl);
  }
}

// Those of the list in no order, or numbers that it has not.
std::vector<Octets> Asked(int numEntries, bool present) {
  std::mt19937 random(1);
  std::vector<Octets> asked(kNumAsked, Octets(kSerialLen));
  for (Octets &serial : asked) {
    const uint64_t seed = random() % static_cast<uint64_t>(numEntries);
    NumberOf(present ? seed : seed + (uint64_t{1} << 40), serial.data());
  }
  return asked;
}

void FindOurs(benchmark::State &state, int numEntries, bool present) {
  const Octets &der = TheList(numEntries, false).der;
  sxCRL *const crl = sxCRL_Decode(der.data(), static_cast<int>(der.size()));
  std::vector<sxAsnInt> numbers;
  for (const Octets &serial : Asked(numEntries, present)) {
    numbers.push_back(*std::unique_ptr<sxAsnInt>(AsnIntFromBuf(serial.data(), kSerialLen)));
  }
  size_t i = 0;
  for (auto _ : state) {
    sxRevokedEntry entry;
    if (crl->FindEntry(nullptr, numbers[i++ % kNumAsked], &entry) != present) state.SkipWithError("wrong answer");
    benchmark::DoNotOptimize(entry);
  }
  sxCRL_Free(crl);
}

void FindTheirs(benchmark::State &state, int numEntries, bool present) {
  X509_CRL *const crl = Theirs(TheList(numEntries, false).der);
  std::vector<std::shared_ptr<ASN1_INTEGER>> numbers;
  for (const Octets &serial : Asked(numEntries, present)) {
    const std::shared_ptr<BIGNUM> number(BN_bin2bn(serial.data(), kSerialLen, nullptr), BN_free);
    numbers.emplace_back(BN_to_ASN1_INTEGER(number.get(), nullptr), ASN1_INTEGER_free);
  }
  X509_REVOKED *found = nullptr;
  X509_CRL_get0_by_serial(crl, &found, numbers[0].get());  // sorts
  size_t i = 0;
  for (auto _ : state) {
    if ((X509_CRL_get0_by_serial(crl, &found, numbers[i++ % kNumAsked].get()) == 1) != present) {
      state.SkipWithError("wrong answer");
    }
  }
  X509_CRL_free(crl);
}

void SignOurs(benchmark::State &state, int numEntries) {
  const List &list = TheList(numEntries, false);
  for (auto _ : state) {
    sxCRL *const crl = list.encoder->Encode(TheKeys().ours, sx_md_sha256);
    if (crl == nullptr) state.SkipWithError("not signed");
    sxCRL_Free(crl);
  }
}

// Encodes what was decoded, and nothing is looked at afterwards.
void SignTheirs(benchmark::State &state, int numEntries) {
  X509_CRL *const crl = Theirs(TheList(numEntries, false).der);
  for (auto _ : state) {
    if (X509_CRL_sign(crl, TheKeys().theirs.get(), EVP_sha256()) <= 0) state.SkipWithError("not signed");
  }
  X509_CRL_free(crl);
}

template <class Run, class... Args>
void Register(const std::string &group, Run ours, Run theirs, Args... args) {
  benchmark::RegisterBenchmark((group + "/libcrypto").c_str(), theirs, args...)->Unit(benchmark::kMicrosecond);
  benchmark::RegisterBenchmark((group + "/ours").c_str(), ours, args...)->Unit(benchmark::kMicrosecond);
}

const int kRegistered = [] {
  for (const int num : {100000, 1000000}) {
    const std::string size = std::to_string(num);
    Register("crl-decode/" + size, DecodeOurs, DecodeTheirs, num, false, false);
    Register("crl-decode/" + size + "-reasons", DecodeOurs, DecodeTheirs, num, true, false);
    Register("crl-decode-verify/" + size, DecodeOurs, DecodeTheirs, num, false, true);
    Register("crl-find-present/" + size, FindOurs, FindTheirs, num, true);
    Register("crl-find-absent/" + size, FindOurs, FindTheirs, num, false);
    Register("crl-encode-sign/" + size, SignOurs, SignTheirs, num);
  }
  return 0;
}();

}  // namespace
