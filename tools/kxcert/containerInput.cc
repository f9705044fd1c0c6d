#include "containerInput.h"

#include <algorithm>

#include "input.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "report.h"
#include "secretInput.h"
#include "terminalSecret.h"
#include "visibleText.h"

namespace {

constexpr unsigned char kEmpty = 0;  // a view of no octets that is a password all the same

// @return sxPkcs12_needsPassword also where only keys need it
int OpenWithout(sxPkcs12 &container, std::string *why) {
  const int result = container.Open({}, why);
  if (result != sxPkcs12_ok) return result;
  const auto needsIt = [](const sxPkcs12Bag &bag) { return bag.result == sxPkcs12_needsPassword; };
  return std::ranges::any_of(container.Bags(), needsIt) ? sxPkcs12_needsPassword : sxPkcs12_ok;
}

// Of one that is open without a password: whether there is nothing that one could be for.
bool IsPlain(const sxPkcs12 &container) {
  return std::ranges::none_of(container.Bags(),
                              [](const sxPkcs12Bag &bag) { return bag.kind == sxPkcs12Kind::kShroudedKey; });
}

// @return false: told, or nobody is to be asked
bool ReadPassword(const std::string &path, const std::string &source, Ask ask, kxBinBuf &password, Report &report) {
  if (source.empty() && ask == Ask::kNobody) return false;
  std::string error;
  if (!source.empty()) {
    error = ReadSecret(source, password, SecretLen::kMayBeEmpty);
  } else if (HasTerminal()) {
    error = AskTerminal("password of " + VisibleLine(InputName(path)) + ": ", password);
  } else {
    error = "a password is needed, and there is no terminal to ask; --password says where it is";
  }
  return error.empty() || (report.Problem(kExitInputError, InputName(path), error), false);
}

}  // namespace

OptionRow ContainerPasswordRow(std::string &source) {
  return {"--password", "where the password is: file:PATH, env:NAME or fd:NUMBER; else the terminal is asked", &source,
          false, CheckSecretSource};
}

std::unique_ptr<sxPkcs12> ReadContainer(const std::string &path, Report &report) {
  std::unique_ptr<sxPkcs12> found;
  int num = 0;
  ReadBlocks(path, report, [&](const std::string &where, std::span<const unsigned char> octets) {
    if (++num > 1) return;
    std::string why;
    auto container = std::make_unique<sxPkcs12>();
    if (container->Read(octets, &why) != sxPkcs12_ok) return report.Problem(kExitInputError, where, why);
    found = std::move(container);
  });
  if (num <= 1) return found;
  report.Problem(kExitInputError, InputName(path), std::to_string(num) + " blocks in it; one container is needed");
  return nullptr;
}

bool OpenContainer(sxPkcs12 &container, const std::string &path, const std::string &source, Ask ask, Report &report) {
  std::string why;
  int result = OpenWithout(container, &why);
  if (result == sxPkcs12_ok && !source.empty() && IsPlain(container)) {
    report.Note(InputName(path),
                "neither encrypted nor with a MAC: the password was not needed, and nothing was checked");
  }
  if (result == sxPkcs12_needsPassword) {
    kxBinBuf password;
    password.SetSensitive(true);
    if (!ReadPassword(path, source, ask, password, report)) return false;
    result = container.Open({password.IsEmpty() ? &kEmpty : password.Data(), password.Len()}, &why);
  }
  if (result != sxPkcs12_ok) report.Problem(kExitInputError, InputName(path), why);
  return result == sxPkcs12_ok;
}

bool TellLostKeys(const sxPkcs12 &container, const std::string &path, const std::string &name, Report &report) {
  bool hasLost = false;
  for (const sxPkcs12Bag &bag : container.Bags()) {
    const bool isPrivate = bag.kind == sxPkcs12Kind::kKey || bag.kind == sxPkcs12Kind::kShroudedKey;
    if (!isPrivate || bag.key != nullptr || (!name.empty() && bag.name != name)) continue;
    const std::string which = bag.name.empty() ? "" : " \"" + bag.name + "\"";
    report.Problem(kExitInputError, InputName(path), "a private key" + which + " is not usable: " + bag.why);
    hasLost = true;
  }
  return hasLost;
}
