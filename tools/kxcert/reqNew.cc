// kxcert req new: a certification request (PKCS #10), signed with the key that it is about.
#include <algorithm>
#include <iterator>
#include <memory>
#include <string>

#include "extensionOptions.h"
#include "keyInput.h"
#include "keyOutput.h"
#include "keyPassword.h"
#include "kxcert/asn1/oids.h"
#include "kxcert/cert/sxCertRequest.h"
#include "kxcert/cert/sxCertTemplate.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/secureMemory.h"
#include "logLines.h"
#include "report.h"
#include "requestFacts.h"
#include "requestInput.h"
#include "secretInput.h"
#include "templateInput.h"
#include "verb.h"
#include "visibleText.h"

namespace {

constexpr char kPemLabel[] = "CERTIFICATE REQUEST";

struct Options {
  std::string key, password;
  std::string subject;
  std::string challenge;  // its source
  ExtensionOptions extensions;
  int digest = sx_md_sha256;
  int form = kObjectForm_pem;
  OutputOptions output;
};

// Each returns false for a problem, which has been told.

bool SetChallenge(const Options &options, sxRequestAttributes &attributes, Report &report) {
  if (options.challenge.empty()) return true;
  kxBinBuf secret;
  const std::string error = ReadSecret(options.challenge, secret);
  if (!error.empty()) return report.Problem(kExitInputError, "", error), false;
  std::string text(secret.Data(), secret.Data() + secret.Len());
  const bool isText = text.find('\0') == std::string::npos;
  const bool isSet = isText && attributes.SetChallengePassword(text.c_str()) == 0;
  KX_memset(text.data(), text.size());
  if (!isSet) report.Problem(kExitInputError, options.challenge, "not UTF-8 of at most 255 characters");
  return isSet;
}

void Run(const Options &options, Report &report) {
  const FoundKey key = ReadKey(options.key, KeyPart::kPrivate, report, options.password);
  sxCertTemplate wanted;
  sxRequestAttributes attributes;
  if (key.key == nullptr || !SetSubject(options.subject, wanted, report) ||
      !SetExtensions(options.extensions, wanted, report) || !SetChallenge(options, attributes, report)) {
    return;
  }
  if (wanted.Subject() == nullptr && FindExtension(wanted, sxASN_id_ce_subjectAltName) == nullptr) {
    return report.Problem(kExitUsage, "", "whom the certificate is for is missing: give --subject, or --san");
  }
  const LogLines log;
  sxSignOptions how;
  how.md = static_cast<sx_md_type>(options.digest);
  sxCertRequest *made = nullptr;
  const sxIssueStatus status = sxMakeRequest(wanted, &attributes, key.key.get(), how, &made);
  const RequestRef request(made);
  if (status != sxIssue_ok) {
    return report.Problem(kExitInputError, key.where,
                          std::string("no request can be made: ") + sxIssueStatusText(status));
  }
  SxStream text;
  report.Document()["request"] = RequestFacts(*request, &text, 1);
  if (!WriteObject({request->GetBuf(), request->BufLen()}, kPemLabel, options.form, options.output, report)) return;
  if (options.output.file.empty()) return;
  report.Line(VisibleLine(options.output.file) + ":");
  report.Line(TrimEnd(text.Text()));
}

}  // namespace

Verb ReqNew() {
  const auto options = std::make_shared<Options>();
  std::vector<OptionRow> rows = {
      {"--key", "private key: PEM, DER or an attribute set; the request is about it and signed with it", &options->key,
       true},
      PasswordRow(options->password),
      {"--subject", "name, as text or DER in hexadecimal", &options->subject},
      {"--challenge-password", "where it is: file:PATH, env:NAME or fd:NUMBER; everybody can read it in the request",
       &options->challenge, false, CheckSecretSource},
      DigestRow(options->digest),
      ObjectFormRow(options->form)};
  std::ranges::move(ExtensionRows(options->extensions), std::back_inserter(rows));
  std::ranges::move(OutputRows(options->output), std::back_inserter(rows));
  return {std::move(rows), [options](Report &report) { Run(*options, report); }};
}
