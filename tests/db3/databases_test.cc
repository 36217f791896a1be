#include "tervalon/databases.h"

#include <gmock/gmock.h>

#include <cstring>
#include <string>
#include <vector>

#include "db3/catalogue.h"
#include "db3/record_file.h"
#include "db3/slots.h"
#include "tervalon/database_fields.h"
#include "tervalon/database_records.h"
#include "tervalon/memory.h"
#include "tests/support/fault_services.h"
#include "tests/support/settings_fixture.h"

namespace tervalon::db3 {
namespace {

using ::testing::EndsWith;
using testing::FaultyFileSystem;
using testing::FileCall;
using ::testing::HasSubstr;

class DatabasesTest : public testing::SettingsFixture {
 protected:
  ~DatabasesTest() override { ResetDatabases(); }

  std::string Path(const std::string& name = "") { return directory_.Path(name); }
  int32_t Open(int32_t type, const std::string& name, int32_t mode = DB3_MODE_OPEN) {
    return DB3Open(type, Path(name).c_str(), mode);
  }
  void CreateAndOpen(int32_t type, const std::string& name) {
    ASSERT_EQ(Open(type, name, DB3_MODE_CREATE), DB3_SUCCESS);
    ASSERT_EQ(Open(type, name), DB3_SUCCESS);
  }

  // Record operations on type 9, whose structure is two doubles.
  int32_t Insert(int32_t number, double mass) {
    DB3PepElement record = {mass, -mass};
    const int32_t flags = DB3GetRecordsInDB(9) == 0 ? DB3_INSERT_INTO_EMPTY : 0;
    return DB3HandleRecord(9, DB3_HANDLE_INSERT, number, &record, flags);
  }
  std::vector<double> Masses() {
    std::vector<double> masses;
    for (int32_t number = 1; number <= DB3GetRecordsInDB(9); ++number) {
      DB3PepElement record = {};
      EXPECT_EQ(DB3HandleRecord(9, DB3_HANDLE_READ, number, &record, 0), DB3_SUCCESS);
      masses.push_back(record.average_mass);
    }
    return masses;
  }

  // A file of type 9 with blank records.
  void MakeLong(const std::string& name, uint32_t count) {
    ASSERT_EQ(RecordFile::Create(Path(name), Catalogue(9)->fields), kSuccess);
    std::vector<uint8_t> bytes = testing::ReadFile(Path(name));
    bytes.pop_back();
    bytes.resize(bytes.size() + count * size_t{33}, ' ');
    std::memcpy(&bytes[4], &count, sizeof(count));
    testing::WriteFile(Path(name), bytes);
  }

