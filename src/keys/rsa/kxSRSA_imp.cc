#include "kxSRSA_imp.h"

#include <cstring>

#include "keys/keyGate.h"
#include "keys/keyOctets.h"
#include "kxcert/keys/kxSRSA.h"
#include "kxcert/keys/pkcs1.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"
#include "rsaKey.h"

namespace {

constexpr int kMaxRsaBytes = kMaxRsaBits / 8;

// A block on the stack, wiped when it goes.
struct SecretBlock {
  ~SecretBlock() { KX_memset(octets, sizeof octets); }
  unsigned char octets[kMaxRsaBytes];
};

}  // namespace

kxSRSA_imp::kxSRSA_imp(RSA *rsa) : m_rsa(rsa) {
  if (kxRSA_is_ok(rsa) == 0) m_rsa.reset();
}

kxSRSA_imp::kxSRSA_imp(sxPK_Format format, const unsigned char *data, int dataLen) {
  if (format != sxPK_public && format != sxPK_private) return;
  bool isDer = false;
  m_rsa = ReadRsaKey(data, dataLen, format == sxPK_private, &isDer);
  if (m_rsa != nullptr && isDer) m_publicDer.assign(data, data + dataLen);
}

int kxSRSA_imp::Flags() const { return KeyFlags(OK() != 0, HasPrivate()); }

int kxSRSA_imp::Encrypt(sxPKop_type, const unsigned char *in, int inLen, unsigned char *out, int outLen) {
  const KeyGate gate{"kxSRSA_imp::Encrypt", OK() != 0, true, Nbytes(), "kxSRSA_imp::Encrypt length to short"};
  if (const int answer = PassGate(gate, sxView(in, inLen), out, outLen)) return answer;
  const int len = RSA_public_encrypt_wrapper(inLen, in, outLen, out, m_rsa.get());
  if (len < 0) {
    herror_func(0, 0, "kxSRSA_imp::Encryption failed");
    return kKeyLibraryFailed;
  }
  if (len != Nbytes()) {
    herror_func(0, 0, "kxSRSA_imp::Encrypted len different from expected %d %d", len, Nbytes());
    return kKeyLibraryFailed;
  }
  return len;
}

int kxSRSA_imp::Decrypt(sxPKop_type, const unsigned char *in, int inLen, unsigned char *out, int outLen) {
  // The longest output is an upper bound: the text is eleven octets shorter at least.
  const KeyGate gate{"kxSRSA_imp::Decrypt", OK() != 0, true, Nbytes(), nullptr};
  if (const int answer = PassGate(gate, sxView(in, inLen), out, outLen)) return answer;
  SecretBlock block;
  const bool direct = outLen >= Nbytes();
  const int len = direct ? RSA_private_decrypt_wrapper(inLen, in, outLen, out, m_rsa.get())
                         : RSA_private_decrypt_wrapper(inLen, in, kMaxRsaBytes, block.octets, m_rsa.get());
  if (len < 0) {
    herror_func(0, 0, "kxSRSA_imp::Decrypt decryption failed");
    return kKeyUnequal;
  }
  if (direct) return len;
  if (len > outLen) {
    herror_func(0, 0, "kxSRSA_imp::Decrypt value too long %d>%d", len, outLen);
    return kKeyLenMismatch;
  }
  std::memcpy(out, block.octets, static_cast<size_t>(len));
  return len;
}

int kxSRSA_imp::Sign(sxPKop_type op, sx_md_type md, const unsigned char *in, int inLen, unsigned char *out,
                     int outLen) {
  const KeyGate gate{"kxSRSA_imp::Sign", OK() != 0, HasPrivate(), Nbytes(), "%s length too short"};
  sxOctetView message = sxView(in, inLen);
  kxBinBuf info;
  if (const int answer = PassSigningGate(gate, op, md, &message, &info, out, outLen)) return answer;
  const int len = RSA_private_encrypt_wrapper(sxLen(message), message.data(), outLen, out, m_rsa.get());
  if (len < 0) {
    herror_func(0, 0, "%s: failed", gate.func);
    return kKeyLibraryFailed;
  }
  return len;
}

int kxSRSA_imp::Verify(sxPKop_type op, sx_md_type md, const unsigned char *data, int dataLen, const unsigned char *sig,
                       int sigLen) {
  constexpr const char *kFunc = "kxSRSA_imp::Verify";
  if (!OK()) return kKeyNotUsable;
  if (data == nullptr || dataLen < 1) return kKeyBadInput;
  if (sigLen != Nbytes()) {
    herror_func(0, 0, "%s: Signature length mismatch %d != %d", kFunc, sigLen, Nbytes());
    return kKeyLenMismatch;
  }
  if (sig == nullptr) return kKeyBadInput;
  unsigned char opened[kMaxRsaBytes];
  const int openedLen = RSA_public_decrypt_wrapper(sigLen, sig, kMaxRsaBytes, opened, m_rsa.get());
  if (openedLen < 0) {
    herror_func(0, 0, "%s failed", kFunc);
    return kKeyLibraryFailed;
  }
  return sxComparePKCS1(op, md, data, dataLen, opened, openedLen);
}

int kxSRSA_imp::Export(sxPK_Format format, unsigned char *out, int outLen) {
  constexpr const char *kFunc = "kxSRSA_imp::Export";
  if (format == sxPK_set) {
    return ExportSet(kFunc, OK() != 0, out, outLen, [this] { return kxRSA_to_set(m_rsa.get()); });
  }
  return ExportOctets(kFunc, OK() != 0, format, out, outLen, [this](bool privateForm, kxBinBuf *area) -> sxOctetView {
    if (!privateForm && !m_publicDer.empty()) return m_publicDer;
    return kxRSA_to_buf(m_rsa.get(), *area, privateForm ? 1 : 0) == 0 ? ViewOf(*area) : sxOctetView();
  });
}

sxset *kxSRSA_imp::PublicSet() const { return RsaToSet(m_rsa.get(), false); }

int kxSRSA_imp::GetLen(sxPK_Len_Type type) {
  if (!OK()) return -1;
  switch (type) {
    case sxPK_len_bits: return Nbytes() * 8;
    case sxPK_len_output:
    case sxPK_len_modulus: return Nbytes();
  }
  return -1;
}

void kxSRSA_imp::Herror() const { kxRSA_herror(m_rsa.get()); }
