#include "kxcert/cert/inputBlocks.h"

#include <strings.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "kxcert/foundation/base64.h"
#include "kxcert/foundation/hexText.h"
#include "kxcert/platform/secureMemory.h"
#include "objectShape.h"

namespace {

constexpr std::string_view kHexPrefix = "{ASN}";
constexpr std::string_view kBegin = "-----BEGIN ";
constexpr std::string_view kProcType = "Proc-Type:";
constexpr std::string_view kDekInfo = "DEK-Info:";
constexpr std::string_view kEnd = "-----END ";
constexpr std::string_view kDashes = "-----";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // editors put it before UTF-8 text
constexpr std::string_view kUtf16Marks[] = {"\xFF\xFE", "\xFE\xFF"};
constexpr size_t kNone = std::string_view::npos;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view AfterBlanks(std::string_view text) {
  const auto *const start = std::find_if_not(text.begin(), text.end(), IsBlank);
  return text.substr(static_cast<size_t>(start - text.begin()));
}

bool StartsWithHexPrefix(std::string_view text) {
  return text.size() >= kHexPrefix.size() && strncasecmp(text.data(), kHexPrefix.data(), kHexPrefix.size()) == 0;
}

// Whether a line begins at @p pos, or blanks and a byte order mark are all that stands before it on its line.
bool BeginsLine(std::string_view text, size_t pos) {
  std::string_view before = text.substr(0, pos);
  for (;;) {
    if (before.empty() || before.back() == '\n') return true;
    if (before.ends_with(kByteOrderMark)) {
      before.remove_suffix(kByteOrderMark.size());
    } else if (IsBlank(before.back())) {
      before.remove_suffix(1);
    } else {
      return false;
    }
  }
}

// The next marker that begins a line, from @p pos on.
// @param glued  a dash or a NUL may stand before it, too: files that were joined without a line feed between
//               them have the end of a block and the beginning of the next one on a line
size_t FindLine(std::string_view text, std::string_view marker, size_t pos, bool glued = false) {
  for (pos = text.find(marker, pos); pos != kNone; pos = text.find(marker, pos + 1)) {
    if (BeginsLine(text, pos) || (glued && (text[pos - 1] == '-' || text[pos - 1] == '\0'))) return pos;
  }
  return kNone;
}

// Text does not begin like this, so that a marker within an encoding, even a broken one, is no marker.
bool IsEncoding(sxOctetView octets) {
  if (octets.size() < 2 || octets[0] != kDerSequence) return false;
  if (octets[1] >= 0x80) return true;
  sxDerElement first;
  if (!sxTakeBer(octets, &first)) return false;
  return octets.empty() || sxShapeOf(first) != sxShape::kUnknown;
}

// Asked before room is made for what it would decode to.
bool IsBase64(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/' ||
           c == '=' || IsBlank(c);
  });
}

std::string PrintableLabel(std::string_view text) {
  std::string label(text.substr(0, kMaxPemLabelLen));
  std::replace_if(
      label.begin(), label.end(), [](char c) { return c < 0x20 || c > 0x7E; }, '?');
  return label;
}

// Lines before an empty one that name something (RFC 1421, 4.4). @return false when there is no such line
bool SplitHeaders(std::string_view &body, std::string_view *headers) {
  if (body.find(':') == kNone) return true;
  const size_t emptyLine = std::min(body.find("\n\n"), body.find("\n\r\n"));
  if (emptyLine == kNone) return false;
  *headers = body.substr(0, emptyLine);
  body.remove_prefix(emptyLine);
  return true;
}

// The value of a header, without the blanks around it; empty when there is none.
std::string_view HeaderValue(std::string_view headers, std::string_view name) {
  const size_t field = FindLine(headers, name, 0);
  if (field == kNone) return {};
  std::string_view value = headers.substr(field, headers.find('\n', field) - field);
  value = AfterBlanks(value.substr(name.size()));
  while (!value.empty() && IsBlank(value.back())) value.remove_suffix(1);
  return value;
}

// "Proc-Type: 4,ENCRYPTED" (RFC 1421, 4.6.1.1); other headers may say what they like.
bool IsEncrypted(std::string_view headers) { return HeaderValue(headers, kProcType).find("ENCRYPTED") != kNone; }

}  // namespace

class sxInputBlocks_imp {
 public:
  sxInputBlocks_imp(const unsigned char *octets, size_t len);
  ~sxInputBlocks_imp() { Wipe(); }
  bool Next(sxInputBlock &block);

 private:
  enum class Form { kEncoding, kHex, kPem, kBase64 };

  void Wipe() { KX_memset(m_decoded.data(), m_decoded.size()); }
  bool TakePem(sxInputBlock &block);
  void ReadBody(std::string_view body, sxInputBlock &block);
  void ReadHex(sxInputBlock &block);
  bool DecodeBase64(std::string_view text);
  size_t NextMarker(size_t pos) { return FindLine(m_text, kBegin, pos, true); }

  std::string_view m_text;
  size_t m_base = 0;  // octets of the input before m_text
  Form m_form = Form::kEncoding;
  size_t m_pos = 0;      // of the next block; kNone behind the last
  size_t m_counted = 0;  // where m_line stands
  size_t m_line = 1;
  int m_number = 0;
  std::vector<unsigned char> m_decoded;
};

