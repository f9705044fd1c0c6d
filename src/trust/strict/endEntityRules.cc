// The end entity itself: no CA, and who is asked for. And how far from the root it is.
#include "kxcert/cert/sxExtensions.h"
#include "trust/nameText.h"
#include "trust/strict/hostNames.h"
#include "trust/strict/strictPath.h"
#include "trust/strict/strictRule.h"

namespace {

constexpr int kMailTag = DerContext(1), kDnsTag = DerContext(2), kIpTag = DerContext(7);
constexpr size_t kMaxNamesShown = 5;

StrictOutcome IsNoCA(StrictPath &path, int level) {
  return StrictPassesIf(!path.At(level).IsCA(), "basic constraints", "cA");
}

StrictOutcome SignsNoCerts(StrictPath &path, int level) {
  return StrictPassesIf(!path.At(level).MayUse(sxKU_keyCertSign), "key usage", "keyCertSign");
}

// Of the alternative names, and of nothing else: a common name is no host name (RFC 9525, 2).
template <class Test>
StrictOutcome HasName(const StrictCert &cert, int tag, const std::string &wanted, const Test &matches) {
  std::string shown;
  size_t number = 0;
  const sxPlainExtension *const extension = cert.Find(kOidSubjectAltName);
  sxDerReader names;
  if (extension != nullptr) sxDerReader(extension->value).Enter(kDerSequence, &names);
  sxDerElement name;
  while (names.Take(&name)) {
    if (name.tag != tag) continue;
    if (matches(name.content)) return StrictPasses();
    if (number++ >= kMaxNamesShown) continue;
    shown += shown.empty() ? "" : ", ";
    shown += tag == kIpTag ? AddressText(name.content) : sxVisibleText(StrictText(name.content));
  }
  if (number > kMaxNamesShown) shown += " and " + std::to_string(number - kMaxNamesShown) + " more";
  std::vector<sxFact> facts;
  facts.push_back({"wanted", wanted});
  facts.push_back({"alternative names of this kind", shown.empty() ? "none" : shown});
  return StrictFails(std::move(facts));
}

StrictOutcome IsHost(StrictPath &path, int level) {
  const std::string &wanted = path.Question().host;
  if (wanted.empty()) return StrictNotChecked("no host is asked for");
  const std::string host = HostName(wanted);
  if (host.empty() || !AddressOctets(host).empty()) return StrictFails("not a host name", sxVisibleText(wanted));
  return HasName(path.At(level), kDnsTag, host, [&host](sxOctetView name) { return MatchesHost(name, host); });
}

StrictOutcome HasAddress(StrictPath &path, int level) {
  const std::string &wanted = path.Question().address;
  if (wanted.empty()) return StrictNotChecked("no address is asked for");
  const std::vector<unsigned char> address = AddressOctets(wanted);
  if (address.empty()) return StrictFails("not an address", sxVisibleText(wanted));
  return HasName(path.At(level), kIpTag, AddressText(address),
                 [&address](sxOctetView name) { return sxEqual(name, address); });
}

StrictOutcome HasMailbox(StrictPath &path, int level) {
  const std::string &wanted = path.Question().mail;
  if (wanted.empty()) return StrictNotChecked("no mail address is asked for");
  return HasName(path.At(level), kMailTag, sxVisibleText(wanted),
                 [&wanted](sxOctetView name) { return MatchesMailbox(name, wanted); });
}

StrictOutcome IsNear(StrictPath &path, int) {
  const int most = path.Question().maxDepth;
  if (most == kNoMaxDepth) return StrictNotChecked("no depth is asked for");
  const int depth = path.TopBelowRoot();
  if (depth <= most) return StrictPasses();
  return StrictFails("CA certificates between the end entity and the root", std::to_string(depth));
}

constexpr char kWrongName[] = "The certificate is another one's: ask for a name that it has, or have it issued anew.";

constexpr StrictRule kRules[] = {
    {"endEntity.ca", "RFC 5280, 4.2.1.9", sxValidation_wrongKeyUsage, StrictWhere::kEndEntity, true, IsNoCA,
     "A CA's certificate is no end entity's: use one that it issued."},
    {"endEntity.keyCertSign", "RFC 5280, 4.2.1.3", sxValidation_wrongKeyUsage, StrictWhere::kEndEntity, true,
     SignsNoCerts, "An end entity's key signs no certificates: have it issued anew."},
    {"name.host", "RFC 9525, 6.3", sxValidation_notTrusted, StrictWhere::kEndEntity, true, IsHost, kWrongName},
    {"name.address", "RFC 9525, 6.5", sxValidation_notTrusted, StrictWhere::kEndEntity, true, HasAddress, kWrongName},
    {"name.mail", "RFC 8550, 3", sxValidation_notTrusted, StrictWhere::kEndEntity, true, HasMailbox, kWrongName},
    {"depth", "RFC 5280, 6.1", sxValidation_pathLenExceeded, StrictWhere::kEndEntity, false, IsNear,
     "Use a chain with fewer CAs, or allow more with --depth."},
};

}  // namespace

std::span<const StrictRule> EndEntityRules() { return kRules; }
