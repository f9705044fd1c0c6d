// PEM: Base64 text between two marker lines.
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "kxcert/cert/pem.h"
#include "kxcert/foundation/base64.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/foundation/sxString.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/secureMemory.h"
#include "platform/owned.h"

namespace {

constexpr const char *kFunc = "Base64Decode_PEM";
constexpr size_t kLineLen = 64;
constexpr size_t kMaxAfterFooter = 2;

// Where the footer must start after lines of full length and at most one short one, or npos.
size_t StrictFooter(std::string_view body, size_t stride, std::string_view footer) {
  size_t lineStart = 0;
  for (size_t feed = body.find('\n'); feed != std::string_view::npos; feed = body.find('\n', feed + 1)) {
    if (feed == lineStart + stride - 1) {
      lineStart += stride;
      continue;
    }
    // The pattern broke: behind a short last line, or the footer's own line begins here.
    if (body.substr(feed + 1).starts_with(footer)) return feed + 1;
    break;
  }
  return body.substr(lineStart).starts_with(footer) ? lineStart : std::string_view::npos;
}

int DecodeBody(std::string_view body, unsigned char **out, int &len) {
  int decodedLen = 0;
  const sxOwned<unsigned char, Base64FreeBuffer> decoded(
      Base64Decode(body.data(), static_cast<int>(body.size()), &decodedLen));
  if (decoded == nullptr) { return herror_func(0, 0, "%s: Cannot decode buffer (NULL) to PEM format", kFunc), -1; }
  if (decodedLen < 1) return herror_func(0, 0, "%s: Cannot decode buffer (0) to PEM format", kFunc), -1;
  *out = new unsigned char[static_cast<size_t>(decodedLen)];
  std::memcpy(*out, decoded.get(), static_cast<size_t>(decodedLen));
  len = decodedLen;
  return 0;
}

}  // namespace

int Base64Decode_PEM(const char *text, unsigned char **out, int &len, const char *header, const char *footer,
                     int strict, const char *strip) {
  if (text == nullptr || len < 1 || header == nullptr || footer == nullptr || out == nullptr) {
    return herror_func(0, 0, "%s: Invalid input arguments", kFunc), -3;
  }
  std::string_view rest(text, static_cast<size_t>(len));
  const size_t headerPos = rest.find(header);
  if (strict != 0 && headerPos != 0) {
    herror_func(0, 0, "%s: Header is not at the top (%d) - exit", kFunc,
                headerPos == std::string_view::npos ? -1 : static_cast<int>(headerPos));
    return -2;
  }
  if (headerPos != std::string_view::npos) rest.remove_prefix(headerPos + std::strlen(header));
  size_t stride = kLineLen;
  for (const char lineEnd : {'\r', '\n'}) {
    if (rest.starts_with(lineEnd)) {
      rest.remove_prefix(1);
      ++stride;
    }
  }
  const std::string_view end(footer);
  size_t footerPos = strict != 0 ? StrictFooter(rest, stride, end) : rest.find(end);
  if (strict != 0) {
    if (footerPos == std::string_view::npos) {
      herror_func(0, 0,
                  "%s: Footer is not found right after the content (at %d). \t\t\t\tEither not all the body "
                  "lines lengthes are %d, or footer doesn't \t\t\t\texist at all. String is: %.*s",
                  kFunc, static_cast<int>(rest.find(end)), static_cast<int>(stride), static_cast<int>(rest.size()),
                  rest.data());
      return -2;
    }
    if (rest.size() - footerPos - end.size() > kMaxAfterFooter) {
      herror_func(0, 0,
                  "%s: The string (len = %d) containes characters after the footer \t\t\t(footer length = %d, "
                  "found at %d)- exit. String is: %.*s",
                  kFunc, static_cast<int>(rest.size()), static_cast<int>(end.size()), static_cast<int>(footerPos),
                  static_cast<int>(rest.size()), rest.data());
      return -2;
    }
  } else if (footerPos == std::string_view::npos) {
    footerPos = rest.size();
  }
  const std::string_view body = rest.substr(0, footerPos);
  if (strip == nullptr) return DecodeBody(body, out, len);
  std::string kept;
  kept.reserve(body.size());  // growing would leave copies behind that nobody wipes
  for (const char c : body) {
    if (std::strchr(strip, c) == nullptr || c == '\0') kept += c;
  }
  const int rc = DecodeBody(kept, out, len);
  KX_memset(kept.data(), kept.size());
  return rc;
}

int Base64Encode_PEM(const sxString &header, const sxString &footer, const kxBinBuf &data, sxString &out) {
  const sxOwned<char, Base64FreeBuffer> encoded(Base64Encode(data.Data(), static_cast<int>(data.Len())));
  if (encoded == nullptr || *encoded == '\0') return -1;
  sxString text(header), body;
  if (data.IsSensitive() || out.IsSensitive()) {  // so is whatever holds a part of it on the way
    text.SetSensitive(true);
    body.SetSensitive(true);
  }
  body.Set(encoded.get());
  text += body;
  text += footer;
  out = std::move(text);
  return 0;
}
