/// @file
/// What each certificate of a chain was checked for, and with what result.
///
/// A validation ends at its first failure; a report goes on, so the rules are asked here one by one. They
/// are the library's; its verdict stands whatever is found here.
#ifndef KXCERT_TOOLS_KXCERT_CHAINFINDINGS_H_
#define KXCERT_TOOLS_KXCERT_CHAINFINDINGS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "kxcert/trust/ValidateParams.h"

class sxCerts;

struct Verdict {
  int code;
  int level;                       ///< index of the certificate that failed, or -1
  std::string text;                ///< the code's fixed text
  std::vector<std::string> facts;  ///< "label: value"
};

/// The library's texts for a code at a level.
Verdict Explain(const sxCerts &chain, int code, int level);

struct LevelFindings {
  std::vector<std::string> passed;  ///< names of checks
  std::vector<Verdict> failed;
};

/// Findings for every level, end entity first.
/// @param trusted  the top certificate is a trusted root's
/// @param now      seconds since 1970-01-01 00:00 UTC
/// @param verdict  is among them at its level, whatever the checks here say
std::vector<LevelFindings> FindAll(const sxCerts &chain, bool trusted, const ValidateParams &params, int64_t now,
                                   const Verdict &verdict);

/// What an administrator can do about a code; never empty.
std::string Advice(int code);

#endif
