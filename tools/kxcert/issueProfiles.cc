#include "issueProfiles.h"

#include <algorithm>
#include <iterator>

#include "kxcert/asn1/oids.h"
#include "kxcert/cert/issuedExtensions.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/keys/sxPubKey.h"
#include "oidInput.h"

namespace {

constexpr unsigned kCaUsages = 1U << sxKU_keyCertSign | 1U << sxKU_cRLSign;
constexpr unsigned kSigns = 1U << sxKU_digitalSignature;
constexpr unsigned kTakesKeys = 1U << sxKU_keyEncipherment;  // key transport of TLS 1.2, which is RSA's alone

// A responder's certificate that nobody checks lives short. The others are usual lengths, and nothing more.
constexpr IssueProfile kProfiles[] = {
    {"root", true, true, -1, kCaUsages, 0, {}, false, AltNames::kNotTaken, 3650},
    {"sub-ca", false, true, 0, kCaUsages, 0, {}, false, AltNames::kNotTaken, 1825},
    {"server", false, false, -1, kSigns, kTakesKeys, {"serverAuth"}, false, AltNames::kDemanded, 397},
    {"client", false, false, -1, kSigns, 0, {"clientAuth"}, false, AltNames::kTaken, 365},
    {"gateway",
     false,
     false,
     -1,
     kSigns,
     kTakesKeys,
     {"serverAuth", "clientAuth", "ipsecIKE"},
     false,
     AltNames::kDemanded,
     730},
    {"ocsp", false, false, -1, kSigns, 0, {"OCSPSigning"}, true, AltNames::kNotTaken, 90},
};

bool SetConstraints(const IssueProfile &profile, sxCertTemplate &wanted) {
  constexpr unsigned char kNoCA[] = {0x30, 0x00};  // the composer spells the default out
  const sxBasicConstraint constraints(true, profile.pathLen);
  return (profile.isCA ? wanted.SetExtension(sxASN_id_ce_basicConstraints, true, constraints)
                       : wanted.SetExtension(sxASN_id_ce_basicConstraints, true, kNoCA, sizeof kNoCA)) == 0;
}

}  // namespace

const IssueProfile *FindProfile(const std::string &name) {
  const auto *const found =
      std::ranges::find_if(kProfiles, [&name](const IssueProfile &profile) { return name == profile.name; });
  return found == std::end(kProfiles) ? nullptr : found;
}

std::string CheckProfile(const std::string &name) {
  return FindProfile(name) != nullptr ? "" : UnknownWord("profile", name, ProfileWords());
}

Words ProfileWords() {
  Words words;
  for (const IssueProfile &profile : kProfiles) words.emplace_back(profile.name);
  return words;
}

bool SetProfile(const IssueProfile &profile, sxCertTemplate &wanted) {
  const bool isRsa = wanted.PubKey() != nullptr && wanted.PubKey()->algorithm() == sxPK_RSA;
  const sxKeyUsage usage(profile.usages | (isRsa ? profile.rsaUsages : 0));
  sxExtKeyUsage purposes;
  for (const char *const purpose : profile.purposes) {
    if (purpose != nullptr) purposes.Add(*ReadPurpose(purpose));
  }
  return SetConstraints(profile, wanted) && wanted.SetExtension(sxASN_id_ce_keyUsage, true, usage) == 0 &&
         (purposes.Count() == 0 || wanted.SetExtension(sxASN_id_ce_extKeyUsage, false, purposes) == 0) &&
         (!profile.hasNoCheck || wanted.SetExtension(sxASN_id_pkix_ocsp_nocheck, false, sxOcspNoCheck()) == 0);
}
