// kxcert name parse: a name in all its forms.
#include <memory>

#include "certFacts.h"
#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "nameFacts.h"
#include "nameForm.h"
#include "nameInput.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

void PrintName(const std::string &argument, Report &report) {
  std::string reason;
  const std::optional<sxDN> name = ReadName(argument, &reason);
  if (!name.has_value()) return report.Problem(kExitNo, argument, "not a legal name" + reason);
  unsigned char *der = nullptr;
  int derLen = 0;
  if (name->DerEncode(&der, &derLen) != 0) return report.Problem(kExitNo, argument, "does not encode");
  const char *text = name->GetStr();
  if (!report.Document()["names"].empty()) report.Line();
  report.Line("text:  " + VisibleLine(text == nullptr ? "(a name without text form)" : text));
  report.Line("ascii: " + NameText(&*name));
  report.Line("4514:  " + Rfc4514Text(*name->GetName()));
  report.Line("der:   " + HexOf(der, static_cast<size_t>(derLen)));
  report.Line("rdns:  " + std::to_string(name->Count()));
  const char *ascii = name->GetStr_ascii();
  Facts facts = {{"input", argument}, {"text", nullptr}, {"ascii", nullptr}};
  if (text != nullptr) facts["text"] = text;
  if (ascii != nullptr) facts["ascii"] = ascii;
  facts["rfc4514"] = Rfc4514Text(*name->GetName());
  facts["der"] = HexOf(der, static_cast<size_t>(derLen));
  facts["rdns"] = name->Count();
  facts["rdnList"] = RdnFacts(&*name);
  report.Document()["names"].push_back(std::move(facts));
}

}  // namespace

Verb NameParse() {
  const auto texts = std::make_shared<std::vector<std::string>>();
  return {{{"TEXT", "names as text (CN=a,O=b,C=c) or as DER in hexadecimal", texts.get(), true}},
          [texts](Report &report) {
            report.Document()["names"] = Facts::array();
            for (const std::string &text : *texts) PrintName(text, report);
          }};
}
