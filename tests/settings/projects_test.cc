#include "tervalon/projects.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "appsvc/application.h"
#include "platform/headless/window_records.h"
#include "tervalon/application.h"
#include "tervalon/paths.h"
#include "tests/support/fault_services.h"
#include "tests/support/settings_fixture.h"

namespace tervalon::settings {
namespace {

namespace fs = std::filesystem;
constexpr uint32_t kExclamation = platform::kMessageIconExclamation;
constexpr uint32_t kQuestion = platform::kMessageYesNo | platform::kMessageIconQuestion;
constexpr const char* kSubDirectories[] = {"CURVEDB", "DATA",     "METHDB",
                                           "PEAKDB",  "SAMPLEDB", "TABLEDB"};

// A process of its own in a new working directory. Project directories are relative, because a
// project's path must be short.
class ProjectsTest : public testing::SettingsFixture {
 protected:
  ProjectsTest() { fs::current_path(testing::Native(directory_.Path())); }
  ~ProjectsTest() override {
    appsvc::ResetApplication();
    fs::current_path(start_);
  }

  static std::string Get(const char* key) {
    char out[512];
    GetGlobalString("SystemList", key, "(none)", out, sizeof(out));
    return out;
  }
  static std::map<std::string, std::string> Entries() {
    std::map<std::string, std::string> entries;
    for (const char* key :
         {"PROJECT", "CURVE_DB", "RAW", "METHOD_DB", "PEAK_DB", "SAMPLES_DB", "PTABLE_DB"}) {
      entries[key] = Get(key);
    }
    return entries;
  }
  void ExpectMessage(const std::string& text, const char* caption, uint32_t style) {
    using Message = testing::RecordingDesktop::Message;
    EXPECT_THAT(desktop_.messages, ::testing::ElementsAre(Message{owner_, text, caption, style}));
    desktop_.messages.clear();
  }

  const fs::path start_ = fs::current_path();
  testing::RecordingDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> use_desktop_{&desktop_};
  platform::WindowRecords windows_;
  platform::ScopedReplacement<platform::WindowManager> use_windows_{&windows_};
  TvWindow owner_ = windows_.Create({});
  SystemFile project_ = {4, "", "P1", "PRO", 8, 9};
};

TEST_F(ProjectsTest, CreatesWhatIsMissing) {
  EXPECT_EQ(ProCreateDirectory(owner_, &project_), 1);
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator("P1.PRO")) {
    EXPECT_TRUE(entry.is_directory());
    names.push_back(entry.path().filename().string());
  }
  EXPECT_THAT(names, ::testing::UnorderedElementsAreArray(kSubDirectories));
  testing::WriteText(directory_.Path("P1.PRO\\DATA\\kept"), "kept");
  fs::remove("P1.PRO/TABLEDB");
  EXPECT_EQ(ProCreateDirectory(owner_, &project_), 1);
  EXPECT_TRUE(fs::is_directory("P1.PRO/TABLEDB"));
  EXPECT_EQ(testing::ReadText(directory_.Path("P1.PRO\\DATA\\kept")), "kept");
  EXPECT_TRUE(desktop_.messages.empty());

