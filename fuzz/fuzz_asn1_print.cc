// Printed values. The first octet selects the class as in fuzz_asn1; what decodes is printed and logged.
// The text is of visible characters, the log has the same lines, and neither is longer than a bound for
// each octet of input.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "check.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "support/asnClasses.h"

namespace {

// The element of fewest octets and most lines is an empty CertTemplate: two octets, and ten elements that
// are absent, each with its indent and name.
constexpr size_t kMaxPerOctet = 600;
constexpr size_t kMaxAnyway = 2000;

void AppendLine(void *opaque, const char *line, size_t lineLen) {
  static_cast<std::string *>(opaque)->append(line, lineLen).append("\n");
}

std::string Logged(sxAsnType &value) {
  std::string lines;
  kxLog_SetSink(AppendLine, &lines);
  dodebugprt = 1;
  value.Herror(0);
  dodebugprt = 0;
  kxLog_SetSink(nullptr, nullptr);
  return lines;
}

std::string Printed(sxAsnType &value) {
  static FILE *const out = std::tmpfile();
  KX_ASSERT(out != nullptr);
  std::rewind(out);
  value.Print(out, 0);
  std::string text(static_cast<size_t>(std::ftell(out)), '\0');
  std::rewind(out);
  KX_ASSERT(std::fread(text.data(), 1, text.size(), out) == text.size());
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0 || data[0] >= AsnClasses().size()) return 0;
  const std::unique_ptr<sxAsnType> value(AsnClasses()[data[0]]->create());
  if (sxASN_DecodeBuf(*value, reinterpret_cast<const char *>(data + 1), static_cast<int>(size) - 1) != 0) return 0;

  SxStream stream;
  value->Describe(stream, 0);
  std::string text = stream.Text();
  KX_ASSERT(!text.empty());
  KX_ASSERT(text.size() <= kMaxAnyway + kMaxPerOctet * size);
  for (const char c : text) KX_ASSERT(c == '\n' || (c >= 0x20 && c < 0x7F));
  KX_ASSERT(Printed(*value) == text);
  if (text.back() != '\n') text += '\n';
  // What could not be printed has said so on the log before.
  KX_ASSERT(Logged(*value).ends_with(text));
  return 0;
}
