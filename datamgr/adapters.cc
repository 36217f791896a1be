// The adapters of the data types, built in or registered, and their dispatchers.

#include "datamgr/adapters.h"

#include <algorithm>
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

DataType types[] = {
    {DM_TYPE_RAW,
     OnRelease::kReleaseSource,
     false,
     sizeof(DmRawDescriptor),
     RawItemSize,
     ElementCount<DmRawDescriptor>,
     CloseAllRawSources,
     {ReadRaw, WriteRaw, ReleaseRaw, CompareRaw}},
    {DM_TYPE_LIBRARY, OnRelease::kReleaseSource, true, 0, nullptr, nullptr, nullptr, kNone},
    {DM_TYPE_STRUCTURE, OnRelease::kFreeBlock, true, 0, nullptr, nullptr, nullptr, kNone},
    {DM_TYPE_DATABASE,
     OnRelease::kNothing,
     false,
     sizeof(DmDatabaseDescriptor),
     DatabaseItemSize,
     ElementCount<DmDatabaseDescriptor>,
     nullptr,
     {ReadDatabase, nullptr, nullptr, CompareDatabases}},
    {DM_TYPE_GENERIC, OnRelease::kReleaseSource, true, 0, nullptr, nullptr, nullptr, kNone},
};

DataType* FindEntry(int16_t type) {
  DataType* found = std::find_if(std::begin(types), std::end(types),
                                 [type](const DataType& entry) { return entry.type == type; });
  return found != std::end(types) ? found : nullptr;
}

}  // namespace

const DataType* FindType(int16_t type) { return FindEntry(type); }

void ResetAdapters() {
  for (DataType& type : types) {
    if (type.registrable) type.adapter = kNone;
  }
}

}  // namespace tervalon::datamgr

using tervalon::datamgr::DataType;
using tervalon::datamgr::FindType;

extern "C" int32_t TERVALON_CALL DmRegisterAdapter(int16_t type, const DmAdapter* adapter) {
  DataType* entry = tervalon::datamgr::FindEntry(type);
  if (entry == nullptr || !entry->registrable) return -1;
  entry->adapter = adapter != nullptr ? *adapter : tervalon::datamgr::kNone;
  return 0;
}

extern "C" int32_t TERVALON_CALL DmDataRead(int16_t type, void* desc, int32_t no_source,
                                            uint32_t first, int32_t count, void* const* items) {
  if (no_source != 0) return 0;
  const DataType* entry = FindType(type);
  if (entry == nullptr) return -1;
  return entry->adapter.read != nullptr ? entry->adapter.read(desc, 0, first, count, items) : -1;
}

extern "C" int32_t TERVALON_CALL DmDataWrite(int16_t type, void* desc, uint32_t first,
                                             int32_t count, void* const* items, uint16_t flags) {
  const DataType* entry = FindType(type);
  if (entry == nullptr) return -1;
  return entry->adapter.write != nullptr ? entry->adapter.write(desc, first, count, items, flags)
                                         : 0;
}

extern "C" int32_t TERVALON_CALL DmDataRelease(int16_t type, void* desc, int32_t no_source,
                                               uint32_t first, int32_t count, void* const* items) {
  const DataType* entry = FindType(type);
  if (entry == nullptr) return -1;
  return entry->adapter.release != nullptr
             ? entry->adapter.release(desc, no_source, first, count, items)
             : 0;
}
