// Containers, written: one safe of certificates and CRLs, one of keys, and a MAC.
#include <algorithm>
#include <initializer_list>

#include "bagName.h"
#include "containerMac.h"
#include "containerOids.h"
#include "keys/keyOctets.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/keys/encryptedKeys.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

constexpr int kMaxHeaderLen = 8;
constexpr int kKeyIdLen = 20;  // SHA-1, as others have it
constexpr unsigned char kVersion3[] = {kDerInteger, 1, 3}, kVersion0[] = {kDerInteger, 1, 0};

using Parts = std::vector<sxOctetView>;

// One element around parts that stand behind one another.
kxBinBuf Element(int tag, const Parts &parts, bool isSecret = false) {
  size_t len = 0;
  for (const sxOctetView part : parts) len += part.size();
  unsigned char area[kMaxHeaderLen];
  sxDerWriter header(area);
  header.Header(tag, static_cast<int>(len));
  kxBinBuf out;
  out.SetSensitive(isSecret);
  out.Set(static_cast<unsigned int>(header.Written().size() + len));
  unsigned char *pos = std::ranges::copy(header.Written(), out.Data()).out;
  for (const sxOctetView part : parts) pos = std::ranges::copy(part, pos).out;
  return out;
}
kxBinBuf Oid(sxOctetView content) { return Element(kDerOid, {content}); }

// A bag, and what it must be when it is read again.
struct WrittenBag {
  sxPkcs12Kind kind;
  kxBinBuf object;  // DER; sensitive of a key
  std::string name;
  std::vector<unsigned char> keyId;
};

class ContainerWriter {
 public:
  ContainerWriter(const sxPkcs12Settings &settings, sxPbeOctets password)
      : m_settings(settings), m_password(password) {}

  bool Write(std::span<const sxPkcs12Entry> entries, kxBinBuf *out, ContainerFailure *failure) {
    return CheckSettings(failure) && Collect(entries, failure) && Assemble(out, failure) && Compare(*out, failure);
  }

 private:
  bool CheckSettings(ContainerFailure *failure) const;
  bool Collect(std::span<const sxPkcs12Entry> entries, ContainerFailure *failure);
  bool Assemble(kxBinBuf *out, ContainerFailure *failure);
  bool Compare(const kxBinBuf &container, ContainerFailure *failure) const;

  bool MakeBag(const WrittenBag &bag, kxBinBuf *out, ContainerFailure *failure) const;
  bool MakeSafe(const std::vector<WrittenBag> &bags, bool isEncrypted, kxBinBuf *out, ContainerFailure *failure) const;

  const sxPkcs12Settings &m_settings;
  const sxPbeOctets m_password;
  std::vector<WrittenBag> m_certs, m_keys;  // the first also has CRLs
};

bool ContainerWriter::CheckSettings(ContainerFailure *failure) const {
  const bool hasPassword = m_password.data() != nullptr;
  if (m_settings.isOpen) return !hasPassword || failure->Set(sxPkcs12_failed, "a password, but nothing to protect");
  if (!hasPassword) return failure->Set(sxPkcs12_needsPassword);
  const auto isInRange = [](int iterations) {
    return iterations > 0 && static_cast<uint64_t>(iterations) <= kMaxPbeIterations;
  };
  const sx_md_type digest = m_settings.macDigest;
  const bool isKnown =
      digest == sx_md_sha1 || digest == sx_md_sha256 || digest == sx_md_sha384 || digest == sx_md_sha512;
  const bool isKind = m_settings.mac == sxPkcs12MacKind::kOwn || m_settings.mac == sxPkcs12MacKind::kPbmac1;
  return (isKnown && isKind && isInRange(m_settings.macIterations) && isInRange(m_settings.keys.iterations) &&
          isInRange(m_settings.certs.iterations)) ||
         failure->Set(sxPkcs12_failed, "settings out of range");
}

