#include "revocationOptions.h"

#include "crlInput.h"
#include "dbFolder.h"
#include "fetching.h"
#include "input.h"
#include "kxcert/cert/sxCRLs.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/store/CrlDB.h"
#include "report.h"
#include "timeText.h"
#include "visibleText.h"

namespace {

struct ModeRow {
  int mode;
  int crl;
  int ocsp;  // 1: when a responder is named; 2: required
};
constexpr ModeRow kModes[] = {
    {kRevocation_crl, 1, 0}, {kRevocation_ocsp, 0, 2}, {kRevocation_any, 1, 1}, {kRevocation_both, 1, 2}};

const char *OriginText(sxStatusOrigin origin) {
  switch (origin) {
    case sxStatusOrigin::kCaller: return "given";
    case sxStatusOrigin::kMemory: return "memory";
    case sxStatusOrigin::kDisk: return "database";
    case sxStatusOrigin::kNetwork: return "network";
    default: return "";
  }
}

}  // namespace

OptionRow NonceRow(const char *name, int &nonce) {
  return {name,
          "off (the default), send, or require: refuse an OCSP response without it",
          &nonce,
          false,
          nullptr,
          {{"off", static_cast<int>(sxOcspNonce::kOff)},
           {"send", static_cast<int>(sxOcspNonce::kSend)},
           {"require", static_cast<int>(sxOcspNonce::kRequire)}},
          "WHEN"};
}

std::vector<OptionRow> RevocationRows(RevocationOptions &options) {
  return {
      {"--revocation",
       "which sources have to say that nothing was revoked; any, where something is given to look into, else off",
       &options.mode,
       false,
       nullptr,
       {{"off", kRevocation_off},
        {"crl", kRevocation_crl},
        {"ocsp", kRevocation_ocsp},
        {"any", kRevocation_any},
        {"both", kRevocation_both}},
       "SOURCES"},
      {"--crl", "file with CRLs; may be repeated", &options.crls},
      {"--ocsp-response", "file with an OCSP response; may be repeated", &options.responses},
      {"--crl-db", "CRL database: CRLs are looked up there, and those that are fetched are kept", &options.database},
      {"--fetch", "fetch CRLs and ask OCSP responders where the certificates say that they are", &options.fetches},
      {"--ldap-server", "ldap://HOST or ldaps://HOST to ask for what is named without a server; may be repeated",
       &options.ldapServers},
      NonceRow("--ocsp-nonce", options.ocspNonce),
      {"--allow-private", "also from addresses of this machine and of private networks", &options.allowPrivate},
      {"--soft-fail", "exit with 0 when only the status is not known", &options.softFail}};
}

const char *MissingForRevocation(const RevocationOptions &options) {
  const bool wantsFetch = options.allowPrivate || !options.ldapServers.empty();
  return wantsFetch && !options.fetches ? "--fetch" : nullptr;
}

Revocation::Revocation() = default;

Revocation::~Revocation() {
  if (m_isOn) sxRevocation_Remove();
}

void Revocation::SetUp(const RevocationOptions &options, ValidateParams &params, Report &report) {
  const bool isGiven =
      !options.crls.empty() || !options.responses.empty() || !options.database.empty() || options.fetches;
  const int mode = options.mode != kRevocation_unset ? options.mode : isGiven ? kRevocation_any : kRevocation_off;
  for (const ModeRow &row : kModes) {
    if (row.mode != mode) continue;
    params.Set_crl_validation(row.crl);
    params.Set_ocsp_validation(row.ocsp);
    sxRevocationSettings settings;
    settings.ocsp.nonce = static_cast<sxOcspNonce>(options.ocspNonce);
    m_isOn = sxRevocation_Install(settings) == 0;
  }
  ReadCrls(options.crls, report);
  ReadResponses(options.responses, report);
  if (!options.database.empty()) {
    const DbOptions folder{options.database, static_cast<int>(sxStoreKind::kCrls)};
    const std::optional<Db> db = FindDb(folder, true, report);
    if (db.has_value()) sxCRLCache_set_dbpath(db->parent.c_str());
  }
  if (options.fetches) m_fetching = std::make_unique<Fetching>(options.allowPrivate, options.ldapServers, report);
}

void Revocation::ReadCrls(const std::vector<std::string> &files, Report &report) {
  sxCRLs crls;
  for (const std::string &file : files) {
    for (FoundCrl &found : ::ReadCrls(file, report)) crls.Add(found.crl.release());
  }
  const int numTaken = m_isOn ? sxRevocation_Push(crls, sxCrlTo_memory) : crls.Count();
  if (numTaken < crls.Count()) {
    report.Problem(kExitInputError, "--crl",
                   "there is room for " + std::to_string(numTaken) + " of " + std::to_string(crls.Count()) + " CRLs");
  }
}

void Revocation::ReadResponses(const std::vector<std::string> &files, Report &report) {
  for (const std::string &file : files) {
    kxBinBuf octets;
    const std::string error = ReadOctets(file, octets);
    if (!error.empty()) {
      report.Problem(kExitInputError, InputName(file), error);
      continue;
    }
    m_responses.emplace_back(octets.Data(), octets.Data() + octets.Len());
  }
  if (m_responses.size() > kMaxOcspResponses) {
    report.Problem(kExitInputError, "--ocsp-response",
                   "at most " + std::to_string(kMaxOcspResponses) + " responses are looked at");
  }
}

std::string EvidenceText(const sxRevocationEvidence &said) {
  std::string text = sxStatusSource_GetString(said.source);
  if (!said.where.empty()) text += " from " + said.where;
  if (*OriginText(said.origin) != '\0') {
    text += std::string(" (") + OriginText(said.origin);
    if (said.costMs > 0) text += ", " + std::to_string(said.costMs) + " ms";
    text += ")";
  }
  text += ": " + said.outcome;
  if (said.revokedSec != kNoTime) text += " at " + PrintTime(said.revokedSec);
  if (!said.reason.empty()) text += ", " + said.reason;
  if (said.thisUpdateSec != kNoTime) text += "; made " + PrintTime(said.thisUpdateSec);
  if (said.nextUpdateSec != kNoTime) text += ", holds until " + PrintTime(said.nextUpdateSec);
  if (!said.number.empty()) text += "; number " + said.number;
  if (!said.signer.empty()) text += "; signed by " + said.signer;
  return VisibleLine(text);
}
