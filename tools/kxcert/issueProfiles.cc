#include "issueProfiles.h"

#include <algorithm>
#include <iterator>

#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/cert/sxExtensions.h"
#include "kxcert/keys/sxPubKey.h"
#include "templateInput.h"
#include "visibleText.h"

namespace {

constinit const sxAsnOid kIpsecIke({1, 3, 6, 1, 5, 5, 7, 3, 17});    // RFC 4945, 5.1.3.12
constinit const sxAsnOid kOcspSigning({1, 3, 6, 1, 5, 5, 7, 3, 9});  // RFC 6960, 4.2.2.2
constinit const sxAsnOid kNoCheck({1, 3, 6, 1, 5, 5, 7, 48, 1, 5});  // RFC 6960, 4.2.2.2.1
constexpr unsigned char kNull[] = {0x05, 0x00};

constexpr unsigned kCaUsages = 1U << sxKU_keyCertSign | 1U << sxKU_cRLSign;
constexpr unsigned kSigns = 1U << sxKU_digitalSignature;
constexpr unsigned kTakesKeys = 1U << sxKU_keyEncipherment;  // key transport of TLS 1.2, which is RSA's alone

// A responder's certificate that nobody checks lives short. The others are usual lengths, and nothing more.
const IssueProfile kProfiles[] = {
    {"root", true, true, -1, kCaUsages, 0, {}, false, AltNames::kNotTaken, 3650},
    {"sub-ca", false, true, 0, kCaUsages, 0, {}, false, AltNames::kNotTaken, 1825},
    {"server", false, false, -1, kSigns, kTakesKeys, {&sxASN_id_kp_serverAuth}, false, AltNames::kDemanded, 397},
    {"client", false, false, -1, kSigns, 0, {&sxASN_id_kp_clientAuth}, false, AltNames::kTaken, 365},
    {"gateway",
     false,
     false,
     -1,
     kSigns,
     kTakesKeys,
     {&sxASN_id_kp_serverAuth, &sxASN_id_kp_clientAuth, &kIpsecIke},
     false,
     AltNames::kDemanded,
     730},
    {"ocsp", false, false, -1, kSigns, 0, {&kOcspSigning}, true, AltNames::kNotTaken, 90},
};

}  // namespace

const IssueProfile *FindProfile(const std::string &name) {
  const auto *const found =
      std::ranges::find_if(kProfiles, [&name](const IssueProfile &profile) { return name == profile.name; });
  return found == std::end(kProfiles) ? nullptr : found;
}

std::string CheckProfile(const std::string &name) {
  if (FindProfile(name) != nullptr) return "";
  std::string known;
  for (const IssueProfile &profile : kProfiles) known += (known.empty() ? "" : ", ") + std::string(profile.name);
  return "no such profile: " + VisibleLine(name) + "; known are " + known;
}

bool SetProfile(const IssueProfile &profile, sxCertTemplate &wanted) {
  const bool isRsa = wanted.PubKey() != nullptr && wanted.PubKey()->algorithm() == sxPK_RSA;
  sxExtensionsList extensions;
  extensions.Add(&sxASN_id_ce_basicConstraints, 1, new sxBasicConstraint(profile.isCA, profile.pathLen));
  extensions.Add(&sxASN_id_ce_keyUsage, 1, new sxKeyUsage(profile.usages | (isRsa ? profile.rsaUsages : 0)));
  if (profile.purposes[0] != nullptr) {
    auto *const purposes = new sxExtKeyUsage;
    for (const sxAsnOid *const purpose : profile.purposes) {
      if (purpose != nullptr) purposes->Add(*purpose);
    }
    extensions.Add(&sxASN_id_ce_extKeyUsage, 0, purposes);
  }
  sxCertTemplate composed;
  if (composed.SetExtensions(&extensions) != 0) return false;
  for (const sxASN_Extension &ext : *composed.Tree().extensions) CopyExtension(ext, wanted);
  return !profile.hasNoCheck || wanted.SetExtension(kNoCheck, false, kNull, sizeof kNull) == 0;
}
