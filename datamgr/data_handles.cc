// The data handle table.

#include "datamgr/data_handles.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>

#include "datamgr/adapters.h"
#include "platform/lock.h"
#include "platform/memory.h"
#include "tervalon/data_handles.h"

namespace tervalon::datamgr {
namespace {

using platform::Memory;

// Resident elements of every handle stay within what TvMemSize can tell.
constexpr uint64_t kMaxBytes = UINT32_MAX;

// A record is its user's own but for what others look at when they ask for data or release a
// source: flags, type, descriptor, thread and the numbers of items are set with the table's lock
// held.
struct Record {
  uint16_t flags = 0;
  // 0: free. Wraps after 255 grants, which frees the record.
  std::atomic<uint8_t> references = 0;
  int16_t type = 0;
  uintptr_t thread = 0;  // that was granted the handle
  uint32_t first = 0;    // of the resident elements
  uint32_t count = 0;
  int32_t item_count = 0;
  std::array<uint32_t, DM_MAX_ITEMS> item_sizes = {};
  std::array<TvMemory, DM_MAX_ITEMS> items = {};
  TvMemory descriptor = nullptr;
  uint32_t descriptor_size = 0;
  std::atomic<bool> busy = false;  // an adapter serves it
  int32_t pins = 0;                // of those who compare the descriptor meanwhile

  // With the table's lock held.
  void AddReference() {
    references.store(static_cast<uint8_t>(references + 1), std::memory_order_relaxed);
  }

  bool in_use() const { return references != 0; }
  bool is_free() const { return !in_use() && !busy && pins == 0; }
  bool shareable() const { return in_use() && (flags & DM_FLAG_FROZEN) == 0; }
  int32_t no_source() const { return flags & DM_FLAG_NO_SOURCE; }
  uint64_t end() const { return uint64_t{first} + count; }
};

// Record 0 is never handed out.
std::array<Record, DM_MAX_HANDLES + 1> table;
constinit platform::Mutex table_lock;

using platform::Held;

// nullptr for a number that is no handle in use.
Record* Find(int32_t handle) {
  if (handle < 1 || handle > DM_MAX_HANDLES) return nullptr;
  Record* record = &table[static_cast<size_t>(handle)];
  return record->in_use() ? record : nullptr;
}

int32_t HandleOf(const Record* record) { return static_cast<int32_t>(record - table.data()); }

class BusyScope {
 public:
  explicit BusyScope(Record* record) : record_(record) { record_->busy = true; }
  ~BusyScope() { record_->busy = false; }
  BusyScope(const BusyScope&) = delete;
  BusyScope& operator=(const BusyScope&) = delete;

 private:
  Record* record_;
};

// A block locked for a scope; nullptr counts as locked.
class BlockLock {
 public:
  explicit BlockLock(TvMemory block)
      : block_(block), address_(block != nullptr ? Memory().Lock(block) : nullptr) {}
  ~BlockLock() {
    if (address_ != nullptr) Memory().Unlock(block_);
  }
  BlockLock(const BlockLock&) = delete;
  BlockLock& operator=(const BlockLock&) = delete;

  bool failed() const { return block_ != nullptr && address_ == nullptr; }
  void* address() const { return address_; }

