/// @file
/// Loading what users have: certificates, CRLs, certification requests and keys from files, folders and memory.
///
/// What a file holds is told by its content, never by its name: PEM with any number of blocks, elements of
/// BER behind one another, "{ASN}" text (inputBlocks.h), and in any of them the certificates and CRLs of a
/// PKCS #7 or CMS SignedData (RFC 5652, 5.1), whose signatures are not looked at; nor are those of requests. Private keys are
/// RSAPrivateKey, ECPrivateKey, and PrivateKeyInfo with one of the two or a Diffie-Hellman key; with a password also
/// EncryptedPrivateKeyInfo and encrypted blocks of traditional PEM (encryptedKeys.h). What is in PKCS #12 (pkcs12.h) is
/// found without a password where it needs none. Where keys are asked for, a file may
/// also be the text of one attribute set with a key in it (keyForms.h).
///
/// Everything comes with its place, and everything that is passed over with its place and a reason. Nothing
/// here trusts or judges: what was loaded may be expired, revoked or forged.
#ifndef KXCERT_CERT_LOADFILES_H_
#define KXCERT_CERT_LOADFILES_H_

#include <deque>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "kxcert/cert/inputBlocks.h"
#include "kxcert/keys/passwordBased.h"

class sxCert;
class sxCertRequest;
class sxCerts;
class sxCRL;
class sxLoadReader;
class sxPubKey;
enum class sxReadResult;

constexpr size_t kMaxLoadTotalLen = size_t{1} << 29;  ///< octets that one loader reads
constexpr size_t kMaxLoadItems = size_t{1} << 18;     ///< that one loader keeps, what it passed over included
constexpr size_t kMaxLoadFolderEntries = 65536;       ///< names in one folder
/// Of keys and PKCS #12 containers under passwords that one loader opens, together: each alone may take seconds.
constexpr uint64_t kMaxLoadIterations = 40'000'000;

enum class sxLoadKind { kNothing, kCertificate, kCrl, kPublicKey, kPrivateKey, kRequest };

enum class sxLoadSkip {
  kNot,         ///< there is an object
  kUnreadable,  ///< the file or folder could not be opened or read, or holds nothing
  kNoFile,      ///< a folder, pipe or device
  kBroken,      ///< a PEM block without an end or that is not Base64, "{ASN}" text without digits
  kLabel,       ///< a PEM block of a kind that is not read
  kUnwanted,    ///< of a kind that was not asked for; its octets were not decoded
  kEncrypted,   ///< a private key that was not decrypted; the item's decryption says why
  kPkcs12,      ///< PKCS #12 that was not opened, or holds nothing; the item's decryption says why
  kUnknown,     ///< whole, but of no kind that is known here
  kNotDecoded,  ///< not what it seems or claims to be, or not usable
  kCutShort,    ///< the input ends within it, or no ASN.1 starts there; what follows was not looked at
  kTooMuch,     ///< beyond one of the limits; what follows was not looked at
};

struct KXCERT_EXPORT sxLoadPlace {
  const char *file = "";  ///< as it was named; lent as long as the loader lives
  int block = 0;          ///< from 1: PEM block, or element of a file that is no PEM; 0: the whole file
  int member = 0;         ///< from 1: within a PKCS #7 or PKCS #12 container; 0: the block itself
  size_t offset = 0;      ///< octets before it in the file; what is in a PEM block stands where the block does
  size_t line = 0;        ///< of the PEM block, from 1; 0 when it is no PEM

  /// "roots.pem line 12", "two.der offset 812", "chain.p7b line 1 item 2"; just the file where that says it
  /// all. The file's name as it is, whatever characters are in it.
  std::string Text() const;
};

