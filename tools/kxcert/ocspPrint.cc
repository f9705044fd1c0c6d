// kxcert ocsp print: OCSP responses as text.
#include <memory>

#include "input.h"
#include "kxcert/cert/inputBlocks.h"
#include "kxcert/cert/loadFiles.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/trust/ocspResponse.h"
#include "ocspFacts.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

void PrintBlock(const std::string &where, const sxInputBlock &block, Report &report) {
  if (block.error != nullptr) return report.Problem(kExitInputError, where, block.error);
  sxOcspResponse response;
  const char *const fault = sxOcspResponse_Read(block.octets.data(), block.octets.size(), &response);
  if (fault != nullptr) {
    return report.Problem(kExitInputError, where, std::string("not an OCSP response: ") + fault);
  }
  Facts facts = {{"input", where}};
  report.Line(where + ":");
  TellResponse(response, report, facts);
  report.Document()["objects"].push_back(std::move(facts));
}

void PrintFile(const std::string &file, Report &report) {
  const std::string name = InputName(file);
  kxBinBuf octets;
  const std::string error = ReadOctets(file, octets);
  if (!error.empty()) return report.Problem(kExitInputError, name, error);
  sxInputBlocks blocks(octets.Data(), octets.Len());
  bool any = false;
  for (sxInputBlock block; blocks.Next(block); any = true) {
    const sxLoadPlace place = {name.c_str(), block.number, 0, block.offset, block.line};
    PrintBlock(VisibleLine(place.Text()), block, report);
  }
  if (!any) report.Problem(kExitInputError, name, "is empty");
}

}  // namespace

Verb OcspPrint() {
  const auto files = std::make_shared<std::vector<std::string>>();
  return {{{"FILE", "OCSP responses, DER or PEM; - is standard input", files.get(), true}}, [files](Report &report) {
            report.Document()["objects"] = Facts::array();
            for (const std::string &file : *files) PrintFile(file, report);
          }};
}