 private:
  TvMemory block_;
  void* address_;
};

void* ElementAddress(void* base, uint64_t element, uint32_t size) {
  return static_cast<char*>(base) + static_cast<size_t>(element * size);
}

// Locks an array once. The address of an element that is resident with `count` - 1 behind it.
void* LockItem(const Record& record, int32_t item, uint32_t first, int64_t count) {
  if (item < 0 || item >= record.item_count || first < record.first || count < 0 ||
      uint64_t{first} + static_cast<uint64_t>(count) > record.end()) {
    return nullptr;
  }
  const auto index = static_cast<size_t>(item);
  void* base = record.items[index] != nullptr ? Memory().Lock(record.items[index]) : nullptr;
  if (base == nullptr) return nullptr;
  return ElementAddress(base, first - record.first, record.item_sizes[index]);
}

// The arrays of a record locked over a range for a scope.
class ItemLocks {
 public:
  // Over the resident elements; nothing to lock without any.
  explicit ItemLocks(const Record& record) : record_(record) {
    if (record.count > 0) Lock(record.first, record.count);
  }
  ItemLocks(const Record& record, uint32_t first, uint32_t count) : record_(record) {
    Lock(first, count);
  }
  ~ItemLocks() {
    while (locked_ > 0) Memory().Unlock(record_.items[static_cast<size_t>(--locked_)]);
  }
  ItemLocks(const ItemLocks&) = delete;
  ItemLocks& operator=(const ItemLocks&) = delete;

  bool failed() const { return failed_; }

  // One for every array, NULL for those that are not locked.
  void* const* pointers() const { return pointers_.data(); }

 private:
  void Lock(uint32_t first, uint32_t count) {
    for (; locked_ < record_.item_count; ++locked_) {
      void* address = LockItem(record_, locked_, first, count);
      if (address == nullptr) {
        failed_ = true;
        return;
      }
      pointers_[static_cast<size_t>(locked_)] = address;
    }
  }

