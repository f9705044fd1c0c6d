/// @file
/// A line of tests/data/chain/scenarios.txt: certificates in, the library's verdict on the chain out.
#ifndef KXCERT_TESTS_SUPPORT_CHAINJUDGE_H_
#define KXCERT_TESTS_SUPPORT_CHAINJUDGE_H_

#include <map>
#include <string>
#include <vector>

#include "kxcert/cert/sxCerts.h"
#include "kxcert/trust/sxValidation.h"
#include "support/caseFile.h"

using Words = std::vector<std::string>;
using CertNames = std::map<std::string, std::string>;   ///< by DER

Words Split(const std::string &text);
/// Certificates of tests/data/chain/certs; what is none is left out. Adds their names.
sxCerts LoadCerts(const Words &files, CertNames &names);
std::string NamesOf(const sxCerts &certs, CertNames &names);

class Scenario {
 public:
  explicit Scenario(const CaseRow &row);

  Words Sent() const { return Certs(m_cells[1]); }
  Words Trusted() const { return Certs(m_cells[2]); }
  /// "expired at leaf: leaf issuer root", with whole names.
  std::string Expected() const;
  /// Values of a setting, none when it is not there; where they are certificates, their names.
  Words All(const std::string &setting) const;
  Words Certs(const std::string &names) const;   ///< ".leaf" is the scenario's own
  std::string One(const std::string &setting) const;
  int Seconds(const std::string &setting) const;   ///< kGraceDefault without it

 private:
  Words m_cells;
  std::map<std::string, Words> m_settings;
};

struct ChainAnswer {
  std::string verdict = "notTrusted";  ///< as Scenario::Expected() says it
  sxValidationRC rc = sxValidation_notTrusted;
  int level = -1;
  long expirationSec = -1;
  long chainExpirationSec = -1;   ///< as sxGetChainExpiration says
  std::string text;               ///< the message, empty on success and without trust; or the JSON
  std::string subject;            ///< at the level; empty without one
  std::string serial;
  Words tried;                    ///< "expired at 1: why it ended"; of the call that is told the end entity
};

/// Sorts and looks for a trusted root, or repairs, as the setting "run" says; then the path, signature and name checks.
ChainAnswer JudgeChosen(const Scenario &scenario);
/// The call that is told the end entity; the verdict ends in "!" where it is about another one.
ChainAnswer JudgeNamed(const Scenario &scenario, bool backwards);

#endif