  const SystemFile plain = {0, ".\\P1.PRO\\", "Inner", "", 0, 0};
  EXPECT_EQ(ProCreateDirectory(owner_, &plain), 1);
  EXPECT_TRUE(fs::is_directory("P1.PRO/Inner/SAMPLEDB"));
  EXPECT_EQ(ProCreateDirectory(owner_, nullptr), 0);
}

// Another program is always a little faster.
class RacingFileSystem : public testing::FaultyFileSystem {
 public:
  bool MakeDirectory(const std::string& path) override {
    FaultyFileSystem::MakeDirectory(path);
    return FaultyFileSystem::MakeDirectory(path);
  }
};

TEST_F(ProjectsTest, TwoProgramsMayCreateOne) {
  RacingFileSystem files;
  const platform::ScopedReplacement<platform::FileSystem> use_files(&files);
  EXPECT_EQ(ProCreateDirectory(owner_, &project_), 1);
  EXPECT_TRUE(desktop_.messages.empty());
}

TEST_F(ProjectsTest, LongPathsAreRefused) {
  SystemFile project = {0, ".\\", "", "PRO", 0, 0};
  std::string(23, 'n').copy(project.name, 23);  // ".\" and ".PRO" make 29
  EXPECT_EQ(ProCreateDirectory(owner_, &project), 1);
  project.name[23] = 'n';
  EXPECT_EQ(ProCreateDirectory(owner_, &project), 0);
  ExpectMessage("Unable to create Project directory\nTry moving this project up a directory level",
                "Create Project", kExclamation);
  EXPECT_FALSE(testing::Exists(directory_.Path(std::string(24, 'n') + ".PRO")));
}

TEST_F(ProjectsTest, FailuresTellTheUserAndLeaveWhatIsThere) {
  constexpr const char* kNoDirectory = "Unable to create Project directory";
  constexpr const char* kNoSubDirectory = "Unable to create Project sub-directory";
  // A file of the project's name, and no parent directory.
  testing::WriteText(directory_.Path("P1.PRO"), "kept");
  EXPECT_EQ(ProCreateDirectory(owner_, &project_), 0);
  ExpectMessage(kNoDirectory, "Create Project", kExclamation);
  EXPECT_EQ(testing::ReadText(directory_.Path("P1.PRO")), "kept");
  fs::remove("P1.PRO");
  // No such place, and one where nobody may make a directory.
  for (const SystemFile& nowhere :
       {SystemFile{0, "none\\", "P", "PRO", 0, 0}, SystemFile{0, "\\proc\\", "P", "PRO", 0, 0}}) {
    EXPECT_EQ(ProCreateDirectory(owner_, &nowhere), 0);
    ExpectMessage(kNoDirectory, "Create Project", kExclamation);
  }

  // A device that fails after every step: what was made before stays, and a second attempt ends it.
  testing::FaultyFileSystem files;
  const platform::ScopedReplacement<platform::FileSystem> use_files(&files);
  for (int made = 0; made <= 6; ++made) {
    fs::remove_all("P1.PRO");
    files.On(testing::FileCall::kMakeDirectory).FailNth(made + 1);
    EXPECT_EQ(ProCreateDirectory(owner_, &project_), 0);
    ExpectMessage(made == 0 ? kNoDirectory : kNoSubDirectory, "Create Project", kExclamation);
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(fs::is_directory(fs::path("P1.PRO") / kSubDirectories[i]), i < made - 1);
    }
    EXPECT_EQ(ProCreateDirectory(owner_, &project_), 1);
  }
  // A file where a sub-directory should be.
  fs::remove("P1.PRO/METHDB");
  testing::WriteText(directory_.Path("P1.PRO\\METHDB"), "kept");
  EXPECT_EQ(ProCreateDirectory(owner_, &project_), 0);
  ExpectMessage(kNoSubDirectory, "Create Project", kExclamation);
  EXPECT_EQ(testing::ReadText(directory_.Path("P1.PRO\\METHDB")), "kept");
}

TEST_F(ProjectsTest, FindsTheFirstFileOfAKind) {
  fs::create_directories("D/b.b.raw");
  fs::create_directories("D/C.RAW");
  fs::create_directories("D/A.RAWX");
  testing::WriteText(directory_.Path("D\\A.RAW"), "a file");
  testing::WriteText(directory_.Path("D\\list"), "no extension");
  SystemFile file = {1, "D", "old", "RAW", 2, 3};  // no separator behind it
  EXPECT_EQ(ProFindFirstFileName(&file, 1), 1);
  EXPECT_STREQ(file.name, "b");
  EXPECT_EQ(ProFindFirstFileName(&file, 0), 1);
  EXPECT_STREQ(file.name, "A");
  EXPECT_STREQ(file.directory, "D");
  EXPECT_EQ(file.number * 100 + file.first_value * 10 + file.second_value, 123);
  for (SystemFile none :
       {SystemFile{0, "D\\", "old", "CDB", 0, 0}, SystemFile{0, "none\\", "old", "RAW", 0, 0}}) {
    EXPECT_EQ(ProFindFirstFileName(&none, 0), 0);
    EXPECT_STREQ(none.name, "old");
  }
  SystemFile plain = {0, "D\\", "old", "", 0, 0};
  EXPECT_EQ(ProFindFirstFileName(&plain, 0), 1);
  EXPECT_STREQ(plain.name, "list");
  EXPECT_EQ(ProFindFirstFileName(nullptr, 0), 0);
}