  const Record& record_;
  int32_t locked_ = 0;
  bool failed_ = false;
  std::array<void*, DM_MAX_ITEMS> pointers_ = {};
};

void FreeBlock(TvMemory* block) {
  if (*block == nullptr) return;
  while (Memory().Unlock(*block) > 0) {
  }
  Memory().Free(*block);
  *block = nullptr;
}

void FreeBlocks(Record* record) {
  for (TvMemory& item : record->items) FreeBlock(&item);
  FreeBlock(&record->descriptor);
}

bool Resize(TvMemory* block, uint64_t bytes) {
  if (bytes > kMaxBytes) return false;
  const auto size = static_cast<size_t>(bytes);
  TvMemory resized =
      *block != nullptr ? Memory().Reallocate(*block, size) : Memory().Allocate(size);
  if (resized == nullptr) return false;
  *block = resized;
  return true;
}

// Makes room for `count` elements in every array, and one more, on which callers rely.
bool ResizeItems(Record* record, uint64_t count) {
  for (size_t i = 0; i < static_cast<size_t>(record->item_count); ++i) {
    if (!Resize(&record->items[i], (count + 1) * record->item_sizes[i])) return false;
  }
  return true;
}

// Whether a record's descriptor, locked already, and a given one (nullptr: none) agree.
bool Matches(const DataType* type, const BlockLock& stored, const void* given,
             int32_t same_source) {
  if (stored.failed()) return false;
  if (stored.address() == nullptr || given == nullptr) {
    return stored.address() == nullptr && given == nullptr;
  }
  const auto compare = type != nullptr ? AdapterOf(*type).compare : nullptr;
  return compare != nullptr && compare(stored.address(), given, same_source) != 0;
}

// Goes through the records that `fits`, with the table's lock held, for one whose descriptor
// agrees with a given one and which fits still after that was found out: it is handed to `use` with
// its descriptor's address. False when there is none. An application's adapter compares without the
// lock: the record is pinned meanwhile, so that its descriptor stays.
template <typename Condition, typename Use>
bool UseMatch(int16_t type_code, const void* given, int32_t same_source, Condition fits, Use use) {
  const DataType* type = FindType(type_code);
  const bool is_foreign = type != nullptr && type->registrable;
  for (Record& record : table) {
    if (record.type != type_code || !fits(record)) continue;
    {
      const BlockLock stored(record.descriptor);
      if (is_foreign) {
        ++record.pins;
        table_lock.Release();
      }
      const bool matches = Matches(type, stored, given, same_source);
      if (is_foreign) {
        table_lock.Take();
        --record.pins;
      }
      if (matches && fits(record)) {
        use(&record, stored.address());
        return true;
      }
    }
    if (record.is_free()) FreeBlocks(&record);  // released meanwhile
  }
  return false;
}

// Calls the adapter's release, unless another shareable record names the source too.
void ReleaseSource(int16_t type, void* descriptor, int32_t no_source, const Record* self,
                   void* const* items) {
  {
    const Held held(&table_lock);
    const auto names_source_too = [self](const Record& other) {
      return &other != self && other.shareable();
    };
    if (UseMatch(type, descriptor, 1, names_source_too, [](Record*, const void*) {})) return;
  }
  DmDataRelease(type, descriptor, no_source, self != nullptr ? self->first : 0,
                self != nullptr ? static_cast<int32_t>(self->count) : 0, items);
}

void AfterRelease(const DataType& type) {
  if (type.all_released == nullptr) return;
  {
    const Held held(&table_lock);
    const bool used = std::any_of(table.begin(), table.end(), [&type](const Record& record) {
      return (record.in_use() || record.busy) && record.type == type.type;
    });
    if (used) return;
  }
  type.all_released();
}

// Gives the source back that a record without references names. False when a lock fails.
bool GiveBackSource(Record* record, const DataType* type) {
  const BlockLock descriptor(record->descriptor);
  if (descriptor.failed()) return false;
  const ItemLocks locks(*record);
  if (locks.failed()) return false;
  if (type != nullptr && type->on_release == OnRelease::kReleaseSource) {
    ReleaseSource(record->type, descriptor.address(), record->no_source(), record,
                  locks.pointers());
  } else if (type != nullptr && type->on_release == OnRelease::kFreeBlock &&
             record->descriptor_size >= sizeof(void*)) {
    void* block = nullptr;
    std::memcpy(&block, descriptor.address(), sizeof(void*));
    TvMemory structure = static_cast<TvMemory>(block);
    FreeBlock(&structure);
  }
  return true;
}

// Gives back one reference, and with the last one all that the record holds.
int32_t Release(Record* record) {
  {
    const Held held(&table_lock);
    // Another thread was faster, or its adapter serves the handle, which keeps its last reference.
    if (!record->in_use() || (record->busy && record->references == 1)) return -1;
    const auto left = static_cast<uint8_t>(record->references - 1);
    record->references.store(left, std::memory_order_relaxed);
    if (left > 0) return 0;
    record->busy = true;
  }
  const DataType* type = FindType(record->type);
  const bool given_back = GiveBackSource(record, type);
  {
    const Held held(&table_lock);
    record->busy = false;
    if (given_back && record->pins == 0) FreeBlocks(record);
  }
  if (!given_back) return -1;
  if (type != nullptr) AfterRelease(*type);
  return 0;
}

// Whether the elements have the sizes that the adapter stores. Callers can change a descriptor at
// any time, so it is only looked at when elements are about to be read or written.
bool ItemsFit(const Record& record, const void* descriptor) {
  const DataType* type = FindType(record.type);
  if (type == nullptr || type->item_size == nullptr) return true;
  for (int32_t item = 0; item < record.item_count; ++item) {
    if (record.item_sizes[static_cast<size_t>(item)] != type->item_size(descriptor, item)) {
      return false;
    }
  }
  return true;
}

// What DmGetHandleEx was asked for.
struct Request {
  int16_t type;
  uint32_t descriptor_size;  // 0 without a descriptor
  void* descriptor;          // nullptr without a descriptor
  int32_t item_count;
  const uint32_t* item_sizes;
  uint16_t flags;
};

// The library's own adapters must not see a descriptor that is too short.
bool IsTooShort(const Request& request) {
  const DataType* type = FindType(request.type);
  return type != nullptr && request.descriptor != nullptr &&
         request.descriptor_size < type->descriptor_size;
}

// Shares the record for the same data, if there is one, and stores the handle: 0 when it has other
// item sizes. Requests of other threads have handles of their own, which they can use meanwhile.
bool Share(const Request& request, int32_t* handle) {
  if ((request.flags & DM_FLAG_NO_SOURCE) != 0) return false;
  const uintptr_t thread = platform::ThisThread();
  const auto fits = [&](const Record& other) {
    return other.shareable() && other.thread == thread && other.item_count >= request.item_count;
  };
  const auto share = [&](Record* record, const void* stored) {
    *handle = 0;
    for (size_t i = 0; i < static_cast<size_t>(request.item_count); ++i) {
      if (record->item_sizes[i] != request.item_sizes[i]) return;
    }
    record->AddReference();
    if (stored != nullptr && request.descriptor != nullptr) {
      std::memcpy(request.descriptor, stored,
                  std::min(request.descriptor_size, record->descriptor_size));
    }
    *handle = HandleOf(record);
  };
  const Held held(&table_lock);
  return UseMatch(request.type, request.descriptor, 0, fits, share);
}

// A free record, busy from now on; nullptr when there is none.
Record* TakeFree() {
  const Held held(&table_lock);
  const auto free = std::find_if(table.begin() + 1, table.end(),
                                 [](const Record& record) { return record.is_free(); });
  if (free == table.end()) return nullptr;
  free->busy = true;
  return &*free;
}

bool StoreDescriptor(Record* record, const Request& request) {
  if (request.descriptor == nullptr) return true;
  if (!Resize(&record->descriptor, request.descriptor_size)) return false;
  const BlockLock lock(record->descriptor);
  if (lock.failed()) return false;
  std::memcpy(lock.address(), request.descriptor, request.descriptor_size);
  return true;
}

// Of a record that is busy; afterwards it is not any more.
bool Fill(Record* record, const Request& request) {
  FreeBlocks(record);  // left behind by a release that failed, or by a wrapped reference count
  const bool stored = StoreDescriptor(record, request);
  const Held held(&table_lock);
  record->busy = false;
  if (!stored) {
    FreeBlocks(record);
    return false;
  }
  record->descriptor_size = request.descriptor_size;
  record->type = request.type;
  record->thread = platform::ThisThread();
  record->first = 0;
  record->count = 0;
  record->item_count = request.item_count;
  std::copy_n(request.item_sizes, request.item_count, record->item_sizes.begin());
  record->flags = request.flags;
  record->references = 1;
  return true;
}

int32_t Grant(const Request& request) {
  if (IsTooShort(request)) return 0;
  int32_t shared = 0;
  if (Share(request, &shared)) return shared;
  Record* record = TakeFree();
  if (record == nullptr) return 0;
  const int32_t handle = HandleOf(record);
  const int32_t no_source = request.flags & DM_FLAG_NO_SOURCE;
  const bool opened = DmDataRead(request.type, request.descriptor, no_source, 0, 0, nullptr) == 0;
  if (!Fill(record, request)) {
    // The handle goes out although it is not in use; what was opened for it must not stay open.
    const DataType* type = FindType(request.type);
    if (type != nullptr && type->on_release == OnRelease::kReleaseSource) {
      void* const no_items[DM_MAX_ITEMS] = {};
      ReleaseSource(request.type, request.descriptor, no_source, nullptr, no_items);
      AfterRelease(*type);
    }
  } else if (!opened) {
    Release(record);
  }
  return opened ? handle : 0;
}

// Reads elements that are within the record's range, for which there is room.
int32_t ReadPart(Record* record, uint32_t first, uint32_t count) {
  const BlockLock descriptor(record->descriptor);
  if (descriptor.failed()) return -1;
  if (record->no_source() == 0 && !ItemsFit(*record, descriptor.address())) return -1;
  const ItemLocks locks(*record, first, count);
  if (locks.failed()) return -1;
  const BusyScope busy(record);
  return DmDataRead(record->type, descriptor.address(), record->no_source(), first,
                    static_cast<int32_t>(count), locks.pointers());
}

int32_t Replace(Record* record, uint32_t first, uint32_t count) {
  if (!ResizeItems(record, count)) return -1;
  record->first = first;
  record->count = count;
  const int32_t result = ReadPart(record, first, count);
  if (result != 0) record->count = 0;
  return result;
}

// Moves the resident elements of every array up by `places`.
bool MoveElements(const Record& record, uint32_t places) {
  const ItemLocks locks(record);
  if (locks.failed()) return false;
  for (size_t i = 0; i < static_cast<size_t>(record.item_count); ++i) {
    const uint32_t size = record.item_sizes[i];
    void* base = locks.pointers()[i];
    std::memmove(ElementAddress(base, places, size), base,
                 static_cast<size_t>(uint64_t{record.count} * size));
  }
  return true;
}

int32_t Merge(Record* record, uint32_t first, uint64_t end) {
  const uint32_t old_first = record->first;
  const uint64_t old_end = record->end();
  const uint32_t new_first = std::min(old_first, first);
  const uint64_t new_end = std::max(old_end, end);
  const uint64_t new_count = new_end - new_first;
  if (new_count > INT32_MAX || !ResizeItems(record, new_count)) return -1;
  if (!MoveElements(*record, old_first - new_first)) return -1;
  record->first = new_first;
  record->count = static_cast<uint32_t>(new_count);
  int32_t result = 0;
  if (new_first < old_first) result = ReadPart(record, new_first, old_first - new_first);
  if (result == 0 && new_end > old_end) {
    result =
        ReadPart(record, static_cast<uint32_t>(old_end), static_cast<uint32_t>(new_end - old_end));
  }
  if (result != 0) record->count = 0;
  return result;
}

// Asks the source whether it has the elements in front of `end`, so that no room is made for
// others. What the descriptor tells of their number may be out of date: the source then opens anew.
int32_t CheckEnd(Record* record, uint64_t end) {
  const DataType* type = FindType(record->type);
  if (type == nullptr || type->element_count == nullptr || record->no_source() != 0) return 0;
  const BlockLock descriptor(record->descriptor);
  if (descriptor.address() == nullptr) return -1;
  if (end <= uint64_t{type->element_count(descriptor.address())} + 1) return 0;
  const BusyScope busy(record);
  const int32_t result = DmDataRead(record->type, descriptor.address(), 0, 0, 0, nullptr);
  if (result != 0) return result;
  return end <= uint64_t{type->element_count(descriptor.address())} + 1 ? 0 : -1;
}

int32_t MakeResident(Record* record, uint32_t first, int32_t count, int32_t flags) {
  if (record->item_count == 0 || count < 0) return -1;
  const uint64_t end = uint64_t{first} + static_cast<uint64_t>(count);
  if (end > UINT32_MAX) return -1;
  if ((flags & DM_DATA_DISCARD) != 0) record->count = 0;
  if (record->first <= first && end <= record->end()) return 0;
  if ((flags & DM_DATA_DISCARD_DISJOINT) != 0 && (end < record->first || first > record->end())) {
    record->count = 0;
  }
  if (record->count > 0 || count > 0) {
    const int32_t result = CheckEnd(record, end);
    if (result != 0) {
      record->count = 0;
      return result;
    }
  }
  if (record->count > 0) return Merge(record, first, end);
  return Replace(record, first, static_cast<uint32_t>(count));
}

int32_t Write(Record* record, uint16_t flags) {
  const BlockLock descriptor(record->descriptor);
  if (descriptor.failed()) return -1;
  const DataType* type = FindType(record->type);
  const bool writes = type != nullptr && AdapterOf(*type).write != nullptr;
  if (writes && !ItemsFit(*record, descriptor.address())) return -1;
  const ItemLocks locks(*record);
  if (locks.failed()) return -1;
  const BusyScope busy(record);
  return DmDataWrite(record->type, descriptor.address(), record->first,
                     static_cast<int32_t>(record->count), locks.pointers(), flags);
}

}  // namespace

void ResetDataHandles() {
  for (Record& record : table) {
    const Held held(&table_lock);
    FreeBlocks(&record);
    record.references = 0;
    record.busy = false;
    record.flags = 0;
  }
  for (int16_t type = 0; type <= DM_TYPE_GENERIC; ++type) {
    if (const DataType* entry = FindType(type)) AfterRelease(*entry);
  }
  ResetAdapters();
}

}  // namespace tervalon::datamgr

