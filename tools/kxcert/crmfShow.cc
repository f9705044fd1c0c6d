// kxcert crmf show: what certificate request messages ask for, and whether a CA would take them.
#include <algorithm>
#include <memory>

#include "algorithmFacts.h"
#include "certFacts.h"
#include "input.h"
#include "kxcert/asn1/modules/PKIXCRMF.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBits.h"
#include "kxcert/cert/sxDN.h"
#include "kxcert/enroll/crmfMessages.h"
#include "kxcert/enroll/kxCRMF.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/keys/keyForms.h"
#include "kxcert/keys/sxPubKey.h"
#include "report.h"
#include "secretInput.h"
#include "timeText.h"
#include "unknownParts.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr int kIndent = 1;  // TABs under the line that names the message

// What the CA gave to the one who asks, and nobody else is to know: RFC 4211, 6.1 and 6.2.
struct SecretRow {
  sxAsnOid type;
  const char *name;
};
constinit const SecretRow kSecrets[] = {{sxAsnOid({1, 3, 6, 1, 5, 5, 7, 5, 1, 1}), "regToken"},
                                        {sxAsnOid({1, 3, 6, 1, 5, 5, 7, 5, 1, 2}), "authenticator"}};

struct Options {
  std::vector<std::string> files;
  std::string password;
};

std::string ProofText(const sxASN_CertReqMsg &msg) {
  if (msg.popo == nullptr) return "none";
  if (msg.popo->raVerified() != nullptr) return "said to be verified by a registration authority";
  if (msg.popo->keyEncipherment() != nullptr) return "by decryption";
  const sxASN_POPOSigningKey *const pop = msg.popo->signature();
  if (pop == nullptr) return "by key agreement";
  const std::string what = pop->poposkInput == nullptr ? "the request" : "the key and a MAC over it, and nothing else";
  return "signature over " + what + ", algorithm " + AlgorithmText(*pop->algorithmIdentifier) + ", " +
         std::to_string(pop->signature->Len()) + " octets";
}

void Put(SxStream &out, const char *label, const std::string &text) {
  out.Indent(kIndent);
  out.Printf("%s: %s\n", label, text.c_str());
}

// On one line: the library's texts are for a dialogue.
std::string OneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  std::string line;
  std::ranges::unique_copy(text, std::back_inserter(line), [](char a, char b) { return a == ' ' && b == ' '; });
  return line;
}

// What the password says of a message that is fine otherwise.
struct MacVerdict {
  const char *mac = nullptr;  // null: there is none
  const char *refusal = "";
};

MacVerdict JudgeMac(const kxCRMF &crmf, const kxBinBuf &password) {
  if (!crmf.HasPasswordMac()) {
    return {nullptr, password.IsEmpty() ? "" : "there is no MAC that a password could have made"};
  }
  if (password.IsEmpty()) return {"not checked", ""};
  const bool fits = crmf.VerifyPasswordMac(password) == 0;
  return fits ? MacVerdict{"verified", ""} : MacVerdict{"not verified", "the MAC was made with another password"};
}

// RFC 4211, 4.1: beside a poposkInput nothing else is signed.
std::string CaveatOf(const MacVerdict &verdict, bool isMacChecked) {
  if (verdict.mac == nullptr) return "";
  const std::string mac = isMacChecked ? "" : "the MAC was not checked: who asks is not known; and ";
  return mac + "the signature covers the key alone, neither extensions nor controls";
}

Facts TimeOrNull(int seconds) { return seconds < 0 ? Facts(nullptr) : Facts(PrintCertTime(seconds)); }

Facts TemplateFacts(const sxCertTemplate &wanted) {
  Facts facts = {{"subject", nullptr}, {"issuer", nullptr}, {"serial", nullptr}, {"key", nullptr}};
  if (wanted.Subject() != nullptr) facts["subject"] = NameText(wanted.Subject());
  if (wanted.Issuer() != nullptr) facts["issuer"] = NameText(wanted.Issuer());
  if (wanted.SerialNum() != nullptr) facts["serial"] = NumberText(*wanted.SerialNum());
  if (wanted.PubKey() != nullptr) {
    facts["key"] = {{"algorithm", wanted.PubKey()->algorithm() == sxPK_RSA ? "RSA" : "ECDSA"},
                    {"bits", sxPubKey_NumBits(wanted.PubKey())}};
  }
  facts["notBefore"] = TimeOrNull(wanted.notBefore());
  facts["notAfter"] = TimeOrNull(wanted.notAfter());
  SxStream unused;
  Facts extensions;
  facts["unknownExtensions"] =
      PrintUnknown(wanted.Tree().extensions, wanted.Extensions(), nullptr, &unused, 0, &extensions);
  facts["extensions"] = std::move(extensions);
  return facts;
}

// The octets of its text, or of whatever stands there instead.
int LenOf(const sxASN_AttributeTypeAndValue1 &control) {
  kxBinBuf der;
  sxASN_AttributeTypeAndValue1 copy(control);
  sxAsnType *const value = copy.value == nullptr ? nullptr : copy.value->Value();
  if (value == nullptr || sxASN_EncodeBuf(*value, der, 1) != 0) return 0;
  sxAsnUTF8String text;
  const int len = static_cast<int>(der.Len());
  return sxASN_DecodeBuf(text, reinterpret_cast<const char *>(der.Data()), len) == 0 ? text.Len() : len;
}

