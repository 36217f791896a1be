#include "tervalon/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "platform/memory.h"

namespace tervalon::platform {
namespace {

bool AllZero(const char* bytes, size_t count) {
  return std::all_of(bytes, bytes + count, [](char c) { return c == 0; });
}

TEST(MemoryTest, BlocksAreZeroAndLockedByCount) {
  const TvMemory block = TvMemAlloc(1000);
  ASSERT_NE(block, nullptr);
  EXPECT_GE(TvMemSize(block), 1000u);
  auto* bytes = static_cast<char*>(TvMemLock(block));
  ASSERT_NE(bytes, nullptr);
  EXPECT_TRUE(AllZero(bytes, 1000));
  std::memset(bytes, 7, 1000);
  EXPECT_EQ(TvMemLock(block), bytes);
  EXPECT_EQ(TvMemUnlock(block), 1);
  EXPECT_EQ(TvMemFree(block), 0) << "still locked";
  EXPECT_EQ(TvMemUnlock(block), 0);
  EXPECT_EQ(TvMemUnlock(block), 0) << "one too many";
  EXPECT_EQ(TvMemFree(block), 1);
}

TEST(MemoryTest, ReallocationKeepsBytesAndAddsZeros) {
  TvMemory block = Memory().Allocate(10);
  std::memset(Memory().Lock(block), 1, 10);
  EXPECT_EQ(Memory().Reallocate(block, 20), nullptr) << "locked";
  Memory().Unlock(block);
  block = Memory().Reallocate(block, 4);
  ASSERT_NE(block, nullptr);
  block = Memory().Reallocate(block, 100000);
  ASSERT_NE(block, nullptr);
  EXPECT_GE(Memory().Size(block), 100000u);
  const auto* bytes = static_cast<const char*>(Memory().Lock(block));
  EXPECT_EQ(std::count(bytes, bytes + 4, 1), 4);
  EXPECT_TRUE(AllZero(bytes + 10, 100000 - 10));
  Memory().Unlock(block);
  EXPECT_TRUE(Memory().Free(block));
}

TEST(MemoryTest, AnswersEmptyAndMissingBlocks) {
  const TvMemory empty = TvMemAlloc(0);
  ASSERT_NE(empty, nullptr);
  EXPECT_NE(TvMemLock(empty), nullptr);
  TvMemUnlock(empty);
  EXPECT_EQ(TvMemFree(empty), 1);
  EXPECT_EQ(TvMemLock(nullptr), nullptr);
  EXPECT_EQ(TvMemUnlock(nullptr), 0);
  EXPECT_EQ(TvMemSize(nullptr), 0u);
  EXPECT_EQ(TvMemFree(nullptr), 0);
  EXPECT_EQ(Memory().Reallocate(nullptr, 10), nullptr);
}

}  // namespace
}  // namespace tervalon::platform
