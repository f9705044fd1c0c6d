/// @file
/// General names from the command line: KIND:VALUE, as names of somebody and as names that CAs are confined to.
#ifndef KXCERT_TOOLS_KXCERT_GENERALNAMEINPUT_H_
#define KXCERT_TOOLS_KXCERT_GENERALNAMEINPUT_H_

#include <string>

class sxASN_GeneralName;

/// dns, ip, email, uri, dn, oid, upn, and other:OID=TEXT, of the forms that RFC 5280, 4.2.1.6 wants.
/// @param[out] name  set on success
/// @return "", or what is wrong with the text
std::string ReadGeneralName(const std::string &text, sxASN_GeneralName *name);

/// dns, ip (ADDRESS/LENGTH or ADDRESS/MASK), email, uri and dn, as bases of name constraints (RFC 5280, 4.2.1.10).
std::string ReadNameBase(const std::string &text, sxASN_GeneralName *name);

// Of options.
std::string CheckGeneralName(const std::string &text);
std::string CheckNameBase(const std::string &text);
std::string CheckUri(const std::string &text);

#endif
