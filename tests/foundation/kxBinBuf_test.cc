#include "kxcert/foundation/kxBinBuf.h"

#include "kxcert/foundation/sxString.h"
#include "platform/pageLocks.h"
#include "support/printed.h"
#include "support/script.h"

namespace {

TEST(kxBinBuf, DoesWhatTheStepsSay) {
  const TempDir dir;
  const size_t lockedBefore = kxMem_NumLockedPages();
  using Buf = kxBinBuf;
  Script()
      .In(dir)
      .OnCopiesOf<Buf>()
      .On("Buf", [](const Octets &octets) { return Buf(octets.data(), static_cast<unsigned>(octets.size())); })
      .On("Sized", [](unsigned len) { return Buf(len); })
      .On("hex", [](const Buf &b) { return EncodeHex(b.Data(), b.Len()); })
      .On("firstOctets", [](const Buf &b, unsigned len) { return EncodeHex(b.Data(), len); })   // beyond its length
      .On("block", [](const Buf &b) { return b.Data(); })
      .On("len", &Buf::Len)
      .On("isEmpty", &Buf::IsEmpty)
      .On("isSensitive", &Buf::IsSensitive)
      .On("setSensitive", &Buf::SetSensitive)
      .On("clear", &Buf::Clear)
      .On("set", [](Buf &b, const Octets &octets) { b.Set(octets.data(), static_cast<unsigned>(octets.size())); })
      .On("setLen", [](Buf &b, unsigned len) { b.Set(len); })
      .On("setPart", [](Buf &b, unsigned at, unsigned len) { b.Set(b.Data() + at, len); })
      .On("append", [](Buf &b, const Buf &other) { b.Append(other); })
      .On("prepend", [](Buf &b, const Buf &other) { b.Prepend(other); })
      .On("appendPart", [](Buf &b, unsigned at, unsigned len) { b.Append(b.Data() + at, len); })
      .On("appendTooMuch", [](Buf &b) { EXPECT_THROW(b.Append(b.Data(), UINT32_MAX), std::bad_alloc); })
      .On("equal", [](const Buf &a, const Buf &b) { return a == b && !(a != b); })
      .On("print", [](const Buf &b, int indent) { return Fprinted(b, indent); })
      .On("printTitled", [](const Buf &b, int indent) { return Sprinted(b, "T", indent); })
      .On("herror", [](const Buf &b, const char *title) { b.Herror(title); })
      .On("lockedPages", [=] { return kxMem_NumLockedPages() == lockedBefore ? "as before" : "more"; })
      .On("File2Buf", [](const char *file, Buf &b) { return File2Buf(file, b); })
      .On("Buf2File", [](const char *file, Buf &b) { return Buf2File(file, b); })
      .Run("foundation/kxBinBuf.steps");
}

}  // namespace