// @return the secrets among them, without their octets
Facts TellControls(const sxASN_Controls &controls, SxStream &out) {
  Facts secrets = Facts::array();
  for (const sxASN_AttributeTypeAndValue1 &control : controls) {
    const auto *const secret = std::ranges::find_if(
        kSecrets, [&](const SecretRow &row) { return control.type != nullptr && row.type.OidEquiv(*control.type); });
    if (secret != std::end(kSecrets)) {
      const int len = LenOf(control);
      Put(out, "Control", std::string(secret->name) + ", a secret of " + Counted(static_cast<size_t>(len), "octet"));
      secrets.push_back({{"name", secret->name}, {"length", len}});
      continue;
    }
    sxASN_Controls one;
    kxControlsList list;
    one.AppendCopy(control);
    list.Set(&one);
    list.Sprint(&out, kIndent);
  }
  return secrets;
}

void Describe(const std::string &where, std::span<const unsigned char> der, const kxCRMF &crmf, Report &report,
              Facts &facts) {
  sxASN_CertReqMsg msg;
  if (sxASN_DecodeBuf(msg, reinterpret_cast<const char *>(der.data()), static_cast<int>(der.size())) != 0) return;
  SxStream text;
  Put(text, "Request ID", NumberText(crmf.RequestId()));
  crmf.CertTemplate().Sprint(&text, kIndent);
  facts["secrets"] = Facts::array();
  if (msg.certReq->controls != nullptr) facts["secrets"] = TellControls(*msg.certReq->controls, text);
  Put(text, "Proof of possession", ProofText(msg));
  report.Line(where + ":");
  report.Line(TrimEnd(text.Text()));
  facts["requestId"] = NumberText(crmf.RequestId());
  facts["template"] = TemplateFacts(crmf.CertTemplate());
  facts["proof"] = ProofText(msg);
  facts["text"] = VisibleText(TrimEnd(text.Text()));
}

void ShowMessage(const std::string &where, std::span<const unsigned char> der, const kxBinBuf &password, Report &report,
                 Facts &facts) {
  kxCRMF crmf;
  sxString text;
  crmf.DerDecode(der.data(), static_cast<int>(der.size()), text);
  Describe(where, der, crmf, report, facts);
  const bool isSound = crmf.Status() == kxCRMF_success;
  const MacVerdict mac = isSound ? JudgeMac(crmf, password) : MacVerdict();
  const std::string refusal = isSound ? mac.refusal : text.getstr();
  const bool accepted = isSound && refusal.empty();
  const std::string caveat = accepted ? CaveatOf(mac, !password.IsEmpty()) : "";
  report.Verdict(accepted && caveat.empty(), where + (!accepted        ? ": refused: " + OneLine(refusal)
                                                      : caveat.empty() ? ": accepted"
                                                                       : ": accepted, but " + caveat));
  if (!accepted) report.Worsen(kExitNo);
  facts["accepted"] = accepted;
  facts["mac"] = mac.mac != nullptr ? Facts(mac.mac) : Facts(nullptr);
  facts["caveat"] = caveat;
  facts["status"] = crmf.Status();
  facts["statusText"] = CrmfStat2string(crmf.Status());
  facts["refusal"] = refusal;
}

void ShowBlock(const std::string &where, std::span<const unsigned char> octets, const kxBinBuf &password,
               Report &report) {
  const kxCrmfMessages found(octets.data(), static_cast<int>(octets.size()));
  if (found.Count() == 0) return report.Problem(kExitInputError, where, found.Error());
  std::string start = where;
  if (*found.Carrier() != '\0') start.append(" ").append(found.Carrier());
  for (int i = 0; i < found.Count(); ++i) {
    std::string name = start;
    if (found.Count() > 1) name.append(" message ").append(std::to_string(i + 1));
    Facts facts = {{"input", where}, {"carrier", found.Carrier()}, {"number", i + 1}};
    ShowMessage(name, found.Get(i), password, report, facts);
    report.Document()["messages"].push_back(std::move(facts));
  }
}

void Run(const Options &options, Report &report) {
  report.Document()["messages"] = Facts::array();
  kxBinBuf password;
  if (!options.password.empty()) {
    const std::string error = ReadSecret(options.password, password);
    if (!error.empty()) return report.Problem(kExitInputError, "", error);
  }
  const auto show = [&](const std::string &where, std::span<const unsigned char> octets) {
    ShowBlock(where, octets, password, report);
  };
  for (const std::string &file : options.files) ReadBlocks(file, report, show);
}

}  // namespace

Verb CrmfShow() {
  const auto options = std::make_shared<Options>();
  return {
      {{"FILE", "request messages or CMP messages with some, DER or PEM; - is standard input", &options->files, true},
       {"--password", "where it is: file:PATH, env:NAME or fd:NUMBER; checks the MAC of requests without a subject",
        &options->password, false, CheckSecretSource}},
      [options](Report &report) { Run(*options, report); }};
}
