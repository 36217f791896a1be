#include <algorithm>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "db3/catalogue.h"
#include "db3/undo_journal.h"
#include "fuzz/targets.h"
#include "tervalon/data_handles.h"
#include "tervalon/database_descriptor.h"
#include "tervalon/database_fields.h"
#include "tervalon/databases.h"

namespace tervalon::fuzz {
namespace {

constexpr const char kFile[] = "\\w\\D.DBF";
constexpr const char* kPaths[] = {kFile, "TERVALON.INI", "D.DBF.old", "D.DBF.lock",
                                  "D.DBF.0123456789abcdef.tmp"};
constexpr int32_t kMostRecords = 40;

using Record = std::vector<uint8_t>;

// A change cut short, whose journal is right but for what it says.
void LeaveJournal(Options* options) {
  const auto file = platform::Files().Open(kFile, platform::OpenMode::kReadWrite);
  uint64_t size = 0;
  if (file == nullptr || !file->Size(&size)) return;
  const uint64_t begin = options->Take<uint16_t>();
  const db3::Range range = {begin, begin + options->Take<uint16_t>()};
  db3::HeaderStart start = {};
  size_t read = 0;
  file->ReadAt(0, start.data(), start.size(), &read);
  if (options->Pick(2) != 0) {
    const auto bytes = options->TakeBytes(start.size());
    std::copy(bytes.begin(), bytes.end(), start.begin());
  }
  db3::CopyBuffer buffer;
  const uint64_t at = options->Pick(2) != 0 ? size : options->Take<uint16_t>();
  if (range.end > size ||
      !db3::UndoJournal::Keep(file.get(), range, {}, start, {at, size}, &buffer))
    return;
  size_t written = 0;
  file->WriteAt(db3::kPendingOffset, &db3::kPending, 1, &written);
  for (int i = options->Pick(4); i > 0; --i) {
    const auto byte = options->Take<uint8_t>();
    file->WriteAt(options->Take<uint16_t>() % size, &byte, 1, &written);
  }
}

int32_t Check(int32_t type, std::string* findings) {
  findings->assign(4096, 'x');
  const int32_t cause = DB3CheckFile(type, kFile, findings->data(), 4096);
  FUZZ_CHECK(findings->find('\0') != std::string::npos);
  findings->resize(findings->find('\0'));
  return cause;
}

// Whether there is nothing that a repair would have to do with: it leaves other programs' fields
// and files that are not the library's.
bool IsMended(const std::string& findings) {
  size_t at = 0;
  for (size_t end = 0; (end = findings.find('\n', at)) != std::string::npos; at = end + 1) {
    const std::string line = findings.substr(at, end - at);
    if (!line.ends_with("; a repair leaves that") && !line.starts_with("beside it")) return false;
  }
  return true;
}

// Which of the types opens the file.
std::optional<int32_t> OpenAny(int32_t first) {
  for (int32_t i = 0; i < DB3_TYPES; ++i) {
    const int32_t type = (first + i) % DB3_TYPES;
    const int32_t cause = DB3Open(type, kFile, DB3_MODE_OPEN);
    if (cause == DB3_SUCCESS) return type;
    if (cause != DB3_RECORD_STRUCTURE) return {};
  }
  return {};
}

class OpenedDatabase {
 public:
  explicit OpenedDatabase(int32_t type) : type_(type) {}

  Record Read(int32_t number) const {
    Record record(db3::Catalogue(type_)->structure_size);
    FUZZ_CHECK(DB3HandleRecord(type_, DB3_HANDLE_READ, number, record.data(), 0) == DB3_SUCCESS);
    return record;
  }

  std::vector<Record> ReadAll() const {
    std::vector<Record> records;
    for (int32_t i = 1; i <= std::min(count(), kMostRecords); ++i) records.push_back(Read(i));
    return records;
  }

  int32_t count() const { return DB3GetRecordsInDB(type_); }

  // A change does what it says, and nothing to the other records.
  void Change(Options* options) {
    std::vector<Record> records = ReadAll();
    const int32_t before = count();
    const int32_t number = 1 + options->Pick(8);
    Record record(db3::Catalogue(type_)->structure_size);
    if (number <= before) record = Read(number);
    const auto bytes = options->TakeBytes(options->Take<uint8_t>());
    std::copy_n(bytes.begin(), std::min(bytes.size(), record.size()), record.begin());
    const int32_t operation = DB3_HANDLE_UPDATE + options->Pick(3);
    const int32_t cause = DB3HandleRecord(type_, operation, number, record.data(),
                                          DB3_INSERT_INTO_EMPTY | options->Pick(2) * 4);
    const auto at = static_cast<size_t>(number - 1);
    if (cause == DB3_SUCCESS) {
      const auto place = records.begin() + static_cast<ptrdiff_t>(std::min(at, records.size()));
      // What was written need not read as it was given: numbers have the field's decimals.
      if (operation == DB3_HANDLE_UPDATE && at < records.size()) *place = Read(number);
      if (operation == DB3_HANDLE_INSERT) records.insert(place, Read(number));
      if (operation == DB3_HANDLE_DELETE && at < records.size()) records.erase(place);
    }
    const int32_t grown = cause != DB3_SUCCESS             ? 0
                          : operation == DB3_HANDLE_INSERT ? 1
                          : operation == DB3_HANDLE_DELETE ? -1
                                                           : 0;
    FUZZ_CHECK(count() == before + grown);
    const std::vector<Record> now = ReadAll();
    const size_t known = std::min(records.size(), now.size());
    FUZZ_CHECK(
        std::equal(now.begin(), now.begin() + static_cast<ptrdiff_t>(known), records.begin()));
  }

