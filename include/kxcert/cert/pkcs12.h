/// @file
/// PKCS #12 (RFC 7292): containers of private keys, certificates and CRLs that a password protects.
///
/// Read are BER and DER, every kind of bag, encryption as in passwordBased.h, and MACs of the container's own key
/// derivation and of PBMAC1 (RFC 9579). Nothing of what a container with a MAC has in it is made an object before the
/// MAC was checked. Containers that are protected or signed with public keys are not read.
///
/// Passwords are UTF-8. A view without data is no password: what has neither encryption nor a MAC is opened without
/// one. Others write other octets for the same password, so those are tried as well: none for the empty one, each octet
/// as a character of Latin-1 where one is beyond ASCII, and UTF-16 where PBES2 and PBMAC1 take UTF-8.
///
/// Numbers of a file that drive work are compared with the limits below before anything is computed. Private keys and
/// secrets are in sensitive buffers and wiped. Any thread; an object belongs to one thread at a time.
#ifndef KXCERT_CERT_PKCS12_H_
#define KXCERT_CERT_PKCS12_H_

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/keys/passwordBased.h"

class sxCert;
class sxCRL;
class sxPkcs12_imp;
class sxPubKey;

constexpr size_t kMaxPkcs12Len = size_t{1} << 26;       ///< octets of a container
constexpr size_t kMaxPkcs12Elements = size_t{1} << 18;  ///< of BER in it, those within its strings not counted
constexpr int kMaxPkcs12Nesting = 32;                   ///< of elements in it
constexpr int kMaxPkcs12Safes = 256;
constexpr int kMaxPkcs12SafeNesting = 8;               ///< of safes within safes
constexpr size_t kMaxPkcs12Bags = 4096;                ///< of all safes
constexpr int kMaxPkcs12Attributes = 64;               ///< of a bag
constexpr size_t kMaxPkcs12NameLen = 4096;             ///< octets of a friendly name, in UTF-8
constexpr size_t kMaxPkcs12KeyIdLen = 1024;            ///< octets of a local key identifier
constexpr uint64_t kMaxPkcs12Iterations = 40'000'000;  ///< of all derivations of a container, each digest and try
constexpr uint64_t kMinPbmac1KeyLen = 20;              ///< octets (RFC 9579)

enum sxPkcs12Result : int {
  sxPkcs12_ok = 0,
  sxPkcs12_wrongPassword = -1,  ///< the MAC is not this password's: another one, or what it is over was changed
  sxPkcs12_notDecrypted = -2,   ///< there is no MAC that tells a wrong password from damage
  sxPkcs12_otherPassword = -3,  ///< the MAC is this password's, but a part is not decrypted with it
  sxPkcs12_malformed = -4,      ///< damaged, whatever the password
  sxPkcs12_unsupported = -5,    ///< an algorithm, or a kind of protection
  sxPkcs12_tooCostly = -6,      ///< beyond one of the limits; nothing was tried
  sxPkcs12_needsPassword = -7,
  sxPkcs12_noProvider = -8,  ///< libcrypto's legacy provider cannot be loaded
  sxPkcs12_failed = -9,      ///< libcrypto failed, bad arguments, or what was written is not what was to be
};
/// Fixed text, for a message; "unknown result" for another number.
KXCERT_EXPORT const char *sxPkcs12_ResultText(int result);

/// How something is protected, as the container says. Within the limits or not.
struct sxPkcs12Protection {
  std::string text;         ///< "PBES2 with AES-256-CBC and HMAC-SHA2-256"; "" for none
  uint64_t iterations = 0;  ///< 0 for none, and scrypt; UINT64_MAX: more than 64 bits tell
};

/// The same of a private key by itself: an EncryptedPrivateKeyInfo (encryptedKeys.h).
KXCERT_EXPORT sxPkcs12Protection sxEncryptedKey_Protection(std::span<const unsigned char> keyInfo);

/// AuthenticatedSafe ::= SEQUENCE OF ContentInfo (RFC 7292, 4.1)
struct sxPkcs12Safe {
  sxPkcs12Protection protection;
  bool isEncrypted = false;  ///< for whatever has the password or a private key
};

enum class sxPkcs12Kind { kKey, kShroudedKey, kCert, kCrl, kSecret, kSafe, kUnknown };
KXCERT_EXPORT const char *sxPkcs12_KindText(sxPkcs12Kind kind);  ///< "keyBag" and its like (RFC 7292, 4.2)

