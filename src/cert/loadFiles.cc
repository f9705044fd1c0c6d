#include "kxcert/cert/loadFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "kxcert/cert/pkcs12.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxCerts.h"
#include "kxcert/keys/encryptedKeys.h"
#include "kxcert/keys/sxPubKey.h"
#include "loadObjects.h"
#include "platform/files.h"
#include "readInput.h"

namespace {

// The empty password is one, too.
sxOctetView Secret(const kxBinBuf &password) {
  static constexpr unsigned char kNothing = 0;
  return {password.IsEmpty() ? &kNothing : password.Data(), password.Len()};
}

constexpr size_t kMaxLenOctets = 4;
constexpr char kTooManyIterations[] = "too many iterations of all passwords together; it was not tried";

//   EncryptedPrivateKeyInfo ::= SEQUENCE { encryptionAlgorithm AlgorithmIdentifier, encryptedData OCTET STRING }
uint64_t CostOfKey(sxOctetView info) {
  sxDerReader fields;
  sxDerElement algorithm;
  const bool isOne =
      sxDerReader(info, kMaxLenOctets).Enter(kDerSequence, &fields) && fields.Take(kDerSequence, &algorithm);
  return isOne ? sxPbe_Cost(algorithm.whole) : 0;
}

std::string TooMuch(const char *what, size_t limit) {
  return "more than " + std::to_string(limit) + " " + what + "; the rest was not looked at";
}

const char *NameOf(const char *name) { return name == nullptr ? "" : name; }

void FreeObject(const sxLoadItem &item) {
  sxCert_Free(item.cert);
  sxCRL_Free(item.crl);
  sxCertRequest_Free(item.request);
  sxFreePubKey(item.key);
}

// The names in a folder, sorted: its own order is not the same everywhere.
// @return 0, or -1 with errno set
int ListFolder(const char *path, std::vector<std::string> &names, bool *cut) {
  kxDir *const dir = kxDir_Open(path);
  if (dir == nullptr) return -1;
  const char *name;
  while ((name = kxDir_Next(dir)) != nullptr && !*cut) {
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    *cut = names.size() == kMaxLoadFolderEntries;
    if (!*cut) names.emplace_back(name);
  }
  const int error = name == nullptr ? errno : 0;
  kxDir_Close(dir);
  std::sort(names.begin(), names.end());
  errno = error;
  return error == 0 ? 0 : -1;
}

bool IsFolder(const char *path) {
  kxDir *const dir = kxDir_Open(path);
  return dir != nullptr && (kxDir_Close(dir), true);
}

}  // namespace

// The items of one input.
class sxLoadReader {
 public:
  sxLoadReader(sxLoader &loader, const char *name, sxOctetView octets)
      : m_loader(loader), m_items(loader.m_items), m_octets(octets), m_name(name) {}
  void Run();

 private:
  bool HasRoom();
  // The item of these octets, or of none.
  void Put(sxLoadItem item, sxOctetView octets, const std::string &dekInfo = "");
  void Observe(const sxLoadItem &item, sxOctetView octets, const std::string &dekInfo = "") const;
  void Take(const sxInputBlock &block);
  void TakeElements(const sxInputBlock &block);
  void TakeSet(const sxInputBlock &block);
  void TakeOne(sxShape shape, sxOctetView octets, sxLoadItem item);
  void TakeEncrypted(sxShape inside, const std::string &dekInfo, sxOctetView octets, sxLoadItem item);
  int Decrypt(const std::string &dekInfo, sxOctetView octets, const sxLoadPlace &place, kxBinBuf *plain,
              std::string *why);
  int DecryptInfo(sxOctetView octets, const kxBinBuf &password, kxBinBuf *plain, std::string *why);
  void TakePkcs12(sxOctetView octets, sxLoadItem item);
  int OpenPkcs12(sxPkcs12 &container, const sxLoadPlace &place, std::string *why);
  bool AskPassword(const sxLoadPlace &place, kxBinBuf *password);
  bool MaySpend(uint64_t iterations) const { return iterations <= kMaxLoadIterations - m_loader.m_numIterations; }
  void TakeContainer(sxOctetView octets, const sxLoadItem &container);
  void TakeMembers(sxShape shape, sxOctetView set, const sxLoadItem &container, int *member);
  // Of octets that stand in the file as they are; others stand where their block does.
  size_t OffsetOf(sxOctetView octets, size_t blockOffset) const;