 private:
  int32_t type_;
};

void ReadThroughHandle(int32_t type, Options* options) {
  DmDatabaseDescriptor descriptor = {};
  std::strcpy(descriptor.path, kFile);
  descriptor.type = type;
  descriptor.fields[0] = static_cast<int16_t>(options->Pick(2) != 0 ? 0 : options->Take<int16_t>());
  const uint32_t size = DmDB3ItemSize(&descriptor, 0);
  const int32_t handle = DmGetHandle(DM_TYPE_DATABASE, sizeof(descriptor), &descriptor, 1, size, 0);
  if (handle == 0) return;
  const int32_t again = DmGetHandle(DM_TYPE_DATABASE, sizeof(descriptor), &descriptor, 1, size, 0);
  FUZZ_CHECK(again == 0 || again == handle);
  if (again != 0) DmReleaseHandle(again, 0);
  DmGetData(handle, 1, static_cast<int32_t>(std::min(descriptor.element_count, 100u)), 0);
  DmGetData(handle, options->Take<uint32_t>(), options->Take<int32_t>(), 0);
  DmReleaseHandle(handle, 0);
}

// Operations on the current record, with the slot's own structure.
void UseCurrent(int32_t type, Options* options) {
  const int32_t before = DB3GetRecordsInDB(type);
  DB3SetCurrentRecordNum(type, options->Pick(8));
  const int32_t read = DB3ReadRecord(type);
  if (options->Pick(4) == 0)
    FUZZ_CHECK(DB3UpdateRecord(type) != DB3_SUCCESS || read == DB3_SUCCESS);
  FUZZ_CHECK(DB3GetRecordsInDB(type) == before);
  if (options->Pick(4) == 0 && DB3InsertRecord(type, DB3_INSERT_INTO_EMPTY) == DB3_SUCCESS) {
    FUZZ_CHECK(DB3GetRecordsInDB(type) == before + 1);
    FUZZ_CHECK(DB3DeleteRecord(type) == DB3_SUCCESS);
    FUZZ_CHECK(DB3GetRecordsInDB(type) == before);
  }
}

// A new file has the type's fields, one after the other.
void CreateAndDescribe(int32_t type) {
  constexpr char kNew[] = "\\w\\NEW.DBF";
  FUZZ_CHECK(DB3Open(type, kNew, DB3_MODE_CREATE) == DB3_SUCCESS);
  FUZZ_CHECK(DB3CheckFile(type, kNew, nullptr, 0) == DB3_SUCCESS);
  const int32_t count = DB3GetFields(type, nullptr, 0);
  std::vector<DB3FieldDescriptor> fields(static_cast<size_t>(count));
  std::vector<DB3FieldOffsetWidth> places(fields.size());
  FUZZ_CHECK(DB3GetFields(type, fields.data(), count) == count);
  FUZZ_CHECK(DB3SetFieldOffsetWidths(places.data(), fields.data(), count) == DB3_SUCCESS);
  FUZZ_CHECK(places[0].offset == 0 && DB3GetTitle(type) != nullptr);
}

void RunDatabase(Options* options, MemoryFileSystem* files) {
  if (options->Pick(2) != 0) LeaveJournal(options);
  const Bytes given = files->Get(kFile);
  std::string findings;
  const int32_t first = options->Pick(DB3_TYPES);
  const int32_t checked = Check(options->Pick(2) != 0 ? first : DB3_ANY_TYPE, &findings);
  FUZZ_CHECK(files->Get(kFile) == given);
  const bool sound = checked == DB3_SUCCESS && findings.empty();

  if (const std::optional<int32_t> type = OpenAny(first); type.has_value()) {
    FUZZ_CHECK(checked == DB3_SUCCESS || checked == DB3_RECORD_STRUCTURE ||
               checked == DB3_INVALID_FORMAT);
    OpenedDatabase database(*type);
    database.ReadAll();
    ReadThroughHandle(*type, options);
    UseCurrent(*type, options);
    for (int i = options->Pick(8); i > 0; --i) database.Change(options);
    FUZZ_CHECK(DB3Close(*type) == DB3_SUCCESS);
    const int32_t after = Check(*type, &findings);
    if (sound) FUZZ_CHECK(after == DB3_SUCCESS && findings.empty());
  } else {
    FUZZ_CHECK(checked != DB3_SUCCESS || findings.find('\n') != std::string::npos);
  }

  findings.assign(4096, 'x');
  const int32_t wanted = options->Pick(2) != 0 ? first : DB3_ANY_TYPE;
  if (DB3RepairFile(wanted, kFile, findings.data(), 4096) == DB3_SUCCESS) {
    FUZZ_CHECK(Check(wanted, &findings) == DB3_SUCCESS && IsMended(findings));
    const std::optional<int32_t> type = OpenAny(first);
    FUZZ_CHECK(type.has_value());
    OpenedDatabase(*type).ReadAll();
    FUZZ_CHECK(DB3Close(*type) == DB3_SUCCESS);
  }
  if (options->Pick(4) == 3) CreateAndDescribe(first);
}

}  // namespace

const Target kDatabase = {"database", kPaths, RunDatabase};

}  // namespace tervalon::fuzz
