// The slots of the database types: one for each, process-wide.

#ifndef DB3_SLOTS_H_
#define DB3_SLOTS_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "db3/catalogue.h"
#include "db3/causes.h"
#include "db3/record_file.h"
#include "tervalon/settings.h"
#include "tervalon/types.h"

namespace tervalon::db3 {

// A movable block, freed with the owner unless Free was called.
class MemoryTable {
 public:
  MemoryTable() = default;
  ~MemoryTable() { Free(); }
  MemoryTable(const MemoryTable&) = delete;
  MemoryTable& operator=(const MemoryTable&) = delete;

  // kMemoryAllocation or kMemoryLock on failure; then there is no block.
  Cause Fill(const void* bytes, size_t size);
  // Whoever has the block locked loses it.
  bool Free();
  TvMemory block() const { return block_; }

 private:
  TvMemory block_ = nullptr;
};

// Keeps a table locked.
class TableLock {
 public:
  explicit TableLock(const MemoryTable& table);
  ~TableLock();
  TableLock(const TableLock&) = delete;
  TableLock& operator=(const TableLock&) = delete;
  explicit operator bool() const { return locked_; }

 private:
  TvMemory block_;
  bool locked_;
};

// What a type has while a file of it is open.
struct OpenDatabase {
  std::unique_ptr<RecordFile> file;
  MemoryTable offset_widths;
  MemoryTable members;
};

struct Slot {
  SystemFile file = {};  // the first value is the current record number
  std::unique_ptr<OpenDatabase> database;
  bool report_errors = true;
  std::vector<std::byte> buffer;
};

// nullptr for a type outside 0..19. Its buffer is there. A slot is for one thread at a time; what
// is said of all of them, here below, may be asked for in any.
Slot* FindSlot(int32_t type);

// The right to have a file of a type open, for a scope or until it is closed.
class OpenPlace {
 public:
  explicit OpenPlace(int32_t type) : type_(type) {}
  ~OpenPlace();
  OpenPlace(const OpenPlace&) = delete;
  OpenPlace& operator=(const OpenPlace&) = delete;

  // kAlreadyOpen when a file is open of one of the types that exclude each other with this one (it
  // is one itself), kTooManyOpen.
  Cause Take();
  // From now on the file at `path` is open.
  void Keep(const std::string& path);

 private:
  int32_t type_;
  bool taken_ = false;
};

// kTooManyOpen or kSuccess.
Cause MayOpenAnother();

// The type's file has been closed.
void GiveBackPlace(int32_t type);

// Whether any type has the file at `path` open.
bool IsOpenAt(const std::string& path);

// Whether the fields of a file are those of the type, or those and the marker field.
bool HasFields(const std::vector<FieldDescriptor>& fields, const DatabaseType& type);

// Opens the file at `path` as one of `type`.
Cause OpenAs(const DatabaseType& type, const std::string& path,
             std::unique_ptr<OpenDatabase>* database);

// The type's current file in the global store, which says by its number whose it is. All return
// false where the store does not serve.
bool FetchFile(const DatabaseType& type, SystemFile* file);
bool KeepFile(const DatabaseType& type, const SystemFile& file);
// As it was fetched.
bool PutFile(const DatabaseType& type, const SystemFile& file);

// Closes everything and forgets it, as in a new process.
void ResetDatabases();

}  // namespace tervalon::db3

#endif  // DB3_SLOTS_H_
