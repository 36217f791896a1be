// Projects and paths from the command line.

#include <gmock/gmock.h>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

class Projects : public ProgramTest {};

TEST_F(Projects, AreCreatedSelectedAndShown) {
  ExpectFailure({"project", "show"}, 1, "TERVALON.INI: no project is selected");
  EXPECT_EQ(Output({"project", "create", "Oils"}), "");
  for (const char* name : {"CURVEDB", "DATA", "METHDB", "PEAKDB", "SAMPLEDB", "TABLEDB"}) {
    EXPECT_TRUE(std::filesystem::is_directory(NativePath("Oils.PRO") / name)) << name;
  }
  std::filesystem::create_directory(NativePath("Oils.PRO\\DATA\\Palm.RAW"));
  Output({"project", "create", "Oils.PRO/"});  // as a shell completes it
  EXPECT_TRUE(Exists(Path("Oils.PRO\\DATA\\Palm.RAW")));

  EXPECT_EQ(Output({"project", "select", "Oils"}), "");
  const nlohmann::json shown = Json({"project", "show"});
  EXPECT_EQ(shown["project"], Path("Oils.PRO"));
  EXPECT_EQ(shown["exists"], true);
  const std::string raw = Output({"settings", "get", "SystemList", "RAW"});
  EXPECT_EQ(raw, "0," + Path("Oils.PRO\\DATA\\") + ",Palm,RAW,0,0\n");
  ASSERT_EQ(shown["files"].size(), 6U);
  for (const nlohmann::json& file : shown["files"]) {
    const std::string path = file["path"];
    EXPECT_EQ(path.rfind(Path("Oils.PRO") + "\\", 0), 0U) << file;
  }

  // What is removed meanwhile is still the current project.
  std::filesystem::remove_all(NativePath("Oils.PRO"));
  EXPECT_EQ(Json({"project", "show"})["exists"], false);
}

TEST_F(Projects, FailuresSayWhyAndLoseNothing) {
  WriteText(Path("Taken.PRO"), "kept");
  Output({"project", "create", "Half"});
  std::filesystem::remove(NativePath("Half.PRO\\DATA"));
  WriteText(Path("Half.PRO\\DATA"), "kept");
  ExpectFailures({
      {{"project", "create", "Taken"}, 1, "Taken.PRO: Unable to create Project directory"},
      {{"project", "create", "none/Oils"}, 1, "Unable to create Project directory"},
      {{"project", "create", "Half"}, 1, "Half.PRO: Unable to create Project sub-directory"},
      {{"project", "create", std::string(26, 'n')},
       1,
       "directory. Try moving this project up a directory level"},
      {{"project", "create", std::string(300, 'n')}, 1, "the path is too long"},
      {{"project", "create", ".."}, 2, "'..' cannot be a project"},
      {{"project", "create", "Oils,Fats"}, 2, "cannot be a project"},
      {{"project", "create", "Oils?"}, 2, "cannot be a project"},
      {{"project", "create", ""}, 2, "PROJECT: the value is empty"},
      {{"project", "select", ""}, 2, "PROJECT: the value is empty"},
      {{"project", "select", "None"}, 1, "None.PRO: there is no such project"},
      {{"project", "select", "Taken"}, 1, "Taken.PRO: there is no such project"},
  });
  EXPECT_EQ(ReadText(Path("Taken.PRO")), "kept");
  EXPECT_EQ(ReadText(Path("Half.PRO\\DATA")), "kept");
  EXPECT_EQ(Names(), (std::vector<std::string>{"Half.PRO", "Taken.PRO"}));

  // A settings file that cannot be written.
  std::filesystem::create_directory(NativePath("TERVALON.INI"));
  Output({"project", "create", "Oils"});
  ExpectFailure({"project", "select", "Oils"}, 1, "TERVALON.INI: cannot be read");
}

TEST_F(Projects, PathsAreTakenApartAndCompleted) {
  const nlohmann::json path =
      Json({"path", "PEAKS", "--directory", "C:\\DATA", "--extension", "PDB"});
  EXPECT_EQ(path["path"], "C:\\DATA\\PEAKS.PDB");
  EXPECT_EQ(path["directory"], "C:\\DATA\\");
  EXPECT_EQ(path["name"], "PEAKS");
  EXPECT_EQ(path["extension"], "PDB");
  EXPECT_EQ(path["valid"], true);
  EXPECT_EQ(path["is_directory"], false);
  EXPECT_EQ(Json({"path", "what?.PDB"})["valid"], false);
  EXPECT_EQ(Json({"path", "."})["is_directory"], true);
  EXPECT_NE(Output({"path", "\xC3\x96l.PDB"}).find("\xC3\x96l"), std::string::npos);
  ExpectFailure({"path", ""}, 2, "PATH: the value is empty");
  ExpectFailure({"path", std::string(260, 'p')}, 1, "longer than 259 characters");
}

}  // namespace
}  // namespace tervalon::testing
