/// @file
/// Strict rules: what RFC 5280 and its neighbours demand beyond the checks of sxValidation.h, each a row with a name.
///
/// A question (chainJudge.h) carries two sets of them: those that decide, and those that are only told. Deciding rules
/// come after the other checks, in the order of the table, so that a chain which those refuse keeps its code. There are no
/// codes of their own: a rule gives the nearest one, and its name says more. A rule that is in neither set does not run.
///
/// Rules belong to groups, as the part of their name before the dot says. Sets have names, too:
///
///     rfc5280   what makes a path invalid by RFC 5280, or a certificate one that it does not allow
///     server    the same, for a TLS server of a given name: purpose, name, algorithms, end entity
///     client    the same for a TLS client, of which no name is asked
///     gateway   no rule: what sxValidation.h checks, and nothing else
///     audit     every rule
///
/// A critical extension that certificates do not understand by themselves (name constraints, policies and their kin) counts
/// as known where rules process it: where all rules of the group "nameConstraints" or "policies" decide. One of them alone
/// leaves something of what the extension demands unasked, and what nobody asks must not pass as understood (RFC 5280, 4.2).
/// And it does so in a CA's certificate alone, as far as it is one of those that only CAs have.
///
/// The trust anchor is out of the path, as in RFC 5280, 6.1: what it must be, the rules of "anchor" say. Its name
/// constraints hold all the same, as do policy extensions that are critical in it.
#ifndef KXCERT_TRUST_STRICTRULES_H_
#define KXCERT_TRUST_STRICTRULES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kxcert/asn1/sxAsnOid.h"
#include "kxcert/platform/digest.h"
#include "kxcert/platform/export.h"
#include "kxcert/trust/sxFinding.h"

/// Bit n: rule n of the table.
using sxRuleSet = uint64_t;

/// A row; the texts are static.
struct sxStrictRuleInfo {
  const char *name;    ///< "caConstraints.keyUsage"
  const char *source;  ///< "RFC 5280, 4.2.1.3"
  sxValidationRC code;
  const char *advice;
};
KXCERT_EXPORT int sxStrictRule_Count();
/// @return false out of range
KXCERT_EXPORT bool sxStrictRule_Get(int number, sxStrictRuleInfo *out);

/// By the name of a set, a group or a rule. @return false: there is no such name, and @p out is unchanged
KXCERT_EXPORT bool sxRuleSet_Find(std::string_view name, sxRuleSet *out);

/// Purposes of extKeyUsage that have a name here: "server", "client", "ike", "mail", "code", "timestamping", "ocsp".
/// @return false: there is no such name, and @p out is unchanged
KXCERT_EXPORT bool sxPurpose_Find(std::string_view name, sxAsnOid *out);

constexpr int kNoMaxDepth = -1;

/// What the rules are asked about. A value. Settings of rules that do not run mean nothing.
struct sxStrictQuestion {
  sxRuleSet deciding = 0;
  sxRuleSet notes = 0;  ///< told among the findings of a question that wants them

  sxAsnOid purpose;        ///< of extKeyUsage (RFC 5280, 4.2.1.12); without octets none is asked for
  bool anyPurpose = true;  ///< anyExtendedKeyUsage counts as every purpose (RFC 5280, 4.2.1.12 leaves it open)

  // The names that the end entity must have, each when it is not empty.
  std::string host;     ///< A-labels, without a wildcard (RFC 9525)
  std::string address;  ///< "192.0.2.1", "2001:db8::1"
  std::string mail;

  std::vector<sxAsnOid> policies;  ///< user-initial-policy-set (RFC 5280, 6.1.1 (c)); empty: any-policy
  bool requireExplicitPolicy = false, inhibitPolicyMapping = false, inhibitAnyPolicy = false;

  sx_md_type minDigest = sx_md_sha256;  ///< the shortest digest that may be signed
  int minRsaBits = 2048;
  std::vector<sxAsnOid> curves;  ///< of EC keys; empty: those that are supported here
  int maxDepth = kNoMaxDepth;    ///< CA certificates between the end entity and the root
};

#endif
