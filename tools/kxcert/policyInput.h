/// @file
/// Policies and TLS features from the command line.
#ifndef KXCERT_TOOLS_KXCERT_POLICYINPUT_H_
#define KXCERT_TOOLS_KXCERT_POLICYINPUT_H_

#include <optional>
#include <string>

#include "knownWords.h"
#include "kxcert/cert/issuedExtensions.h"

/// OID[,cps=URI][,notice=TEXT], where "any" stands for anyPolicy. A comma that nothing of the two follows is part of the
/// text before it.
std::optional<sxPolicy> ReadPolicy(const std::string &text);
std::optional<sxPolicyMapping> ReadPolicyMapping(const std::string &text);  ///< OID=OID
std::optional<int> ReadTlsFeature(const std::string &text);                 ///< a name, or a number

// Of options: "", or what is wrong with the text.
std::string CheckPolicy(const std::string &text);
std::string CheckPolicyMapping(const std::string &text);
std::string CheckTlsFeature(const std::string &text);
Words TlsFeatureWords();  ///< the names of those that have one

#endif
