// Opening, creating and closing databases, and what a type remembers.

#include "tervalon/databases.h"

#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "appsvc/export_guard.h"
#include "db3/catalogue.h"
#include "db3/report.h"
#include "db3/slots.h"
#include "platform/file_system.h"
#include "platform/text.h"
#include "settings/path_text.h"
#include "settings/system_file.h"
#include "tervalon/paths.h"

namespace tervalon::db3 {
namespace {

using platform::Files;
using platform::PathStatus;

constexpr int32_t kOperationMask = 0x0F;
constexpr FieldDescriptor kMarker = {"ENCRYPT", 'C', 1, 0};

// A request to DB3Open.
struct Request {
  int32_t type;
  Slot& slot;
  bool named;
  bool name_fits;
  bool marked;
  OpenPlace* place;  // of an opening
  SystemFile file;   // what the slot is to have
  std::string path;  // of that file

  const DatabaseType& row() const { return *Catalogue(type); }
};

// What a mode needs before there is a path.

Cause MayOpen(const Request& request) { return request.place->Take(); }

Cause MayCreate(const Request& request) {
  return request.slot.database != nullptr ? kAlreadyOpen : MayOpenAnother();
}

Cause MayDelete(const Request& request) {
  const bool names_open_file =
      request.slot.database != nullptr &&
      (!request.named || platform::EqualWithoutCase(settings::FieldText(request.file.name),
                                                    settings::FieldText(request.slot.file.name)));
  return names_open_file ? kAlreadyOpen : kSuccess;
}

Cause MayAlways(const Request& /*request*/) { return kSuccess; }

Cause Open(const Request& request) {
  // The path of an empty name can be that of a directory, or none.
  const bool nameless = request.file.name[0] == '\0';
  if (nameless && Files().Status(request.path) != PathStatus::kFile) return kFileMissing;
  std::unique_ptr<OpenDatabase> database;
  const Cause cause = OpenAs(request.row(), request.path, &database);
  if (cause != kSuccess) return cause;
  request.place->Keep(database->file->path());
  request.slot.database = std::move(database);
  return kSuccess;
}

Cause Create(const Request& request) {
  if (IsOpenAt(request.path)) return kAlreadyOpen;
  const DatabaseType& row = request.row();
  std::vector<FieldDescriptor> fields(row.fields.begin(), row.fields.end());
  if (request.marked) fields.push_back(kMarker);
  return RecordFile::Create(request.path, fields);
}

Cause Delete(const Request& request) {
  if (IsOpenAt(request.path)) return kAlreadyOpen;
  return Files().Remove(request.path) ? kSuccess : kFileDeletion;
}

Cause CheckExistence(const Request& request) {
  return Files().Status(request.path) == PathStatus::kFile ? kSuccess : kFileMissing;
}

Cause Refuse(const Request& /*request*/) { return kGeneralError; }

// By mode. Whether a file is open is answered without these.
struct Operation {
  Action action;
  Cause (*may)(const Request& request);
  Cause (*run)(const Request& request);
};
constexpr Operation kOperations[] = {
    {kOpenAction, MayOpen, Open},
    {kOpenAction, MayOpen, Open},
    {kCreateAction, MayCreate, Create},
    {kDeleteAction, MayDelete, Delete},
    {kCheckExistenceAction, MayAlways, CheckExistence},
};
constexpr Operation kInvalid = {kInvalidAction, Refuse, Refuse};

// Composes the path. False when it is too long, or the global store, which puts texts between
// commas, cannot keep the file.
bool Locate(Request* request) {
  char path[TV_PATH_SIZE];
  const SystemFile& file = request->file;
  std::string kept;
  if (!request->name_fits ||
      CreatePathName(file.name, file.directory, file.extension, path, sizeof(path)) == 0 ||
      !settings::Format(file, &kept)) {
    return false;
  }
  request->path = path;
  return true;
}

Cause Run(const Operation& operation, const SystemFile& before, Request* request) {
  OpenPlace place(request->type);
  request->place = &place;
  Cause cause = operation.may(*request);
  if (cause != kSuccess) return cause;
  if (!Locate(request)) return kGeneralError;
  Slot& slot = request->slot;
  if (slot.database != nullptr) return operation.run(*request);
  // What the store does not take is not done.
  if (!KeepFile(request->row(), request->file)) return kGeneralError;
  cause = operation.run(*request);
  if (cause == kSuccess) {
    slot.file = request->file;
  } else {
    PutFile(request->row(), before);
  }
  return cause;
}

int32_t OpenMode(int32_t type, const char* name, int32_t mode) {
  Slot* slot = FindSlot(type);
  if (slot == nullptr) return kGeneralError;
  const auto index = static_cast<size_t>(mode & kOperationMask);
  if (index == DB3_MODE_IS_OPEN) return slot->database != nullptr ? kAlreadyOpen : kNotOpen;

  Request request = {.type = type,
                     .slot = *slot,
                     .named = name != nullptr,
                     .name_fits = true,
                     .marked = (mode & DB3_MODE_ENCRYPT) != 0,
                     .place = nullptr,
                     .file = slot->file,
                     .path = {}};
  FetchFile(request.row(), &request.file);
  const SystemFile before = request.file;
  if (name != nullptr) {
    request.name_fits = settings::CopyCut(name, request.file.name, sizeof(request.file.name));
  }
  const Operation& operation = index < std::size(kOperations) ? kOperations[index] : kInvalid;
  const int32_t cause = Guarded(int32_t{kMemoryAllocation},
                                [&] { return int32_t{Run(operation, before, &request)}; });
  return slot->report_errors ? Report(type, operation.action, cause, request.file) : cause;
}

int32_t Close(int32_t type) {
  Slot* slot = FindSlot(type);
  if (slot == nullptr) return kGeneralError;
  Cause cause = kGeneralError;
  if (const std::unique_ptr<OpenDatabase> database = std::move(slot->database)) {
    cause = database->file->Close();
    const bool freed_offsets = database->offset_widths.Free();
    const bool freed_members = database->members.Free();
    if (cause == kSuccess && !(freed_offsets && freed_members)) cause = kMemoryFree;
    GiveBackPlace(type);
  }
  return slot->report_errors ? Report(type, kCloseAction, cause, slot->file) : cause;
}

// 0 where none is open, and what was last known where the file does not answer.
int32_t Count(int32_t type) {
  const Slot* slot = FindSlot(type);
  if (slot == nullptr || slot->database == nullptr) return 0;
  RecordFile* const file = slot->database->file.get();
  return Guarded(file->count(), [file] {
    const RecordFile::Turn turn(file, platform::LockMode::kShared);
    return file->count();
  });
}

int32_t SetCurrentRecord(int32_t type, int32_t number) {
  Slot* slot = FindSlot(type);
  if (slot == nullptr) return kGeneralError;
  if (number < 1 || number > Count(type) + 1) return kRecordNumber;
  SystemFile file = slot->file;
  file.first_value = number;
  if (!KeepFile(*Catalogue(type), file)) return kGeneralError;
  slot->file = file;
  return kSuccess;
}

TvMemory TableOf(int32_t type, MemoryTable OpenDatabase::*table) {
  const Slot* slot = FindSlot(type);
  const bool open = slot != nullptr && slot->database != nullptr;
  return open ? ((*slot->database).*table).block() : nullptr;
}

}  // namespace
}  // namespace tervalon::db3

