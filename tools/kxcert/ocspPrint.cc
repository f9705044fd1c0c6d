// kxcert ocsp print: OCSP responses as text.
#include <memory>

#include "input.h"
#include "kxcert/trust/ocspResponse.h"
#include "ocspFacts.h"
#include "report.h"
#include "verb.h"

namespace {

void Print(const std::string &where, std::span<const unsigned char> octets, Report &report) {
  sxOcspResponse response;
  const char *const fault = sxOcspResponse_Read(octets.data(), octets.size(), &response);
  if (fault != nullptr) {
    return report.Problem(kExitInputError, where, std::string("not an OCSP response: ") + fault);
  }
  Facts facts = {{"input", where}};
  report.Line(where + ":");
  TellResponse(response, report, facts);
  report.Document()["objects"].push_back(std::move(facts));
}

}  // namespace

Verb OcspPrint() {
  const auto files = std::make_shared<std::vector<std::string>>();
  return {{{"FILE", "OCSP responses, DER or PEM; - is standard input", files.get(), true}}, [files](Report &report) {
            report.Document()["objects"] = Facts::array();
            const auto print = [&report](const std::string &where, std::span<const unsigned char> octets) {
              Print(where, octets, report);
            };
            for (const std::string &file : *files) ReadBlocks(file, report, print);
          }};
}
