/// @file
/// The password of a container: what others make of the same one, and how much may be computed with it.
#ifndef KXCERT_SRC_CERT_PKCS12_CONTAINERPASSWORD_H_
#define KXCERT_SRC_CERT_PKCS12_CONTAINERPASSWORD_H_

#include <functional>
#include <vector>

#include "containerFailure.h"
#include "keys/pbe/pbePlan.h"

class ContainerPassword {
 public:
  /// @param given  borrowed; without data: there is none
  explicit ContainerPassword(sxPbeOctets given);

  bool IsGiven() const { return m_isGiven; }
  uint64_t Spent() const { return m_spent; }  ///< iterations

  /// Asks with one form of the password after the other until one is right, beginning with that which was right before.
  /// @param kdf      says which forms there are
  /// @param cost     of each try, as PbeCost counts
  /// @param isRight  given the octets; sxPbe_wrongPassword goes on to the next form
  bool Try(PbeKdf kdf, uint64_t cost, const std::function<bool(sxOctetView password, PbeFailure *failure)> &isRight,
           ContainerFailure *failure);

  /// @param isRight  whether what was decrypted is of the kind that it should be
  bool Decrypt(sxOctetView algorithm, sxOctetView content, bool (*isRight)(const kxBinBuf &plain), kxBinBuf *out,
               ContainerFailure *failure);

 private:
  struct Forms {
    std::vector<sxOctetView> forms;  // one without data: none at all
    size_t right = 0;
  };
  bool Spend(uint64_t cost, ContainerFailure *failure);

  bool m_isGiven;
  kxBinBuf m_latin1, m_utf16;    // sensitive
  Forms m_characters, m_octets;  // for derivations that take UTF-16, and octets
  uint64_t m_spent = 0;          // iterations
};

#endif
