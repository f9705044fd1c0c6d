/// @file
/// Parts of templates that come from the command line or from other templates.
#ifndef KXCERT_TOOLS_KXCERT_TEMPLATEINPUT_H_
#define KXCERT_TOOLS_KXCERT_TEMPLATEINPUT_H_

#include <string>

class Report;
class sxASN_Extension;
class sxAsnOid;
class sxCertTemplate;

/// @param text  "": the subject stays. @return false: a problem, which has been told
bool SetSubject(const std::string &text, sxCertTemplate &wanted, Report &report);

/// Lent until the template changes; null when it has none of that type.
const sxASN_Extension *FindExtension(const sxCertTemplate &wanted, const sxAsnOid &type);
/// An extension as it stands, in the place of the one of its type. @return false: it has no value
bool CopyExtension(const sxASN_Extension &ext, sxCertTemplate &wanted);
bool IsCritical(const sxASN_Extension &ext);

#endif
