// kxcert cert asn1: any generated type as a tree, and whether it encodes as it was.
#include <algorithm>
#include <memory>
#include <span>

#include "asn1/typeByName.h"
#include "input.h"
#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/asn1/sxAsnType.h"
#include "kxcert/cert/loadFiles.h"
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

Words TypeWords() {
  Words names;
  for (int i = 0; sxAsnTypeAt(i) != nullptr; ++i) {
    names.push_back(std::string(sxAsnTypeAt(i)->name).substr(std::string_view("sxASN_").size()));
  }
  return names;
}

// Validates TYPE while options are read, so that an unknown one is a usage error.
std::string CheckType(const std::string &name) {
  return sxAsnFindType(name.c_str()) != nullptr ? "" : UnknownWord("ASN.1 type", name, TypeWords());
}

std::string At(const unsigned char *octets, size_t len, size_t i) { return i < len ? HexOf(octets + i, 1) : "nothing"; }

void Compare(const std::string &where, std::span<const unsigned char> der, sxAsnType &value, Facts &facts,
             Report &report) {
  kxBinBuf encoded;
  if (sxASN_EncodeBuf(value, encoded, 1) != 0) return report.Problem(kExitInternal, where, "does not encode");
  const size_t shorter = std::min<size_t>(der.size(), encoded.Len());
  size_t first = 0;
  while (first < shorter && der[first] == encoded.Data()[first]) ++first;
  const bool identical = first == shorter && der.size() == encoded.Len();
  facts["identical"] = identical;
  if (identical) return report.Line(where + ": identical octets (" + std::to_string(der.size()) + ")");
  report.Worsen(kExitNo);
  facts["firstDifference"] = first;
  facts["encodedOctets"] = encoded.Len();
  report.Line(where + ": octets differ first at offset " + std::to_string(first) + ": " +
              At(der.data(), der.size(), first) + " was read, " + At(encoded.Data(), encoded.Len(), first) +
              " is encoded (" + std::to_string(der.size()) + " and " + std::to_string(encoded.Len()) + " octets)");
}

void RunBlock(const std::string &where, const sxInputBlock &block, const Options &options, Report &report) {
  if (block.error != nullptr) return report.Problem(kExitInputError, where, block.error);
  const sxAsnTypeInfo &info = *sxAsnFindType(options.type.c_str());
  const std::unique_ptr<sxAsnType> value(info.create());
  {
    const LogLines log;
    if (sxASN_DecodeBuf(*value, reinterpret_cast<const char *>(block.octets.data()),
                        static_cast<int>(block.octets.size())) != 0) {
      return report.Problem(kExitInputError, where, std::string("not a ") + info.name + log.Reason());
    }
  }
  Facts facts = {{"input", where}, {"octets", block.octets.size()}};
  if (options.check) {
    Compare(where, block.octets, *value, facts, report);
  } else {
    SxStream tree;
    sxAsnPrint_NameOids(true);
    value->Describe(tree, 0);
    sxAsnPrint_NameOids(false);
    if (options.files.size() > 1) report.Line(where + ":");
    report.Line(TrimEnd(tree.Text()));
    facts["tree"] = VisibleText(TrimEnd(tree.Text()));
  }
  report.Document()["values"].push_back(std::move(facts));
}

void RunFile(const std::string &file, const Options &options, Report &report) {
  const std::string name = InputName(file);
  kxBinBuf octets;
  const std::string error = ReadOctets(file, octets);
  if (!error.empty()) return report.Problem(kExitInputError, name, error);
  sxInputBlocks blocks(octets.Data(), octets.Len());
  sxInputBlock block;
  if (!blocks.Next(block)) return report.Problem(kExitInputError, name, "is empty");
  const sxLoadPlace place = {name.c_str(), block.number, 0, block.offset, block.line};
  RunBlock(VisibleLine(place.Text()), block, options, report);
}

void Run(const Options &options, Report &report) {
  report.Document()["type"] = sxAsnFindType(options.type.c_str())->name;
  report.Document()["values"] = Facts::array();
  for (const std::string &file : options.files) RunFile(file, options, report);
}

}  // namespace

Verb CertAsn1() {
  const auto options = std::make_shared<Options>();
  return {{WithWords({"TYPE", "an ASN.1 type, such as Certificate or CertificateList", &options->type, true, CheckType},
                     TypeWords),
           {"FILE", "DER, PEM (the first block) or {ASN} files; - is standard input", &options->files, true},
           {"--check", "encode again and compare octet by octet, instead of the tree", &options->check}},
          [options](Report &report) { Run(*options, report); }};
}