using namespace tervalon::datamgr;  // NOLINT(google-build-using-namespace)
using tervalon::platform::Memory;

extern "C" int32_t TERVALON_CALL DmGetHandleEx(int16_t type, int16_t desc_size, void* desc,
                                               int16_t item_count, const uint32_t* item_sizes,
                                               uint16_t flags) {
  if (item_count < 0 || item_count > DM_MAX_ITEMS || desc_size < 0 ||
      (item_count > 0 && item_sizes == nullptr)) {
    return 0;
  }
  const bool described = desc_size > 0 && desc != nullptr;
  return Grant({type, described ? static_cast<uint32_t>(desc_size) : 0, described ? desc : nullptr,
                item_count, item_sizes, flags});
}

extern "C" int32_t TERVALON_CALL DmGetHandle(int16_t type, int16_t desc_size, void* desc,
                                             int16_t item_count, uint32_t item_size,
                                             uint16_t flags) {
  const uint32_t item_sizes[DM_MAX_ITEMS] = {item_size, item_size, item_size, item_size};
  return DmGetHandleEx(type, desc_size, desc, item_count, item_sizes, flags);
}

extern "C" int32_t TERVALON_CALL DmGetData(int32_t handle, uint32_t first, int32_t count,
                                           int32_t flags) {
  Record* record = Find(handle);
  if (record == nullptr || record->busy) return -1;
  return MakeResident(record, first, count, flags);
}

