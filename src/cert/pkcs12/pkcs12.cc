#include "kxcert/cert/pkcs12.h"

#include "cert/loadObjects.h"
#include "containerMac.h"
#include "containerRead.h"
#include "keys/keyOctets.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "kxcert/keys/sxPubKey.h"

namespace {

constexpr size_t kMaxLenOctets = 4;

// Of an indefinite length as well, which some write in safes.
bool IsOneElement(const kxBinBuf &octets) {
  sxOctetView rest = ViewOf(octets);
  sxDerElement element;
  return !rest.empty() && rest[0] == kDerSequence && sxTakeBer(rest, &element) && rest.empty();
}

void FreeObjects(std::vector<sxPkcs12Bag> &bags) {
  for (const sxPkcs12Bag &bag : bags) {
    sxCert_Free(bag.cert);
    sxCRL_Free(bag.crl);
    sxFreePubKey(bag.key);
  }
  bags.clear();
}

// Bags that are being decoded, until they are taken.
struct OpenBags : ContainerBags {
  OpenBags() = default;
  OpenBags(const OpenBags &) = delete;
  OpenBags &operator=(const OpenBags &) = delete;
  ~OpenBags() { FreeObjects(bags); }
};

sxPkcs12Result ResultOf(const sxLoadItem &item) {
  return item.skip == sxLoadSkip::kNot ? sxPkcs12_ok : sxPkcs12_malformed;
}

void Decode(sxShape shape, sxOctetView octets, sxPkcs12Bag *bag) {
  sxLoadItem item;
  sxLoadObject(shape, octets, sxLoad_all, item);
  bag->cert = item.cert;
  bag->crl = item.crl;
  bag->key = item.key;
  bag->result = ResultOf(item);
  bag->why = item.reason;
  const bool isPublic = shape == sxShape::kCertificate || shape == sxShape::kCrl;
  if (isPublic && bag->result != sxPkcs12_ok) bag->value = JoinOctets(octets, {}, true);
}

}  // namespace

class sxPkcs12_imp {
 public:
  sxPkcs12_imp() = default;
  sxPkcs12_imp(const sxPkcs12_imp &) = delete;
  sxPkcs12_imp &operator=(const sxPkcs12_imp &) = delete;
  ~sxPkcs12_imp() { FreeObjects(m_bags); }

  bool Read(sxOctetView octets, ContainerFailure *failure);
  bool Open(sxPbeOctets given, ContainerFailure *failure);

  ContainerParts m_parts;
  sxPkcs12Protection m_mac;
  std::vector<sxPkcs12Safe> m_safes;
  std::vector<sxPkcs12Bag> m_bags;
  bool m_isRead = false, m_isOpen = false;
  uint64_t m_spent = 0;

 private:
  bool OpenWith(ContainerPassword &password, ContainerFailure *failure);
  bool Decrypt(sxOctetView algorithm, sxOctetView content, kxBinBuf *out, ContainerFailure *failure);
  bool OpenSafe(const ContainerSafe &safe, int number, OpenBags *bags, ContainerFailure *failure);
  void OpenBag(sxPkcs12Bag *bag, sxOctetView value);
  void OpenShroudedKey(sxPkcs12Bag *bag, sxOctetView value);

  // While it is opened.
  ContainerPassword *m_password = nullptr;
  int m_numDecrypted = 0, m_numWrong = 0;
};

bool sxPkcs12_imp::Read(sxOctetView octets, ContainerFailure *failure) {
  if (!ReadContainer(octets, &m_parts, failure)) return false;
  m_mac = ProtectionOf(m_parts.mac);
  ContainerBags bags;
  for (const ContainerSafe &safe : m_parts.safes) {
    const int number = static_cast<int>(m_safes.size());
    m_safes.push_back(safe.facts);
    if (!safe.facts.isEncrypted && !ReadBags(ViewOf(safe.content), number, &bags, failure)) return false;
  }
  m_bags = std::move(bags.bags);
  m_isRead = true;
  return true;
}

bool sxPkcs12_imp::Decrypt(sxOctetView algorithm, sxOctetView content, kxBinBuf *out, ContainerFailure *failure) {
  if (m_password->Decrypt(algorithm, content, IsOneElement, out, failure)) return ++m_numDecrypted, true;
  if (failure->result != sxPkcs12_notDecrypted) return false;
  ++m_numWrong;
  if (m_parts.mac.isThere) failure->Set(sxPkcs12_otherPassword);
  return false;
}

bool sxPkcs12_imp::OpenSafe(const ContainerSafe &safe, int number, OpenBags *bags, ContainerFailure *failure) {
  kxBinBuf decrypted, plain;
  sxOctetView contents = ViewOf(safe.content);
  if (safe.facts.isEncrypted) {
    if (!Decrypt(safe.algorithm, contents, &decrypted, failure) || !MakePlain(ViewOf(decrypted), &plain, failure)) {
      return false;
    }
    contents = ViewOf(plain);
  }
  const size_t first = bags->bags.size();
  if (!ReadBags(contents, number, bags, failure)) return false;
  for (size_t i = first; i < bags->bags.size(); ++i) OpenBag(&bags->bags[i], bags->values[i]);
  return true;
}

