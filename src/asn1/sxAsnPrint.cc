#include "kxcert/asn1/sxAsnPrint.h"

#include <string>

#include "kxcert/foundation/textStream.h"
#include "kxcert/platform/log.h"
#include "platform/textForms.h"

namespace {

constexpr int kPerRow = 20;
constexpr int kIndentBuf = 40;

// Calls onRow with each row of twenty items.
template <class AppendItem, class OnRow>
void ForEachRow(const unsigned char *data, int len, AppendItem appendItem, OnRow onRow) {
  for (int start = 0; start < len; start += kPerRow) {
    std::string row;
    for (int i = start; i < len && i < start + kPerRow; ++i) appendItem(&row, data[i]);
    onRow(row.c_str());
  }
}

void AppendHex(std::string *row, unsigned char octet) {
  kxAppendHex(row, octet);
  *row += ' ';
}

void AppendChar(std::string *row, unsigned char octet) {
  *row += octet >= 0x20 && octet < 0x7F ? static_cast<char>(octet) : '.';
}

template <class AppendItem>
void PrintRows(SxStream &out, const unsigned char *data, int len, int indent, AppendItem appendItem) {
  char spaces[kIndentBuf];
  StrIndent(indent, spaces, sizeof spaces);
  ForEachRow(data, len, appendItem, [&](const char *row) { out.Printf("%s%s\n", spaces, row); });
}

template <class AppendItem>
void LogRows(const unsigned char *data, int len, int indent, AppendItem appendItem) {
  if (!kxLog_DebugOn()) return;
  char spaces[kIndentBuf];
  StrIndent(indent, spaces, sizeof spaces);
  ForEachRow(data, len, appendItem, [&](const char *row) { herror_func(0, 0, "%s%s", spaces, row); });
}

thread_local bool namesOids = false;

int Shown(int len) { return len > kMaxHexPrint ? kMaxHexPrint : len; }

}  // namespace

void StrIndent(int indent, char *buf, int bufLen) {
  if (buf == nullptr || bufLen < 1) return;
  int levels = indent > 0 ? indent : 0;
  if (levels > bufLen / 2 - 1) levels = bufLen / 2 - 1;
  int end = 0;
  for (int i = 0; i < levels; ++i) {
    buf[end++] = ' ';
    buf[end++] = ' ';
  }
  buf[end] = '\0';
}

void HexPrint(SxStream &out, const unsigned char *data, int len, int indent) {
  out.Puts("\n");
  PrintRows(out, data, Shown(len), indent, AppendHex);
}

void PrintStr(SxStream &out, const unsigned char *data, int len, int indent) {
  PrintRows(out, data, len, indent, AppendChar);
}

void HexPrint(FILE *out, const unsigned char *data, int len, int indent, int toLog) {
  if (toLog != 0) return LogRows(data, Shown(len), indent, AppendHex);
  SxStream text;
  HexPrint(text, data, len, indent);
  std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}

void PrintStr(FILE *out, const unsigned char *data, int len, int indent, int toLog) {
  if (toLog != 0) return LogRows(data, len, indent, AppendChar);
  SxStream text;
  PrintStr(text, data, len, indent);
  std::fputs(text.GetBuf(), out == nullptr ? stdout : out);
}

void ToStr(const unsigned char *data, char *text, int len) {
  std::string row;
  for (int i = 0; i < len; ++i) AppendChar(&row, data[i]);
  row.copy(text, row.size());
  text[row.size()] = '\0';
}

void sxAsnPrint_NameOids(bool on) { namesOids = on; }
bool sxAsnPrint_NamesOids() { return namesOids; }