extern "C" void* TERVALON_CALL DmLockData(int32_t handle, int32_t item, uint32_t first,
                                          int32_t count) {
  const Record* record = Find(handle);
  return record != nullptr ? LockItem(*record, item, first, count) : nullptr;
}

extern "C" int32_t TERVALON_CALL DmUnlockData(int32_t handle, int32_t item) {
  const Record* record = Find(handle);
  if (record == nullptr || item < 0 || item >= record->item_count) return 0;
  const TvMemory block = record->items[static_cast<size_t>(item)];
  return block != nullptr ? Memory().Unlock(block) : 0;
}

extern "C" void* TERVALON_CALL DmLockID(int32_t handle) {
  const Record* record = Find(handle);
  if (record == nullptr || record->descriptor == nullptr) return nullptr;
  return Memory().Lock(record->descriptor);
}

extern "C" int32_t TERVALON_CALL DmUnlockID(int32_t handle) {
  const Record* record = Find(handle);
  if (record == nullptr || record->descriptor == nullptr) return 0;
  return Memory().Unlock(record->descriptor);
}

extern "C" int32_t TERVALON_CALL DmWriteHandle(int32_t handle, uint16_t flags) {
  Record* record = Find(handle);
  if (record == nullptr || record->busy) return -1;
  return Write(record, flags);
}

extern "C" int32_t TERVALON_CALL DmFreezeHandle(int32_t handle, int32_t freeze) {
  if (handle < 1 || handle > DM_MAX_HANDLES) return 0;
  Record& record = table[static_cast<size_t>(handle)];
  const tervalon::platform::Held held(&table_lock);
  if (record.in_use()) {
    const auto others = static_cast<uint16_t>(record.flags & ~DM_FLAG_FROZEN);
    record.flags = static_cast<uint16_t>(freeze != 0 ? others | DM_FLAG_FROZEN : others);
  }
  return record.flags;
}

extern "C" int32_t TERVALON_CALL DmReleaseHandle(int32_t handle, int32_t /*ignored*/) {
  Record* record = Find(handle);
  return record != nullptr ? Release(record) : -1;
}
