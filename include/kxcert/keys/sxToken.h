/// @file
/// sxToken: where private keys are kept that a program uses and does not see: a smart card, a security module, an
/// agent; and the base that those who write one derive from.
///
/// Shared and counted (sxPKobj.h). A token finds its keys by identifier, that of a certified key for instance
/// (sxPKNamedObj.h); what such a key does when it signs is the key's own business. Functions that are installed for
/// keys kept elsewhere (sxSetImportRSAKey_func and its kin) ask a token.
///
/// The one that this library brings keeps keys of any kind in memory, for tests and for programs whose keys come from
/// files. Any thread may look keys up; they are added and removed by one thread while no other uses the token.
#ifndef KXCERT_KEYS_SXTOKEN_H_
#define KXCERT_KEYS_SXTOKEN_H_

#include <cstdio>

#include "kxcert/foundation/sxPKobj.h"

class sxPubKey;
class sxToken_imp;
class SxStream;

class KXCERT_EXPORT sxToken : public sxPKobj {
 public:
  explicit sxToken(const char *label);  ///< an empty one in memory; null is ""
  explicit sxToken(sxToken_imp *imp);   ///< adopts

  const char *Label() const;  ///< lent
  int NumKeys() const;
  /// The key of that identifier, with a reference for sxFreePubKey; null when there is none.
  sxPubKey *FindKey(const unsigned char *id, int idLen) const;
  /// Takes a reference. @return 0; -1: a null or unusable key, an identifier that is empty or too long (kMaxTokenIdLen)
  ///         or in use, or a token that takes no keys
  int AddKey(const unsigned char *id, int idLen, sxPubKey *key);
  int RemoveKey(const unsigned char *id, int idLen);  ///< 0; -1: there is none, or it cannot be removed

  /// The label, and a line for each key: its identifier, and what it is.
  void Sprint(SxStream *out, int indent) const;
  void Fprint(FILE *out, int indent) const;  ///< null: standard output
  void Herror() const;                       ///< the same to the debug log

 private:
  sxToken_imp *Imp() const;
};

constexpr int kMaxTokenIdLen = 255;

#endif