  sxLoader &m_loader;
  std::vector<sxLoadItem> &m_items;
  const sxOctetView m_octets;
  const char *const m_name;
};

// One item more than the limit, which says so.
bool sxLoadReader::HasRoom() { return m_items.size() < kMaxLoadItems || m_loader.HasRoom(m_name); }

void sxLoadReader::Observe(const sxLoadItem &item, sxOctetView octets, const std::string &dekInfo) const {
  if (m_loader.m_observe) m_loader.m_observe(item, octets, dekInfo);
}

void sxLoadReader::Put(sxLoadItem item, sxOctetView octets, const std::string &dekInfo) {
  if (item.skip != sxLoadSkip::kNot) Observe(item, octets, dekInfo);
  m_items.push_back(std::move(item));
}

size_t sxLoadReader::OffsetOf(sxOctetView octets, size_t blockOffset) const {
  const bool inFile = !octets.empty() && octets.data() >= m_octets.data() && &octets.back() <= &m_octets.back();
  return inFile ? static_cast<size_t>(octets.data() - m_octets.data()) : blockOffset;
}

void sxLoadReader::Run() {
  sxInputBlocks blocks(m_octets.data(), m_octets.size());
  sxInputBlock block;
  while (HasRoom() && blocks.Next(block)) Take(block);
}

void sxLoadReader::Take(const sxInputBlock &block) {
  if (block.line == 0 && block.error == nullptr) {
    const bool isSet = (m_loader.m_wanted & sxLoad_keys) != 0 && sxLooksLikeSet(block.octets);
    return isSet ? TakeSet(block) : TakeElements(block);
  }
  sxLoadItem item;
  item.place = {m_name, block.number, 0, block.offset, block.line};
  item.label = block.label;
  const sxShape shape = sxShapeOfLabel(block.label);
  item.kind = sxKindOf(shape);
  if (block.error != nullptr) {
    sxSkipItem(item, sxLoadSkip::kBroken, block.error);
  } else if (shape == sxShape::kUnknown) {
    sxSkipItem(item, sxLoadSkip::kLabel, "a PEM block \"" + block.label + "\" is not read here");
  } else {
    if (!block.encrypted) return TakeOne(shape, block.octets, std::move(item));
    if (item.kind == sxLoadKind::kPrivateKey) {
      return TakeEncrypted(shape, block.dekInfo, block.octets, std::move(item));
    }
    sxSkipItem(item, sxLoadSkip::kBroken, "the PEM block is encrypted");
  }
  Put(std::move(item), block.octets, block.dekInfo);
}

// Elements behind one another; whatever is no element ends them.
void sxLoadReader::TakeElements(const sxInputBlock &block) {
  sxOctetView rest = block.octets;
  sxDerElement element;
  for (int number = 1; !rest.empty() && HasRoom(); ++number) {
    sxLoadItem item;
    item.place = {m_name, number, 0, OffsetOf(rest, block.offset), 0};
    if (rest[0] == kDerSequence && sxTakeBer(rest, &element)) {
      TakeOne(sxShapeOf(element), element.whole, std::move(item));
      continue;
    }
    sxSkipItem(item, sxLoadSkip::kCutShort,
               "neither PEM nor a whole SEQUENCE of ASN.1 (" + std::to_string(rest.size()) + " octets)");
    return Put(std::move(item), rest);
  }
}

void sxLoadReader::TakeSet(const sxInputBlock &block) {
  sxLoadItem item;
  item.place = {m_name, block.number, 0, 0, 0};
  sxLoadKeySet(block.octets, item);
  Put(std::move(item), block.octets);
}

