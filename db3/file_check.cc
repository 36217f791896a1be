// Finding out what is wrong with a database file, and mending it.

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "appsvc/export_guard.h"
#include "db3/catalogue.h"
#include "db3/file_bytes.h"
#include "db3/record_file.h"
#include "db3/slots.h"
#include "db3/undo_journal.h"
#include "platform/file_change.h"
#include "tervalon/databases.h"

namespace tervalon::db3 {
namespace {

using platform::File;
using platform::Files;
using platform::LockMode;
using platform::OpenMode;

constexpr size_t kLongestHeader = 1 << 16;

// What a file is like, and is to become. Records stay where they are.
struct Condition {
  std::vector<std::string> findings;
  bool to_mend = false;  // there are findings that a repair has to do with
  Cause cause = kSuccess;
  bool half_done = false;  // a change was cut short
  RecordHeader header;     // as it is to be
  uint64_t end = 0;        // of the file, without a journal
  std::vector<uint32_t> wrong_marks;

  void Find(std::string_view finding) {
    findings.emplace_back(finding);
    to_mend = true;
  }
  void Damage(std::string_view finding) {
    Find(finding);
    if (cause == kSuccess) cause = kInvalidFormat;
  }
};

std::string Count(uint64_t count, const char* one, const char* more) {
  return std::to_string(count) + " " + (count == 1 ? one : more);
}

// The type asked for, or all.
std::vector<const DatabaseType*> TypesOf(int32_t type) {
  std::vector<const DatabaseType*> types;
  for (int32_t each = 0; each < kDatabaseTypes; ++each) {
    if (type == DB3_ANY_TYPE || type == each) types.push_back(Catalogue(each));
  }
  return types;
}

bool HasFieldsOfAny(const std::vector<FieldDescriptor>& fields, int32_t type) {
  const auto types = TypesOf(type);
  return std::ranges::any_of(types,
                             [&](const DatabaseType* each) { return HasFields(fields, *each); });
}

// The header of the type whose descriptors most resemble those that are there: more than half
// have to be the same.
bool HeaderOfType(std::span<const uint8_t> bytes, int32_t type, RecordHeader* header) {
  size_t most = 0;
  for (const DatabaseType* each : TypesOf(type)) {
    RecordHeader candidate;
    if (!MakeHeader(each->fields, &candidate) || candidate.bytes.size() > bytes.size()) continue;
    size_t same = 0;
    for (size_t at = kHeaderStart; at + 1 < candidate.bytes.size(); at += kHeaderStart) {
      same += std::equal(&candidate.bytes[at], &candidate.bytes[at] + kHeaderStart, &bytes[at]);
    }
    if (2 * same <= each->fields.size() || same <= most) continue;
    most = same;
    *header = std::move(candidate);
    uint32_t stored = 0;
    std::memcpy(&stored, &bytes[kCountOffset], sizeof(stored));
    header->stored = stored;
  }
  return most > 0;
}

void InspectHeader(std::span<const uint8_t> bytes, int32_t type, Condition* condition) {
  RecordHeader& header = condition->header;
  const size_t size = bytes.size() < kHeaderStart ? 0 : HeaderSize(bytes.first<kHeaderStart>());
  const bool sound =
      size > 0 && size <= bytes.size() &&
      DecodeHeader({bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)}, &header);
  if (!sound) {
    header = {};
    condition->Damage("the header is wrong");
    const bool long_enough = bytes.size() >= kHeaderStart;
    if (long_enough && MendHeader(bytes, &header)) {
      condition->Find("  its field descriptors are right: its numbers follow from them");
    } else if (header = {}; long_enough && HeaderOfType(bytes, type, &header)) {
      condition->Find("  its field descriptors resemble those of a database type");
    } else {
      header = {};
      return;
    }
  }
  if (!HasFieldsOfAny(header.fields, type)) {
    condition->Find(type == DB3_ANY_TYPE ? "the fields are those of no database type"
                                         : "the fields are not those of the type");
    condition->cause = kRecordStructure;
  }
}

// Counts the records that there are, and looks at their marks.
Cause InspectRecords(File* file, Condition* condition) {
  RecordHeader& header = condition->header;
  const uint32_t told = header.stored;
  const uint64_t room = condition->end - std::min<uint64_t>(condition->end, header.OffsetOf(0));
  const auto whole = static_cast<uint32_t>(room / header.record_size);
  uint32_t place = 0;
  uint8_t mark = kEndMark;
  for (; place < whole; ++place) {
    if (!ReadWhole(file, header.OffsetOf(place), &mark, 1)) return kFileRead;
    const bool right = mark == kLiveMark || mark == kDeletedMark;
    // Behind what the header counts, only records count; before, only where it counts too many
    // can one be an end mark.
    if (!right && (place >= told || (told > whole && mark == kEndMark))) break;
    if (!right) condition->wrong_marks.push_back(place);
  }
  const uint64_t rest = condition->end - std::min(condition->end, header.OffsetOf(place));
  if (place < told) {
    condition->Damage("the header counts " + Count(told, "record", "records") + ", there are " +
                      std::to_string(place));
    if (rest > 0 && !ReadWhole(file, header.OffsetOf(place), &mark, 1)) return kFileRead;
    if (place == whole && rest > 1 && mark != kEndMark) {
      condition->Find("  behind them, " + Count(rest, "byte", "bytes") + " of one that is cut off");
      if (mark != kLiveMark && mark != kDeletedMark) condition->wrong_marks.push_back(place);
      ++place;
    }
  } else if (place > told) {
    // What follows has to be the end, or it may be anything.
    mark = kEndMark;
    if (rest > 0 && !ReadWhole(file, header.OffsetOf(place), &mark, 1)) return kFileRead;
    if (mark == kEndMark) {
      condition->Find(Count(place - told, "record", "records") +
                      " behind those that the header counts");
    } else {
      place = told;
    }
  }
  if (!condition->wrong_marks.empty()) {
    condition->Damage(Count(condition->wrong_marks.size(), "record", "records") +
                      " without a right mark, the first at place " +
                      std::to_string(condition->wrong_marks[0] + 1));
  }
  header.stored = place;
  return kSuccess;
}

Cause InspectEnd(File* file, Condition* condition) {
  const uint64_t records_end = condition->header.OffsetOf(condition->header.stored);
  if (condition->end < records_end) return kSuccess;  // the last record is cut off
  uint8_t mark = 0;
  if (condition->end > records_end && !ReadWhole(file, records_end, &mark, 1)) return kFileRead;
  if (mark != kEndMark) condition->Find("there is no end mark");
  const uint64_t more = condition->end - records_end;
  if (more > 1) condition->Find(Count(more - 1, "byte", "bytes") + " behind the end");
  return kSuccess;
}

bool Reads(const FieldDescriptor& field, std::span<const uint8_t> text) {
  const char* const allowed = field.type == 'N'   ? " +-.0123456789eE*infa"
                              : field.type == 'L' ? " TtFfYyNn?"
                                                  : nullptr;
  return allowed == nullptr || std::ranges::all_of(text, [&](uint8_t c) {
           return c != '\0' && std::strchr(allowed, c) != nullptr;
         });
}

Cause InspectFields(File* file, Condition* condition) {
  const RecordHeader& header = condition->header;
  std::vector<uint8_t> record(header.record_size);
  uint32_t wrong = 0;
  std::string first;
  for (uint32_t place = 0; place < header.stored; ++place) {
    if (header.OffsetOf(place + 1) > condition->end) break;
    if (!ReadWhole(file, header.OffsetOf(place), record.data(), record.size())) return kFileRead;
    size_t offset = 1;
    for (const FieldDescriptor& field : header.fields) {
      const auto text = std::span(record).subspan(offset, field.width);
      offset += field.width;
      if (Reads(field, text)) continue;
      if (wrong++ == 0) first = std::string(field.name) + " at place " + std::to_string(place + 1);
    }
  }
  if (wrong > 0) {
    condition->findings.push_back(Count(wrong, "field", "fields") +
                                  " with something else than its type, the first " + first +
                                  "; a repair leaves that");
  }
  return kSuccess;
}

Cause Inspect(File* file, int32_t type, Condition* condition) {
  *condition = {};
  std::vector<uint8_t> bytes(kLongestHeader);
  size_t read = 0;
  uint64_t size = 0;
  if (!file->ReadAt(0, bytes.data(), bytes.size(), &read) ||
      !UndoJournal::EndWithout(file, &condition->end, &size)) {
    return kFileRead;
  }
  bytes.resize(static_cast<size_t>(std::min<uint64_t>(read, condition->end)));
  if (bytes.size() > kPendingOffset && bytes[kPendingOffset] == kPending) {
    CopyBuffer buffer;
    bool whole = false;
    if (!UndoJournal::Look(file, &buffer, &whole)) return kFileRead;
    condition->half_done = true;
    if (whole) {
      condition->Find("a change was cut short; whoever opens the file takes it back");
      return kSuccess;
    }
    condition->Damage("a change was cut short and cannot be taken back");
  }
  InspectHeader(bytes, type, condition);
  if (condition->header.fields.empty()) return kSuccess;
  for (const auto inspect : {InspectRecords, InspectEnd, InspectFields}) {
    const Cause cause = inspect(file, condition);
    if (cause != kSuccess) return cause;
  }
  return kSuccess;
}

// Opens and locks a file.
Cause OpenFor(const std::string& path, OpenMode mode, LockMode lock, std::unique_ptr<File>* file) {
  bool absent = false;
  *file = Files().Open(path, mode, &absent);
  if (*file == nullptr) return absent ? kFileMissing : kFileOpen;
  return (*file)->Lock(lock, platform::kLockWait) ? kSuccess : kFileRead;
}

void InspectBeside(const std::string& path, Condition* condition) {
  if (Files().Status(path + ".lock") == platform::PathStatus::kFile) {
    condition->Find("beside it, a lock of a program that replaces the file or was killed doing so");
  }
}

Cause CheckFile(int32_t type, const std::string& path, Condition* condition) {
  std::unique_ptr<File> file;
  Cause cause = OpenFor(path, OpenMode::kRead, LockMode::kShared, &file);
  if (cause == kSuccess) cause = Inspect(file.get(), type, condition);
  if (cause != kSuccess) return cause;
  InspectBeside(path, condition);
  return condition->cause;
}

// Copies the file to a name that is free. Empty when it cannot.
std::string KeepCopy(File* file, const std::string& path) {
  uint64_t size = 0;
  CopyBuffer buffer;
  if (!file->Size(&size)) return {};
  std::string name = platform::FreeName(path + ".old");
  if (name.empty()) return {};
  std::unique_ptr<File> copy = Files().Open(name, OpenMode::kCreateNew);
  if (copy == nullptr) return {};
  if (CopyBytes(file, 0, size, copy.get(), 0, &buffer) && copy->Sync() && copy->Close()) {
    return name;
  }
  copy = nullptr;
  Files().Remove(name);
  return {};
}

// Makes the file what its condition says.
bool Mend(File* file, const Condition& condition) {
  const RecordHeader& header = condition.header;
  const auto write = [file](uint64_t offset, std::span<const uint8_t> bytes) {
    return WriteWhole(file, offset, bytes);
  };
  const uint64_t records_end = header.OffsetOf(header.stored);
  if (condition.end < records_end) {
    const std::vector<uint8_t> blanks(static_cast<size_t>(records_end - condition.end), ' ');
    if (!write(condition.end, blanks)) return false;
  }
  for (const uint32_t place : condition.wrong_marks) {
    if (!write(header.OffsetOf(place), {&kLiveMark, 1})) return false;
  }
  std::vector<uint8_t> bytes = header.bytes;
  const HeaderStart start = header.StartWith(Today(), header.stored);
  std::copy(start.begin(), start.end(), bytes.begin());
  return write(records_end, {&kEndMark, 1}) && write(0, bytes) && file->Resize(records_end + 1) &&
         file->Sync();
}

Cause RepairFile(int32_t type, const std::string& path, Condition* condition) {
  // Finishes what a killed program left beside, and keeps others from replacing the file.
  const std::unique_ptr<platform::ChangeLock> lock = platform::ChangeLock::Take(path);
  if (lock == nullptr) return kFileWrite;
  std::unique_ptr<File> file;
  Cause cause = OpenFor(path, OpenMode::kReadWrite, LockMode::kExclusive, &file);
  if (cause == kSuccess) cause = Inspect(file.get(), type, condition);
  if (cause != kSuccess || !condition->to_mend) return cause;
  std::vector<std::string> findings = condition->findings;
  const auto mendable = [condition] {
    return !condition->header.fields.empty() && condition->cause != kRecordStructure;
  };
  if (!condition->half_done && !mendable()) return condition->cause;

  const std::string copy = KeepCopy(file.get(), path);
  if (copy.empty()) return kFileCreation;
  if (condition->half_done) {
    CopyBuffer buffer;
    bool kept = false;
    if (!UndoJournal::TakeBack(file.get(), &buffer, &kept)) return kFileWrite;
    cause = Inspect(file.get(), type, condition);
    if (cause != kSuccess) return cause;
  }
  if (!mendable()) return condition->cause;
  if (!Mend(file.get(), *condition)) return kFileWrite;
  findings.push_back("mended; " + Count(condition->header.stored, "record", "records") +
                     ". The file as it was is " + copy.substr(copy.find_last_of("\\/") + 1));
  condition->findings = std::move(findings);
  return kSuccess;
}

// As many lines as there is room for.
void Tell(const std::vector<std::string>& findings, char* out, int32_t size) {
  if (out == nullptr || size <= 0) return;
  std::string text;
  for (const std::string& finding : findings) {
    if (text.size() + finding.size() + 1 >= static_cast<size_t>(size)) break;
    text += finding + "\n";
  }
  std::memcpy(out, text.c_str(), text.size() + 1);
}

int32_t Run(Cause (*work)(int32_t type, const std::string& path, Condition* condition),
            int32_t type, const char* path, char* findings, int32_t size) {
  if (findings != nullptr && size > 0) findings[0] = '\0';
  if (path == nullptr || (type != DB3_ANY_TYPE && Catalogue(type) == nullptr)) {
    return kGeneralError;
  }
  return Guarded(int32_t{kMemoryAllocation}, [=] {
    Condition condition;
    const Cause cause = work(type, FromRoot(path), &condition);
    Tell(condition.findings, findings, size);
    return int32_t{cause};
  });
}

}  // namespace
}  // namespace tervalon::db3

namespace db3 = tervalon::db3;

extern "C" int32_t TERVALON_CALL DB3CheckFile(int32_t type, const char* path, char* findings,
                                              int32_t size) {
  return db3::Run(db3::CheckFile, type, path, findings, size);
}

extern "C" int32_t TERVALON_CALL DB3RepairFile(int32_t type, const char* path, char* findings,
                                               int32_t size) {
  return db3::Run(db3::RepairFile, type, path, findings, size);
}
