// The data handle table, over an adapter of the tests' own.

#include "datamgr/data_handles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tervalon/data_handles.h"
#include "tervalon/memory.h"
#include "tests/support/fault_services.h"

namespace tervalon::datamgr {
namespace {

using platform::MovableMemory;
using platform::ScopedReplacement;
using ::testing::ElementsAre;
using testing::FaultyMemory;
using ::testing::IsEmpty;

// What a caller selects, and what the adapter writes back.
struct Descriptor {
  int32_t source = 1;
  int32_t selection = 1;
  uint32_t elements = 0;
};

constexpr uint32_t kElements = 1000;
constexpr int32_t kReadError = 77;

// Every element tells what it is: an item's elements are 1, 2, .. bytes of its number.
uint8_t ElementByte(int32_t selection, size_t item, uint32_t element) {
  return static_cast<uint8_t>(static_cast<uint32_t>(selection) * 31 + item * 7 + element);
}

constexpr uint32_t kSizes[DM_MAX_ITEMS] = {1, 4, 2, 3};

// The adapter's doings, for the tests to look at.
struct Log {
  std::vector<std::string> calls;
  int32_t fail_read_at = -1;  // the read that holds this element fails
  bool fail_open = false;
  std::vector<uint8_t> written;
} g_log;

std::string RangeText(uint32_t first, int32_t count) {
  return std::to_string(first) + "+" + std::to_string(count);
}

int32_t TERVALON_CALL ReadElements(void* descriptor, int32_t, uint32_t first, int32_t count,
                                   void* const* items) {
  auto* wanted = static_cast<Descriptor*>(descriptor);
  if (items == nullptr) {
    g_log.calls.push_back("open " + std::to_string(wanted->selection));
    wanted->elements = kElements;
    return g_log.fail_open ? kReadError : 0;
  }
  g_log.calls.push_back("read " + RangeText(first, count));
  const uint32_t end = first + static_cast<uint32_t>(count);
  if (g_log.fail_read_at >= static_cast<int32_t>(first) &&
      g_log.fail_read_at < static_cast<int32_t>(end)) {
    return kReadError;
  }
  for (size_t item = 0; item < DM_MAX_ITEMS; ++item) {
    auto* bytes = static_cast<uint8_t*>(items[item]);
    for (uint32_t element = first; bytes != nullptr && element < end; ++element) {
      std::memset(bytes, ElementByte(wanted->selection, item, element), kSizes[item]);
      bytes += kSizes[item];
    }
  }
  return 0;
}

int32_t TERVALON_CALL WriteElements(void*, uint32_t first, int32_t count, void* const* items,
                                    uint16_t flags) {
  g_log.calls.push_back("write " + RangeText(first, count) + " flags " + std::to_string(flags));
  g_log.written.clear();
  if (items[0] == nullptr) return 0;
  const auto* bytes = static_cast<const uint8_t*>(items[0]);
  g_log.written.assign(bytes, bytes + count);
  return 5;
}

int32_t TERVALON_CALL ReleaseSource(void* descriptor, int32_t no_source, uint32_t first,
                                    int32_t count, void* const* items) {
  g_log.calls.push_back("release " + std::to_string(static_cast<Descriptor*>(descriptor)->source) +
                        (no_source != 0 ? " no source " : " ") + RangeText(first, count) +
                        (items[0] != nullptr ? " items" : ""));
  return 0;
}

int32_t TERVALON_CALL Compare(const void* stored, const void* given, int32_t same_source) {
  const auto* a = static_cast<const Descriptor*>(stored);
  const auto* b = static_cast<const Descriptor*>(given);
  if (a->source != b->source) return 0;
  return same_source != 0 || a->selection == b->selection ? 1 : 0;
}

constexpr DmAdapter kAdapter = {ReadElements, WriteElements, ReleaseSource, Compare};

int32_t Grant(Descriptor* descriptor, int16_t items = 2, uint16_t flags = 0,
              int16_t type = DM_TYPE_GENERIC) {
  return DmGetHandleEx(type, sizeof(*descriptor), descriptor, items, kSizes, flags);
}

int32_t Grant(Descriptor descriptor, int16_t items = 2, uint16_t flags = 0) {
  return Grant(&descriptor, items, flags);
}

// Whether all elements of a range are resident, with the values that they have to have.
bool Holds(int32_t handle, int32_t selection, int32_t items, uint32_t first, int32_t count) {
  for (int32_t item = 0; item < items; ++item) {
    const auto index = static_cast<size_t>(item);
    const auto* bytes = static_cast<const uint8_t*>(DmLockData(handle, item, first, count));
    if (bytes == nullptr) return false;
    for (uint32_t i = 0; i < static_cast<uint32_t>(count) * kSizes[index]; ++i) {
      if (bytes[i] != ElementByte(selection, index, first + i / kSizes[index])) return false;
    }
    DmUnlockData(handle, item);
  }
  return true;
}

class DataHandlesTest : public ::testing::Test {
 protected:
  DataHandlesTest() : in_place_(&memory_) {
    g_log = Log();
    DmRegisterAdapter(DM_TYPE_GENERIC, &kAdapter);
  }
  ~DataHandlesTest() override {
    ResetDataHandles();
    EXPECT_EQ(memory_.live_blocks(), 0);
  }

