#include "db3/slots.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include "platform/file_system.h"
#include "platform/lock.h"
#include "platform/memory.h"
#include "platform/text.h"
#include "tervalon/database_fields.h"
#include "tervalon/databases.h"

namespace tervalon::db3 {
namespace {

using platform::Memory;

// A slot as the others see it.
struct Place {
  bool taken = false;
  std::string path;  // plain; empty until the file is open
};

std::array<Slot, kDatabaseTypes> slots;
constinit platform::Mutex places_lock;
std::array<Place, kDatabaseTypes> places;  // under places_lock

// The types that share one list of fields, so that their files are the same.
constexpr int32_t kMethodTypes[] = {0, 3, 15};

constexpr const char* kSection = "SystemList";
constexpr const char* kMarkerField = "ENCRYPT";

Place& PlaceOf(int32_t type) { return places[static_cast<size_t>(type)]; }
bool IsTaken(int32_t type) { return PlaceOf(type).taken; }

bool AllTaken() {
  return std::count_if(places.begin(), places.end(),
                       [](const Place& place) { return place.taken; }) >= DB3_MAX_OPEN;
}

// Whether one of the types that exclude each other with `type` is open; it is one itself.
bool IsExcluded(int32_t type) {
  const std::span<const int32_t> methods = kMethodTypes;
  if (std::find(methods.begin(), methods.end(), type) == methods.end()) return IsTaken(type);
  return std::any_of(methods.begin(), methods.end(), IsTaken);
}

// A path by which files can be told apart: from the root on, without "." and "..".
std::string PlainPath(std::string path) {
  path = FromRoot(path);
  std::replace(path.begin(), path.end(), '/', '\\');
  std::string plain;
  for (size_t begin = 0; begin < path.size();) {
    const size_t end = std::min(path.find('\\', begin), path.size());
    const std::string part = path.substr(begin, end - begin);
    if (part == "..") {
      plain.erase(std::min(plain.rfind('\\'), plain.size()));
    } else if (!part.empty() && part != ".") {
      plain += "\\" + part;
    }
    begin = end + 1;
  }
  return plain;
}

Cause FillTables(const DatabaseType& type, OpenDatabase* database) {
  std::vector<DB3FieldOffsetWidth> table(type.fields.size());
  DB3SetFieldOffsetWidths(table.data(), type.fields.data(), static_cast<int32_t>(table.size()));
  const Cause cause =
      database->offset_widths.Fill(table.data(), table.size() * sizeof(DB3FieldOffsetWidth));
  if (cause != kSuccess) return cause;
  return database->members.Fill(type.members.data(), type.members.size_bytes());
}

}  // namespace

Cause MemoryTable::Fill(const void* bytes, size_t size) {
  block_ = Memory().Allocate(size);
  if (block_ == nullptr) return kMemoryAllocation;
  void* const address = Memory().Lock(block_);
  if (address == nullptr) {
    Free();
    return kMemoryLock;
  }
  std::memcpy(address, bytes, size);
  Memory().Unlock(block_);
  return kSuccess;
}

bool MemoryTable::Free() {
  const TvMemory block = std::exchange(block_, nullptr);
  if (block == nullptr) return true;
  while (Memory().Unlock(block) > 0) {
  }
  return Memory().Free(block);
}

TableLock::TableLock(const MemoryTable& table)
    : block_(table.block()), locked_(Memory().Lock(block_) != nullptr) {}

TableLock::~TableLock() {
  if (locked_) Memory().Unlock(block_);
}

bool HasFields(const std::vector<FieldDescriptor>& fields, const DatabaseType& type) {
  const size_t count = type.fields.size();
  const bool marked =
      fields.size() == count + 1 && platform::EqualWithoutCase(fields.back().name, kMarkerField);
  return (fields.size() == count || marked) &&
         SameFields(std::span(fields).first(count), type.fields);
}

Slot* FindSlot(int32_t type) {
  const DatabaseType* row = Catalogue(type);
  if (row == nullptr) return nullptr;
  Slot& slot = slots[static_cast<size_t>(type)];
  if (slot.buffer.empty()) slot.buffer.resize(row->structure_size);
  return &slot;
}

Cause OpenPlace::Take() {
  const platform::Held held(&places_lock);
  if (IsExcluded(type_)) return kAlreadyOpen;
  if (AllTaken()) return kTooManyOpen;
  PlaceOf(type_).taken = taken_ = true;
  return kSuccess;
}

void OpenPlace::Keep(const std::string& path) {
  std::string plain = PlainPath(path);
  const platform::Held held(&places_lock);
  PlaceOf(type_).path = std::move(plain);
  taken_ = false;
}

OpenPlace::~OpenPlace() {
  if (taken_) GiveBackPlace(type_);
}

void GiveBackPlace(int32_t type) {
  const platform::Held held(&places_lock);
  PlaceOf(type) = {};
}

Cause MayOpenAnother() {
  const platform::Held held(&places_lock);
  return AllTaken() ? kTooManyOpen : kSuccess;
}

bool IsOpenAt(const std::string& path) {
  const std::string plain = PlainPath(path);
  const platform::Held held(&places_lock);
  return std::any_of(places.begin(), places.end(), [&plain](const Place& place) {
    return !place.path.empty() && platform::EqualWithoutCase(place.path, plain);
  });
}

Cause OpenAs(const DatabaseType& type, const std::string& path,
             std::unique_ptr<OpenDatabase>* database) {
  auto opened = std::make_unique<OpenDatabase>();
  Cause cause = RecordFile::Open(path, &opened->file);
  if (cause != kSuccess) return cause;
  if (!HasFields(opened->file->fields(), type)) return kRecordStructure;
  cause = FillTables(type, opened.get());
  if (cause == kSuccess) *database = std::move(opened);
  return cause;
}

bool FetchFile(const DatabaseType& type, SystemFile* file) {
  SystemFile found;
  if (GetGlobalFile(kSection, type.system_list_key, nullptr, &found) == 0) return false;
  *file = found;
  return true;
}

bool KeepFile(const DatabaseType& type, const SystemFile& file) {
  SystemFile kept = file;
  kept.number = type.code;
  return PutFile(type, kept);
}

bool PutFile(const DatabaseType& type, const SystemFile& file) {
  return SetGlobalFile(kSection, type.system_list_key, &file, 1) != 0;
}

void ResetDatabases() {
  for (Slot& slot : slots) slot = Slot();
  const platform::Held held(&places_lock);
  places = {};
}

}  // namespace tervalon::db3
