#include "kxcert/platform/secureMemory.h"
#include "platform/pageLocks.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "support/hexOctets.h"

namespace {

TEST(SecureMemory, WipesExactlyTheArea) {
  unsigned char area[] = {1, 2, 3, 4};
  KX_memset(area + 1, 2);
  KX_memset(nullptr, 4);
  EXPECT_EQ("01000004", EncodeHex(area, sizeof area));
}

TEST(SecureMemory, APageStaysLockedUntilItsLastBlockIsGone) {
  const auto pageLen = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const std::unique_ptr<void, void (*)(void *)> area(std::aligned_alloc(pageLen, 2 * pageLen), std::free);
  const auto *bytes = static_cast<const unsigned char *>(area.get());
  const size_t before = kxMem_NumLockedPages();
  kxMem_Lock(bytes, 10);
  kxMem_Lock(bytes + 100, 10);
  EXPECT_EQ(before + 1, kxMem_NumLockedPages());
  kxMem_Lock(bytes + pageLen - 1, 2);   // the last byte of one page, the first of the next
  EXPECT_EQ(before + 2, kxMem_NumLockedPages());
  kxMem_Unlock(bytes, 10);
  kxMem_Unlock(bytes + pageLen - 1, 2);
  EXPECT_EQ(before + 1, kxMem_NumLockedPages());
  kxMem_Unlock(bytes + 100, 10);
  EXPECT_EQ(before, kxMem_NumLockedPages());
  kxMem_Unlock(bytes + 100, 10);   // once too often
  kxMem_Lock(bytes, 0);
  EXPECT_EQ(before, kxMem_NumLockedPages());
}

}  // namespace