  static std::vector<std::string> TakeCalls() { return std::move(g_log.calls); }

  FaultyMemory memory_;
  ScopedReplacement<MovableMemory> in_place_;
};

TEST_F(DataHandlesTest, GrantsAreSharedWhenTheyAskForTheSame) {
  Descriptor first;
  ASSERT_EQ(Grant(&first, 2), 1);
  EXPECT_EQ(first.elements, kElements);
  Descriptor again = {1, 1, 7};
  EXPECT_EQ(Grant(&again, 2), 1);
  EXPECT_EQ(again.elements, kElements);
  EXPECT_EQ(Grant(Descriptor{}, 1), 1) << "fewer items";
  EXPECT_THAT(TakeCalls(), ElementsAre("open 1"));
  EXPECT_EQ(Grant(Descriptor{}, 3), 2) << "more items";
  EXPECT_EQ(Grant({1, 2}), 3) << "another selection";
  EXPECT_EQ(Grant(Descriptor{}, 2, DM_FLAG_NO_SOURCE), 4);
  EXPECT_EQ(Grant(Descriptor{}, 3), 2);

  // Another item size fails, but for a handle that is not shared anyway.
  Descriptor wide;
  EXPECT_EQ(DmGetHandle(DM_TYPE_GENERIC, sizeof(wide), &wide, 2, 4, 0), 0);
  EXPECT_EQ(DmGetHandle(DM_TYPE_GENERIC, sizeof(wide), &wide, 2, 4, DM_FLAG_NO_SOURCE), 5);

  EXPECT_EQ(DmFreezeHandle(1, 1), DM_FLAG_FROZEN);
  EXPECT_EQ(Grant(Descriptor{}, 1), 2);
  EXPECT_EQ(DmFreezeHandle(2, 1), DM_FLAG_FROZEN);
  // A handle without source that is not frozen is shared by those who look.
  EXPECT_EQ(Grant(Descriptor{}, 1), 4);
  EXPECT_EQ(DmFreezeHandle(1, 0), 0);
  EXPECT_EQ(Grant(Descriptor{}, 1), 1);
  EXPECT_EQ(DmFreezeHandle(4, 1), DM_FLAG_FROZEN | DM_FLAG_NO_SOURCE);

  // No descriptor matches no descriptor.
  EXPECT_EQ(DmGetHandleEx(DM_TYPE_GENERIC, 0, &wide, 0, nullptr, DM_FLAG_NO_SOURCE), 6);
  EXPECT_EQ(DmGetHandleEx(DM_TYPE_GENERIC, 9, nullptr, 0, nullptr, 0), 6);
  EXPECT_EQ(DmLockID(6), nullptr);
  EXPECT_EQ(DmUnlockID(6), 0);
}

TEST_F(DataHandlesTest, WhatCannotBeIsNotGranted) {
  Descriptor descriptor;
  const auto grant = [&](int16_t type, int16_t size, int16_t items, const uint32_t* sizes) {
    return DmGetHandleEx(type, size, &descriptor, items, sizes, 0);
  };
  EXPECT_EQ(grant(DM_TYPE_GENERIC, 12, 5, kSizes), 0);
  EXPECT_EQ(grant(DM_TYPE_GENERIC, 12, -1, kSizes), 0);
  EXPECT_EQ(grant(DM_TYPE_GENERIC, 12, 1, nullptr), 0);
  EXPECT_EQ(grant(DM_TYPE_GENERIC, -1, 1, kSizes), 0);
  for (const int type : {-1, 3, 10, 12, 21, DM_TYPE_DATABASE, DM_TYPE_LIBRARY}) {
    EXPECT_EQ(grant(static_cast<int16_t>(type), 12, 1, kSizes), 0) << type;
  }
  EXPECT_EQ(Grant(&descriptor, 1, DM_FLAG_NO_SOURCE, 3), 1) << "nothing is opened";
  EXPECT_EQ(DmReleaseHandle(1, 0), 0);
  EXPECT_EQ(grant(DM_TYPE_GENERIC, 12, 0, nullptr), 1);
  EXPECT_EQ(DmGetData(1, 1, 1, 0), -1) << "a handle without items has no elements";
}

TEST_F(DataHandlesTest, RangesBeyondTheirTypesChangeNothing) {
  ASSERT_EQ(Grant(Descriptor{}), 1);
  ASSERT_EQ(DmGetData(1, 10, 10, 0), 0);
  TakeCalls();
  const std::pair<uint32_t, int32_t> ranges[] = {
      {10, -1}, {0, INT32_MIN}, {UINT32_MAX, 1}, {UINT32_MAX - 9, 11}, {0x80000001, INT32_MAX}};
  for (const auto& [first, count] : ranges) {
    EXPECT_EQ(DmGetData(1, first, count, DM_DATA_DISCARD), -1) << first;
    EXPECT_EQ(DmLockData(1, 0, first, count), nullptr);
  }
  // The range is one of elements, but the cache would be none of a memory's.
  EXPECT_EQ(DmGetData(1, 0x7FFFFFFF, 0x7FFFFFFF, 0), -1);
  for (const int32_t item : {-1, 2, 4, INT32_MAX}) {
    EXPECT_EQ(DmLockData(1, item, 10, 1), nullptr) << item;
    EXPECT_EQ(DmUnlockData(1, item), 0);
  }
  EXPECT_THAT(TakeCalls(), IsEmpty());
  EXPECT_TRUE(Holds(1, 1, 2, 10, 10));
  EXPECT_EQ(memory_.live_locks(), 0);
}

TEST_F(DataHandlesTest, ReleasesTheSourceWithItsLastHandle) {
  ASSERT_EQ(Grant({1, 1}), 1);
  ASSERT_EQ(Grant({1, 1}), 1);
  ASSERT_EQ(Grant({1, 2}), 2);
  ASSERT_EQ(Grant({2, 1}), 3);
  ASSERT_EQ(DmGetData(1, 4, 2, 0), 0);
  TakeCalls();
  EXPECT_EQ(DmReleaseHandle(1, 0), 0);
  EXPECT_TRUE(Holds(1, 1, 2, 4, 2)) << "another grant keeps the data";
  EXPECT_EQ(DmReleaseHandle(3, 0), 0);
  EXPECT_EQ(DmReleaseHandle(2, 0), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("release 2 0+0"));
  EXPECT_EQ(DmReleaseHandle(1, 0), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("release 1 4+2 items"));
  EXPECT_EQ(memory_.live_blocks(), 0);

  // A frozen handle does not keep the source.
  ASSERT_EQ(Grant({1, 1}), 1);
  ASSERT_EQ(Grant({1, 2}, 2, DM_FLAG_NO_SOURCE), 2);
  DmFreezeHandle(1, 1);
  TakeCalls();
  EXPECT_EQ(DmReleaseHandle(2, 0), 0);
  EXPECT_THAT(TakeCalls(), ElementsAre("release 1 no source 0+0"));
}

TEST_F(DataHandlesTest, ReleaseRemovesTheCallersLocks) {
  ASSERT_EQ(Grant(Descriptor{}), 1);
  ASSERT_EQ(DmGetData(1, 1, 3, 0), 0);
  EXPECT_NE(DmLockData(1, 1, 2, 1), nullptr);
  EXPECT_NE(DmLockData(1, 1, 1, 3), nullptr);
  EXPECT_NE(DmLockID(1), nullptr);
  EXPECT_EQ(DmUnlockData(1, 1), 1);
  // An array that a caller has locked cannot move.
  EXPECT_EQ(DmGetData(1, 1, 500, 0), -1);
  EXPECT_TRUE(Holds(1, 1, 1, 1, 3));
  EXPECT_EQ(DmReleaseHandle(1, 0), 0);
  EXPECT_EQ(memory_.live_blocks(), 0);
}

// 256 grants wrap the count: the record is free, and whoever is granted it next starts afresh.
TEST_F(DataHandlesTest, TheReferenceCountWraps) {
  ASSERT_EQ(Grant(Descriptor{}), 1);
  ASSERT_EQ(DmGetData(1, 1, 3, 0), 0);
  for (int i = 2; i <= 256; ++i) ASSERT_EQ(Grant(Descriptor{}), 1);
  EXPECT_EQ(DmReleaseHandle(1, 0), -1);
  EXPECT_EQ(Grant({1, 2}, 1), 1);
  EXPECT_EQ(DmLockData(1, 0, 1, 1), nullptr);
  EXPECT_EQ(DmGetData(1, 2, 2, 0), 0);
  EXPECT_TRUE(Holds(1, 2, 1, 2, 2));
  EXPECT_EQ(DmReleaseHandle(1, 0), 0);
  EXPECT_EQ(memory_.live_blocks(), 0);
}

TEST_F(DataHandlesTest, WritesWhatIsResident) {
  ASSERT_EQ(Grant(Descriptor{}, 1, DM_FLAG_NO_SOURCE), 1);
  EXPECT_THAT(TakeCalls(), IsEmpty()) << "nothing is opened";
  EXPECT_EQ(DmWriteHandle(1, 0), 0);
  EXPECT_EQ(DmGetData(1, 5, 3, 0), 0);
  auto* bytes = static_cast<uint8_t*>(DmLockData(1, 0, 5, 3));
  ASSERT_NE(bytes, nullptr);
  EXPECT_EQ(bytes[0] + bytes[1] + bytes[2] + bytes[3], 0) << "zeroed, with one element more";
  std::memcpy(bytes, "abc", 3);
  EXPECT_EQ(DmUnlockData(1, 0), 0);
  EXPECT_EQ(DmWriteHandle(1, 3), 5);
  EXPECT_THAT(TakeCalls(), ElementsAre("write 0+0 flags 0", "write 5+3 flags 3"));
  EXPECT_THAT(g_log.written, ElementsAre('a', 'b', 'c'));
}

TEST_F(DataHandlesTest, Adapters) {
  Descriptor descriptor;
  for (const int16_t type : std::vector<int16_t>{DM_TYPE_RAW, DM_TYPE_DATABASE, 3}) {
    EXPECT_EQ(DmRegisterAdapter(type, &kAdapter), -1) << type;
  }
  EXPECT_EQ(DmDataRead(3, &descriptor, 0, 0, 0, nullptr), -1);
  EXPECT_EQ(DmDataRead(3, &descriptor, 1, 0, 0, nullptr), 0);
  EXPECT_EQ(DmDataWrite(3, &descriptor, 0, 0, nullptr, 0), -1);
  EXPECT_EQ(DmDataRelease(3, &descriptor, 0, 0, 0, nullptr), -1);
  for (const int16_t type : std::vector<int16_t>{DM_TYPE_LIBRARY, DM_TYPE_STRUCTURE}) {
    EXPECT_EQ(DmDataRead(type, &descriptor, 0, 0, 0, nullptr), -1);
    EXPECT_EQ(DmDataRead(type, &descriptor, 1, 0, 0, nullptr), 0);
    EXPECT_EQ(DmDataWrite(type, &descriptor, 0, 0, nullptr, 0), 0);
    EXPECT_EQ(DmDataRelease(type, &descriptor, 0, 0, 0, nullptr), 0);
  }
  // Only a read: nothing is ever the same.
  const DmAdapter reader = {ReadElements, nullptr, nullptr, nullptr};
  EXPECT_EQ(DmRegisterAdapter(DM_TYPE_LIBRARY, &reader), 0);
  EXPECT_EQ(Grant(&descriptor, 1, 0, DM_TYPE_LIBRARY), 1);
  EXPECT_EQ(Grant(&descriptor, 1, 0, DM_TYPE_LIBRARY), 2);
  EXPECT_EQ(DmWriteHandle(2, 0), 0);
  EXPECT_EQ(DmRegisterAdapter(DM_TYPE_LIBRARY, nullptr), 0);
  EXPECT_EQ(DmGetData(1, 1, 1, 0), -1);
}

struct StructureDescriptor {
  TvMemory block;
  int32_t number;
};

int32_t TERVALON_CALL ReadStructure(void* descriptor, int32_t, uint32_t, int32_t,
                                    void* const* items) {
  auto* structure = static_cast<StructureDescriptor*>(descriptor);
  if (items == nullptr) structure->block = TvMemAlloc(100);
  return structure->block != nullptr && structure->number > 0 ? 0 : -1;
}

TEST_F(DataHandlesTest, ReleaseFreesAStructuresBlock) {
  const DmAdapter adapter = {ReadStructure, nullptr, nullptr, nullptr};
  ASSERT_EQ(DmRegisterAdapter(DM_TYPE_STRUCTURE, &adapter), 0);
  for (const int32_t number : {1, 0}) {  // a grant that fails frees it too
    StructureDescriptor descriptor = {nullptr, number};
    const int32_t handle = DmGetHandle(DM_TYPE_STRUCTURE, sizeof(descriptor), &descriptor, 1, 1, 0);
    EXPECT_EQ(handle, number);
    TvMemLock(descriptor.block);
    EXPECT_EQ(DmReleaseHandle(handle, 0), number > 0 ? 0 : -1);
    EXPECT_EQ(memory_.live_blocks(), 0);
  }
}

int32_t g_nested_results[4];

int32_t TERVALON_CALL ReadAndCallBack(void* descriptor, int32_t no_source, uint32_t first,
                                      int32_t count, void* const* items) {
  if (items != nullptr) {
    g_nested_results[0] = DmGetData(1, 1, 50, 0);
    g_nested_results[1] = DmReleaseHandle(1, 0);
    g_nested_results[2] = Grant({1, 1});
    g_nested_results[3] = DmReleaseHandle(1, 0);
  } else {
    g_nested_results[0] = Grant({1, 99}, 1, DM_FLAG_NO_SOURCE);
  }
  return ReadElements(descriptor, no_source, first, count, items);
}

// Adapters may let the application handle messages, whose handlers call the data manager.
TEST_F(DataHandlesTest, CallsFromWithinARead) {
  const DmAdapter adapter = {ReadAndCallBack, nullptr, ReleaseSource, Compare};
  ASSERT_EQ(DmRegisterAdapter(DM_TYPE_GENERIC, &adapter), 0);
  ASSERT_EQ(Grant({1, 1}), 1);
  EXPECT_EQ(g_nested_results[0], 2);
  ASSERT_EQ(DmGetData(1, 1, 5, 0), 0);
  EXPECT_THAT(g_nested_results, ElementsAre(-1, -1, 1, 0));
  EXPECT_TRUE(Holds(1, 1, 2, 1, 5));
}

TEST_F(DataHandlesTest, AnUnstoredDescriptorGivesAHandleThatIsNotInUse) {
  memory_.allocate.FailNth(1);
  EXPECT_EQ(Grant(Descriptor{}), 1);
  EXPECT_EQ(DmGetData(1, 1, 1, 0), -1);
  EXPECT_EQ(DmReleaseHandle(1, 0), -1);
  EXPECT_THAT(TakeCalls(), ElementsAre("open 1", "release 1 0+0"));
  memory_.allocate.FailNth(1);
  g_log.fail_open = true;
  EXPECT_EQ(Grant(Descriptor{}), 0);
  EXPECT_EQ(DmReleaseHandle(1, 0), -1);
}

// The table against a model, in random operation, which fills it now and then.
static_assert(DM_MAX_HANDLES == 59);

struct ModelRecord {
  int32_t references = 0;
  Descriptor descriptor;
  int16_t items = 0;
  uint16_t flags = 0;
  uint32_t first = 0;
  uint32_t end = 0;

