/// @file
/// What is told about PKCS #12 containers. All of it is printable ASCII, and nothing of it secret.
#ifndef KXCERT_TOOLS_KXCERT_CONTAINERFACTS_H_
#define KXCERT_TOOLS_KXCERT_CONTAINERFACTS_H_

#include <string>

#include "facts.h"
#include "kxcert/cert/pkcs12.h"

std::string ProtectionText(const sxPkcs12Protection &protection);  ///< "PBES2 with ..., 50000 iterations"; "none"
std::string BagTitle(const sxPkcs12Bag &bag);                      ///< what is in it: a subject, a kind of key

Facts ProtectionFacts(const sxPkcs12Protection &protection);  ///< null without any

/// The MAC, every safe and what is in it, in lines without an end of the last one.
std::string ContainerLines(const sxPkcs12 &container);

Facts BagFacts(const sxPkcs12Bag &bag);
Facts ContainerFacts(const sxPkcs12 &container);

#endif