  testing::RecordingDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> use_desktop_{&desktop_};
};

TEST_F(DatabasesTest, OneFileOfATypeAndOneOfTheMethodsAtATime) {
  CreateAndOpen(0, "M1.DBF");
  EXPECT_EQ(Open(0, "M1.DBF"), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(3, "M2.DBF", DB3_MODE_CREATE), DB3_SUCCESS);  // and left closed
  EXPECT_EQ(Open(3, "M2.DBF"), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(15, "M2.DBF"), DB3_ALREADY_OPEN);
  // The very file is open, if under another type.
  EXPECT_EQ(Open(15, "m1.DBF", DB3_MODE_CREATE), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(3, ".\\x\\..\\M1.DBF", DB3_MODE_DELETE), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(0, "M2.DBF", DB3_MODE_CREATE), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(0, "M1.DBF", DB3_MODE_DELETE), DB3_ALREADY_OPEN);
  EXPECT_EQ(DB3Open(0, nullptr, DB3_MODE_DELETE), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(0, "M2.DBF", DB3_MODE_DELETE), DB3_SUCCESS);  // another file of the type
  EXPECT_EQ(DB3Open(0, nullptr, DB3_MODE_IS_OPEN), DB3_ALREADY_OPEN);
  CreateAndOpen(2, "P.DBF");
  EXPECT_EQ(DB3Close(0), DB3_SUCCESS);
  EXPECT_EQ(DB3Open(0, nullptr, DB3_MODE_IS_OPEN), DB3_NOT_OPEN);
  EXPECT_EQ(Open(15, "M1.DBF"), DB3_SUCCESS);
  EXPECT_EQ(DB3Close(0), DB3_GENERAL_ERROR);
  EXPECT_TRUE(testing::Exists(Path("M1.DBF")));
  EXPECT_FALSE(testing::Exists(Path("M2.DBF")));
}

// Types with the same fields are two users of one file.
TEST_F(DatabasesTest, TwoTypesWorkOnOneFile) {
  CreateAndOpen(8, "M.DBF");
  ASSERT_EQ(Open(18, "M.DBF"), DB3_SUCCESS);
  EXPECT_EQ(Open(18, "M.DBF", DB3_MODE_CREATE), DB3_ALREADY_OPEN);
  EXPECT_EQ(Open(17, "M.DBF", DB3_MODE_DELETE), DB3_ALREADY_OPEN);
  const auto insert = [](int32_t number, const char* name) {
    DB3PepMod record = {};
    std::strcpy(record.name, name);
    return DB3HandleRecord(8, DB3_HANDLE_INSERT, number, &record, DB3_INSERT_INTO_EMPTY);
  };
  ASSERT_EQ(insert(1, "Acetyl"), DB3_SUCCESS);
  ASSERT_EQ(insert(1, "Biotin"), DB3_SUCCESS);
  EXPECT_EQ(DB3GetRecordsInDB(18), 2);
  EXPECT_EQ(DB3SetCurrentRecordNum(18, 3), DB3_SUCCESS);
  EXPECT_EQ(DB3SetCurrentRecordNum(18, 2), DB3_SUCCESS);
  ASSERT_EQ(DB3ReadRecord(18), DB3_SUCCESS);
  auto* record = static_cast<DB3NucMod*>(DB3GetCurrentBuffer(18));
  EXPECT_EQ(std::string(record->name, 6), "Acetyl");
  EXPECT_EQ(DB3HandleRecord(18, DB3_HANDLE_DELETE, 1, nullptr, 0), DB3_SUCCESS);
  EXPECT_EQ(DB3GetRecordsInDB(8), 1);
  EXPECT_EQ(DB3HandleRecord(8, DB3_HANDLE_READ, 2, nullptr, 0), DB3_RECORD_NUMBER);
  EXPECT_EQ(DB3SetCurrentRecordNum(8, 3), DB3_RECORD_NUMBER);
}

TEST_F(DatabasesTest, TenFilesAtMost) {
  for (int32_t type = 4; type < 14; ++type) CreateAndOpen(type, std::to_string(type));
  EXPECT_TRUE(desktop_.messages.empty());
  testing::WriteText(Path("X"), "");
  EXPECT_EQ(Open(16, "X"), DB3_TOO_MANY_OPEN);
  EXPECT_EQ(Open(16, "X", DB3_MODE_CREATE), DB3_TOO_MANY_OPEN);
  ASSERT_EQ(desktop_.messages.size(), 2U);
  // Both causes come before any path.
  const std::string too_long(300, 'x');
  EXPECT_EQ(Open(16, too_long), DB3_TOO_MANY_OPEN);
  EXPECT_EQ(Open(9, too_long), DB3_ALREADY_OPEN);
  EXPECT_THAT(desktop_.messages[0].text,
              EndsWith("\nCause of problem: The limit of 10 open databases has been reached"));
  EXPECT_EQ(Open(16, "X", DB3_MODE_FILE_EXISTS), DB3_SUCCESS);
  EXPECT_EQ(DB3Close(9), DB3_SUCCESS);
  EXPECT_EQ(Open(16, "X"), DB3_INVALID_FORMAT);
}

TEST_F(DatabasesTest, MessagesNameActionFileAndCause) {
  SystemFile current = {};
  std::strcpy(current.directory, Path().c_str());
  std::strcpy(current.name, "P1");
  std::strcpy(current.extension, "PDB");
  ASSERT_EQ(SetGlobalFile("SystemList", "PEAK_DB", &current, 1), 1);
  ASSERT_EQ(DB3Open(2, nullptr, DB3_MODE_CREATE), DB3_SUCCESS);
  ASSERT_EQ(DB3Open(2, nullptr, 0), DB3_SUCCESS);
  EXPECT_EQ(DB3HandleRecord(2, DB3_HANDLE_READ, 7, nullptr, 0), DB3_RECORD_NUMBER);
  EXPECT_EQ(DB3Open(19, "NONE.DBF", 1), DB3_FILE_MISSING);
  EXPECT_EQ(DB3Open(2, "P2", 9), DB3_GENERAL_ERROR);
  const std::string in = " \nin directory ";
  const std::string expected[] = {
      "Failed to read record 7 from Peak List DB P1" + in + Path() +
          " \nCause of problem: Invalid record number",
      "Failed to open Database 26 DB NONE.DBF" + in + " \nCause of problem: File does not exist",
      "Failed to perform invalid action Peak List DB P2" + in + Path() +
          " \nCause of problem: General error"};
  ASSERT_EQ(desktop_.messages.size(), 3U);
  for (size_t i = 0; i < 3; ++i) {
    const testing::RecordingDesktop::Message box = {nullptr, expected[i], "Database error", 0x10};
    EXPECT_EQ(desktop_.messages[i], box);
  }
  EXPECT_EQ(desktop_.beeps.size(), 3U);

  EXPECT_EQ(DB3SetReportErrors(2, 0), 1);
  EXPECT_EQ(DB3ReadRecord(2), DB3_RECORD_NUMBER);
  EXPECT_EQ(DB3SetReportErrors(2, 1), 0);
  EXPECT_EQ(DB3SetCurrentRecordNum(2, 2), DB3_RECORD_NUMBER);  // never shown
  EXPECT_EQ(desktop_.messages.size(), 3U);
  EXPECT_EQ(DB3Open(20, "P2", 1), DB3_GENERAL_ERROR);
  EXPECT_EQ(DB3GetCurrentBuffer(-1), nullptr);
}

TEST_F(DatabasesTest, RemembersFileAndRecordFromRunToRun) {
  ASSERT_EQ(Open(9, "E.DBF", DB3_MODE_FILE_EXISTS), DB3_FILE_MISSING);
  EXPECT_EQ(DB3GetCurrentRecordNum(9), 0);
  CreateAndOpen(9, "E.DBF");
  for (int32_t number = 1; number <= 3; ++number) ASSERT_EQ(Insert(number, number), DB3_SUCCESS);
  EXPECT_EQ(DB3SetCurrentRecordNum(9, 0), DB3_RECORD_NUMBER);
  EXPECT_EQ(DB3SetCurrentRecordNum(9, 5), DB3_RECORD_NUMBER);
  EXPECT_EQ(DB3SetCurrentRecordNum(9, 4), DB3_SUCCESS);
  EXPECT_EQ(DB3SetCurrentRecordNum(9, 2), DB3_SUCCESS);
  ASSERT_EQ(UpdateGlobal(0), 1);
  ResetDatabases();
  Restart();
  ASSERT_EQ(DB3Open(9, nullptr, DB3_MODE_OPEN), DB3_SUCCESS);
  EXPECT_EQ(DB3GetCurrentRecordNum(9), 2);
  ASSERT_EQ(DB3ReadRecord(9), DB3_SUCCESS);
  EXPECT_EQ(static_cast<DB3PepElement*>(DB3GetCurrentBuffer(9))->average_mass, 2);
  SystemFile kept = {};
  ASSERT_EQ(GetGlobalFile("SystemList", "PEP_ELEM_DB", nullptr, &kept), 1);
  EXPECT_EQ(kept.number, 14);

  // A remembered number may be beyond the file.
  kept.first_value = 9;
  ASSERT_EQ(SetGlobalFile("SystemList", "PEP_ELEM_DB", &kept, 1), 1);
  ASSERT_EQ(DB3Close(9), DB3_SUCCESS);
  ASSERT_EQ(DB3Open(9, nullptr, DB3_MODE_OPEN), DB3_SUCCESS);
  EXPECT_EQ(DB3ReadRecord(9), DB3_RECORD_NUMBER);
  EXPECT_EQ(DB3DeleteRecord(9), DB3_RECORD_NUMBER);

  // Types that share a key share the file. One that is open keeps its own.
  CreateAndOpen(14, "G.DBF");
  EXPECT_EQ(DB3GetIniGlobals(12), 0);
  EXPECT_EQ(DB3Open(12, nullptr, DB3_MODE_FILE_EXISTS), DB3_SUCCESS);
  EXPECT_EQ(DB3Open(12, nullptr, DB3_MODE_OPEN), DB3_RECORD_STRUCTURE);
}

TEST_F(DatabasesTest, RecordOperations) {
  CreateAndOpen(9, "E.DBF");
  auto* buffer = static_cast<DB3PepElement*>(DB3GetCurrentBuffer(9));
  EXPECT_EQ(DB3InsertRecord(9, DB3_INSERT_INTO_EMPTY), DB3_RECORD_NUMBER);  // current one is 0
  ASSERT_EQ(DB3SetCurrentRecordNum(9, 1), DB3_SUCCESS);
  EXPECT_EQ(DB3InsertRecord(9, 0), DB3_RECORD_NUMBER);
  *buffer = {18.5, 17};
  EXPECT_EQ(DB3InsertRecord(9, DB3_INSERT_INTO_EMPTY), DB3_SUCCESS);
  EXPECT_EQ(DB3InsertRecord(9, DB3_INSERT_NO_APPEND), DB3_SUCCESS);
  ASSERT_EQ(DB3SetCurrentRecordNum(9, 3), DB3_SUCCESS);
  EXPECT_EQ(DB3InsertRecord(9, DB3_INSERT_NO_APPEND), DB3_RECORD_NUMBER);
  *buffer = {1, 2};
  EXPECT_EQ(DB3InsertRecord(9, 0), DB3_SUCCESS);
  EXPECT_EQ(DB3GetRecordsInDB(9), 3);
  *buffer = {3, 4};
  EXPECT_EQ(DB3UpdateRecord(9), DB3_SUCCESS);
  *buffer = {1e30, 4};
  EXPECT_EQ(DB3UpdateRecord(9), DB3_FILE_WRITE);  // too wide: the record stays
  EXPECT_EQ(Masses(), (std::vector<double>{18.5, 18.5, 3}));

  DB3PepElement other = {5, 6};
  EXPECT_EQ(DB3HandleRecord(9, DB3_HANDLE_UPDATE, 1, &other, 0), DB3_SUCCESS);
  EXPECT_EQ(DB3SetCurrentBuffer(9, &other), DB3_SUCCESS);
  EXPECT_EQ(buffer->monoisotopic_mass, 6);
  EXPECT_EQ(DB3HandleRecord(9, DB3_HANDLE_DELETE, 2, nullptr, 0), DB3_SUCCESS);
  EXPECT_EQ(DB3GetCurrentRecordNum(9), 3);
  EXPECT_EQ(DB3DeleteRecord(9), DB3_RECORD_NUMBER);
  EXPECT_EQ(Masses(), (std::vector<double>{5, 3}));
  for (const int32_t operation : {0, 5}) {
    EXPECT_EQ(DB3HandleRecord(9, operation, 1, nullptr, 0), DB3_GENERAL_ERROR);
  }
  EXPECT_EQ(DB3Close(9), DB3_SUCCESS);
  EXPECT_EQ(DB3InsertRecord(9, 0), DB3_GENERAL_ERROR);
  EXPECT_EQ(DB3GetRecordsInDB(9), 0);
}

TEST_F(DatabasesTest, HoldsNoMoreThan9999Records) {
  MakeLong("E.DBF", 9998);
  ASSERT_EQ(Open(9, "E.DBF"), DB3_SUCCESS);
  EXPECT_EQ(Insert(9999, 1), DB3_RECORD_NUMBER);
  EXPECT_EQ(Insert(1, 1), DB3_SUCCESS);
  EXPECT_EQ(Insert(1, 2), DB3_DATABASE_FULL);
  EXPECT_EQ(DB3GetRecordsInDB(9), 9999);
  EXPECT_EQ(DB3HandleRecord(9, DB3_HANDLE_DELETE, 9999, nullptr, 0), DB3_SUCCESS);
  EXPECT_EQ(Masses().front(), 1);
}

TEST_F(DatabasesTest, RefusesFilesOfOtherTypesAndLeavesThemAlone) {
  ASSERT_EQ(Open(8, "A.DBF", DB3_MODE_CREATE), DB3_SUCCESS);
  const std::vector<uint8_t> bytes = testing::ReadFile(Path("A.DBF"));
  for (const int32_t type : {0, 9, 17}) {
    EXPECT_EQ(Open(type, "A.DBF"), DB3_RECORD_STRUCTURE);
    EXPECT_EQ(DB3Open(type, nullptr, DB3_MODE_IS_OPEN), DB3_NOT_OPEN);
  }
  EXPECT_EQ(testing::ReadFile(Path("A.DBF")), bytes);

  // The marker field is none of the type's.
  ASSERT_EQ(Open(9, "B.DBF", DB3_MODE_CREATE | DB3_MODE_ENCRYPT), DB3_SUCCESS);
  ASSERT_EQ(Open(9, "B.DBF"), DB3_SUCCESS);
  ASSERT_EQ(Insert(1, 12.5), DB3_SUCCESS);
  EXPECT_EQ(Masses(), std::vector<double>{12.5});
  EXPECT_THAT(testing::ReadText(Path("B.DBF")), HasSubstr(std::string("ENCRYPT\0\0\0\0C", 12)));
}

TEST_F(DatabasesTest, TablesOfTheOpenFile) {
  CreateAndOpen(8, "A.DBF");
  const TvMemory handle = DB3GetFieldOffsetWidthHandle(8);
  const auto* table = static_cast<const DB3FieldOffsetWidth*>(TvMemLock(handle));
  ASSERT_NE(table, nullptr);
  EXPECT_EQ(table[5].offset, 2 + 100 + 50 + 50 + 15);
  EXPECT_EQ(table[5].decimals, 4);
  TvMemUnlock(handle);
  EXPECT_GE(TvMemSize(DB3GetRecordStructureHandle(8)), 6 * sizeof(DB3RecordMember));
  // They go with the file, also while somebody has them locked.
  testing::FaultyMemory memory;
  const platform::ScopedReplacement<platform::MovableMemory> use_memory(&memory);
  ASSERT_EQ(Open(9, "B.DBF", DB3_MODE_CREATE), DB3_SUCCESS);
  ASSERT_EQ(Open(9, "B.DBF"), DB3_SUCCESS);
  for (int i = 0; i < 3; ++i) TvMemLock(DB3GetFieldOffsetWidthHandle(9));
  EXPECT_EQ(DB3Close(9), DB3_SUCCESS);
  EXPECT_EQ(memory.live_blocks(), 0);

  ASSERT_EQ(DB3Close(8), DB3_SUCCESS);
  EXPECT_EQ(DB3GetFieldOffsetWidthHandle(8), nullptr);
  EXPECT_EQ(DB3GetRecordStructureHandle(8), nullptr);
}

TEST_F(DatabasesTest, FailuresChangeNothing) {
  ASSERT_EQ(Open(9, "E.DBF", DB3_MODE_CREATE), DB3_SUCCESS);
  testing::WriteText(Path("a,b"), "mine");
  EXPECT_EQ(Open(9, "a,b", DB3_MODE_CREATE), DB3_GENERAL_ERROR);
  EXPECT_EQ(Open(9, "a,b", DB3_MODE_DELETE), DB3_GENERAL_ERROR);
  EXPECT_EQ(testing::ReadText(Path("a,b")), "mine");
  EXPECT_EQ(Open(9, std::string(300, 'x')), DB3_GENERAL_ERROR);
  EXPECT_EQ(DB3Open(9, "", DB3_MODE_OPEN), DB3_FILE_MISSING);
  EXPECT_EQ(DB3Open(9, "", DB3_MODE_DELETE), DB3_FILE_DELETION);
  EXPECT_EQ(Open(9, "NONE", DB3_MODE_DELETE), DB3_FILE_DELETION);
  EXPECT_EQ(Open(9, "NONE\\E.DBF", DB3_MODE_CREATE), DB3_FILE_CREATION);

  FaultyFileSystem faulty;
  testing::FaultyMemory memory;
  const platform::ScopedReplacement<platform::FileSystem> use_faulty(&faulty);
  const platform::ScopedReplacement<platform::MovableMemory> use_memory(&memory);
  for (int32_t n = 1; n <= 2; ++n) {
    memory.allocate.FailNth(n);
    EXPECT_EQ(Open(9, "E.DBF"), DB3_MEMORY_ALLOCATION);
    EXPECT_EQ(DB3Open(9, nullptr, DB3_MODE_IS_OPEN), DB3_NOT_OPEN);
  }
  EXPECT_EQ(faulty.open_files(), 0);
  faulty.On(FileCall::kMove).FailNth(1);
  EXPECT_EQ(Open(9, "E.DBF", DB3_MODE_CREATE), DB3_FILE_DELETION);
  ASSERT_EQ(DB3Open(9, nullptr, DB3_MODE_OPEN), DB3_SUCCESS);  // still the current file
  ASSERT_EQ(Insert(1, 1), DB3_SUCCESS);
  for (const int32_t operation :
       {DB3_HANDLE_READ, DB3_HANDLE_UPDATE, DB3_HANDLE_INSERT, DB3_HANDLE_DELETE}) {
    faulty.On(FileCall::kPosition).FailNth(1);
    EXPECT_EQ(DB3HandleRecord(9, operation, 1, nullptr, 0), DB3_FILE_WRITE);
    if (operation == DB3_HANDLE_DELETE) continue;
    memory.lock.FailNth(1);
    EXPECT_EQ(DB3HandleRecord(9, operation, 1, nullptr, 0), DB3_MEMORY_LOCK);
  }
  EXPECT_EQ(Masses(), std::vector<double>{1});
  faulty.On(FileCall::kClose).FailNth(1);
  EXPECT_EQ(DB3Close(9), DB3_FILE_CLOSE);
  EXPECT_EQ(DB3Open(9, nullptr, DB3_MODE_IS_OPEN), DB3_NOT_OPEN);

  faulty.On(FileCall::kWrite).FailNth(1, true);
  EXPECT_EQ(Open(9, "E.DBF", DB3_MODE_CREATE), DB3_FILE_CREATION);
  faulty.On(FileCall::kWrite).Heal();
  ASSERT_EQ(Open(9, "E.DBF"), DB3_SUCCESS);
  EXPECT_EQ(Masses(), std::vector<double>{1});
  EXPECT_EQ(DB3Close(9), DB3_SUCCESS);
}

}  // namespace
}  // namespace tervalon::db3