bool ContainerWriter::Collect(std::span<const sxPkcs12Entry> entries, ContainerFailure *failure) {
  for (const sxPkcs12Entry &entry : entries) {
    if (!CanBeName(entry.name)) return failure->Set(sxPkcs12_failed, "a name that is too long, or no UTF-8");
    if ((entry.cert != nullptr && entry.cert->OK() != 1) || (entry.crl != nullptr && entry.crl->OK() != 1)) {
      return failure->Set(sxPkcs12_failed, "a certificate or CRL that is not OK");
    }
    const bool isPair = entry.key != nullptr && entry.cert != nullptr;
    if (isPair && sxPubKey_Equal(entry.key, entry.cert->PubKey()) != 1) {
      return failure->Set(sxPkcs12_failed, "the key is not the certificate's");
    }
    std::vector<unsigned char> keyId;
    if (isPair) {
      keyId.resize(kKeyIdLen);
      if (kx_md_hashbuf(sx_md_sha1, entry.cert->GetBuf(), entry.cert->BufLen(), keyId.data(), kKeyIdLen) != 0) {
        return failure->Set(sxPkcs12_failed, "SHA-1");
      }
    }
    if (entry.cert != nullptr) {
      m_certs.push_back({sxPkcs12Kind::kCert, {entry.cert->GetBuf(), entry.cert->BufLen()}, entry.name, keyId});
    }
    if (entry.crl != nullptr) {
      m_certs.push_back({sxPkcs12Kind::kCrl, {entry.crl->GetBuf(), entry.crl->BufLen()}, entry.name, {}});
    }
    if (entry.key == nullptr) continue;
    WrittenBag &key = m_keys.emplace_back();
    key = {m_settings.isOpen ? sxPkcs12Kind::kKey : sxPkcs12Kind::kShroudedKey, {}, entry.name, keyId};
    if (sxExportKeyInfo(entry.key, true, key.object) != 0) {
      return failure->Set(sxPkcs12_failed, "a key without its private part, or of no form that is written");
    }
  }
  if (m_certs.size() + m_keys.size() > kMaxPkcs12Bags) return failure->Set(sxPkcs12_tooCostly, "too many bags");
  return !m_certs.empty() || !m_keys.empty() || failure->Set(sxPkcs12_failed, "nothing to write");
}

// PKCS12Attribute; the value has its header.
kxBinBuf Attribute(sxOctetView oid, const kxBinBuf &value) {
  const kxBinBuf type = Oid(oid), values = Element(kDerSet, {ViewOf(value)});
  return Element(kDerSequence, {ViewOf(type), ViewOf(values)});
}

// Those of a SET OF stand in the order of their octets (X.690, 11.6). Empty without any.
kxBinBuf Attributes(const WrittenBag &bag) {
  std::vector<kxBinBuf> attributes;
  if (!bag.name.empty()) {
    kxBinBuf bmp;
    BmpOfName(bag.name, &bmp);
    attributes.push_back(Attribute(kOidFriendlyName, Element(kDerBmpString, {ViewOf(bmp)})));
  }
  if (!bag.keyId.empty()) attributes.push_back(Attribute(kOidLocalKeyId, Element(kDerOctetString, {bag.keyId})));
  if (attributes.empty()) return {};
  std::ranges::sort(attributes, [](const kxBinBuf &a, const kxBinBuf &b) {
    return std::ranges::lexicographical_compare(ViewOf(a), ViewOf(b));
  });
  Parts parts;
  for (const kxBinBuf &attribute : attributes) parts.push_back(ViewOf(attribute));
  return Element(kDerSet, parts);
}

bool ContainerWriter::MakeBag(const WrittenBag &bag, kxBinBuf *out, ContainerFailure *failure) const {
  const bool isSecret = bag.kind == sxPkcs12Kind::kKey;
  sxOctetView type = kOidKeyBag;
  kxBinBuf value;
  if (bag.kind == sxPkcs12Kind::kShroudedKey) {
    type = kOidShroudedKeyBag;
    if (sxEncryptKeyInfo(m_settings.keys, ViewOf(bag.object), m_password, value) != sxPbe_ok) {
      return failure->Set(sxPkcs12_failed, "a key cannot be encrypted");
    }
  } else if (isSecret) {
    value = bag.object;
  } else {
    const bool isCert = bag.kind == sxPkcs12Kind::kCert;
    type = isCert ? sxOctetView(kOidCertBag) : kOidCrlBag;
    const kxBinBuf form = Oid(isCert ? sxOctetView(kOidX509Certificate) : kOidX509Crl),
                   string = Element(kDerOctetString, {ViewOf(bag.object)}),
                   inside = Element(DerContextConstructed(0), {ViewOf(string)});
    value = Element(kDerSequence, {ViewOf(form), ViewOf(inside)});
  }
  const kxBinBuf id = Oid(type), attributes = Attributes(bag),
                 inside = Element(DerContextConstructed(0), {ViewOf(value)}, isSecret);
  *out = Element(kDerSequence, {ViewOf(id), ViewOf(inside), ViewOf(attributes)}, isSecret);
  return true;
}

// ContentInfo. @param content  the value of its field
kxBinBuf ContentInfo(sxOctetView type, const kxBinBuf &content, bool isSecret) {
  const kxBinBuf oid = Oid(type), inside = Element(DerContextConstructed(0), {ViewOf(content)}, isSecret);
  return Element(kDerSequence, {ViewOf(oid), ViewOf(inside)}, isSecret);
}