sxInputBlocks_imp::sxInputBlocks_imp(const unsigned char *octets, size_t len)
    : m_text(reinterpret_cast<const char *>(octets), octets == nullptr ? 0 : len) {
  if (m_text.starts_with(kByteOrderMark)) m_base = kByteOrderMark.size();
  m_text.remove_prefix(m_base);
  if (m_text.empty()) {
    m_pos = kNone;
  } else if (StartsWithHexPrefix(m_text)) {
    m_form = Form::kHex;
  } else if (IsEncoding({octets + m_base, m_text.size()})) {
    m_form = Form::kEncoding;
  } else if (const size_t marker = NextMarker(0); marker != kNone) {
    m_form = Form::kPem;
    m_pos = marker;
  } else if (IsBase64(m_text) && DecodeBase64(m_text) && IsEncoding(m_decoded)) {
    m_form = Form::kBase64;
  }
}

bool sxInputBlocks_imp::Next(sxInputBlock &block) {
  block = sxInputBlock();
  if (m_pos == kNone) return false;
  block.number = ++m_number;
  block.offset = m_base + m_pos;
  if (m_form == Form::kPem) return TakePem(block);
  m_pos = kNone;
  switch (m_form) {
    case Form::kHex: ReadHex(block); break;
    case Form::kBase64: block.octets = m_decoded; break;
    default:
      block.octets = {reinterpret_cast<const unsigned char *>(m_text.data()), m_text.size()};
      for (const std::string_view mark : kUtf16Marks) {
        if (m_text.starts_with(mark)) block.error = "UTF-16 text is not read: save it as UTF-8";
      }
  }
  return true;
}

// The search for the end goes no further than the next block: blocks without an end would each search all
// that follows them.
bool sxInputBlocks_imp::TakePem(sxInputBlock &block) {
  m_line += static_cast<size_t>(std::count(m_text.begin() + static_cast<std::ptrdiff_t>(m_counted),
                                           m_text.begin() + static_cast<std::ptrdiff_t>(m_pos), '\n'));
  m_counted = m_pos;
  block.line = m_line;
  const size_t labelPos = m_pos + kBegin.size();
  const size_t next = NextMarker(labelPos);
  const std::string_view text = m_text.substr(labelPos, next == kNone ? kNone : next - labelPos);
  m_pos = next;
  const std::string_view line = text.substr(0, text.find('\n'));
  const size_t labelLen = line.find(kDashes);
  block.label = PrintableLabel(line.substr(0, labelLen));
  if (labelLen == kNone) return block.error = "the PEM block has no end", true;
  const std::string footer = std::string(kEnd).append(line.substr(0, labelLen)).append(kDashes);
  const size_t end = FindLine(text, footer, labelLen);
  if (end == kNone) return block.error = "the PEM block has no end", true;
  if (!AfterBlanks(line.substr(labelLen + kDashes.size())).empty()) {
    return block.error = "something stands behind the marker of the PEM block", true;
  }
  ReadBody(text.substr(line.size(), end - line.size()), block);
  return true;
}

void sxInputBlocks_imp::ReadBody(std::string_view body, sxInputBlock &block) {
  std::string_view headers;
  if (!SplitHeaders(body, &headers) || !DecodeBase64(body)) {
    block.error = "the PEM block is not Base64";
    return;
  }
  block.encrypted = IsEncrypted(headers);
  if (block.encrypted) block.dekInfo = PrintableLabel(HeaderValue(headers, kDekInfo));
  block.octets = m_decoded;
}

// @return false also when there is nothing in it
bool sxInputBlocks_imp::DecodeBase64(std::string_view text) {
  Wipe();
  m_decoded.clear();
  if (text.size() > kMaxInputLen) return false;
  int len = 0;
  unsigned char *const octets = Base64Decode(text.data(), static_cast<int>(text.size()), &len);
  if (octets == nullptr) return false;
  m_decoded.assign(octets, octets + len);
  KX_memset(octets, static_cast<size_t>(len));
  Base64FreeBuffer(octets);
  return len > 0;
}

// The form stores the last octet first: intended, as in sxCert_AsnBufFromFile.
void sxInputBlocks_imp::ReadHex(sxInputBlock &block) {
  std::string digits;
  digits.reserve(m_text.size());  // growing would leave copies behind that nobody wipes
  std::copy_if(m_text.begin() + kHexPrefix.size(), m_text.end(), std::back_inserter(digits),
               [](char c) { return !IsBlank(c); });
  m_decoded.resize(digits.size() / 2);
  if (m_decoded.empty() || string_to_bytes(digits.data(), static_cast<int>(digits.size()), m_decoded.data(),
                                           static_cast<int>(m_decoded.size())) != 0) {
    block.error = "{ASN} is not followed by pairs of hexadecimal digits";
  } else {
    std::reverse(m_decoded.begin(), m_decoded.end());
    block.octets = m_decoded;
  }
  KX_memset(digits.data(), digits.size());
}

size_t sxElementsLen(std::span<const unsigned char> octets) {
  sxOctetView rest = octets;
  for (sxDerElement element; !rest.empty() && rest[0] == kDerSequence && sxTakeBer(rest, &element);) continue;
  return octets.size() - rest.size();
}

sxInputBlocks::sxInputBlocks(const unsigned char *octets, size_t len)
    : m_imp(std::make_unique<sxInputBlocks_imp>(octets, len)) {}
sxInputBlocks::~sxInputBlocks() = default;
bool sxInputBlocks::Next(sxInputBlock &block) { return m_imp->Next(block); }
