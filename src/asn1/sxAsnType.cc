#include "kxcert/asn1/sxAsnType.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "kxcert/asn1/sxAsnPrint.h"
#include "kxcert/foundation/kxBinBuf.h"
#include "kxcert/platform/log.h"
#include "kxcert/platform/textStream.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KXCERT_KEEPS_BLOCKS false   // the sanitizers must see every block come and go
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KXCERT_KEEPS_BLOCKS false
#endif
#endif
#ifndef KXCERT_KEEPS_BLOCKS
#define KXCERT_KEEPS_BLOCKS true
#endif

namespace {

constexpr bool kKeepsBlocks = KXCERT_KEEPS_BLOCKS;

// Freed blocks of a thread by size. The lists are plain data, so that a value which outlives the
// thread's own destructors still finds them, marked closed.
constexpr size_t kGrain = 16;
constexpr size_t kNumClasses = 12;   // up to 192 bytes
constexpr unsigned kMaxKept = 512;   // blocks of one size

struct FreeBlock {
  FreeBlock *next;
};

struct BlockLists {
  FreeBlock *first[kNumClasses];
  unsigned kept[kNumClasses];
  bool open;
  bool closed;
};

thread_local BlockLists t_blocks __attribute__((tls_model("initial-exec")));

struct CloseLists {
  ~CloseLists() {
    t_blocks.open = false;
    t_blocks.closed = true;
    for (FreeBlock *&first : t_blocks.first) {
      while (first != nullptr) {
        FreeBlock *const block = first;
        first = block->next;
        std::free(block);
      }
    }
  }
};

// The first block that a thread keeps opens its lists and arranges for their end.
bool OpenLists() {
  if (t_blocks.closed) return false;
  thread_local const CloseLists atThreadEnd;
  static_cast<void>(&atThreadEnd);
  return t_blocks.open = true;
}

size_t ClassOf(size_t size) { return (size - 1) / kGrain; }

}  // namespace

void *sxAsnType::operator new(size_t size) {
  const size_t sizeClass = ClassOf(size);
  if (kKeepsBlocks && sizeClass < kNumClasses) {
    if (FreeBlock *const block = t_blocks.first[sizeClass]; block != nullptr) {
      t_blocks.first[sizeClass] = block->next;
      --t_blocks.kept[sizeClass];
      return block;
    }
    size = (sizeClass + 1) * kGrain;
  }
  void *const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void sxAsnType::operator delete(void *block, size_t size) noexcept {
  const size_t sizeClass = ClassOf(size);
  if (kKeepsBlocks && block != nullptr && sizeClass < kNumClasses && t_blocks.kept[sizeClass] < kMaxKept &&
      (t_blocks.open || OpenLists())) {
    t_blocks.first[sizeClass] = new (block) FreeBlock{t_blocks.first[sizeClass]};
    ++t_blocks.kept[sizeClass];
    return;
  }
  std::free(block);
}

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
  while (!rest.empty()) {   // one log line for each line of the text
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
  if (out != nullptr && encodedLen > 0) {
    std::memcpy(out, buf.Curr(), static_cast<size_t>(encodedLen));
  }
  return 0;
}

int sxASN_DecodeBuf(sxAsnType &value, const char *data, int len) {
  sxAsnReadBuf buf;
  buf.Init(reinterpret_cast<const unsigned char *>(data), data == nullptr ? 0 : len);
  int bytesDecoded = 0;
  if (value.BDec(buf, bytesDecoded) < 0) {
    return herror_func(0, 0, "BDecPdu failed to decoded"), -1;
  }
  if (bytesDecoded != len) {
    return herror_func(0, 0, "sxASN_DecodeBuf not all the buffer was decoded"), -1;
  }
  return 0;
}
