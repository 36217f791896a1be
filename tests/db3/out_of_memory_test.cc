// Every allocation of an operation on a database fails in turn: the operation then has changed
// nothing, or answers success.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "db3/slots.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tests/support/settings_fixture.h"

namespace {
int64_t allocations_until_failure = 0;  // 0: none fails
}  // namespace

void* operator new(std::size_t size) {
  if (allocations_until_failure > 0 && --allocations_until_failure == 0) throw std::bad_alloc();
  void* const block = std::malloc(size != 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace tervalon::db3 {
namespace {

constexpr int32_t kType = DB3_PEP_ELEMENT;
using Masses = std::vector<double>;

class OutOfMemoryTest : public testing::SettingsFixture {
 protected:
  OutOfMemoryTest() { DB3SetReportErrors(kType, 0); }
  ~OutOfMemoryTest() override { ResetDatabases(); }

  static int32_t Handle(int32_t operation, int32_t number, double mass) {
    DB3PepElement record = {mass, 0};
    return DB3HandleRecord(kType, operation, number, &record, DB3_INSERT_INTO_EMPTY);
  }
  static Masses All() {
    Masses masses;
    for (int32_t number = 1; number <= DB3GetRecordsInDB(kType); ++number) {
      DB3PepElement record = {};
      EXPECT_EQ(DB3HandleRecord(kType, DB3_HANDLE_READ, number, &record, 0), DB3_SUCCESS);
      masses.push_back(record.average_mass);
    }
    return masses;
  }

  std::string path_ = directory_.Path("E.DBF");
};

TEST_F(OutOfMemoryTest, ChangesNothingOrIsDone) {
  struct Case {
    const char* name;
    std::function<int32_t()> run;
    Masses after;
  };
  const Case cases[] = {
      {"read", [] { return Handle(DB3_HANDLE_READ, 1, 0); }, {1, 2, 3}},
      {"update", [] { return Handle(DB3_HANDLE_UPDATE, 2, 9); }, {1, 9, 3}},
      {"insert", [] { return Handle(DB3_HANDLE_INSERT, 2, 9); }, {1, 9, 2, 3}},
      {"append", [] { return Handle(DB3_HANDLE_INSERT, 4, 9); }, {1, 2, 3, 9}},
      {"delete", [] { return Handle(DB3_HANDLE_DELETE, 2, 0); }, {1, 3}},
      {"create",
       [this] {
         const int32_t cause = DB3Close(kType);
         return cause != DB3_SUCCESS ? cause : DB3Open(kType, path_.c_str(), DB3_MODE_CREATE);
       },
       {}},
  };
  for (const Case& each : cases) {
    bool failed = true;
    for (int64_t n = 1; failed; ++n) {
      SCOPED_TRACE(std::string(each.name) + ", allocation " + std::to_string(n));
      DB3Close(kType);
      ASSERT_EQ(DB3Open(kType, path_.c_str(), DB3_MODE_CREATE), DB3_SUCCESS);
      ASSERT_EQ(DB3Open(kType, path_.c_str(), DB3_MODE_OPEN), DB3_SUCCESS);
      for (int32_t number = 1; number <= 3; ++number) {
        ASSERT_EQ(Handle(DB3_HANDLE_INSERT, number, number), DB3_SUCCESS);
      }
      allocations_until_failure = n;
      const int32_t cause = each.run();
      failed = allocations_until_failure == 0;
      allocations_until_failure = 0;
      DB3Open(kType, path_.c_str(), DB3_MODE_OPEN);
      Masses expected = cause == DB3_SUCCESS ? each.after : Masses{1, 2, 3};
      ASSERT_EQ(All(), expected) << "cause " << cause;
      // The next change goes where it belongs.
      expected.push_back(7);
      ASSERT_EQ(Handle(DB3_HANDLE_INSERT, DB3GetRecordsInDB(kType) + 1, 7), DB3_SUCCESS);
      ASSERT_EQ(All(), expected);
    }
  }
}

}  // namespace
}  // namespace tervalon::db3
