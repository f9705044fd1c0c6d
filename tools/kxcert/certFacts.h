/// @file
/// What is told about a certificate, as short texts and as JSON. All of it is printable ASCII.
#ifndef KXCERT_TOOLS_KXCERT_CERTFACTS_H_
#define KXCERT_TOOLS_KXCERT_CERTFACTS_H_

#include <span>
#include <string>
#include <vector>

#include "facts.h"

class sxASN_Extensions;
class sxASN_Time;
class sxAsnInt;
class sxAsnOid;
class sxCert;
class sxDN;
class sxExtKeyID;
class sxExtKeyUsage;

std::string NameText(const sxDN *dn);            ///< the ASCII form; a word in brackets without one
std::string NumberText(const sxAsnInt &number);  ///< hexadecimal; of a negative one "-" and the magnitude
std::string NumberText(std::span<const unsigned char> content);  ///< of an INTEGER
std::string SerialText(const sxCert &cert);
bool IsNegative(const sxAsnInt &number);
void Negate(std::vector<unsigned char> &octets);  ///< in two's complement
std::string KeyText(const sxCert &cert);          ///< "RSA, 2048 bits"
struct Validity {
  int64_t first = -1, last = -1;  ///< seconds since 1970-01-01 00:00 UTC, exactly; -1: cannot be read
};
Validity ValidityOf(const sxCert &cert);
std::string ValidityText(const sxCert &cert);       ///< "2024-... UTC to 2034-... UTC"
std::string SignatureText(const sxCert &cert);      ///< "ECDSA with SHA-256"
std::string SignatureText(const sxAsnOid &oid);     ///< the same of an algorithm's identifier
std::string SignatureText(int family, int digest);  ///< the same of a key's algorithm and a sx_md_type
std::string KeyIdText(const sxExtKeyID *keyId);     ///< hexadecimal; "" without one

/// @param counted  as the library counts a time that it clamps; others are told as they are written
Facts DateFacts(const sxASN_Time *time, int64_t counted);
Facts PurposeFacts(const sxExtKeyUsage &usage);  ///< oid and name of each
Facts CertFacts(const sxCert &cert);
/// What of it can be told of any certificate, whether the library takes it or not.
Facts BodyFacts(const sxDN *issuer, const sxDN *subject, const sxASN_Time *notBefore, const sxASN_Time *notAfter,
                const sxASN_Extensions *extensions);

#endif
