/// @file
/// Serial numbers as text.
#ifndef KXCERT_SRC_CERT_SERIALTEXT_H_
#define KXCERT_SRC_CERT_SERIALTEXT_H_

#include <string>

class sxAsnInt;

/// Two lower-case digits for each content octet, as sxcert_black_list::AddFromString takes them: a
/// positive number whose first octet is 80 or more has 00 in front.
std::string sxSerialText(const sxAsnInt &serial);

#endif
