#include "kxcert/asn1/sxAsnType.h"

#include <cstring>
#include <memory>

#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "valueBlocks.h"

void *sxAsnType::operator new(size_t size) { return sxAsnTakeBlock(size); }
void sxAsnType::operator delete(void *block, size_t size) noexcept { sxAsnGiveBlock(block, size); }

sxAsnType *sxAsnType::GetType(const char *name) {
  return name != nullptr && std::strcmp(name, TypeName()) == 0 ? this : nullptr;
}

int sxAsnType::BDec(sxAsnReadBuf &, int &) {
  return herror_func(0, 0, "sxAsnType::BDec attempt tp decode improperly formed of Any"), -1;
}

int sxAsnType::BEnc(sxAsnWriteBuf &) {
  return herror_func(0, 0, "sxAsnType::BEec attempt tp encode improperly formed of Any"), -1;
}

int sxAsnType::DecContent(sxAsnReadBuf &buf, unsigned int, int, int &bytesDecoded) {
  return sxAsnType::BDec(buf, bytesDecoded);
}

int sxAsnType::EncContent(sxAsnWriteBuf &buf) { return sxAsnType::BEnc(buf); }

int sxAsnType::Describe(SxStream &out, int) const {
  out.Puts("sxAsnType::Print attempt tp print improperly formed of Any\n ");
  return -1;
}

int sxAsnType::Print(FILE *out, int indent) {
  SxStream text;
  const int rc = Describe(text, indent);
  std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
  return rc;
}

void sxAsnType::Herror(int indent) {
  if (!kxLog_DebugOn()) return;
  if (Info() == nullptr) {
    char spaces[40];
    StrIndent(indent, spaces, sizeof spaces);
    herror_func(0, 0, "%ssxAsnType::Herror attempt tp print improperly formed of Any", spaces);
    return;
  }
  SxStream text;
  Describe(text, indent);
  std::string_view rest = text.Text();
  while (!rest.empty()) {  // one log line for each line of the text
    const size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    herror_func(0, 0, "%.*s", static_cast<int>(line.size()), line.data());
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
}

int sxASN_EncodeBuf(sxAsnType &value, kxBinBuf &out, int sortSets) {
  sxAsnWriteBuf buf;
  buf.Init(nullptr, 0);
  buf.ReSet();
  buf.sortSets = sortSets != 0 ? 1 : 0;
  const int len = value.BEnc(buf);
  if (len < 0) return -1;
  out.Set(static_cast<unsigned int>(len));
  buf.Init(out.Data(), len);
  buf.ReSet();
  buf.sortSets = sortSets != 0 ? 1 : 0;
  if (len > 0 && value.BEnc(buf) < 0) return -1;
  return 0;
}

int sxASN_EncodeBuf(sxAsnType &value, char *out, int outSize, int &encodedLen, int sortSets) {
  std::unique_ptr<unsigned char[]> area;
  sxAsnWriteBuf buf;
  if (out == nullptr || outSize < 0) outSize = 0;
  if (out != nullptr) area = std::make_unique_for_overwrite<unsigned char[]>(static_cast<size_t>(outSize) + 1);
  buf.Init(area.get(), outSize);
  buf.ReSet();
  buf.sortSets = sortSets != 0 ? 1 : 0;
  encodedLen = value.BEnc(buf);
  if (encodedLen < 0) return -1;
  if (out != nullptr && encodedLen > 0) { std::memcpy(out, buf.Curr(), static_cast<size_t>(encodedLen)); }
  return 0;
}

int sxASN_DecodeBuf(sxAsnType &value, const char *data, int len) {
  sxAsnReadBuf buf;
  buf.Init(reinterpret_cast<const unsigned char *>(data), data == nullptr ? 0 : len);
  int bytesDecoded = 0;
  if (value.BDec(buf, bytesDecoded) < 0) { return herror_func(0, 0, "BDecPdu failed to decoded"), -1; }
  if (bytesDecoded != len) { return herror_func(0, 0, "sxASN_DecodeBuf not all the buffer was decoded"), -1; }
  return 0;
}
