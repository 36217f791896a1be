// Records of databases as elements.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "appsvc/export_guard.h"
#include "db3/catalogue.h"
#include "db3/record_file.h"
#include "db3/slots.h"
#include "tervalon/database_descriptor.h"

namespace tervalon::datamgr {
namespace {

using db3::DatabaseType;

static_assert(sizeof(DmDatabaseDescriptor) == 276);

// The part of a record's structure that an item holds.
struct Part {
  uint32_t offset;
  uint32_t size;  // 0: there is none
};

Part PartOf(const DatabaseType& type, int16_t field) {
  if (field == 0) return {0, type.structure_size};
  if (field < 0 || static_cast<size_t>(field) >= type.members.size()) return {0, 0};
  const db3::Member& member = type.members[static_cast<size_t>(field)];
  return {static_cast<uint32_t>(member.offset), static_cast<uint32_t>(member.size)};
}

// Empty without a path, or when it lacks the terminating zero.
std::string_view PathOf(const DmDatabaseDescriptor& descriptor) {
  const char* const end = std::find(descriptor.path, std::end(descriptor.path), '\0');
  return end != std::end(descriptor.path)
             ? std::string_view(descriptor.path, static_cast<size_t>(end - descriptor.path))
             : std::string_view();
}

// Reads records into the items that are wanted.
int32_t ReadElements(const DatabaseType& type, const DmDatabaseDescriptor& descriptor,
                     db3::RecordFile* file, int32_t first, int32_t count, void* const* items) {
  std::vector<char> text(file->text_size());
  std::vector<std::byte> structure(type.structure_size);
  for (int32_t i = 0; i < count; ++i) {
    int32_t cause = file->Read(first + i, text);
    if (cause == db3::kSuccess) cause = db3::ReadRecord(type, text, structure);
    if (cause != db3::kSuccess) return cause;
    for (size_t item = 0; items != nullptr && item < DM_MAX_ITEMS; ++item) {
      const Part part = PartOf(type, descriptor.fields[item]);
      if (items[item] == nullptr || part.size == 0) continue;
      std::memcpy(static_cast<std::byte*>(items[item]) + static_cast<size_t>(i) * part.size,
                  structure.data() + part.offset, part.size);
    }
  }
  return db3::kSuccess;
}

int32_t Read(DmDatabaseDescriptor* descriptor, uint32_t first, int32_t count, void* const* items) {
  const DatabaseType* const type = db3::Catalogue(descriptor->type);
  const std::string path(PathOf(*descriptor));
  if (type == nullptr || path.empty() || count < 0) return -1;
  std::unique_ptr<db3::RecordFile> file;
  const int32_t cause = db3::RecordFile::Open(path, &file);
  if (cause != db3::kSuccess) return cause;
  const db3::RecordFile::Turn turn(file.get(), platform::LockMode::kShared);
  if (turn.cause() != db3::kSuccess) return turn.cause();
  if (!db3::HasFields(file->fields(), *type)) return db3::kRecordStructure;
  const auto records = static_cast<uint32_t>(file->count());
  descriptor->element_count = records;
  if (count == 0) return 0;
  if (first < 1 || first > records || static_cast<uint32_t>(count) > records - first + 1) return -1;
  return ReadElements(*type, *descriptor, file.get(), static_cast<int32_t>(first), count, items);
}

}  // namespace
}  // namespace tervalon::datamgr

using namespace tervalon::datamgr;  // NOLINT(google-build-using-namespace)

extern "C" uint32_t TERVALON_CALL DmDB3ItemSize(const DmDatabaseDescriptor* descriptor,
                                                int32_t item) {
  if (descriptor == nullptr || item < 0 || item >= DM_MAX_ITEMS) return 0;
  const tervalon::db3::DatabaseType* const type = tervalon::db3::Catalogue(descriptor->type);
  return type != nullptr ? PartOf(*type, descriptor->fields[item]).size : 0;
}

extern "C" int32_t TERVALON_CALL DmDB3Read(DmDatabaseDescriptor* descriptor, int32_t no_source,
                                           uint32_t first, int32_t count, void* const* items) {
  if (no_source != 0) return 0;
  if (descriptor == nullptr) return -1;
  return tervalon::Guarded(-1, [=] { return Read(descriptor, first, count, items); });
}

extern "C" int32_t TERVALON_CALL DmDB3Compare(const DmDatabaseDescriptor* stored,
                                              const DmDatabaseDescriptor* given,
                                              int32_t same_source) {
  if (stored == nullptr || given == nullptr || PathOf(*stored) != PathOf(*given)) return 0;
  return same_source != 0 ||
         (stored->type == given->type && std::ranges::equal(stored->fields, given->fields));
}
