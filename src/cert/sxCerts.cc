#include "kxcert/cert/sxCerts.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "foundation/textOutput.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnConstructed.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"

namespace {

constexpr size_t kGrowBy = 10;
constexpr unsigned kMaxCertDer = 4096;  // of a certificate in a sequence; longer ones are refused

}  // namespace

sxSignedObjects_imp::sxSignedObjects_imp(const sxSignedObjects_imp &other)
    : m_slots(other.m_slots), m_kept(other.m_kept), m_count(other.m_count), m_top(other.m_top) {
  sxSavePKobj(m_kept);
  for (sxSigned *obj : m_slots) sxSaveSigned(obj);
}

sxSignedObjects_imp::~sxSignedObjects_imp() { ClearAll(); }

sxSigned *sxSignedObjects_imp::Get(int i) const {
  return i < 0 || i >= Slots() ? nullptr : m_slots[static_cast<size_t>(i)];
}

void sxSignedObjects_imp::Add(sxSigned *obj) {
  if (m_top + 1 == Slots()) m_slots.resize(m_slots.size() + kGrowBy);
  Set(m_top + 1, obj);
}

int sxSignedObjects_imp::Set(int i, sxSigned *obj) {
  if (i < 0 || i >= Slots()) return -1;
  sxSigned *const old = std::exchange(m_slots[static_cast<size_t>(i)], obj);
  m_count += (obj != nullptr ? 1 : 0) - (old != nullptr ? 1 : 0);
  if (obj != nullptr) m_top = std::max(m_top, i);
  while (m_top >= 0 && m_slots[static_cast<size_t>(m_top)] == nullptr) --m_top;
  sxFreeSigned(old);
  return 0;
}

int sxSignedObjects_imp::Del(int i) { return Set(i, nullptr); }

void sxSignedObjects_imp::ClearAll() {
  for (sxSigned *&obj : m_slots) sxFreeSigned(std::exchange(obj, nullptr));
  m_count = 0;
  m_top = -1;
  Keep(nullptr);
}

void sxSignedObjects_imp::Keep(sxPKobj *obj) {
  sxSavePKobj(obj);
  sxFreePKobj(std::exchange(m_kept, obj));
}

sxCerts::sxCerts(int capacity) : m_imp(new sxSignedObjects_imp(capacity)) {}
sxCerts::sxCerts(const sxCerts &other) : m_imp(new sxSignedObjects_imp(*other.m_imp)) {}
sxCerts::~sxCerts() { delete m_imp; }

sxCerts &sxCerts::operator=(const sxCerts &other) {
  sxCerts copy(other);
  Swap(copy);
  return *this;
}

void sxCerts::Swap(sxCerts &other) noexcept { std::swap(m_imp, other.m_imp); }

sxCert *sxCerts::GetBySubjectDN(const sxDN &dn) const {
  for (int i = 0; i < Slots(); ++i) {
    sxCert *cert = Get(i);
    if (cert != nullptr && cert->Subject() != nullptr && cert->Subject()->Equal(dn)) return cert;
  }
  return nullptr;
}

void sxCerts::Sprint(SxStream *out, const char *title, sxCertHerrorDetails details, int indent) const {
  if (out == nullptr) return;
  out->Indent(indent);
  if (title != nullptr) out->Printf("%s: ", title);
  out->Printf("%d certificates\n", Count());
  for (int i = 0; i < Slots(); ++i) {
    if (Get(i) == nullptr) continue;
    Get(i)->Sprint(out, details, indent + 1);
    out->Puts("\n");
  }
}

void sxCerts::Fprint(FILE *out, const char *title, sxCertHerrorDetails details, int indent) const {
  sxFprintOf(*this, out, title, details, indent);
}

void sxCerts::Herror(const char *title, sxCertHerrorDetails details) const {
  if (dodebugprt == 0) return;
  if (title != nullptr) {
    herror_func(0, 0, "%s: %d certificates", title, Count());
  } else {
    herror_func(0, 0, "%d certificates", Count());
  }
  for (int i = 0; i < Slots(); ++i) {
    if (Get(i) != nullptr) Get(i)->Herror(details);
  }
}

// The sequence is walked by the codec's element reader: a member is any element, and what it is shows
// when it is decoded as a certificate.
int sxCerts_2buf(sxCerts *certs, unsigned char *out, int outLen) {
  if (certs == nullptr || out == nullptr || outLen < 0) return -1;
  std::vector<unsigned char> content;
  for (int i = 0; i < certs->Count() && certs->Get(i) != nullptr; ++i) {
    sxASN_Certificate decoded;
    kxBinBuf der;
    const auto *octets = reinterpret_cast<const char *>(certs->Get(i)->GetBuf());
    if (sxASN_DecodeBuf(decoded, octets, static_cast<int>(certs->Get(i)->BufLen())) != 0 ||
        sxASN_EncodeBuf(decoded, der, 1) != 0) {
      return -1;
    }
    content.insert(content.end(), der.Data(), der.Data() + der.Len());
  }
  sxAsnWriteBuf buf;
  buf.Init(out, outLen);
  buf.ReSet();
  const int contentLen = static_cast<int>(content.size());
  if ((contentLen > 0 && buf.PutSeg(content.data(), contentLen) < 0) || BEncDefLen(buf, contentLen) < 0 ||
      BEncTag(buf, kUniversal, kConstructed, 16) < 0) {
    return -1;
  }
  const int written = buf.Written();
  std::memmove(out, buf.Curr(), static_cast<size_t>(written));
  return written;
}

sxCerts *sxCerts_buf2Certs(const unsigned char *octets, int len) {
  if (octets == nullptr || len <= 0) return nullptr;
  sxAsnReadBuf buf;
  buf.Init(octets, len);
  int bytesDecoded = 0;
  if (BDecTag(buf, bytesDecoded) != 0x30) return nullptr;
  const int contentLen = BDecLen(buf, bytesDecoded);
  if (contentLen != kIndefiniteLen && contentLen != buf.GetLen()) return nullptr;
  sxCerts grown;
  while (buf.GetLen() > 0 && !(contentLen == kIndefiniteLen && buf.PeekByte() == 0)) {
    sxASN_Certificate decoded;
    kxBinBuf der;
    if (decoded.BDec(buf, bytesDecoded) < 0 || sxASN_EncodeBuf(decoded, der, 1) != 0) return nullptr;
    if (der.Len() > kMaxCertDer) {
      herror_func(0, 0, "sxCerts_buf2Certs: %u octets do not fit %d", der.Len(), static_cast<int>(kMaxCertDer));
      return nullptr;
    }
    sxCert *cert = sxCert_Decode(der.Data(), static_cast<int>(der.Len()));
    if (cert == nullptr) return nullptr;
    grown.Add(cert);
  }
  if (contentLen == kIndefiniteLen && BDecEoc(buf, bytesDecoded) < 0) return nullptr;
  if (bytesDecoded != len) return nullptr;
  auto certs = std::make_unique<sxCerts>(grown.Count());  // a slot for each, and no more
  for (int i = 0; i < certs->Slots(); ++i) {
    sxCert_Save(grown.Get(i));
    certs->Set(i, grown.Get(i));
  }
  return certs.release();
}

void sxCerts_Free(sxCerts *certs) { delete certs; }
void sxCerts_ClearAll(sxCerts *certs) {
  if (certs != nullptr) certs->ClearAll();
}
