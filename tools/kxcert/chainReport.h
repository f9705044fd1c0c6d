/// @file
/// What an administrator is told about a chain: the verdict first, then the path, what failed, and what nobody looked at.
#ifndef KXCERT_TOOLS_KXCERT_CHAINREPORT_H_
#define KXCERT_TOOLS_KXCERT_CHAINREPORT_H_

#include <cstdint>
#include <string>
#include <vector>

#include "chainBuild.h"

class Report;

// The answer in one line, and what decided.
struct Answer {
  int code;
  int level;  // of the certificate that decided, or -1
  std::vector<sxFact> facts;
  std::string help;
};

struct Decision {
  JudgedChain judged;
  Answer answer;
  MissingIssuer missing;  // when there is no root
  int64_t now;
  bool asksRevocation = false;
  bool isLetPass = false;  // with a status that is not known

  const sxCerts &Path() const { return judged.verdict.path; }
  const sxRootCA *Root() const { return judged.verdict.root; }
  // The path is valid, but what was given is not this path.
  bool IsLeftOver() const { return judged.verdict.code == sxValidation_OK && !judged.leftOver.empty(); }
};

/// Where a certificate came from: file and line, or the database.
std::string WhereFrom(const sxCert &cert, const GivenCerts &given);
std::string RevocationText(const Decision &decision);

/// @param verbose  every rule of every certificate, too
void PrintChainReport(const Decision &decision, const GivenCerts &given, bool verbose, Report &report);

#endif
