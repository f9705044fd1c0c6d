// kxcert cert asn1: any generated type as a tree, and whether it encodes as it was.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

#include "input.h"
#include "kxcert/asn1/sxAsnType.h"
#include "kxcert/asn1/typeByName.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "logLines.h"
#include "report.h"
#include "verb.h"
#include "visibleText.h"

namespace {

struct Options {
  std::string type;
  std::vector<std::string> files;
  bool check = false;
};

std::string KnownTypes() {
  std::string names;
  for (int i = 0; sxAsnTypeAt(i) != nullptr; ++i) {
    names += (i == 0 ? "" : " ") + std::string(sxAsnTypeAt(i)->name).substr(std::string_view("sxASN_").size());
  }
  return names;
}

// Validates TYPE while options are read, so that an unknown one is a usage error.
std::string CheckType(const std::string &name) {
  if (sxAsnFindType(name.c_str()) != nullptr) return "";
  return "no such ASN.1 type: " + VisibleLine(name) + "; known are " + KnownTypes();
}

std::string At(const unsigned char *octets, size_t len, size_t i) { return i < len ? HexOf(octets + i, 1) : "nothing"; }

void Compare(const Block &block, sxAsnType &value, nlohmann::ordered_json &facts, Report &report) {
  kxBinBuf encoded;
  if (sxASN_EncodeBuf(value, encoded, 1) != 0) return report.Problem(kExitInternal, block.where, "does not encode");
  const std::vector<unsigned char> &der = block.der;
  const size_t shorter = std::min<size_t>(der.size(), encoded.Len());
  size_t first = 0;
  while (first < shorter && der[first] == encoded.Data()[first]) ++first;
  const bool identical = first == shorter && der.size() == encoded.Len();
  facts["identical"] = identical;
  if (identical) return report.Line(block.where + ": identical octets (" + std::to_string(der.size()) + ")");
  report.Worsen(kExitNo);
  facts["firstDifference"] = first;
  facts["encodedOctets"] = encoded.Len();
  report.Line(block.where + ": octets differ first at offset " + std::to_string(first) + ": " +
              At(der.data(), der.size(), first) + " was read, " + At(encoded.Data(), encoded.Len(), first) +
              " is encoded (" + std::to_string(der.size()) + " and " + std::to_string(encoded.Len()) + " octets)");
}

void RunBlock(const Block &block, const Options &options, Report &report) {
  if (!block.error.empty()) return report.Problem(kExitInputError, block.where, block.error);
  const sxAsnTypeInfo &info = *sxAsnFindType(options.type.c_str());
  const std::unique_ptr<sxAsnType> value(info.create());
  {
    const LogLines log;
    if (sxASN_DecodeBuf(*value, reinterpret_cast<const char *>(block.der.data()), static_cast<int>(block.der.size())) !=
        0) {
      return report.Problem(kExitInputError, block.where, std::string("not a ") + info.name + log.Reason());
    }
  }
  nlohmann::ordered_json facts = {{"input", VisibleLine(block.where)}, {"octets", block.der.size()}};
  if (options.check) {
    Compare(block, *value, facts, report);
  } else {
    SxStream tree;
    value->Describe(tree, 0);
    if (options.files.size() > 1) report.Line(block.where + ":");
    report.Line(TrimEnd(tree.Text()));
    facts["tree"] = VisibleText(TrimEnd(tree.Text()));
  }
  report.Document()["values"].push_back(std::move(facts));
}

void Run(const Options &options, Report &report) {
  report.Document()["type"] = sxAsnFindType(options.type.c_str())->name;
  report.Document()["values"] = nlohmann::ordered_json::array();
  for (const std::string &file : options.files) {
    const Input input = ReadInput(file);
    if (!input.error.empty()) report.Problem(kExitInputError, input.name, input.error);
    if (!input.blocks.empty()) RunBlock(input.blocks.front(), options, report);
  }
}

}  // namespace

Action AddCertAsn1(CLI::App &verb) {
  const auto options = std::make_shared<Options>();
  verb.add_option("TYPE", options->type, "an ASN.1 type, such as Certificate or CertificateList")
      ->required()
      ->check(CLI::Validator(CheckType, "", "known type"));
  verb.add_option("FILE", options->files, "DER, PEM (the first block) or {ASN} files; - is standard input")->required();
  verb.add_flag("--check", options->check, "encode again and compare octet by octet, instead of the tree");
  return [options](Report &report) { Run(*options, report); };
}