TEST_F(ProjectsTest, SelectionRepointsEveryEntry) {
  SystemFile current = {1, "x", "x", "x", 1, 1};
  EXPECT_EQ(ProGetCurrent(&current), 1);  // seeded, empty
  EXPECT_STREQ(current.name, "");
  EXPECT_EQ(ProGetCurrent(nullptr), 0);

  ASSERT_EQ(ProCreateDirectory(owner_, &project_), 1);
  fs::create_directories("P1.PRO/DATA/B.RAW");
  fs::create_directories("P1.PRO/DATA/A.1.RAW");
  testing::WriteText(directory_.Path("P1.PRO\\DATA\\0.RAW"), "not a raw directory");
  testing::WriteText(directory_.Path("P1.PRO\\PEAKDB\\Oils.pdb"), "");
  fs::create_directories("P1.PRO/CURVEDB/Sub.CDB");
  testing::WriteText(directory_.Path("P1.PRO\\SAMPLEDB\\Old.SDB"), "");
  EXPECT_EQ(ProSetCurrent(owner_, &project_), 1);
  EXPECT_TRUE(desktop_.messages.empty());
  const std::map<std::string, std::string> expected = {
      {"PROJECT", "4,,P1,PRO,8,9"},
      {"CURVE_DB", "0,P1.PRO\\CURVEDB\\,P1,CDB,0,0"},
      {"RAW", "0,P1.PRO\\DATA\\,A,RAW,0,0"},
      {"METHOD_DB", "0,P1.PRO\\METHDB\\,P1,MDB,0,0"},
      {"PEAK_DB", "0,P1.PRO\\PEAKDB\\,Oils,PDB,0,0"},
      {"SAMPLES_DB", "0,P1.PRO\\SAMPLEDB\\,P1,SPL,0,0"},
      {"PTABLE_DB", "0,P1.PRO\\TABLEDB\\,P1,TDB,0,0"},
  };
  EXPECT_EQ(Entries(), expected);
  EXPECT_EQ(ProGetCurrent(&current), 1);
  EXPECT_STREQ(current.name, "P1");

  // A project whose records would not be read back as they are is not selected at all.
  SystemFile comma = {0, "a,b\\", "P", "PRO", 0, 0};
  SystemFile long_path = {0, "", "P", "PRO", 0, 0};
  std::string(245, 'd').copy(long_path.directory, 245);  // one too many for "SAMPLEDB"
  for (const SystemFile* bad : {&comma, &long_path}) {
    EXPECT_EQ(ProSetCurrent(owner_, bad), 0);
    EXPECT_EQ(ProSetGlobalDirectories(bad), 0);
  }
  EXPECT_EQ(ProSetCurrent(owner_, nullptr) + ProSetGlobalDirectories(nullptr), 0);
  EXPECT_EQ(Entries(), expected);

  // Only the entries of the files, of a project in a parent directory.
  const SystemFile other = {0, "c:\\data", "Other", "", 0, 0};
  EXPECT_EQ(ProSetGlobalDirectories(&other), 1);
  EXPECT_EQ(Get("PROJECT"), expected.at("PROJECT"));
  EXPECT_EQ(Get("RAW"), "0,c:\\data\\Other\\DATA\\,Other,RAW,0,0");
}

// Finds a file of any name in every directory.
class PlantingFileSystem : public testing::FaultyFileSystem {
 public:
  std::string planted;

  bool List(const std::string& path, std::vector<platform::DirectoryEntry>* entries) override {
    if (!FaultyFileSystem::List(path, entries)) return false;
    entries->push_back({planted, false, true});
    return true;
  }
};

// What a directory holds under a name that is a path, or that no line can hold, is not taken.
TEST_F(ProjectsTest, OnlyNamesInsideADirectoryAreFollowed) {
  PlantingFileSystem files;
  const platform::ScopedReplacement<platform::FileSystem> use_files(&files);
  ASSERT_EQ(ProCreateDirectory(owner_, &project_), 1);
  for (const char* name : {"..\\out\\x.PDB", "../out/x.PDB", "\\x.PDB", "a,b.PDB", "a\nb.PDB"}) {
    files.planted = name;
    ASSERT_EQ(ProSetGlobalDirectories(&project_), 1);
    EXPECT_EQ(Get("PEAK_DB"), "0,P1.PRO\\PEAKDB\\,P1,PDB,0,0") << name;
  }
  testing::WriteText(directory_.Path("P1.PRO\\PEAKDB\\z.PDB"), "");
  EXPECT_EQ(ProSetGlobalDirectories(&project_), 1);
  EXPECT_EQ(Get("PEAK_DB"), "0,P1.PRO\\PEAKDB\\,z,PDB,0,0");
}