void sxLoadReader::TakeOne(sxShape shape, sxOctetView octets, sxLoadItem item) {
  if (shape == sxShape::kPkcs7) return TakeContainer(octets, item);
  if (shape == sxShape::kPkcs12) return TakePkcs12(octets, std::move(item));
  if (shape == sxShape::kEncryptedInfo) return TakeEncrypted(sxShape::kPrivateInfo, "", octets, std::move(item));
  sxLoadObject(shape, octets, m_loader.m_wanted, item);
  Put(std::move(item), octets);
}

// @param inside   what it is when it is decrypted
// @param dekInfo  of a block whose headers say how it is encrypted; else the octets themselves do
void sxLoadReader::TakeEncrypted(sxShape inside, const std::string &dekInfo, sxOctetView octets, sxLoadItem item) {
  kxBinBuf plain;
  std::string why;
  const uint64_t cost = dekInfo.empty() ? CostOfKey(octets) : 1;
  if ((m_loader.m_wanted & sxLoad_keys) == 0) {
    sxLoadObject(sxShape::kEncryptedInfo, octets, m_loader.m_wanted, item);
  } else if (m_loader.m_askPassword && !MaySpend(cost)) {
    item.kind = sxLoadKind::kPrivateKey;
    sxSkipItem(item, sxLoadSkip::kTooMuch, kTooManyIterations);
  } else if (item.decryption = Decrypt(dekInfo, octets, item.place, &plain, &why); item.decryption == sxPbe_ok) {
    sxLoadObject(inside, {plain.Data(), plain.Len()}, m_loader.m_wanted, item);
  } else {
    item.kind = sxLoadKind::kPrivateKey;
    const bool isAsked = item.decryption == sxPbe_needsPassword;
    sxSkipItem(item, sxLoadSkip::kEncrypted,
               (isAsked ? "the private key is encrypted; " : "the private key cannot be decrypted: ") + why);
  }
  Put(std::move(item), octets, dekInfo);
}

int sxLoadReader::Decrypt(const std::string &dekInfo, sxOctetView octets, const sxLoadPlace &place, kxBinBuf *plain,
                          std::string *why) {
  kxBinBuf password;
  *why = sxPbe_ResultText(sxPbe_needsPassword);
  if (!AskPassword(place, &password)) return sxPbe_needsPassword;
  m_loader.m_numIterations += dekInfo.empty() ? CostOfKey(octets) : 1;
  return dekInfo.empty() ? DecryptInfo(octets, password, plain, why)
                         : sxDecryptPemKey(dekInfo, octets, Secret(password), *plain, why);
}

// Whoever gives the empty password may mean none, which the schemes of PKCS #12 tell from it.
int sxLoadReader::DecryptInfo(sxOctetView octets, const kxBinBuf &password, kxBinBuf *plain, std::string *why) {
  const int result = sxDecryptKeyInfo(octets, Secret(password), *plain, why);
  const uint64_t cost = CostOfKey(octets);
  if (result != sxPbe_wrongPassword || !password.IsEmpty() || !MaySpend(cost)) return result;
  m_loader.m_numIterations += cost;
  return sxDecryptKeyInfo(octets, {}, *plain, why);
}

bool sxLoadReader::AskPassword(const sxLoadPlace &place, kxBinBuf *password) {
  password->SetSensitive(true);
  return m_loader.m_askPassword && m_loader.m_askPassword(place, *password);
}

// Without a password first: it is asked for where something needs it.
int sxLoadReader::OpenPkcs12(sxPkcs12 &container, const sxLoadPlace &place, std::string *why) {
  const int result = container.Open({}, why);
  const auto needsIt = [](const sxPkcs12Bag &bag) { return bag.result == sxPkcs12_needsPassword; };
  const bool wantsKeys = (m_loader.m_wanted & sxLoad_keys) != 0;
  if (result != sxPkcs12_needsPassword &&
      (result != sxPkcs12_ok || !wantsKeys || std::ranges::none_of(container.Bags(), needsIt))) {
    return result;
  }
  if (m_loader.m_askPassword && !MaySpend(1)) {
    *why = kTooManyIterations;
    return sxPkcs12_tooCostly;
  }
  kxBinBuf password;
  if (!AskPassword(place, &password)) return result;
  const int opened = container.Open(Secret(password), why);
  // What a container may cost it says itself.
  m_loader.m_numIterations = std::min(m_loader.m_numIterations + container.Spent(), kMaxLoadIterations);
  return opened;
}

