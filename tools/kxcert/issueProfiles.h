/// @file
/// What certificates are for, and what follows from that for their extensions.
#ifndef KXCERT_TOOLS_KXCERT_ISSUEPROFILES_H_
#define KXCERT_TOOLS_KXCERT_ISSUEPROFILES_H_

#include <string>

#include "knownWords.h"

class sxCertTemplate;

enum class AltNames {
  kNotTaken,  ///< of a request; an option sets them all the same
  kTaken,
  kDemanded,
};

constexpr int kMaxProfilePurposes = 3;

struct IssueProfile {
  const char *name;
  bool isSelfSigned;  ///< and nothing else
  bool isCA;
  int pathLen;                                ///< -1: none
  unsigned usages;                            ///< bit n is keyUsage bit n
  unsigned rsaUsages;                         ///< with RSA keys, beside those
  const char *purposes[kMaxProfilePurposes];  ///< by their names (oidInput.h)
  bool hasNoCheck;                            ///< id-pkix-ocsp-nocheck: RFC 6960, 4.2.2.2.1
  AltNames altNames;
  int usualDays;
};

const IssueProfile *FindProfile(const std::string &name);  ///< null when there is none
Words ProfileWords();                                      ///< their names
std::string CheckProfile(const std::string &name);         ///< of an option: "", or what is wrong with it

/// Sets those extensions of which the profile says something.
/// @return false: they cannot be composed
bool SetProfile(const IssueProfile &profile, sxCertTemplate &wanted);

#endif