// Data copied from other systems often changes case.
TEST_F(ProjectsTest, DirectoriesAreFoundWhateverTheirCase) {
  fs::create_directories("P1.PRO/PeakDb");
  testing::WriteText(directory_.Path("P1.PRO\\PeakDb\\Oils.PDB"), "");
  const SystemFile project = {0, "", "p1", "pro", 0, 0};
  EXPECT_EQ(DirectoryExists("p1.PRO\\PEAKDB") + DirectoryExists("P1.PRO\\PEAKDB\\OILS.PDB"), 1);
  EXPECT_EQ(ProCreateDirectory(owner_, &project), 1);
  EXPECT_EQ(std::distance(fs::directory_iterator("P1.PRO"), fs::directory_iterator()), 6);
  EXPECT_EQ(std::distance(fs::directory_iterator("."), fs::directory_iterator()), 1);
  EXPECT_EQ(ProSetCurrent(owner_, &project), 1);
  EXPECT_EQ(Get("PEAK_DB"), "0,p1.pro\\PEAKDB\\,Oils,PDB,0,0");
}

TEST_F(ProjectsTest, RunningServicesAreClosedWhenTheUserAgrees) {
  EXPECT_EQ(ProShutDownServices(owner_), 1);
  EXPECT_TRUE(desktop_.messages.empty());

  std::vector<std::pair<TvWindow, uint32_t>> asked;
  intptr_t third_answers = 0;
  std::vector<TvWindow> services;
  for (int i = 0; i < 3; ++i) {
    services.push_back(windows_.Create({}));
    windows_.SetHandler(services.back(),
                        [&, i](TvWindow window, uint32_t message, uintptr_t, intptr_t) {
                          asked.emplace_back(window, message);
                          return i == 2 ? third_answers : 1;
                        });
  }
  for (int32_t i = 0; i < 3; ++i)
    AppSetService(i == 2 ? 29 : i + 1, services[static_cast<size_t>(i)], 1);
  AppSetService(3, owner_, 0);  // not running
  constexpr const char* kQuestionText =
      "When changing to a new Project all services are automatically closed down.\nContinue?";
  desktop_.answer = platform::kAnswerNo;
  EXPECT_EQ(ProSetCurrent(owner_, &project_), 0);
  ExpectMessage(kQuestionText, "Select Project", kQuestion);
  EXPECT_TRUE(asked.empty());
  EXPECT_EQ(Get("PROJECT") + Get("RAW"), "");

  // One that refuses stays, and with it the current project.
  desktop_.answer = platform::kAnswerYes;
  EXPECT_EQ(ProSetCurrent(owner_, &project_), 0);
  ExpectMessage(kQuestionText, "Select Project", kQuestion);
  EXPECT_EQ(Get("PROJECT") + Get("RAW"), "");
  ASSERT_EQ(asked.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(asked[i], std::make_pair(services[i], uint32_t{1036}));
    EXPECT_EQ(windows_.IsWindow(services[i]), i == 2);
  }
  third_answers = 1;
  EXPECT_EQ(ProSetCurrent(owner_, &project_), 1);
  ExpectMessage(kQuestionText, "Select Project", kQuestion);
  EXPECT_EQ(asked.size(), 4u);
  EXPECT_FALSE(windows_.IsWindow(services[2]));
  EXPECT_TRUE(windows_.IsWindow(owner_));
  EXPECT_EQ(AppGetService(1, nullptr) + AppGetService(29, nullptr), 0);
  EXPECT_EQ(Get("PROJECT"), "4,,P1,PRO,8,9");

  // Nothing runs any more, so nothing is asked.
  EXPECT_EQ(ProSetCurrent(owner_, &project_), 1);
  EXPECT_TRUE(desktop_.messages.empty());
}

// A service without a window, or whose window is gone, is asked through the application.
TEST_F(ProjectsTest, ServicesWithoutAWindowAreClosedByTheApplication) {
  struct Application {
    int32_t answer = 0;
    std::vector<int32_t> asked;
  } application;
  const TvWindow gone = windows_.Create({});
  windows_.Destroy(gone);
  AppSetService(4, nullptr, 1);
  AppSetService(7, gone, 1);
  desktop_.answer = platform::kAnswerYes;
  const auto refused = [&] {
    EXPECT_EQ(ProSetCurrent(owner_, &project_), 0);
    EXPECT_EQ(desktop_.messages.size(), 1u);
    desktop_.messages.clear();
    return Get("PROJECT") + Get("RAW") == "" && AppGetService(4, nullptr) == 1;
  };
  EXPECT_TRUE(refused());
  EXPECT_EQ(AppSetCloseService(
                [](void* user, int32_t slot) TERVALON_CALL {
                  auto* const asked = static_cast<Application*>(user);
                  asked->asked.push_back(slot);
                  if (slot == 4) AppSetService(29, nullptr, 0);  // ends with it
                  return asked->answer;
                },
                &application),
            1);
  EXPECT_TRUE(refused());
  application.answer = 1;
  AppSetService(29, nullptr, 1);
  EXPECT_EQ(ProSetCurrent(owner_, &project_), 1);
  EXPECT_THAT(application.asked, ::testing::ElementsAre(4, 4, 7));
  EXPECT_EQ(AppGetService(4, nullptr) + AppGetService(7, nullptr), 0);
  EXPECT_EQ(Get("PROJECT"), "4,,P1,PRO,8,9");
}

