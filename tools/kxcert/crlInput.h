/// @file
/// CRLs from input, and serial numbers as the command line names them.
#ifndef KXCERT_TOOLS_KXCERT_CRLINPUT_H_
#define KXCERT_TOOLS_KXCERT_CRLINPUT_H_

#include <memory>
#include <string>
#include <vector>

#include "kxcert/asn1/sxAsnInt.h"
#include "kxcert/cert/sxCRL.h"

class Report;

struct FreeCrl {
  void operator()(sxCRL *crl) const { sxCRL_Free(crl); }
};
using CrlRef = std::unique_ptr<sxCRL, FreeCrl>;

struct FoundCrl {
  CrlRef crl;         ///< OK
  std::string where;  ///< file, and line for PEM; printable ASCII, in one line whatever the file's name
};

/// Every CRL of one file. What else is in the file is a note; what cannot be read, or a file without CRLs, is a problem.
std::vector<FoundCrl> ReadCrls(const std::string &path, Report &report);
/// The only one of a file. @return none: a problem, which has been told
FoundCrl ReadOneCrl(const std::string &path, Report &report);

/// Hexadecimal, of either case, also with colons between octets, a negative one behind a sign. Null for anything else.
std::unique_ptr<sxAsnInt> ParseSerial(const std::string &text);
std::string CheckSerial(const std::string &text);  ///< of an option: "", or what is wrong with it

#endif
