/// @file
/// Certificates out of templates (sxCertTemplate.h), signed by their issuer's key or their own.
///
/// What is made conforms to RFC 5280, 4, also where certificates are read more leniently: whatever breaks one of its
/// rules is refused by name. It is DER throughout, of version 3, and has both key identifiers. Any thread; a template
/// is used by one at a time.
#ifndef KXCERT_CERT_ISSUECERT_H_
#define KXCERT_CERT_ISSUECERT_H_

#include "kxcert/platform/digest.h"
#include "kxcert/platform/export.h"

class sxCert;
class sxCertTemplate;
class sxPubKey;

constexpr int kMaxIssuedSerialLen = 20;  ///< content octets: RFC 5280, 4.1.2.2
constexpr int kRandomSerialLen = 16;     ///< of a number that is drawn; 126 of its bits are random

struct sxSignOptions {
  sx_md_type md = sx_md_sha256;  ///< one with a signature algorithm (algorithms.h); SHA-1 only when it is named here
  /// What key identifiers are made with: sx_md_sha1 (RFC 5280, 4.2.1.2), or the first 160 bits of sx_md_sha256
  /// (RFC 7093, 2).
  sx_md_type keyIdMd = sx_md_sha1;
  /// Verifies what was signed, which of ECDSA takes longer than signing. Without it keys in this process are trusted to
  /// sign right, as their two parts were compared when they were imported; what keys that are kept elsewhere answer is
  /// always verified, and everything else is compared with what was asked for all the same.
  bool verify = false;
};

/// Why nothing was made; sxIssueStatusText has the text of each.
enum sxIssueStatus : int {
  sxIssue_ok = 0,
  sxIssue_bad_input,       ///< a null output, or an object that is not OK
  sxIssue_signing_key,     ///< the key makes no such signature
  sxIssue_key_id,          ///< no such way to identify keys
  sxIssue_public_key,      ///< none, or one that cannot be used
  sxIssue_other_key,       ///< it signs itself, but the template has another key
  sxIssue_issuer_key,      ///< the key is not that of the issuer's certificate
  sxIssue_issuer_not_ca,   ///< the issuer's certificate is none of a CA, or may not sign certificates
  sxIssue_issuer_path,     ///< the issuer's path length allows no CA below it
  sxIssue_issuer_name,     ///< the issuer has no name, or the template has another issuer
  sxIssue_subject,         ///< not a name, or of a form that certificates must not have
  sxIssue_no_subject,      ///< no subject, and no critical alternative name, or a CA
  sxIssue_validity,        ///< a time is missing, unreadable, or before 1950
  sxIssue_validity_order,  ///< notAfter is before notBefore
  sxIssue_serial,          ///< not positive, or longer than 20 octets
  sxIssue_version,         ///< another version than 3
  sxIssue_unique_id,       ///< unique identifiers, which no certificate must have
  sxIssue_algorithm,       ///< the template has another signature algorithm
  sxIssue_extension,       ///< an extension whose value is not DER, or not of its type
  sxIssue_extension_twice,
  sxIssue_empty_extension,    ///< a value that must not be empty
  sxIssue_basic_constraints,  ///< a path length, but no CA
  sxIssue_key_usage,          ///< no usage at all; a CA without one; keyCertSign, but no CA
  sxIssue_ca_extension,       ///< one that only CAs have
  sxIssue_attribute,          ///< of a request: not DER, or no value
  sxIssue_not_der,            ///< some other part is not DER
  sxIssue_too_long,
  sxIssue_not_signed,    ///< the key failed
  sxIssue_not_as_asked,  ///< what came does not decode to what was asked for, or does not verify
  sxIssue_not_queued,    ///< the key tasks did not take it
  /// the issuer has an extension twice, one that cannot be read, a critical one that is not understood, or an empty key
  /// identifier
  sxIssue_issuer_extension,
};
KXCERT_EXPORT const char *sxIssueStatusText(int status);  ///< "unknown" for another number

/// Signs a certificate. Its extensions are the template's, in their order: those whose criticality RFC 5280 fixes get
/// that; a subject key identifier is added when there is none; the authority key identifier is always the issuer's own.
/// Its key is the template's. A number is drawn unless the template has one.
/// @param issuer  whose subject, key and key identifier are taken; null: it signs itself, and without a key of its own
///                the template gets that of @p key
/// @param[out] made  for sxCert_Free, decoded and compared with what was asked; null on failure
/// @return sxIssue_ok, or why not (one line logged)
KXCERT_EXPORT sxIssueStatus sxIssueCert(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key,
                                        const sxSignOptions &options, sxCert **made);

/// Told once how an asynchronous signature ended.
/// @param rc    0, or a task result code (keyTasks.h)
/// @param cert  for sxCert_Free; null unless @p rc is 0
using sxCertCallback = void (*)(void *opaque, int rc, sxCert *cert);

/// The same with the signature on the workers of the key tasks (KeyTaskMngmnt_init); where there are none, and with
/// keys that are kept elsewhere, at once. Nothing that was given is needed any longer.
/// @return sxIssue_ok: @p callback is called once, never within the call, on the thread of the tasks; else it is not
KXCERT_EXPORT sxIssueStatus sxIssueCertA(const sxCertTemplate &wanted, const sxCert *issuer, sxPubKey *key,
                                         const sxSignOptions &options, sxCertCallback callback, void *opaque);

#endif
