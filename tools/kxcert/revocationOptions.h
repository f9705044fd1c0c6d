/// @file
/// The options that say how revocation is looked into, and what they set up.
#ifndef KXCERT_TOOLS_KXCERT_REVOCATIONOPTIONS_H_
#define KXCERT_TOOLS_KXCERT_REVOCATIONOPTIONS_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/trust/revocation.h"
#include "verb.h"

class Fetching;
class Report;

enum RevocationMode : int {
  kRevocation_unset,  ///< any, when something is given to look into; else off
  kRevocation_off,
  kRevocation_crl,
  kRevocation_ocsp,
  kRevocation_any,
  kRevocation_both,
};

struct RevocationOptions {
  int mode = kRevocation_unset;
  std::vector<std::string> crls;
  std::vector<std::string> responses;
  std::string database;
  bool fetches = false;
  std::vector<std::string> ldapServers;
  bool allowPrivate = false;
  int ocspNonce = static_cast<int>(sxOcspNonce::kOff);
  bool softFail = false;
};

/// The option that says whether OCSP responses have to repeat what nobody knew before.
OptionRow NonceRow(const char *name, int &nonce);
std::vector<OptionRow> RevocationRows(RevocationOptions &options);
/// What is asked for where options do not fit together, or null.
const char *MissingForRevocation(const RevocationOptions &options);

/// The process's revocation checking, for as long as it lives.
class Revocation {
 public:
  Revocation();
  ~Revocation();
  Revocation(const Revocation &) = delete;
  Revocation &operator=(const Revocation &) = delete;

  /// Reads what is given and sets the parameters. What goes wrong is reported.
  void SetUp(const RevocationOptions &options, ValidateParams &params, Report &report);
  bool IsOn() const { return m_isOn; }
  bool Fetches() const { return m_fetching != nullptr; }
  const sxOcspResponses &Responses() const { return m_responses; }

 private:
  void ReadCrls(const std::vector<std::string> &files, Report &report);
  void ReadResponses(const std::vector<std::string> &files, Report &report);

  bool m_isOn = false;
  sxOcspResponses m_responses;
  std::unique_ptr<Fetching> m_fetching;
};

/// One line about what was looked at: "CRL from http://... (network, 12 ms): good, until ...".
std::string EvidenceText(const sxRevocationEvidence &said);

#endif