//   EncryptedPrivateKeyInfo ::= SEQUENCE { encryptionAlgorithm AlgorithmIdentifier, encryptedData OCTET STRING }
void sxPkcs12_imp::OpenShroudedKey(sxPkcs12Bag *bag, sxOctetView value) {
  ContainerFailure failure;
  sxDerReader reader(value, kMaxLenOctets), fields;
  sxDerElement algorithm;
  sxOctetView content;
  kxBinBuf decrypted, plain;
  if (!reader.Enter(kDerSequence, &fields) || !reader.AtEnd() || !fields.Take(kDerSequence, &algorithm) ||
      !fields.Take(kDerOctetString, &content) || !fields.AtEnd()) {
    failure.Set(sxPkcs12_malformed, "no EncryptedPrivateKeyInfo");
  } else if (Decrypt(algorithm.whole, content, &decrypted, &failure) &&
             MakePlain(ViewOf(decrypted), &plain, &failure)) {
    return Decode(sxShape::kPrivateInfo, ViewOf(plain), bag);
  }
  bag->result = failure.result;
  bag->why = failure.Text();
}

void sxPkcs12_imp::OpenBag(sxPkcs12Bag *bag, sxOctetView value) {
  switch (bag->kind) {
    case sxPkcs12Kind::kKey: return Decode(sxShape::kPrivateInfo, value, bag);
    case sxPkcs12Kind::kShroudedKey: return OpenShroudedKey(bag, value);
    case sxPkcs12Kind::kCert: return Decode(sxShape::kCertificate, value, bag);
    case sxPkcs12Kind::kCrl: return Decode(sxShape::kCrl, value, bag);
    case sxPkcs12Kind::kSafe: return;
    default: break;
  }
  bag->value = JoinOctets(value, {}, true);
  if (bag->kind != sxPkcs12Kind::kUnknown) return;
  bag->result = sxPkcs12_unsupported;
  bag->why = "a bag of type " + bag->type + ", which is not read here";
}

bool sxPkcs12_imp::Open(sxPbeOctets given, ContainerFailure *failure) {
  if (!m_isRead) return failure->Set(sxPkcs12_failed, "nothing was read");
  ContainerPassword password(given);
  const bool isOpened = OpenWith(password, failure);
  m_spent += password.Spent();
  return isOpened;
}

bool sxPkcs12_imp::OpenWith(ContainerPassword &password, ContainerFailure *failure) {
  if (m_parts.mac.isThere && !CheckMac(m_parts.mac, m_parts.signedOctets, password, failure)) return false;
  m_password = &password;
  m_numDecrypted = m_numWrong = 0;
  OpenBags bags;
  int number = 0;
  for (const ContainerSafe &safe : m_parts.safes) {
    if (!OpenSafe(safe, number++, &bags, failure)) return false;
  }
  // With nothing that tells the password to be right: it is the whole container's, not one key's.
  if (!m_parts.mac.isThere && m_numWrong > 0 && m_numDecrypted == 0) {
    if (m_isOpen) m_bags.swap(bags.bags);  // the same objects; the keys now say that this password is not theirs
    return failure->Set(sxPkcs12_notDecrypted);
  }
  m_bags.swap(bags.bags);
  m_isOpen = true;
  return true;
}

sxPkcs12::sxPkcs12() : m_imp(std::make_unique<sxPkcs12_imp>()) {}
sxPkcs12::~sxPkcs12() = default;

int sxPkcs12::Read(std::span<const unsigned char> octets, std::string *why) {
  ContainerFailure failure;
  auto read = std::make_unique<sxPkcs12_imp>();
  if (!read->Read(octets, &failure)) read = std::make_unique<sxPkcs12_imp>();
  m_imp.swap(read);
  return failure.Tell("sxPkcs12::Read", why);
}

int sxPkcs12::Open(sxPbeOctets password, std::string *why) {
  ContainerFailure failure;
  static_cast<void>(m_imp->Open(password, &failure));
  return failure.Tell("sxPkcs12::Open", why);
}

bool sxPkcs12::IsOpen() const { return m_imp->m_isOpen; }
uint64_t sxPkcs12::Spent() const { return m_imp->m_spent; }
bool sxPkcs12::HasMac() const { return m_imp->m_parts.mac.isThere; }
const sxPkcs12Protection &sxPkcs12::Mac() const { return m_imp->m_mac; }
const std::vector<sxPkcs12Safe> &sxPkcs12::Safes() const { return m_imp->m_safes; }
const std::vector<sxPkcs12Bag> &sxPkcs12::Bags() const { return m_imp->m_bags; }