  bool frozen() const { return (flags & DM_FLAG_FROZEN) != 0; }
};

class Model {
 public:
  int32_t Grant(const Descriptor& descriptor, int16_t items, uint16_t flags) {
    for (int32_t i = 1; flags == 0 && i <= DM_MAX_HANDLES; ++i) {
      ModelRecord& record = at(i);
      if (record.references > 0 && !record.frozen() && record.items >= items &&
          record.descriptor.source == descriptor.source &&
          record.descriptor.selection == descriptor.selection) {
        ++record.references;
        return i;
      }
    }
    for (int32_t i = 1; i <= DM_MAX_HANDLES; ++i) {
      if (at(i).references > 0) continue;
      at(i) = {1, descriptor, items, flags, 0, 0};
      return i;
    }
    return 0;
  }

  // Elements are all read, the lower ones first, or one of them fails. `calls` are the adapter's.
  int32_t GetData(int32_t handle, uint32_t first, uint32_t count, int32_t flags,
                  std::optional<uint32_t> failing, std::vector<std::string>* calls) {
    ModelRecord& record = at(handle);
    if (record.references == 0) return -1;
    const uint32_t end = first + count;
    if ((flags & DM_DATA_DISCARD) != 0) record.end = record.first;
    if (record.first <= first && end <= record.end) return 0;
    const bool apart = end < record.first || first > record.end;
    if ((flags & DM_DATA_DISCARD_DISJOINT) != 0 && apart) record.end = record.first;
    const bool empty = record.end == record.first;
    const uint32_t new_first = empty ? first : std::min(first, record.first);
    const uint32_t new_end = empty ? end : std::max(end, record.end);
    const bool reads = (record.flags & DM_FLAG_NO_SOURCE) == 0;
    bool fails = false;
    const auto read = [&](uint32_t from, uint32_t to) {
      if (!reads || fails) return;
      calls->push_back("read " + RangeText(from, static_cast<int32_t>(to - from)));
      fails = failing && *failing >= from && *failing < to;
    };
    if (empty) read(new_first, new_end);
    if (!empty && new_first < record.first) read(new_first, record.first);
    if (!empty && new_end > record.end) read(record.end, new_end);
    record.first = new_first;
    record.end = fails ? new_first : new_end;
    return fails ? kReadError : 0;
  }