bool ContainerWriter::MakeSafe(const std::vector<WrittenBag> &bags, bool isEncrypted, kxBinBuf *out,
                               ContainerFailure *failure) const {
  const bool isSecret = bags.front().kind == sxPkcs12Kind::kKey;
  std::vector<kxBinBuf> made(bags.size());
  Parts parts;
  for (size_t i = 0; i < bags.size(); ++i) {
    if (!MakeBag(bags[i], &made[i], failure)) return false;
    parts.push_back(ViewOf(made[i]));
  }
  const kxBinBuf contents = Element(kDerSequence, parts, isSecret);
  if (!isEncrypted) {
    *out = ContentInfo(kOidData, Element(kDerOctetString, {ViewOf(contents)}, isSecret), isSecret);
    return true;
  }
  kxBinBuf algorithm, encrypted;
  if (sxPbe_Encrypt(m_settings.certs, ViewOf(contents), m_password, algorithm, encrypted) != sxPbe_ok) {
    return failure->Set(sxPkcs12_failed, "the certificates cannot be encrypted");
  }
  const kxBinBuf type = Oid(kOidData), string = Element(DerContext(0), {ViewOf(encrypted)}),
                 info = Element(kDerSequence, {ViewOf(type), ViewOf(algorithm), ViewOf(string)});
  *out = ContentInfo(kOidEncryptedData, Element(kDerSequence, {kVersion0, ViewOf(info)}), false);
  return true;
}

bool ContainerWriter::Assemble(kxBinBuf *out, ContainerFailure *failure) {
  const bool isOpen = m_settings.isOpen, isSecret = isOpen && !m_keys.empty();
  kxBinBuf certs, keys, mac;
  if (!m_certs.empty() && !MakeSafe(m_certs, !isOpen, &certs, failure)) return false;
  if (!m_keys.empty() && !MakeSafe(m_keys, false, &keys, failure)) return false;
  const kxBinBuf safes = Element(kDerSequence, {ViewOf(certs), ViewOf(keys)}, isSecret);
  if (safes.Len() > kMaxPkcs12Len) return failure->Set(sxPkcs12_tooCostly, "too many octets");
  if (!isOpen && !MakeMac(m_settings, ViewOf(safes), m_password, &mac, failure)) return false;
  const kxBinBuf info = ContentInfo(kOidData, Element(kDerOctetString, {ViewOf(safes)}, isSecret), isSecret);
  *out = Element(kDerSequence, {kVersion3, ViewOf(info), ViewOf(mac)}, isSecret);
  return true;
}

bool IsAsWritten(const sxPkcs12Bag &read, const WrittenBag &written) {
  if (read.kind != written.kind || read.name != written.name || read.keyId != written.keyId) return false;
  const sxSigned *const object = read.cert != nullptr ? static_cast<const sxSigned *>(read.cert) : read.crl;
  if (object != nullptr) return sxEqual({object->GetBuf(), object->BufLen()}, ViewOf(written.object));
  kxBinBuf key;
  return read.key != nullptr && sxExportKeyInfo(read.key, true, key) == 0 && key.Equal(written.object);
}

bool ContainerWriter::Compare(const kxBinBuf &container, ContainerFailure *failure) const {
  sxPkcs12 again;
  std::string why;
  int result = again.Read(ViewOf(container), &why);
  if (result == sxPkcs12_ok) result = again.Open(m_password, &why);
  if (result != sxPkcs12_ok) return failure->Set(static_cast<sxPkcs12Result>(result), "what was written: " + why);
  std::vector<const WrittenBag *> written;
  for (const WrittenBag &bag : m_certs) written.push_back(&bag);
  for (const WrittenBag &bag : m_keys) written.push_back(&bag);
  const bool isSame = std::ranges::equal(
      again.Bags(), written, [](const sxPkcs12Bag &read, const WrittenBag *bag) { return IsAsWritten(read, *bag); });
  return isSame || failure->Set(sxPkcs12_failed, "what was written is not what was to be");
}

}  // namespace

sxPkcs12Settings sxPkcs12_LegacySettings() {
  sxPkcs12Settings settings;
  settings.keys.cipher = settings.certs.cipher = sxPbe_pkcs12_3des;
  settings.macDigest = sx_md_sha1;
  return settings;
}

int sxPkcs12_Write(std::span<const sxPkcs12Entry> entries, const sxPkcs12Settings &settings, sxPbeOctets password,
                   kxBinBuf &out, std::string *why) {
  ContainerFailure failure;
  kxBinBuf written;
  if (ContainerWriter(settings, password).Write(entries, &written, &failure)) out = std::move(written);
  return failure.Tell("sxPkcs12_Write", why);
}
