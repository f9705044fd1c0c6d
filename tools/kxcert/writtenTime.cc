#include "writtenTime.h"

#include "kxcert/asn1/modules/PKIX1Explicit88.h"
#include "kxcert/asn1/sxAsnAny.h"
#include "kxcert/asn1/sxAsnBuf.h"
#include "kxcert/cert/certTime.h"
#include "kxcert/cert/sxCRL.h"
#include "timeText.h"
#include "visibleText.h"

namespace {

constexpr int kIntegerTag = 0x02, kUtcTimeTag = 0x17, kGeneralizedTimeTag = 0x18;

Facts TextOf(const sxAsnOcts &octets) {
  return VisibleLine({reinterpret_cast<const char *>(octets.Data()), static_cast<size_t>(octets.Len())});
}

// Takes the next element when it is a time.
Facts NextTime(sxAsnReadBuf &buf, int &bytesDecoded) {
  const int tag = buf.PeekByte();
  sxASN_Time time;
  if ((tag != kUtcTimeTag && tag != kGeneralizedTimeTag) || time.BDec(buf, bytesDecoded) < 0) return nullptr;
  return WrittenTime(&time);
}

}  // namespace

Facts WrittenTime(const sxASN_Time *time) {
  if (time == nullptr) return nullptr;
  if (time->utcTime() != nullptr) return TextOf(*time->utcTime());
  return time->generalTime() == nullptr ? Facts(nullptr) : TextOf(*time->generalTime());
}

std::string ExactTimeText(const sxASN_Time *time) {
  const int64_t seconds = sxASN_Time2seconds(time);
  if (seconds != -1) return PrintTime(seconds);
  const Facts written = WrittenTime(time);  // the second before 1970 is -1, too
  const bool isSecond = written.Text() == "691231235959Z" || written.Text() == "19691231235959Z";
  return isSecond ? PrintTime(seconds) : PrintCertTime(seconds);
}

// RFC 5280, 5.1: behind version, which may be absent, signature and issuer. The list may be long, and stays unread.
WrittenUpdates WrittenUpdatesOf(const sxCRL &crl) {
  sxAsnReadBuf buf;
  buf.Init(crl.GetBuf(), static_cast<int>(crl.BufLen()));
  int bytesDecoded = 0;
  for (int level = 0; level < 2; ++level) {
    if (BDecTag(buf, bytesDecoded) < 0) return {};
    BDecLen(buf, bytesDecoded);
  }
  sxAsnRawAny element;
  for (int left = buf.PeekByte() == kIntegerTag ? 3 : 2; left > 0; --left) {
    if (element.BDec(buf, bytesDecoded) < 0) return {};
  }
  WrittenUpdates written;
  written.thisUpdate = NextTime(buf, bytesDecoded);
  written.nextUpdate = NextTime(buf, bytesDecoded);
  return written;
}