void sxLoadReader::TakePkcs12(sxOctetView octets, sxLoadItem item) {
  sxPkcs12 container;
  std::string why;
  int result = container.Read(octets, &why);
  if (result == sxPkcs12_ok) result = OpenPkcs12(container, item.place, &why);
  if (result != sxPkcs12_ok) {
    item.decryption = sxDecryptionOf(result);
    const bool isLocked = item.decryption == sxPbe_needsPassword || item.decryption == sxPbe_wrongPassword;
    const bool mayBeKey = isLocked && (m_loader.m_wanted & sxLoad_keys) != 0;
    if (mayBeKey) item.kind = sxLoadKind::kPrivateKey;
    sxSkipItem(item, mayBeKey ? sxLoadSkip::kEncrypted : sxLoadSkip::kPkcs12, "PKCS #12: " + why);
    return Put(std::move(item), octets);
  }
  Observe(item, octets);
  for (const sxPkcs12Bag &bag : container.Bags()) {
    if (bag.kind == sxPkcs12Kind::kSafe) continue;
    if (!HasRoom()) return;
    ++item.place.member;
    sxLoadItem member = item;
    sxLoadBag(bag, m_loader.m_wanted, member);
    Put(std::move(member), {bag.value.Data(), bag.value.Len()});
  }
  if (item.place.member > 0) return;
  sxSkipItem(item, sxLoadSkip::kPkcs12, "PKCS #12 with nothing in it");
  Put(std::move(item), octets);
}

void sxLoadReader::TakeContainer(sxOctetView octets, const sxLoadItem &container) {
  sxContainerFields fields;
  const char *reason = sxOpenContainer(octets, &fields);
  int member = 0;
  if (reason == nullptr) {
    Observe(container, octets);
    TakeMembers(sxShape::kCertificate, fields.certificates, container, &member);
    TakeMembers(sxShape::kCrl, fields.crls, container, &member);
    if (member == 0) reason = "a PKCS #7 container without certificates and CRLs";
  }
  if (reason == nullptr) return;
  sxLoadItem item = container;
  sxSkipItem(item, sxLoadSkip::kNotDecoded, reason);
  Put(std::move(item), octets);
}

// Choices other than the plain one have tags of their own: attribute certificates, for instance.
void sxLoadReader::TakeMembers(sxShape shape, sxOctetView set, const sxLoadItem &container, int *member) {
  sxDerElement element;
  while (!set.empty() && HasRoom()) {
    sxLoadItem item = container;
    item.place.member = ++*member;
    item.place.offset = OffsetOf(set, container.place.offset);
    if (!sxTakeBer(set, &element)) {
      set = {};
      sxSkipItem(item, sxLoadSkip::kCutShort, "no whole element of ASN.1");
      Put(std::move(item), {});
    } else if (element.tag != kDerSequence) {
      sxSkipItem(item, sxLoadSkip::kUnknown, "neither a certificate nor a CRL, but another choice of the container");
      Put(std::move(item), element.whole);
    } else {
      TakeOne(shape, element.whole, std::move(item));
    }
  }
}

std::string sxLoadPlace::Text() const {
  std::string text = file;
  if (line > 0) {
    text += " line " + std::to_string(line);
  } else if (offset > 0 && (block > 1 || member > 0)) {
    text += " offset " + std::to_string(offset);
  }
  return member > 0 ? text + " item " + std::to_string(member) : text;
}

sxLoader::sxLoader(unsigned wanted) : m_wanted(wanted) {}