using tervalon::Guarded;
namespace db3 = tervalon::db3;

extern "C" int32_t TERVALON_CALL DB3Open(int32_t type, const char* name, int32_t mode) {
  return Guarded(int32_t{DB3_MEMORY_ALLOCATION}, [=] { return db3::OpenMode(type, name, mode); });
}

extern "C" int32_t TERVALON_CALL DB3Close(int32_t type) {
  return Guarded(int32_t{DB3_MEMORY_ALLOCATION}, [=] { return db3::Close(type); });
}

extern "C" int32_t TERVALON_CALL DB3GetRecordsInDB(int32_t type) {
  return Guarded(0, [=] { return db3::Count(type); });
}

extern "C" int32_t TERVALON_CALL DB3GetCurrentRecordNum(int32_t type) {
  return Guarded(0, [=] {
    const db3::Slot* slot = db3::FindSlot(type);
    return slot != nullptr ? slot->file.first_value : 0;
  });
}

extern "C" int32_t TERVALON_CALL DB3SetCurrentRecordNum(int32_t type, int32_t number) {
  return Guarded(int32_t{DB3_GENERAL_ERROR}, [=] { return db3::SetCurrentRecord(type, number); });
}

extern "C" void* TERVALON_CALL DB3GetCurrentBuffer(int32_t type) {
  return Guarded(static_cast<void*>(nullptr), [=]() -> void* {
    db3::Slot* slot = db3::FindSlot(type);
    return slot != nullptr ? slot->buffer.data() : nullptr;
  });
}

extern "C" int32_t TERVALON_CALL DB3SetCurrentBuffer(int32_t type, const void* record) {
  return Guarded(int32_t{DB3_GENERAL_ERROR}, [=] {
    db3::Slot* slot = db3::FindSlot(type);
    if (slot == nullptr || record == nullptr) return DB3_GENERAL_ERROR;
    std::memmove(slot->buffer.data(), record, slot->buffer.size());
    return DB3_SUCCESS;
  });
}

extern "C" int32_t TERVALON_CALL DB3GetCurrentFileVersionNum(int32_t type) {
  const db3::DatabaseType* row = db3::Catalogue(type);
  return row != nullptr ? row->version : 0;
}

extern "C" TvMemory TERVALON_CALL DB3GetFieldOffsetWidthHandle(int32_t type) {
  return Guarded(TvMemory{}, [=] { return db3::TableOf(type, &db3::OpenDatabase::offset_widths); });
}

extern "C" TvMemory TERVALON_CALL DB3GetRecordStructureHandle(int32_t type) {
  return Guarded(TvMemory{}, [=] { return db3::TableOf(type, &db3::OpenDatabase::members); });
}

extern "C" int32_t TERVALON_CALL DB3GetIniGlobals(int32_t type) {
  return Guarded(1, [=] {
    db3::Slot* slot = db3::FindSlot(type);
    return slot != nullptr && db3::FetchFile(*db3::Catalogue(type), &slot->file) ? 0 : 1;
  });
}

extern "C" int32_t TERVALON_CALL DB3SetIniGlobals(int32_t type) {
  return Guarded(int32_t{DB3_GENERAL_ERROR}, [=] {
    const db3::Slot* slot = db3::FindSlot(type);
    const bool kept = slot != nullptr && db3::KeepFile(*db3::Catalogue(type), slot->file);
    return kept ? DB3_SUCCESS : DB3_GENERAL_ERROR;
  });
}

extern "C" int32_t TERVALON_CALL DB3SetReportErrors(int32_t type, int32_t report) {
  return Guarded(0, [=] {
    db3::Slot* slot = db3::FindSlot(type);
    return slot != nullptr && std::exchange(slot->report_errors, report != 0) ? 1 : 0;
  });
}
