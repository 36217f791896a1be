// The adapters of the data types, built in or registered, and their dispatchers.

#include "datamgr/adapters.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "datamgr/raw_sources.h"
#include "tervalon/database_descriptor.h"
#include "tervalon/raw_descriptor.h"

namespace tervalon::datamgr {
namespace {

int32_t TERVALON_CALL ReadRaw(void* descriptor, int32_t no_source, uint32_t first, int32_t count,
                              void* const* items) {
  return DmRawRead(static_cast<DmRawDescriptor*>(descriptor), no_source, first, count, items);
}

int32_t TERVALON_CALL WriteRaw(void* descriptor, uint32_t first, int32_t count, void* const* items,
                               uint16_t flags) {
  auto* raw = static_cast<DmRawDescriptor*>(descriptor);
  const int32_t result = DmRawWrite(raw, first, count, items);
  const bool save = result == 0 && (flags & DM_WRITE_SAVE_PROCESS) != 0;
  return save ? DmRawSaveProcess(raw, 1) : result;
}

int32_t TERVALON_CALL ReleaseRaw(void* descriptor, int32_t no_source, uint32_t first, int32_t count,
                                 void* const* items) {
  return DmRawRelease(static_cast<DmRawDescriptor*>(descriptor), no_source, first, count, items);
}

int32_t TERVALON_CALL CompareRaw(const void* stored, const void* given, int32_t same_source) {
  return DmRawCompare(static_cast<const DmRawDescriptor*>(stored),
                      static_cast<const DmRawDescriptor*>(given), same_source);
}

uint32_t RawItemSize(const void* /*descriptor*/, int32_t /*item*/) { return sizeof(float); }

int32_t TERVALON_CALL ReadDatabase(void* descriptor, int32_t no_source, uint32_t first,
                                   int32_t count, void* const* items) {
  return DmDB3Read(static_cast<DmDatabaseDescriptor*>(descriptor), no_source, first, count, items);
}

int32_t TERVALON_CALL CompareDatabases(const void* stored, const void* given, int32_t same_source) {
  return DmDB3Compare(static_cast<const DmDatabaseDescriptor*>(stored),
                      static_cast<const DmDatabaseDescriptor*>(given), same_source);
}

uint32_t DatabaseItemSize(const void* descriptor, int32_t item) {
  return DmDB3ItemSize(static_cast<const DmDatabaseDescriptor*>(descriptor), item);
}

template <typename Descriptor>
uint32_t ElementCount(const void* descriptor) {
  return static_cast<const Descriptor*>(descriptor)->element_count;
}

constexpr DmAdapter kNone = {nullptr, nullptr, nullptr, nullptr};

constexpr DataType kTypes[] = {
    {DM_TYPE_RAW, OnRelease::kReleaseSource, false, sizeof(DmRawDescriptor), RawItemSize,
     ElementCount<DmRawDescriptor>, CloseAllRawSources},
    {DM_TYPE_LIBRARY, OnRelease::kReleaseSource, true, 0, nullptr, nullptr, nullptr},
    {DM_TYPE_STRUCTURE, OnRelease::kFreeBlock, true, 0, nullptr, nullptr, nullptr},
    {DM_TYPE_DATABASE, OnRelease::kNothing, false, sizeof(DmDatabaseDescriptor), DatabaseItemSize,
     ElementCount<DmDatabaseDescriptor>, nullptr},
    {DM_TYPE_GENERIC, OnRelease::kReleaseSource, true, 0, nullptr, nullptr, nullptr},
};

constexpr DmAdapter kRaw = {ReadRaw, WriteRaw, ReleaseRaw, CompareRaw};
constexpr DmAdapter kDatabase = {ReadDatabase, nullptr, nullptr, CompareDatabases};

// What serves a type. An application may change that while others are served, function by function.
struct Adapter {
  constexpr explicit Adapter(const DmAdapter& functions) noexcept
      : read(functions.read),
        write(functions.write),
        release(functions.release),
        compare(functions.compare) {}

  void Set(const DmAdapter& functions) {
    read = functions.read;
    write = functions.write;
    release = functions.release;
    compare = functions.compare;
  }

  std::atomic<decltype(DmAdapter::read)> read;
  std::atomic<decltype(DmAdapter::write)> write;
  std::atomic<decltype(DmAdapter::release)> release;
  std::atomic<decltype(DmAdapter::compare)> compare;
};

// By row of kTypes.
constinit Adapter adapters[] = {Adapter(kRaw), Adapter(kNone), Adapter(kNone), Adapter(kDatabase),
                                Adapter(kNone)};
static_assert(std::size(adapters) == std::size(kTypes));

Adapter& AdapterFor(const DataType& type) { return adapters[&type - std::begin(kTypes)]; }

}  // namespace

const DataType* FindType(int16_t type) {
  const auto* found = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [type](const DataType& entry) { return entry.type == type; });
  return found != std::end(kTypes) ? found : nullptr;
}

DmAdapter AdapterOf(const DataType& type) {
  const Adapter& adapter = AdapterFor(type);
  return {adapter.read, adapter.write, adapter.release, adapter.compare};
}

void ResetAdapters() {
  for (const DataType& type : kTypes) {
    if (type.registrable) AdapterFor(type).Set(kNone);
  }
}

}  // namespace tervalon::datamgr

using tervalon::datamgr::AdapterOf;
using tervalon::datamgr::DataType;
using tervalon::datamgr::FindType;

extern "C" int32_t TERVALON_CALL DmRegisterAdapter(int16_t type, const DmAdapter* adapter) {
  const DataType* entry = FindType(type);
  if (entry == nullptr || !entry->registrable) return -1;
  tervalon::datamgr::AdapterFor(*entry).Set(adapter != nullptr ? *adapter
                                                               : tervalon::datamgr::kNone);
  return 0;
}

extern "C" int32_t TERVALON_CALL DmDataRead(int16_t type, void* desc, int32_t no_source,
                                            uint32_t first, int32_t count, void* const* items) {
  if (no_source != 0) return 0;
  const DataType* entry = FindType(type);
  if (entry == nullptr) return -1;
  const auto read = AdapterOf(*entry).read;
  return read != nullptr ? read(desc, 0, first, count, items) : -1;
}

extern "C" int32_t TERVALON_CALL DmDataWrite(int16_t type, void* desc, uint32_t first,
                                             int32_t count, void* const* items, uint16_t flags) {
  const DataType* entry = FindType(type);
  if (entry == nullptr) return -1;
  const auto write = AdapterOf(*entry).write;
  return write != nullptr ? write(desc, first, count, items, flags) : 0;
}

extern "C" int32_t TERVALON_CALL DmDataRelease(int16_t type, void* desc, int32_t no_source,
                                               uint32_t first, int32_t count, void* const* items) {
  const DataType* entry = FindType(type);
  if (entry == nullptr) return -1;
  const auto release = AdapterOf(*entry).release;
  return release != nullptr ? release(desc, no_source, first, count, items) : 0;
}
