#include "containerFacts.h"

#include "certFacts.h"
#include "crlFacts.h"
#include "keyFacts.h"
#include "kxcert/cert/sxCRL.h"
#include "kxcert/cert/sxCert.h"
#include "visibleText.h"

namespace {

// @param line  gets each line
template <class Line>
void TellBag(const sxPkcs12Bag &bag, Line line) {
  const std::string indent(static_cast<size_t>(4 + 2 * bag.nesting), ' '), title = BagTitle(bag);
  line(indent + sxPkcs12_KindText(bag.kind) + (title.empty() ? "" : ": " + title));
  if (!bag.protection.text.empty()) line(indent + "  protection: " + ProtectionText(bag.protection));
  if (!bag.name.empty()) line(indent + "  name:       " + VisibleLine(bag.name));
  if (!bag.keyId.empty()) line(indent + "  id:         " + HexOf(bag.keyId.data(), bag.keyId.size()));
  if (bag.result != sxPkcs12_ok) line(indent + "  problem:    " + VisibleLine(bag.why));
}

}  // namespace

std::string ContainerLines(const sxPkcs12 &container) {
  std::string text;
  const auto line = [&text](const std::string &more) { text += (text.empty() ? "" : "\n") + more; };
  const char *const checked = !container.HasMac() ? "" : container.IsOpen() ? " (checked)" : " (not checked)";
  line("mac: " + ProtectionText(container.Mac()) + checked);
  int number = 0;
  auto bag = container.Bags().begin();  // in the order of the safes
  for (const sxPkcs12Safe &safe : container.Safes()) {
    line("safe " + std::to_string(number + 1) + ": " +
         (safe.isEncrypted ? ProtectionText(safe.protection) : "not encrypted"));
    for (; bag != container.Bags().end() && bag->safe == number; ++bag) TellBag(*bag, line);
    ++number;
  }
  return text;
}

// A number of iterations that is not known is left out.
Facts ProtectionFacts(const sxPkcs12Protection &protection) {
  if (protection.text.empty()) return nullptr;
  Facts facts = {{"algorithm", VisibleLine(protection.text)}};
  if (protection.iterations > 0 && protection.iterations < UINT64_MAX) facts["iterations"] = protection.iterations;
  return facts;
}

std::string ProtectionText(const sxPkcs12Protection &protection) {
  if (protection.text.empty()) return "none";
  const uint64_t iterations = protection.iterations;
  const std::string number = iterations == UINT64_MAX ? "more than 10^19" : std::to_string(iterations);
  return VisibleLine(protection.text) +
         (iterations == 0 ? "" : ", " + number + (iterations == 1 ? " iteration" : " iterations"));
}

std::string BagTitle(const sxPkcs12Bag &bag) {
  if (bag.cert != nullptr) return NameText(bag.cert->Subject());
  if (bag.crl != nullptr) return NameText(bag.crl->Issuer());
  if (bag.key != nullptr) return KeyName(*bag.key);
  const bool hasType = bag.kind == sxPkcs12Kind::kSecret || bag.kind == sxPkcs12Kind::kUnknown;
  return hasType ? VisibleLine(bag.type) : "";
}

Facts BagFacts(const sxPkcs12Bag &bag) {
  Facts facts = {{"kind", sxPkcs12_KindText(bag.kind)}, {"type", VisibleLine(bag.type)}, {"nesting", bag.nesting}};
  if (!bag.name.empty()) facts["name"] = bag.name;
  if (!bag.keyId.empty()) facts["localKeyId"] = HexOf(bag.keyId.data(), bag.keyId.size());
  if (!bag.protection.text.empty()) facts["protection"] = ProtectionFacts(bag.protection);
  if (bag.cert != nullptr) facts["certificate"] = CertFacts(*bag.cert);
  if (bag.crl != nullptr) facts["crl"] = CrlFacts(*bag.crl);
  if (bag.key != nullptr) facts["key"] = KeyFacts(*bag.key, true);
  if (bag.result != sxPkcs12_ok) facts["problem"] = VisibleLine(bag.why);
  return facts;
}

Facts ContainerFacts(const sxPkcs12 &container) {
  Facts safes = Facts::array();
  int number = 0;
  auto bag = container.Bags().begin();  // in the order of the safes
  for (const sxPkcs12Safe &safe : container.Safes()) {
    Facts bags = Facts::array();
    for (; bag != container.Bags().end() && bag->safe == number; ++bag) bags.push_back(BagFacts(*bag));
    safes.push_back(
        {{"encrypted", safe.isEncrypted}, {"protection", ProtectionFacts(safe.protection)}, {"bags", std::move(bags)}});
    ++number;
  }
  return {{"opened", container.IsOpen()}, {"mac", ProtectionFacts(container.Mac())}, {"safes", std::move(safes)}};
}
