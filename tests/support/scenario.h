/// @file
/// The lines of tests/data/chain/scenarios.txt and revoked.txt, and the certificates that they name.
#ifndef KXCERT_TESTS_SUPPORT_SCENARIO_H_
#define KXCERT_TESTS_SUPPORT_SCENARIO_H_

#include <cstdint>
#include <map>
#include <string>

#include "kxcert/cert/sxCerts.h"
#include "support/caseFile.h"
#include "support/words.h"

/// The row's cells are for who knows which file it is of; the sixth one has the settings.
class Scenario {
 public:
  /// @param known  the settings that there are; another one throws
  Scenario(const CaseRow &row, const Words &known);

  const std::string &operator[](size_t cell) const { return m_cells.at(cell); }
  /// Values of a setting, none when it is not there.
  Words All(const std::string &setting) const {
    return m_settings.contains(setting) ? m_settings.at(setting) : Words();
  }
  std::string One(const std::string &setting) const { return m_settings.contains(setting) ? All(setting)[0] : ""; }
  /// ".leaf" is the scenario's own.
  Words Certs(const std::string &names) const;
  /// The setting "time", or the first moment of 2030; seconds since 1970-01-01 00:00 UTC.
  int64_t Now() const;

 private:
  Words m_cells;
  std::map<std::string, Words> m_settings;
};

using CertNames = std::map<std::string, std::string>;  ///< by DER

/// Certificates of tests/data/chain/certs; what is none is left out. Adds their names.
sxCerts LoadCerts(const Words &files, CertNames &names);

#endif
