#include "asn1/valueBlocks.h"

#include <gtest/gtest.h>

#include <cstring>

#include "kxcert/asn1/sxAsnInt.h"
#include "support/heapPeak.h"
#include "support/onThreads.h"

namespace {

constexpr size_t kSizes[] = {1, 8, 24, 25, 40, 41, 56, 128, 199, 200, 201, 216, 1000};
constexpr int kCount = 3000;   // of each size: more than a thread keeps, and many pages
constexpr long kMostKept = 256 * 1024;   // one empty page of each size, and what one thread keeps

struct Block { unsigned char *octets; size_t size; };

unsigned char Mark(size_t i) { return static_cast<unsigned char>(i * 7 + 1); }

std::vector<Block> TakeMany() {
  std::vector<Block> blocks;
  for (int i = 0; i < kCount; ++i) {
    for (const size_t size : kSizes) {
      blocks.push_back({static_cast<unsigned char *>(sxAsnTakeBlock(size)), size});
      std::memset(blocks.back().octets, Mark(blocks.size()), size);
    }
  }
  return blocks;
}

// Each block is aligned and still holds what was written, so that no two share an octet.
void CheckAndGive(const std::vector<Block> &blocks) {
  for (size_t i = 0; i < blocks.size(); ++i) {
    const Block &block = blocks[i];
    ASSERT_EQ(0U, reinterpret_cast<uintptr_t>(block.octets) % (block.size % 16 == 0 ? 16 : alignof(void *)));
    ASSERT_EQ(Mark(i + 1), block.octets[0]);
    ASSERT_EQ(Mark(i + 1), block.octets[block.size - 1]);
  }
  for (const Block &block : blocks) sxAsnGiveBlock(block.octets, block.size);
}

TEST(ValueBlocks, AreApartAndComeBack) {
  for (int round = 0; round < 3; ++round) CheckAndGive(TakeMany());
}

// Blocks taken on one thread and freed on others, which end with some of them on their lists.
TEST(ValueBlocks, CrossThreads) {
  std::vector<Block> blocks[4];
  const HeapPeak heap;
  OnThreads(4, [&blocks](int i) { blocks[i] = TakeMany(); });
  OnThreads(4, [&blocks](int i) { CheckAndGive(blocks[(i + 1) % 4]); });
  for (std::vector<Block> &taken : blocks) std::vector<Block>().swap(taken);
  EXPECT_LT(heap.HeldNow(), kMostKept) << "both kinds of thread are gone: so are their pages";
}

// One block of each page stays in use; those around it serve again.
TEST(ValueBlocks, PagesInUseServeAgain) {
  constexpr int kMany = 100000;
  constexpr int kKeptOf = 50;
  std::vector<std::unique_ptr<sxAsnInt>> lasting;
  std::vector<std::unique_ptr<sxAsnInt>> passing;
  const auto fill = [&](int of) {
    for (int i = 0; i < of; ++i) (i % kKeptOf == 0 ? lasting : passing).push_back(std::make_unique<sxAsnInt>(i));
  };
  lasting.reserve(2 * kMany / kKeptOf);
  passing.reserve(kMany);
  fill(kMany);
  passing.clear();
  const HeapPeak heap;
  fill(kMany - kMany / kKeptOf);
  EXPECT_LT(heap.Bytes(), size_t{kMostKept});
  for (const std::unique_ptr<sxAsnInt> &number : lasting) ASSERT_EQ(0, number->GetShortVal() % kKeptOf);
}

// What a thread keeps for later is bounded, whatever it has held.
TEST(ValueBlocks, AThreadKeepsABoundedNumber) {
  OnThreads(1, [](int) {
    const HeapPeak heap;
    {
      std::vector<std::unique_ptr<sxAsnInt>> numbers;
      for (int i = 0; i < 200000; ++i) numbers.push_back(std::make_unique<sxAsnInt>(i));
      EXPECT_TRUE(heap.Bytes() == 0 || heap.Bytes() > 200000 * sizeof(sxAsnInt));
    }
    EXPECT_LT(heap.HeldNow(), kMostKept);
  });
}

}  // namespace
