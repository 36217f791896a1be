// Other programs read what this library writes, and the other way round.

#if !defined(_WIN32)

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "db3/catalogue.h"
#include "db3/slots.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tests/support/process.h"
#include "tests/support/settings_fixture.h"

namespace tervalon::db3 {
namespace {

using testing::ProcessResult;

// Shapelib's programs, and the Python module "dbf".
constexpr const char* kShapelib = "command -v dbfcreate dbfadd dbfdump";
constexpr const char* kPython = "/usr/bin/python3 -c 'import dbf'";

class OtherProgramsTest : public testing::SettingsFixture {
 protected:
  OtherProgramsTest() {
    for (const int32_t type : {8, 17}) DB3SetReportErrors(type, 0);
  }
  ~OtherProgramsTest() override { ResetDatabases(); }

  ProcessResult Run(const std::string& line) { return testing::RunShell(line, directory_.Path()); }
  std::string Output(const std::string& line) {
    const ProcessResult result = Run(line);
    EXPECT_EQ(result.status, 0) << line << "\n" << result.err;
    return result.out;
  }
  // Whether a program is there. One that is missing where all are meant to be is a failure.
  bool Has(const char* check) {
    if (Run(check).status == 0) return true;
    EXPECT_EQ(std::getenv("CI"), nullptr) << check << " fails: see scripts/install-deps.sh";
    return false;
  }

  // A file with three records of type 8, the middle one inserted last.
  void Write() {
    const std::string path = directory_.Path("P.DBF");
    ASSERT_EQ(DB3Open(8, path.c_str(), DB3_MODE_CREATE), DB3_SUCCESS);
    ASSERT_EQ(DB3Open(8, path.c_str(), DB3_MODE_OPEN), DB3_SUCCESS);
    Insert(1, "Acetyl", 42.0367, 42.0106);
    Insert(2, "Carbamyl", 43.0247, -43.0058);
    Insert(2, "Biotin", 226.2994, 226.0776);
    ASSERT_EQ(DB3Close(8), DB3_SUCCESS);
  }

  void Insert(int32_t number, const char* name, double average, double monoisotopic) {
    DB3PepMod record = {};
    std::strcpy(record.name, name);
    std::strcpy(record.symbol, "Sy");
    std::strcpy(record.formula, "C2H2O");
    record.average_mass = average;
    record.monoisotopic_mass = monoisotopic;
    ASSERT_EQ(DB3HandleRecord(8, DB3_HANDLE_INSERT, number, &record, DB3_INSERT_INTO_EMPTY),
              DB3_SUCCESS);
  }

