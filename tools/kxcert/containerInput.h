/// @file
/// PKCS #12 containers from input, opened with their password.
#ifndef KXCERT_TOOLS_KXCERT_CONTAINERINPUT_H_
#define KXCERT_TOOLS_KXCERT_CONTAINERINPUT_H_

#include <memory>
#include <string>

#include "kxcert/cert/pkcs12.h"
#include "verb.h"

class Report;

/// The option that says where the password of a container is.
OptionRow ContainerPasswordRow(std::string &source);

/// The one container of a file, DER or PEM. @return null: a problem, which has been told
std::unique_ptr<sxPkcs12> ReadContainer(const std::string &path, Report &report);

enum class Ask { kTerminal, kNobody };

/// Opens it: without a password where it needs none, else with that of the source or that which is asked for.
/// @param source  as the option says it, or ""
/// @return false: a problem, which has been told; or there is no password, and nobody is to be asked
bool OpenContainer(sxPkcs12 &container, const std::string &path, const std::string &source, Ask ask, Report &report);

/// Tells of every private key of an open container that is not usable, and why: each is a problem.
/// @param name  "": all of them; else those with this friendly name
/// @return whether there are such
bool TellLostKeys(const sxPkcs12 &container, const std::string &path, const std::string &name, Report &report);

#endif
