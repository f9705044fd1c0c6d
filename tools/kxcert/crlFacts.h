/// @file
/// What is told about a CRL and its entries, as short texts and as JSON. All of it is printable ASCII.
#ifndef KXCERT_TOOLS_KXCERT_CRLFACTS_H_
#define KXCERT_TOOLS_KXCERT_CRLFACTS_H_

#include <cstdint>
#include <string>
#include <vector>

#include "facts.h"

class Report;
class sxCRL;
class sxGeneralNames;
struct sxRevokedEntry;

std::string CrlTimeText(int64_t seconds);  ///< in UTC; also says that one cannot be read
std::string ReasonText(int reason);        ///< "keyCompromise", "reason 7"; "" for none

std::vector<std::string> NameTexts(const sxGeneralNames &names);  ///< one for each

/// What an answer of this CRL does not cover, a sentence each: a delta, some certificates, some reasons, other issuers,
/// what was not understood. Empty for a complete CRL.
std::vector<std::string> LimitsOf(const sxCRL &crl);

/// A line for each, behind the label, and all as "limits" of the document. @return whether there are any
bool TellLimits(const sxCRL &crl, const std::string &label, Report &report);

std::string EntryText(const sxRevokedEntry &entry);  ///< one line
Facts EntryFacts(const sxRevokedEntry &entry);
Facts CrlFacts(const sxCRL &crl);  ///< without entries

#endif