sxLoader::~sxLoader() {
  for (const sxLoadItem &item : m_items) FreeObject(item);
}

const char *sxLoader::Keep(const char *name) { return m_names.emplace_back(NameOf(name)).c_str(); }

void sxLoader::SkipFile(const char *name, sxLoadSkip skip, std::string reason) {
  m_items.emplace_back();
  m_items.back().place.file = name;
  sxSkipItem(m_items.back(), skip, std::move(reason));
}

// @param name  kept. Says once that there is no more room
bool sxLoader::HasRoom(const char *name) {
  if (m_items.size() == kMaxLoadItems) {
    SkipFile(name, sxLoadSkip::kTooMuch, TooMuch("objects and blocks", kMaxLoadItems));
  }
  return m_items.size() < kMaxLoadItems;
}

int sxLoader::AddOctets(const unsigned char *octets, size_t len, const char *name) {
  const char *const kept = Keep(name);
  if (!HasRoom(kept)) return 0;
  const size_t before = m_items.size();
  if (octets == nullptr || len == 0) {
    SkipFile(kept, sxLoadSkip::kUnreadable, "is empty");
  } else if (len > kMaxInputLen) {
    SkipFile(kept, sxLoadSkip::kTooMuch, sxReadReason(sxReadResult::kTooLong, kMaxInputLen));
  } else if (len > kMaxLoadTotalLen - m_totalLen) {
    SkipFile(kept, sxLoadSkip::kTooMuch, TooMuch("octets in all", kMaxLoadTotalLen));
  } else {
    m_totalLen += len;
    sxLoadReader(*this, kept, {octets, len}).Run();
  }
  const auto start = m_items.begin() + static_cast<std::ptrdiff_t>(before);
  return static_cast<int>(
      std::count_if(start, m_items.end(), [](const sxLoadItem &item) { return item.skip == sxLoadSkip::kNot; }));
}

int sxLoader::AddRead(sxReadResult result, const kxBinBuf &octets, const char *name) {
  if (result == sxReadResult::kDone) return AddOctets(octets.Data(), octets.Len(), name);
  std::string reason = sxReadReason(result, kMaxInputLen);  // first: errno does not last
  const char *const kept = Keep(name);
  if (!HasRoom(kept)) return 0;
  const bool tooLong = result == sxReadResult::kTooLong, noFile = result == sxReadResult::kNoFile;
  SkipFile(kept,
           tooLong  ? sxLoadSkip::kTooMuch
           : noFile ? sxLoadSkip::kNoFile
                    : sxLoadSkip::kUnreadable,
           std::move(reason));
  return 0;
}

int sxLoader::AddFile(const char *path) {
  sxWipedBuf file;
  const sxReadResult result = sxReadWhole(NameOf(path), kMaxInputLen, file.buf);
  return AddRead(result, file.buf, path);
}

int sxLoader::AddStream(std::FILE *in, const char *name) {
  sxWipedBuf input;
  const sxReadResult result = sxReadWhole(in, kMaxInputLen, input.buf);
  return AddRead(result, input.buf, name);
}

int sxLoader::AddFolder(const char *path) {
  std::vector<std::string> names;
  bool cut = false;
  if (ListFolder(NameOf(path), names, &cut) != 0) {
    const int error = errno;
    SkipFile(Keep(path), sxLoadSkip::kUnreadable, std::string("cannot be listed: ") + std::strerror(error));
  }
  int found = 0;
  for (const std::string &name : names) found += AddFile((std::string(NameOf(path)) + "/" + name).c_str());
  if (cut) SkipFile(Keep(path), sxLoadSkip::kTooMuch, TooMuch("names", kMaxLoadFolderEntries));
  return found;
}

int sxLoader::AddPath(const char *path) { return IsFolder(NameOf(path)) ? AddFolder(path) : AddFile(path); }

void sxLoader::CopyCerts(sxCerts &out) const {
  for (const sxLoadItem &item : m_items) {
    if (item.cert == nullptr) continue;
    sxCert_Save(item.cert);
    out.Add(item.cert);
  }
}
