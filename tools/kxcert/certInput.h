/// @file
/// Certificates from input, each with the place it came from.
#ifndef KXCERT_TOOLS_KXCERT_CERTINPUT_H_
#define KXCERT_TOOLS_KXCERT_CERTINPUT_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/cert/sxCert.h"

class Report;

struct FreeCert {
  void operator()(sxCert *cert) const { sxCert_Free(cert); }
};
using CertRef = std::unique_ptr<sxCert, FreeCert>;

struct FoundCert {
  CertRef cert;       ///< OK
  std::string where;  ///< file, and line for PEM; printable ASCII, in one line whatever the file's name
};

/// Every certificate of one file. What else is in the file is a note; what cannot be read, or a file
/// without certificates, is a problem.
std::vector<FoundCert> ReadCerts(const std::string &path, Report &report);
/// The only one of a file. @return none: a problem, which has been told
FoundCert ReadOneCert(const std::string &path, Report &report);

/// The same for trust anchors, from a file or a folder. In a folder what is no certificate is passed
/// over, with one note that counts it. Equal certificates are kept once.
std::vector<FoundCert> ReadTrust(const std::vector<std::string> &paths, Report &report);

#endif