  // The records of a file of type 17 in one text.
  std::string ReadDigests(const std::string& name) {
    const int32_t cause = DB3Open(17, directory_.Path(name).c_str(), DB3_MODE_OPEN);
    if (cause != DB3_SUCCESS) return "cause " + std::to_string(cause);
    std::string all;
    for (int32_t number = 1; number <= DB3GetRecordsInDB(17); ++number) {
      DB3Digest record = {};
      EXPECT_EQ(DB3HandleRecord(17, DB3_HANDLE_READ, number, &record, 0), DB3_SUCCESS);
      all += std::string(record.name, sizeof(record.name)) + "|" +
             std::string(record.symbol, sizeof(record.symbol)) + "|" +
             std::to_string(record.secondary_parameter) + "\n";
    }
    return all;
  }
};

TEST_F(OtherProgramsTest, ShapelibReadsAndWrites) {
  if (!Has(kShapelib)) GTEST_SKIP() << "shapelib is not installed";
  Write();
  EXPECT_EQ(Output("dbfdump -h P.DBF | grep Field"),
            "Field 0: Type=N/Integer, Title=`VERSION', Width=2, Decimals=0\n"
            "Field 1: Type=C/String, Title=`MOD_NAME', Width=100, Decimals=0\n"
            "Field 2: Type=C/String, Title=`SYMBOL', Width=50, Decimals=0\n"
            "Field 3: Type=C/String, Title=`FORMULA', Width=50, Decimals=0\n"
            "Field 4: Type=N/Double, Title=`AVGMASS', Width=15, Decimals=4\n"
            "Field 5: Type=N/Double, Title=`MONOMASS', Width=15, Decimals=4\n");
  EXPECT_EQ(Output("dbfdump P.DBF | tail -n +2 | tr -s ' '"),
            " 1 Acetyl Sy C2H2O 42.0367 42.0106 \n"
            " 1 Biotin Sy C2H2O 226.2994 226.0776 \n"
            " 1 Carbamyl Sy C2H2O 43.0247 -43.0058 \n");

  Output(
      "dbfcreate D.DBF -n VERSION 2 0 -s MOD_NAME 100 -s SYMBOL 50 -s FORMULA 50"
      " -n AVGMASS 15 4 -n MONOMASS 15 4 && dbfadd D.DBF 1 One S C2H2O 12.25 -1.5");
  ASSERT_EQ(DB3Open(8, directory_.Path("D.DBF").c_str(), DB3_MODE_OPEN), DB3_SUCCESS);
  DB3PepMod record = {};
  ASSERT_EQ(DB3HandleRecord(8, DB3_HANDLE_READ, 1, &record, 0), DB3_SUCCESS);
  EXPECT_EQ(std::string(record.name, 6), "One   ");
  EXPECT_EQ(record.average_mass, 12.25);
  EXPECT_EQ(record.monoisotopic_mass, -1.5);
}

TEST_F(OtherProgramsTest, PythonReadsAndWrites) {
  if (!Has(kPython)) GTEST_SKIP() << "python3-dbf is not installed";
  Write();
  EXPECT_EQ(Output("/usr/bin/python3 -c \"import dbf, datetime\n"
                   "t = dbf.Table('P.DBF').open()\n"
                   "print(*t.structure(), t.last_update == datetime.date.today())\n"
                   "for r in t: print(r[0], r[1].strip(), r[4], r[5], dbf.is_deleted(r))\""),
            "version N(2,0) mod_name C(100) symbol C(50) formula C(50) avgmass N(15,4)"
            " monomass N(15,4) True\n"
            "1 Acetyl 42.0367 42.0106 False\n"
            "1 Biotin 226.2994 226.0776 False\n"
            "1 Carbamyl 43.0247 -43.0058 False\n");

  // A record that is marked deleted is none of ours, and survives what we do around it.
  Output(
      "/usr/bin/python3 -c \"import dbf\n"
      "t = dbf.Table('D.DBF', 'VERSION N(2,0); DIG_NAME C(20); DIG_SYMBOL C(2);"
      " DIG_PARAM C(21); DIG_CLEAVE C(21); DIG_SECPAR L', dbf_type='db3')\n"
      "t.open(dbf.READ_WRITE)\n"
      "for r in ('Arg-C', True), ('Old', True), ('Trypsin', False):"
      " t.append((1, r[0], 'X', 'p', 'c', r[1]))\n"
      "dbf.delete(t[1])\n"
      "t.close()\"");
  const std::string blanks(20, ' ');
  const auto line = [&blanks](const std::string& name, const std::string& rest) {
    return (name + blanks).substr(0, 20) + "|" + rest + "\n";
  };
  EXPECT_EQ(ReadDigests("D.DBF"), line("Arg-C", "X |1") + line("Trypsin", "X |0"));
  DB3Digest record = {};
  std::strcpy(record.name, "Asp-N");
  ASSERT_EQ(DB3HandleRecord(17, DB3_HANDLE_INSERT, 1, &record, 0), DB3_SUCCESS);
  ASSERT_EQ(DB3HandleRecord(17, DB3_HANDLE_DELETE, 3, nullptr, 0), DB3_SUCCESS);
  ASSERT_EQ(DB3Close(17), DB3_SUCCESS);
  EXPECT_EQ(Output("/usr/bin/python3 -c \"import dbf\n"
                   "for r in dbf.Table('D.DBF').open():"
                   " print(r[1].strip(), r[5], dbf.is_deleted(r))\""),
            "Asp-N False False\nArg-C True False\nOld True True\n");
}

}  // namespace
}  // namespace tervalon::db3

#endif