struct sxPkcs12Bag {
  sxPkcs12Kind kind = sxPkcs12Kind::kUnknown;
  int safe = 0;     ///< which of Safes() it is in
  int nesting = 0;  ///< of the safeContentsBags around it
  std::string
      type;  ///< identifier, dotted: of a certificate's, CRL's or secret's form where it has one, else of the bag
  sxPkcs12Protection protection;     ///< of a shrouded key
  std::string name;                  ///< friendlyName, UTF-8; whatever characters are in it
  std::vector<unsigned char> keyId;  ///< localKeyId
  int numOtherAttributes = 0;

  // Of these there is at most one, and none before Open. Lent as long as the container lives; whoever keeps one longer
  // takes a reference.
  sxCert *cert = nullptr;   ///< OK
  sxCRL *crl = nullptr;     ///< OK
  sxPubKey *key = nullptr;  ///< OK; has its private part
  kxBinBuf value;  ///< sensitive: DER of a secret, of what is unknown, or of a certificate or CRL that is not used

  int result = sxPkcs12_ok;  ///< why there is none, after Open
  std::string why;           ///< printable ASCII
};

class KXCERT_EXPORT sxPkcs12 {
 public:
  sxPkcs12();
  ~sxPkcs12();
  sxPkcs12(const sxPkcs12 &) = delete;
  sxPkcs12 &operator=(const sxPkcs12 &) = delete;

  /// Reads what needs no password, in place of what was read before: how all of it is protected, and which bags are in
  /// safes that are not encrypted, with their attributes. Until Open, no more than a claim.
  /// @param octets    copied
  /// @param[out] why  may be null; the result's text, and what it is about
  /// @return sxPkcs12Result; on failure there is nothing in it (one line logged)
  int Read(std::span<const unsigned char> octets, std::string *why = nullptr);

  /// Checks the MAC, decrypts every safe and decodes every bag. A bag that is not decrypted or not usable says so
  /// itself; a safe that is not decrypted fails all of it, and leaves what there was. So does a password without a MAC that
  /// opens none of the keys; where it was open without one, their bags then say so.
  int Open(sxPbeOctets password, std::string *why = nullptr);
  bool IsOpen() const;
  uint64_t Spent() const;  ///< iterations that all calls of Open took, as sxPbe_Cost counts

  bool HasMac() const;
  const sxPkcs12Protection &Mac() const;  ///< "HMAC-SHA2-256", "PBMAC1 with HMAC-SHA2-256"; "" without one
  const std::vector<sxPkcs12Safe> &Safes() const;
  const std::vector<sxPkcs12Bag> &Bags() const;  ///< in their order; safeContentsBags before what is in them

 private:
  std::unique_ptr<sxPkcs12_imp> m_imp;  // never null
};

enum class sxPkcs12MacKind { kOwn, kPbmac1 };

/// The defaults are for readers of today.
struct sxPkcs12Settings {
  sxPbeSettings keys, certs;  ///< how keys are encrypted, and everything else
  sxPkcs12MacKind mac = sxPkcs12MacKind::kOwn;
  sx_md_type macDigest = sx_md_sha256;  ///< sx_md_sha1, sx_md_sha256, sx_md_sha384 or sx_md_sha512
  int macIterations = kUsualPbeIterations;
  bool isOpen = false;  ///< neither encryption nor MAC, and no password: private keys are for everyone to read
};
/// What readers know that know no PBES2: 3DES, and SHA-1.
KXCERT_EXPORT sxPkcs12Settings sxPkcs12_LegacySettings();

/// What goes into a container; all of it borrowed. A key and its certificate in one entry get the same localKeyId: the
/// SHA-1 of the certificate, as others do.
struct sxPkcs12Entry {
  sxPubKey *key = nullptr;  ///< with its private part: RSA, EC or Diffie-Hellman
  sxCert *cert = nullptr;
  sxCRL *crl = nullptr;
  std::string name;  ///< friendlyName of all of them, UTF-8; "": none
};

/// Writes a container, certificates and CRLs in one safe and keys in another, then reads it and compares.
/// @param password  may be the empty one; a view without data only with @c isOpen, which takes no other
/// @param[out] out  not sensitive, unless it is open and has a key; unchanged on failure
/// @param[out] why  may be null
/// @return sxPkcs12Result; sxPkcs12_failed also for a key and a certificate that do not belong together, and settings
///         out of range
KXCERT_EXPORT int sxPkcs12_Write(std::span<const sxPkcs12Entry> entries, const sxPkcs12Settings &settings,
                                 sxPbeOctets password, kxBinBuf &out, std::string *why = nullptr);

#endif