  int32_t Release(int32_t handle) {
    if (at(handle).references == 0) return -1;
    --at(handle).references;
    return 0;
  }

  ModelRecord& at(int32_t handle) { return records_[static_cast<size_t>(handle)]; }

 private:
  std::vector<ModelRecord> records_ = std::vector<ModelRecord>(DM_MAX_HANDLES + 1);
};

TEST_F(DataHandlesTest, BehavesAsAModelDoes) {
  std::mt19937 random(4711);
  const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random()) % limit; };
  Model model;
  int full = 0;
  for (int step = 0; step < 20000; ++step) {
    SCOPED_TRACE(step);
    const auto handle = static_cast<int32_t>(1 + below(DM_MAX_HANDLES));
    ModelRecord& record = model.at(handle);
    switch (below(5)) {
      case 0: {
        const Descriptor wanted = {static_cast<int32_t>(below(4)), static_cast<int32_t>(below(40))};
        const auto items = static_cast<int16_t>(1 + below(4));
        const auto flags = static_cast<uint16_t>(below(8) == 0 ? DM_FLAG_NO_SOURCE : 0);
        const int32_t granted = model.Grant(wanted, items, flags);
        ASSERT_EQ(Grant(wanted, items, flags), granted);
        if (granted == 0) ++full;
        break;
      }
      case 1:
        ASSERT_EQ(DmReleaseHandle(handle, 0), model.Release(handle));
        break;
      case 2:
        if (record.references > 0) {
          const bool freeze = below(2) == 0;
          record.flags = static_cast<uint16_t>((record.flags & DM_FLAG_NO_SOURCE) |
                                               (freeze ? DM_FLAG_FROZEN : 0));
          ASSERT_EQ(DmFreezeHandle(handle, freeze ? 1 : 0), record.flags);
        }
        break;
      default: {
        const uint32_t first = 1 + below(300);
        const uint32_t count = below(60);
        const auto flags = static_cast<int32_t>(below(4));
        const bool fails = below(4) == 0;  // at an element in, before or behind the range
        g_log.fail_read_at = fails ? static_cast<int32_t>(first + below(120)) - 60 : -1;
        std::vector<std::string> reads;
        g_log.calls.clear();
        ASSERT_EQ(DmGetData(handle, first, static_cast<int32_t>(count), flags),
                  model.GetData(handle, first, count, flags,
                                g_log.fail_read_at > 0
                                    ? std::optional(static_cast<uint32_t>(g_log.fail_read_at))
                                    : std::nullopt,
                                &reads));
        ASSERT_EQ(TakeCalls(), reads);
        break;
      }
    }
    if (record.references == 0) {
      ASSERT_EQ(DmUnlockData(handle, 0), 0);
      ASSERT_EQ(DmLockID(handle), nullptr);
      ASSERT_EQ(DmUnlockID(handle), 0);
      ASSERT_EQ(DmWriteHandle(handle, 0), -1);
      ASSERT_EQ(DmFreezeHandle(handle, 1), record.flags);
    }
    if (record.end == record.first || record.references == 0) {
      ASSERT_EQ(DmLockData(handle, 0, record.first, 1), nullptr);
      continue;
    }
    const auto held = static_cast<int32_t>(record.end - record.first);
    if ((record.flags & DM_FLAG_NO_SOURCE) == 0) {
      ASSERT_TRUE(Holds(handle, record.descriptor.selection, record.items, record.first, held));
    }
    ASSERT_EQ(DmLockData(handle, 0, record.first, held + 1), nullptr);
    ASSERT_EQ(DmLockData(handle, 0, record.first - 1, 1), nullptr);
  }
  EXPECT_GT(full, 10) << "grants that found no handle free";
  EXPECT_EQ(memory_.live_locks(), 0);
}

}  // namespace
}  // namespace tervalon::datamgr
