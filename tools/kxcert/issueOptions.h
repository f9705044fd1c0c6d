/// @file
/// What issuing and renewing have in common: who signs, for how long, how, and what is told of it.
#ifndef KXCERT_TOOLS_KXCERT_ISSUEOPTIONS_H_
#define KXCERT_TOOLS_KXCERT_ISSUEOPTIONS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "certInput.h"
#include "extensionOptions.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "kxcert/platform/digest.h"
#include "verb.h"

class Report;
class sxCertTemplate;

struct IssueOptions {
  std::string issuerCert, issuerKey, issuerPassword;  ///< no certificate: it signs itself
  std::string key, password;                          ///< of rows that each verb has
  int days = -1;
  std::string notBefore, notAfter, serial;
  int digest = sx_md_sha256;
  int keyIdMd = 0;  ///< not given: sx_md_sha1
  ExtensionOptions extensions;
  int form = kObjectForm_pem;
  OutputOptions output;
};

/// All but those of the key. @see MissingOfIssuer
std::vector<OptionRow> IssueRows(IssueOptions &options);
/// For Verb::missing: an issuer's certificate and its key go together.
const char *MissingOfIssuer(const IssueOptions &options);

struct Signer {
  FoundCert issuer;  ///< none: it signs itself
  FoundKey key;
};

// Each returns false for a problem, which has been told.

/// The issuer and its key; without one, IssueOptions::key.
bool ReadSigner(const IssueOptions &options, Signer &signer, Report &report);

/// From the options, and never beyond the issuer's own: a span of days is cut, and that is told; a given time that is
/// beyond it is a problem.
/// @param usualSec  how long unless the options say so
bool SetValidity(const IssueOptions &options, int64_t usualSec, const Signer &signer, sxCertTemplate &wanted,
                 Report &report);

/// Signs, writes, and tells what was made.
/// @param profile  "" for none
bool Issue(const IssueOptions &options, const std::string &profile, const Signer &signer, sxCertTemplate &wanted,
           Report &report);

#endif
