/// @file
/// Certificate files in, the library's verdict on the chain out. Without GoogleTest: commands use
/// it, too.
#ifndef KXCERT_TESTS_SUPPORT_CHAINJUDGE_H_
#define KXCERT_TESTS_SUPPORT_CHAINJUDGE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kxcert/trust/sxValidation.h"

/// Names are paths of files with one certificate each, DER or PEM.
struct ChainQuestion {
  std::vector<std::string> chain;          ///< as the peer sent it
  std::vector<std::string> anchors;        ///< a root each
  std::vector<std::string> additional;     ///< more certificates of the first root
  std::vector<std::string> constraints;    ///< directory names, as text, of the first root
  std::vector<std::string> intermediates;  ///< kept by the holder
  std::vector<std::string> ownChain;       ///< of a key of the holder's, below the first root
  std::vector<std::string> blackList;      ///< serial numbers in hexadecimal
  int startGraceSec = kGraceDefault;
  int endGraceSec = kGraceDefault;
  int64_t nowSec = 0;
  bool sort = false;  ///< before the repair
  bool fix = false;   ///< repair; else look for a trusted root
  bool named = false;     ///< neither: ask about one end entity, with the chain as a pool
  std::string endEntity;  ///< empty: the one that sorting finds
};

struct ChainAnswer {
  std::string problem;  ///< not empty: a file cannot be read; all else is unset
  sxValidationRC rc = sxValidation_notTrusted;
  int level = -1;
  long expirationSec = -1;
  long chainExpirationSec = -1;   ///< as sxGetChainExpiration says
  std::string text;               ///< the message; empty on success and without trust
  std::string subject;            ///< at the level; empty without one
  std::vector<std::string> path;  ///< DER, end entity first, the trusted root last
};

/// Makes the holder, finds the root, and runs the path, signature and name checks. Sets the clock.
ChainAnswer JudgeChain(const ChainQuestion &question);

/// DER of the certificate in the file; empty when there is none that is OK.
std::string ReadCertFile(const std::string &file);

/// The name that cases give a code ("EXPIRED"), and back. Null and false for others.
const char *CodeName(sxValidationRC rc);
bool CodeOfName(const std::string &name, sxValidationRC *rc);

/// Every code that a chain without revocation can have, with its name and text.
struct ChainCode { sxValidationRC rc; const char *name; const char *text; };
const std::vector<ChainCode> &ChainCodes();

#endif
