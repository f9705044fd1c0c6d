#include "input.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "kxcert/foundation/base64.h"
#include "kxcert/foundation/hexText.h"
#include "visibleText.h"

namespace {

constexpr std::string_view kHexPrefix = "{ASN}";
constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // editors put it before UTF-8 text
constexpr size_t kChunkLen = 65536;

struct CloseFile {
  void operator()(FILE *file) const {
    if (file != stdin) std::fclose(file);
  }
};

struct FreeBase64 {
  void operator()(unsigned char *octets) const { Base64FreeBuffer(octets); }
};

bool StartsWithHexPrefix(std::string_view text) {
  return text.size() >= kHexPrefix.size() && strncasecmp(text.data(), kHexPrefix.data(), kHexPrefix.size()) == 0;
}

// One definite-length SEQUENCE that takes up everything. Asked before PEM is looked for: the text of a
// marker may stand in a certificate, and '0' is the identifier of SEQUENCE.
bool IsWholeDer(std::string_view octets) {
  if (octets.size() < 2 || octets[0] != 0x30) return false;
  const auto at = [octets](size_t i) { return static_cast<unsigned char>(octets[i]); };
  size_t len = at(1);
  size_t header = 2;
  if (len >= 0x80) {
    const size_t numOctets = len & 0x7F;
    if (numOctets == 0 || numOctets > 4 || octets.size() < 2 + numOctets) return false;
    len = 0;
    for (size_t i = 0; i < numOctets; ++i) len = len << 8 | at(2 + i);
    header += numOctets;
  }
  return octets.size() - header == len;
}

std::string Strip(std::string_view text) {
  std::string out;
  std::copy_if(text.begin(), text.end(), std::back_inserter(out),
               [](char c) { return std::strchr(" \t\r\n", c) == nullptr || c == '\0'; });
  return out;
}

Block ReadHexForm(const std::string &name, std::string_view text) {
  Block block{"", name, {}, ""};
  const std::string digits = Strip(text);
  std::vector<unsigned char> octets(digits.size() / 2);
  if (octets.empty() || string_to_bytes(digits.data(), static_cast<int>(digits.size()), octets.data(),
                                        static_cast<int>(octets.size())) != 0) {
    block.error = "{ASN} is not followed by pairs of hexadecimal digits";
    return block;
  }
  block.der.assign(octets.rbegin(), octets.rend());
  return block;
}

// Header lines (RFC 1421, 4.4) end in an empty line.
std::string_view WithoutHeaders(std::string_view body) {
  if (body.find(':') == std::string_view::npos) return body;
  const size_t emptyLine = std::min(body.find("\n\n"), body.find("\n\r\n"));
  return emptyLine == std::string_view::npos ? std::string_view() : body.substr(emptyLine);
}

void DecodeBody(std::string_view body, Block &block) {
  body = WithoutHeaders(body);
  int len = 0;
  const std::unique_ptr<unsigned char, FreeBase64> octets(
      Base64Decode(body.data(), static_cast<int>(body.size()), &len));
  if (octets == nullptr || len == 0) {
    block.error = "the PEM block is not Base64";
    return;
  }
  block.der.assign(octets.get(), octets.get() + len);
}

// The start of the next line that begins with the marker, from @p pos on.
size_t FindLine(std::string_view text, std::string_view marker, size_t pos) {
  for (pos = text.find(marker, pos); pos != std::string_view::npos; pos = text.find(marker, pos + 1)) {
    if (pos == 0 || text[pos - 1] == '\n') return pos;
  }
  return std::string_view::npos;
}

void SplitPem(std::string_view text, Input &input) {
  size_t line = 1;
  size_t counted = 0;
  for (size_t begin = FindLine(text, kBegin, 0); begin != std::string_view::npos;) {
    line += static_cast<size_t>(std::count(text.begin() + static_cast<std::ptrdiff_t>(counted),
                                           text.begin() + static_cast<std::ptrdiff_t>(begin), '\n'));
    counted = begin;
    Block block{"", input.name + " line " + std::to_string(line), {}, ""};
    const std::string_view header = text.substr(begin, text.find('\n', begin) - begin);
    const size_t labelEnd = header.find(kDashes, kBegin.size());
    const size_t next = FindLine(text, kBegin, begin + 1);
    size_t end = std::string_view::npos;
    if (labelEnd != std::string_view::npos) {
      block.label = header.substr(kBegin.size(), labelEnd - kBegin.size());
      // Not beyond the next block: blocks without an end would each search all that follows them.
      end = FindLine(text.substr(0, next), std::string(kEnd) + block.label + std::string(kDashes), begin);
    }
    if (end == std::string_view::npos) {
      block.error = "the PEM block has no end";
    } else {
      const size_t body = begin + header.size();
      DecodeBody(text.substr(body, end - body), block);
    }
    input.blocks.push_back(std::move(block));
    begin = next;
  }
}

}  // namespace

std::string ReadOctets(const std::string &path, std::string &out) {
  static bool standardInputRead = false;
  const bool standardInput = path == "-";
  if (standardInput && standardInputRead) return "standard input can be read only once";
  standardInputRead = standardInputRead || standardInput;
  const std::unique_ptr<FILE, CloseFile> file(standardInput ? stdin : std::fopen(path.c_str(), "rb"));
  if (file == nullptr) return std::string("cannot be opened: ") + std::strerror(errno);
  out.clear();
  std::string chunk(kChunkLen, '\0');
  for (size_t got; (got = std::fread(chunk.data(), 1, chunk.size(), file.get())) > 0;) {
    if (out.size() + got > kMaxInputLen) return "is longer than " + std::to_string(kMaxInputLen) + " octets";
    out.append(chunk, 0, got);
  }
  return std::ferror(file.get()) != 0 ? std::string("cannot be read: ") + std::strerror(errno) : std::string();
}

Input SplitInput(const std::string &name, std::string octets) {
  Input input{name, {}, ""};
  if (octets.starts_with(kByteOrderMark)) octets.erase(0, kByteOrderMark.size());
  if (octets.empty()) {
    input.error = "is empty";
  } else if (StartsWithHexPrefix(octets)) {
    input.blocks.push_back(ReadHexForm(name, std::string_view(octets).substr(kHexPrefix.size())));
  } else if (!IsWholeDer(octets) && FindLine(octets, kBegin, 0) != std::string::npos) {
    SplitPem(octets, input);
  } else {
    const auto *data = reinterpret_cast<const unsigned char *>(octets.data());
    input.blocks.push_back({"", name, {data, data + octets.size()}, ""});
  }
  return input;
}

Input ReadInput(const std::string &path) {
  const std::string name = path == "-" ? "(standard input)" : path;
  std::string octets;
  const std::string error = ReadOctets(path, octets);
  if (!error.empty()) return {name, {}, error};
  return SplitInput(name, std::move(octets));
}