/// Either one object, or the reason why there is none. Objects are lent as long as the loader lives;
/// whoever keeps one longer takes a reference (sxCert_Save and its kin).
struct sxLoadItem {
  sxLoadPlace place;
  sxLoadKind kind = sxLoadKind::kNothing;  ///< of what was passed over: what it seems to be
  std::string label;                       ///< of the PEM block; printable ASCII
  sxCert *cert = nullptr;                  ///< OK
  sxCRL *crl = nullptr;                    ///< OK
  sxCertRequest *request = nullptr;        ///< OK
  sxPubKey *key = nullptr;                 ///< OK; has a private part when kind says so
  sxLoadSkip skip = sxLoadSkip::kNot;
  int decryption = sxPbe_ok;  ///< sxPbeResult; sxPbe_ok also of what is not encrypted
  std::string reason;         ///< of what was passed over; printable ASCII but for what the system says of files
};

/// Asked for the password of each encrypted key and of each PKCS #12 container, on the loader's thread.
/// @param[out] password  a sensitive buffer; left empty for the empty password, and for none (passwordBased.h)
/// @return false: there is none
using sxAskPassword = std::function<bool(const sxLoadPlace &place, kxBinBuf &password)>;

/// Told of every container before what is in it, and of everything that is passed over before it is an item: the next one
/// of Items(). On the loader's thread; the octets are those of the element or block, lent, and may be a key.
/// @param item     of a container, skip is kNot and kind kNothing, and it becomes no item
/// @param dekInfo  of a PEM block whose headers say that it is encrypted (inputBlocks.h); else empty
using sxObserveLoad =
    std::function<void(const sxLoadItem &item, std::span<const unsigned char> octets, const std::string &dekInfo)>;

enum sxLoadWanted : unsigned {
  sxLoad_certs = 1,
  sxLoad_crls = 2,
  sxLoad_keys = 4,
  sxLoad_requests = 8,
  sxLoad_all = 15
};

/// Collects; one thread. What is read of files and decoded of PEM is wiped, as it may be keys.
class KXCERT_EXPORT sxLoader {
 public:
  explicit sxLoader(unsigned wanted = sxLoad_all);  ///< of sxLoadWanted
  ~sxLoader();
  sxLoader(const sxLoader &) = delete;
  sxLoader &operator=(const sxLoader &) = delete;

  void SetPassword(sxAskPassword ask) { m_askPassword = std::move(ask); }  ///< of what is added from here on

  void SetObserver(sxObserveLoad observe) { m_observe = std::move(observe); }  ///< likewise

  uint64_t Iterations() const { return m_numIterations; }  ///< that passwords took so far
  /// What was spent elsewhere counts here, too: of one input that several loaders read, for instance.
  void SetIterations(uint64_t spent) { m_numIterations = spent < kMaxLoadIterations ? spent : kMaxLoadIterations; }

  // Each returns how many objects it found. Null stands for an empty name.
  int AddPath(const char *path);  ///< a file or a folder
  int AddFile(const char *path);  ///< a regular file, or a link to one
  /// The files of a folder, sorted by name, and links to files; not the folders in it.
  int AddFolder(const char *path);
  int AddStream(std::FILE *in, const char *name);  ///< to its end; @p name is for places
  int AddOctets(const unsigned char *octets, size_t len, const char *name);

  const std::vector<sxLoadItem> &Items() const { return m_items; }  ///< in the order of the input
  void CopyCerts(sxCerts &out) const;                               ///< adds the certificates, with a reference each

 private:
  friend class sxLoadReader;
  const char *Keep(const char *name);
  bool HasRoom(const char *name);
  int AddRead(sxReadResult result, const kxBinBuf &octets, const char *name);
  void SkipFile(const char *name, sxLoadSkip skip, std::string reason);

  const unsigned m_wanted;
  sxAskPassword m_askPassword;
  sxObserveLoad m_observe;
  uint64_t m_numIterations = 0;
  size_t m_totalLen = 0;
  std::deque<std::string> m_names;  // lent to places
  std::vector<sxLoadItem> m_items;
};

#endif
