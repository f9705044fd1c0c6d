/// @file
/// Passwords of keys: of those that are read, and of those that are written.
#ifndef KXCERT_TOOLS_KXCERT_KEYPASSWORD_H_
#define KXCERT_TOOLS_KXCERT_KEYPASSWORD_H_

#include <string>
#include <vector>

#include "kxcert/cert/loadFiles.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "verb.h"

class Report;

/// The option that says where the password of a key is.
OptionRow PasswordRow(std::string &source, const char *name = "--password");

/// The password of the keys of one input, asked for when the first encrypted one comes: from its source, else on the
/// terminal.
class KeyPassword {
 public:
  /// @param source  as the option says it; "": the terminal, when there is one
  KeyPassword(const std::string &source, Report &report) : m_source(source), m_report(report) {}

  bool Give(const sxLoadPlace &place, kxBinBuf &out);  ///< as sxAskPassword
  bool IsTold() const { return m_isTold; }             ///< that it could not be read is a problem, which has been told

 private:
  const std::string m_source;
  Report &m_report;
  bool m_isRead = false, m_isTold = false;
  kxBinBuf m_password;
};

struct EncryptOptions {
  std::string cipher;    ///< "": the key is written as it is
  std::string password;  ///< its source
  int iterations = -1;   ///< not given: kUsualPbeIterations
};
/// "--encrypt", "--new-password" and "--iterations".
std::vector<OptionRow> EncryptRows(EncryptOptions &options);

/// The password for what is written: from its source, else typed twice. @return "", or what is wrong
std::string ReadNewPassword(const std::string &source, kxBinBuf &out);

struct KeyProtection {
  bool isOn = false;
  sxPbeSettings settings;
  kxBinBuf password;  // sensitive
};
/// Reads the new password, which a terminal is asked for twice.
/// @param canBe  whether what is written has a private key, in a form that can be encrypted
/// @return false: a problem, which has been told
bool ReadProtection(const EncryptOptions &options, bool canBe, KeyProtection &protection, Report &report);

#endif
