// The record operations of the open databases.

#include <cstddef>
#include <span>
#include <vector>

#include "appsvc/export_guard.h"
#include "db3/catalogue.h"
#include "db3/report.h"
#include "db3/slots.h"
#include "tervalon/databases.h"

namespace tervalon::db3 {
namespace {

using platform::LockMode;

// What an operation works on, in its turn.
struct Target {
  const DatabaseType& type;
  OpenDatabase& database;
  int32_t number;  // of the record
  std::span<std::byte> structure;
  int32_t flags;

  RecordFile& file() const { return *database.file; }
  // The part of a record's text that the type's fields fill: a marker field stands behind it.
  std::span<char> Fields(std::vector<char>* text) const {
    return std::span(*text).first(type.record_length);
  }
};

using Convert = int32_t (*)(const DatabaseType& type, std::span<const std::byte> structure,
                            std::span<char> text);

int32_t Write(const Target& target, Convert convert, std::vector<char>* text) {
  const TableLock offset_widths(target.database.offset_widths);
  const TableLock members(target.database.members);
  if (!offset_widths || !members) return kMemoryLock;
  return convert(target.type, target.structure, target.Fields(text));
}

int32_t Read(const Target& target) {
  std::vector<char> text(target.file().text_size());
  const Cause cause = target.file().Read(target.number, text);
  if (cause != kSuccess) return cause;
  const TableLock offset_widths(target.database.offset_widths);
  if (!offset_widths) return kMemoryLock;
  return ReadRecord(target.type, target.Fields(&text), target.structure);
}

int32_t Update(const Target& target) {
  std::vector<char> text(target.file().text_size());
  int32_t cause = target.file().Read(target.number, text);
  if (cause == kSuccess) cause = Write(target, UpdateRecord, &text);
  return cause != kSuccess ? cause : target.file().Update(target.number, text);
}

bool MayInsert(const Target& target) {
  const int32_t count = target.file().count();
  if (count == 0) return target.number == 1 && (target.flags & DB3_INSERT_INTO_EMPTY) != 0;
  if (target.number == count + 1) {
    return target.number != DB3_MAX_RECORDS && (target.flags & DB3_INSERT_NO_APPEND) == 0;
  }
  return target.number >= 1 && target.number <= count && target.number != DB3_MAX_RECORDS;
}

int32_t Insert(const Target& target) {
  if (target.file().count() >= DB3_MAX_RECORDS) return kDatabaseFull;
  if (!MayInsert(target)) return kRecordNumber;
  std::vector<char> text(target.file().text_size(), ' ');
  const int32_t cause = Write(target, NewRecord, &text);
  return cause != kSuccess ? cause : target.file().Insert(target.number, text);
}

int32_t Delete(const Target& target) { return target.file().Delete(target.number); }

// By number of DB3HandleRecord.
struct Operation {
  Action action;
  LockMode mode;
  int32_t (*run)(const Target& target);
};
constexpr Operation kOperations[] = {
    {kInvalidAction, LockMode::kShared, nullptr},
    {kReadRecordAction, LockMode::kShared, Read},
    {kUpdateRecordAction, LockMode::kExclusive, Update},
    {kInsertRecordAction, LockMode::kExclusive, Insert},
    {kDeleteRecordAction, LockMode::kExclusive, Delete},
};

int32_t Run(const Operation& operation, const Target& target) {
  const RecordFile::Turn turn(&target.file(), operation.mode);
  const int32_t cause = turn.cause() == kSuccess ? operation.run(target) : int32_t{turn.cause()};
  // A failed read is told as a failed write: callers know no other cause for what the file refuses.
  return cause == kFileRead || cause == kFileOpen ? kFileWrite : cause;
}

int32_t Handle(int32_t type, int32_t operation, int32_t number, void* record, int32_t flags) {
  Slot* slot = FindSlot(type);
  if (slot == nullptr) return kGeneralError;
  const bool known = operation >= DB3_HANDLE_READ && operation <= DB3_HANDLE_DELETE;
  const Operation& row = kOperations[known ? operation : 0];
  SystemFile file = slot->file;
  if (number != 0) file.first_value = number;
  int32_t cause = kGeneralError;
  if (known && slot->database != nullptr) {
    std::span<std::byte> structure = slot->buffer;
    if (record != nullptr) structure = {static_cast<std::byte*>(record), structure.size()};
    const Target target = {*Catalogue(type), *slot->database, file.first_value, structure, flags};
    cause = Guarded(int32_t{kMemoryAllocation}, [&] { return Run(row, target); });
  }
  return slot->report_errors ? Report(type, row.action, cause, file) : cause;
}

int32_t HandleGuarded(int32_t type, int32_t operation, int32_t number, void* record,
                      int32_t flags) {
  return Guarded(int32_t{kMemoryAllocation},
                 [=] { return Handle(type, operation, number, record, flags); });
}

}  // namespace
}  // namespace tervalon::db3

using tervalon::db3::HandleGuarded;

extern "C" int32_t TERVALON_CALL DB3ReadRecord(int32_t type) {
  return HandleGuarded(type, DB3_HANDLE_READ, 0, nullptr, 0);
}

extern "C" int32_t TERVALON_CALL DB3UpdateRecord(int32_t type) {
  return HandleGuarded(type, DB3_HANDLE_UPDATE, 0, nullptr, 0);
}

extern "C" int32_t TERVALON_CALL DB3InsertRecord(int32_t type, int32_t flags) {
  return HandleGuarded(type, DB3_HANDLE_INSERT, 0, nullptr, flags);
}

extern "C" int32_t TERVALON_CALL DB3DeleteRecord(int32_t type) {
  return HandleGuarded(type, DB3_HANDLE_DELETE, 0, nullptr, 0);
}

extern "C" int32_t TERVALON_CALL DB3HandleRecord(int32_t type, int32_t operation, int32_t number,
                                                 void* record, int32_t flags) {
  return HandleGuarded(type, operation, number, record, flags);
}