TEST_F(ProjectsTest, DialogChoosesAProject) {
  SystemFile chosen = {1, "old", "old", "old", 2, 3};
  EXPECT_EQ(ProFileOpen(owner_, &chosen), 0);  // cancelled
  ASSERT_EQ(desktop_.file_choices.size(), 1u);
  const platform::FileChoice& first = desktop_.file_choices[0];
  EXPECT_EQ(first.owner, owner_);
  EXPECT_EQ(first.dialog_template, "PROJECT_OPEN");
  EXPECT_EQ(first.title, "Select Tervalon default project");
  EXPECT_EQ(first.name_label, "Project &Name:");
  EXPECT_EQ(first.directory, "c:\\tervalon\\");
  EXPECT_EQ(first.path, ".PRO");
  EXPECT_EQ(first.extension, "PRO");
  EXPECT_STREQ(chosen.name, "old");

  SetGlobalFile("SystemList", "PROJECT", &project_, 1);
  ASSERT_EQ(ProCreateDirectory(owner_, &project_), 1);
  desktop_.file_result = platform::FileChoiceResult::kChosen;
  desktop_.chosen_path = directory_.Path("P1");  // the usual extension is added
  EXPECT_EQ(ProFileOpen(owner_, &chosen), 1);
  EXPECT_EQ(desktop_.file_choices[1].title, "Select Project");
  EXPECT_EQ(desktop_.file_choices[1].path, "P1.PRO");
  EXPECT_TRUE(desktop_.messages.empty());
  EXPECT_EQ(std::string(chosen.directory), directory_.Path() + "\\");
  EXPECT_STREQ(chosen.extension, "PRO");
  EXPECT_EQ(chosen.number * 100 + chosen.first_value * 10 + chosen.second_value, 123);

  desktop_.file_result = platform::FileChoiceResult::kFailed;
  desktop_.file_error = 0x3002;
  EXPECT_EQ(ProFileOpen(owner_, &chosen), 0);
  ExpectMessage("Dialog open error (12290)", "Select Project", kExclamation);
  EXPECT_EQ(ProFileOpen(owner_, nullptr), 0);
}

TEST_F(ProjectsTest, DialogOffersToCreateWhatIsMissing) {
  SystemFile chosen = {1, "old", "old", "old", 2, 3};
  desktop_.file_result = platform::FileChoiceResult::kChosen;
  testing::WriteText(directory_.Path("File.PRO"), "kept");
  const std::string too_long = std::string(300, 'd') + "\\P.PRO";
  for (const std::string& path : {std::string("none\\P.PRO"), std::string("File.PRO"), too_long}) {
    desktop_.chosen_path = path;
    EXPECT_EQ(ProFileOpen(owner_, &chosen), 0);
    ExpectMessage(path + "\n\nThis Project does not exist.\nCheck path and name are correct.",
                  "Select Project", kExclamation);
  }
  desktop_.chosen_path = "New";
  const std::string offer = "New.PRO\n\nThis Project does not exist.\nCreate Project directory?";
  desktop_.answer = platform::kAnswerNo;
  EXPECT_EQ(ProFileOpen(owner_, &chosen), 0);
  ExpectMessage(offer, "Select Project", kQuestion);
  EXPECT_FALSE(testing::Exists(directory_.Path("New.PRO")));
  EXPECT_STREQ(chosen.name, "old");
  desktop_.answer = platform::kAnswerYes;
  EXPECT_EQ(ProFileOpen(owner_, &chosen), 1);
  ExpectMessage(offer, "Select Project", kQuestion);
  EXPECT_TRUE(fs::is_directory("New.PRO/DATA"));
  EXPECT_STREQ(chosen.name, "New");
}

}  // namespace
}  // namespace tervalon::settings
