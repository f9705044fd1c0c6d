/// @file
/// The options that set extensions of what is requested or issued.
#ifndef KXCERT_TOOLS_KXCERT_EXTENSIONOPTIONS_H_
#define KXCERT_TOOLS_KXCERT_EXTENSIONOPTIONS_H_

#include <string>
#include <vector>

#include "verb.h"

class Report;
class sxCertTemplate;

struct ExtensionOptions {
  std::vector<std::string> subjectNames, issuerNames;
  std::string keyUsage, extKeyUsage;
  bool isCA = false;
  int pathLen = -1;
  std::vector<std::string> crlUris, deltaUris, ocspUris, issuerUris, repositoryUris;
  std::vector<std::string> policies, mappings;
  int requireExplicit = -1, inhibitMapping = -1, inhibitAny = -1;
  std::vector<std::string> permitted, excluded;
  std::vector<std::string> tlsFeatures;
  bool noCheck = false;
  std::vector<std::string> raw, without;
};

std::vector<OptionRow> ExtensionRows(ExtensionOptions &options);

/// What each option that was given says takes the place of the template's extension of that type; those that are not
/// wanted go first. An alternative name is critical when the template has no subject.
/// @return false: a problem, which has been told
bool SetExtensions(const ExtensionOptions &options, sxCertTemplate &wanted, Report &report);

#endif
