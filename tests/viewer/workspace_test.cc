// Runs and documents as somebody works with them, with nobody but a test in front of it.

#include "viewer/core/workspace.h"

#include <gtest/gtest.h>
#include <tervalon/settings.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <set>

#include "tests/viewer/fake_shell.h"
#include "tests/viewer/small_run.h"
#include "tools/data/trace_reader.h"
#include "viewer/core/commands.h"

namespace tervalon::viewer {
namespace {

namespace fs = std::filesystem;

constexpr int32_t kScans = 60;

// Where the process works and has its settings, before any test asks for them.
class OwnFolder : public ::testing::Environment {
 public:
  void SetUp() override {
    fs::current_path(tools::PathOf(folder_.Path("")));
    SetTervalonWorkingDir();
    ASSERT_NE(InitIni(0), 0);
  }
  void TearDown() override { fs::current_path(fs::temp_directory_path()); }

 private:
  Folder folder_;
};
[[maybe_unused]] const auto* const own_folder = ::testing::AddGlobalTestEnvironment(new OwnFolder);

// Nothing was open when the program was closed.
void StartAnew() {
  for (int i = 1; i < 40; ++i) {
    SetIniString("Viewer", ("Document" + std::to_string(i)).c_str(), "", 0);
    SetIniString("Viewer", ("Recent" + std::to_string(i)).c_str(), "", 0);
  }
}

class WorkspaceTest : public ::testing::Test {
 protected:
  WorkspaceTest() {
    StartAnew();
    MakeRun(path_, kScans);
  }

  ChromatogramDocument& Traces() {
    return static_cast<ChromatogramDocument&>(*workspace_.documents()[0]);
  }
  SpectrumDocument& Spectrum() {
    return static_cast<SpectrumDocument&>(*workspace_.documents()[1]);
  }
  void Gestured(Document& document, Gesture::Kind kind, float low, float high, float reach = 0) {
    workspace_.Do(document, {.kind = kind, .x = {low, high}, .reach = reach});
  }
  void ReadAll() {
    while (workspace_.Idle()) {
    }
  }

  Folder folder_;
  const std::string path_ = folder_.Path("SMALL.RAW");
  FakeShell shell_;
  Workspace workspace_{&shell_};
};

TEST_F(WorkspaceTest, FromTheChromatogramToTheSpectrumAndBack) {
  ASSERT_TRUE(workspace_.Open(path_));
  EXPECT_EQ(Traces().Title(), "SMALL.RAW: function 1 - Chromatogram");
  Gestured(Traces(), Gesture::Kind::kClick, 2.01F, 2.01F);
  ASSERT_EQ(workspace_.documents().size(), 2U);
  EXPECT_EQ(Spectrum().scan(), 20);
  Gestured(Traces(), Gesture::Kind::kClick, 4, 4);
  EXPECT_EQ(workspace_.documents().size(), 2U);
  EXPECT_EQ(Spectrum().Title(), "SMALL.RAW: function 1, scan 40 - Spectrum");

  // The mean of scans 19 to 21, less that of the last ones, where only 150 is left.
  Gestured(Traces(), Gesture::Kind::kSelect, 1.88F, 2.12F);
  Gestured(Traces(), Gesture::Kind::kBackground, 5.65F, 6);
  const tools::Section table = Spectrum().Table();
  const auto& masses = std::get<std::vector<float>>(table.columns[0].cells);
  const auto& heights = std::get<std::vector<float>>(table.columns[1].cells);
  const auto peak = std::ranges::max_element(heights) - heights.begin();
  EXPECT_NEAR(masses[static_cast<size_t>(peak)], 200.25F, 0.01);
  const float mean = (HeightAt(200.25F, 19, 1) + 1000 + HeightAt(200.25F, 21, 1)) / 3;
  EXPECT_NEAR(heights[static_cast<size_t>(peak)], mean, 1);
  for (size_t i = 0; i < masses.size(); ++i) {
    if (std::abs(masses[i] - 150) < 0.1F) {
      EXPECT_LT(heights[i], 1);
    }
  }

  // A click beside the peak means the peak, a drag a range.
  Gestured(Spectrum(), Gesture::Kind::kClick, 201, 201, 2);
  Gestured(Spectrum(), Gesture::Kind::kSelect, 290, 310);
  EXPECT_EQ(Traces().traces(), "TIC,200.25,290.00_310.00");
  ReadAll();
  const PicturePlan& plan = PlanOf(*Traces().chart());
  ASSERT_EQ(plan.series.size(), 3U);
  for (int32_t scan = 1; scan <= kScans; ++scan) {
    const auto i = static_cast<size_t>(scan - 1);
    ASSERT_EQ(plan.series[1].y[i], HeightAt(200.25F, scan, 1));
    ASSERT_EQ(plan.series[2].y[i], HeightAt(300.5F, scan, 1));
  }
  workspace_.Close(Traces());
  EXPECT_EQ(shell_.windows.size(), 1U);
  EXPECT_TRUE(shell_.complaints.empty());
}

TEST_F(WorkspaceTest, TimesAreLinked) {
  const std::string other = folder_.Path("OTHER.RAW");
  MakeRun(other, kScans);
  ASSERT_TRUE(workspace_.Open(path_) && workspace_.Open(other));
  ASSERT_NE(workspace_.Show(Kind::kSpectrum), nullptr);
  Traces().chart()->SetView({.x = Window{1, 2}, .y = Window{0, 50}});
  workspace_.ViewChanged(Traces());
  EXPECT_EQ(workspace_.documents()[1]->chart()->view().x->low, 1);
  EXPECT_FALSE(workspace_.documents()[1]->chart()->view().y.has_value());
  EXPECT_FALSE(workspace_.documents()[2]->chart()->view().x.has_value());
  ASSERT_NE(workspace_.Show(Kind::kMap), nullptr);  // one that comes later, too
  EXPECT_EQ(workspace_.active()->chart()->view().x->high, 2);
  workspace_.set_linked(false);
  Traces().chart()->SeeAll();
  workspace_.ViewChanged(Traces());
  EXPECT_EQ(workspace_.documents()[1]->chart()->view().x->low, 1);
}

// What a pass takes is read in steps, is there as far as it was read when it is broken off, and is
// not read twice.
TEST_F(WorkspaceTest, TracesAreReadInSteps) {
  ASSERT_TRUE(workspace_.Open(path_));
  Traces().SetTraces("200.25,TIC");
  Traces().Read({});
  EXPECT_EQ(Traces().part(), 0);
  double before = 0;
  for (int steps = 0; Traces().part() < 0.4; ++steps) {
    ASSERT_TRUE(Traces().Step());
    EXPECT_GT(Traces().part(), before);
    before = Traces().part();
  }
  workspace_.Stop();
  EXPECT_EQ(Traces().part(), 1);
  const size_t read = PlanOf(*Traces().chart()).series[0].x.size();
  EXPECT_GT(read, 0U);
  EXPECT_LT(read, size_t{kScans});
  EXPECT_EQ(PlanOf(*Traces().chart()).series[1].x.size(), size_t{kScans});

  Traces().SetTraces("200.25,300.5");  // somebody wants the rest after all
  workspace_.TracesChanged(Traces());
  EXPECT_NEAR(Traces().part(), static_cast<double>(read) / (2 * kScans), 1e-9);
  ReadAll();
  const tools::RawDirectory directory(path_);
  const tools::DataReader reader(directory, {.function = 1});
  for (size_t i = 0; i < 2; ++i) {
    const tools::Trace whole =
        ReadTrace(reader, tools::ParseTraces(i == 0 ? "200.25" : "300.5", {})[0]);
    EXPECT_EQ(PlanOf(*Traces().chart()).series[i].y, whole.values);
  }
}

TEST_F(WorkspaceTest, AMapIsReadInStepsAndFinerWhereItIsSeen) {
  ASSERT_TRUE(workspace_.Open(path_));
  Document& map = *workspace_.Show(Kind::kMap);
  EXPECT_EQ(workspace_.Show(Kind::kMap), &map);  // there is one
  ReadAll();
  const auto lit = [&] {
    const std::vector<uint8_t>& levels = PlanOf(*map.chart()).panels[0].maps[0].levels;
    return static_cast<double>(
               std::ranges::count_if(levels, [](uint8_t level) { return level > 0; })) /
           static_cast<double>(levels.size());
  };
  EXPECT_GT(lit(), 0);
  EXPECT_LT(lit(), 0.02);
  map.chart()->SetView({.x = Window{1.8F, 2.2F}, .y = Window{200.2F, 200.3F}});
  workspace_.ViewChanged(map);
  EXPECT_GT(lit(), 0);  // coarsely, at once
  EXPECT_LT(map.part(), 1);
  ReadAll();
  const double fine = lit();
  EXPECT_GT(fine, 0);
  EXPECT_LT(fine, 0.02);
  map.chart()->SeeAll();
  workspace_.ViewChanged(map);
  EXPECT_EQ(map.part(), 1);
}

// A run that is acquired, and what may become of one: said once, and the others stay.
TEST_F(WorkspaceTest, WhatBecomesOfRuns) {
  const std::string other = folder_.Path("OTHER.RAW");
  const std::string spare = folder_.Path("SPARE.RAW");
  MakeRun(other, kScans);
  ASSERT_TRUE(workspace_.Open(path_) && workspace_.Open(other));
  Document& kept = *workspace_.documents()[1];
  Traces().SetTraces("TIC,200.25");
  workspace_.TracesChanged(Traces());
  ReadAll();
  const auto follow = [&] {
    workspace_.Follow();
    ReadAll();
    return PlanOf(*Traces().chart()).series[1].x.size();
  };
  EXPECT_EQ(follow(), size_t{kScans});

  const auto index = tools::PathOf(path_) / "_FUNC001.IDX";
  const auto size = fs::file_size(index);
  const auto bytes_per_scan = size / kScans;
  fs::copy(path_, spare);
  struct Step {
    const char* what;
    std::function<void()> happens;
    const char* complaint;  // nullptr: none
  };
  // Moved away rather than deleted, which Windows does not do while files are open.
  int moved = 0;
  const auto take_away = [&] {
    if (fs::exists(path_)) fs::rename(path_, folder_.Path("AWAY" + std::to_string(++moved)));
  };
  const auto put_back = [&](const std::string& from) {
    take_away();
    fs::copy(from, path_);
  };
  MakeRun(folder_.Path("ANOTHER.RAW"), kScans, "ANOTHER");
  MakeRun(folder_.Path("LONGER.RAW"), kScans + 30);
  const Step steps[] = {
      {"longer", [&] { put_back(folder_.Path("LONGER.RAW")); }, nullptr},
      {"cut off", [&] { put_back(spare); }, "scans that were there are gone"},
      {"whole", [&] { put_back(folder_.Path("LONGER.RAW")); }, nullptr},
      {"deleted", take_away, "no such directory"},
      {"back", [&] { put_back(folder_.Path("LONGER.RAW")); }, nullptr},
      {"another", [&] { put_back(folder_.Path("ANOTHER.RAW")); }, "another run"},
      {"back", [&] { put_back(folder_.Path("LONGER.RAW")); }, nullptr},
      {"index cut", [&] { fs::resize_file(index, bytes_per_scan * 20); },
       "scans that were there are gone"},
      {"no header", [&] { fs::remove(tools::PathOf(path_) / "_FUNCTNS.INF"); }, nullptr},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.what);
    shell_.complaints.clear();
    step.happens();
    for (int i = 0; i < 3; ++i) {
      const size_t shown = follow();
      if (step.complaint == nullptr && std::string(step.what) != "no header") {
        EXPECT_EQ(shown, size_t{kScans + 30});
      }
      // Work with it goes on as far as it can, and says no more than that.
      Gestured(Traces(), Gesture::Kind::kClick, 2, 2);
      Gestured(kept, Gesture::Kind::kClick, 2, 2);
    }
    if (step.complaint == nullptr) {
      EXPECT_TRUE(shell_.complaints.empty());
    } else {
      ASSERT_EQ(shell_.complaints.size(), 1U);
      EXPECT_NE(shell_.complaints[0].find(step.complaint), std::string::npos)
          << shell_.complaints[0];
      EXPECT_NE(shell_.complaints[0].find(path_), std::string::npos);
    }
  }
  shell_.complaints.clear();
  EXPECT_FALSE(workspace_.Open(folder_.Path("NOWHERE.RAW")));
  EXPECT_EQ(shell_.complaints.size(), 1U);
}

TEST_F(WorkspaceTest, EverythingComesBack) {
  const std::string gone = folder_.Path("GONE.RAW");
  MakeRun(gone, 10);
  std::vector<std::string> titles;
  {
    FakeShell shell;
    Workspace before(&shell);
    before.Load();
    ASSERT_TRUE(before.Open(gone) && before.Open(path_));
    auto& traces = static_cast<ChromatogramDocument&>(*before.documents()[1]);
    traces.SetTraces("TIC,150+200.25-300.5,100_200");
    traces.set_layout(tools::Layout::kOverlaid);
    traces.SetMagnified("1-2x10, 3-4x0.5");
    before.Do(traces, {.kind = Gesture::Kind::kSelect, .x = {1, 2}});
    before.Do(traces, {.kind = Gesture::Kind::kBackground, .x = {5, 6}});
    for (const Kind kind : {Kind::kHeader, Kind::kScans, Kind::kHistory, Kind::kMap}) {
      ASSERT_NE(before.Show(kind), nullptr);
    }
    ASSERT_TRUE(before.ShowOther(1));
    before.set_linked(false);
    traces.chart()->SetView({.x = Window{1.25F, 2.5F}, .y = Window{0, 50}});
    before.appearance().percent = false;
    before.appearance().grid = true;
    for (const auto& document : before.documents()) titles.push_back(document->Title());
    before.Save();
  }
  fs::remove_all(gone);
  titles.erase(titles.begin());
  workspace_.Load();
  workspace_.RestoreDocuments();
  ASSERT_EQ(workspace_.documents().size(), titles.size());
  for (size_t i = 0; i < titles.size(); ++i) {
    EXPECT_EQ(workspace_.documents()[i]->Title(), titles[i]);
    EXPECT_EQ(workspace_.documents()[i]->restored(), i + 1);
  }
  EXPECT_EQ(Traces().traces(), "TIC,150+200.25-300.5,100_200");
  EXPECT_EQ(Traces().layout(), tools::Layout::kOverlaid);
  EXPECT_EQ(Traces().magnified(), "1-2x10, 3-4x0.5");
  EXPECT_TRUE(Traces().chart()->view() == (View{.x = Window{1.25F, 2.5F}, .y = Window{0, 50}}));
  EXPECT_FALSE(workspace_.appearance().percent);
  EXPECT_TRUE(workspace_.appearance().grid);
  EXPECT_FALSE(workspace_.linked());
  EXPECT_EQ(workspace_.recent(), (std::vector<std::string>{path_, gone}));
  EXPECT_EQ(workspace_.Folder(), folder_.Path(""));
  EXPECT_TRUE(shell_.complaints.empty());
}

TEST_F(WorkspaceTest, LinesThatSomebodyElseWrote) {
  const std::string lines[] = {"x",
                               ",,,,,,",
                               "9,1,0,,,," + path_,
                               "-1,1,0,,,," + path_,
                               "0,1e300,0,,,," + path_,
                               "0,1,-7,|nonsense|,9_1,_," + path_,
                               "1,1,0,|1e99|3_|x,1_2,," + path_,
                               "1,1,0,4-3x|0||,,," + path_,
                               "3,nan,0,,,," + path_,
                               "2,1,0,,1_1,," + path_,
                               "0,1,0,|TIC,,," + path_};
  for (const std::string& line : lines) {
    SCOPED_TRACE(line);
    StartAnew();
    std::string text = line;
    SetIniString("Viewer", "Document1", text.data(), 0);
    FakeShell shell;
    Workspace workspace(&shell);
    workspace.Load();
    workspace.RestoreDocuments();
    for (const auto& document : workspace.documents()) {
      if (document->chart() != nullptr) PlanOf(*document->chart());
    }
    EXPECT_LE(workspace.documents().size(), 1U);
    EXPECT_TRUE(shell.complaints.empty());
  }
}

std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> FilesOf(const std::string& path) {
  std::map<std::string, std::pair<uintmax_t, fs::file_time_type>> files;
  for (const auto& entry : fs::directory_iterator(tools::PathOf(path))) {
    files[tools::NameOf(entry.path())] = {entry.file_size(), entry.last_write_time()};
  }
  return files;
}

TEST(CommandsTest, AreToldApart) {
  std::set<std::string> ids;
  std::set<std::string> keys;
  std::set<std::string> letters;
  for (const Command& command : Commands()) {
    if (command.run == nullptr) continue;
    EXPECT_TRUE(ids.insert(command.id).second) << command.id;
    EXPECT_EQ(FindCommand(command.id), &command);
    EXPECT_TRUE(command.key[0] == '\0' || keys.insert(command.key).second) << command.key;
    const std::string text = command.text;
    const size_t mark = text.find('_');
    ASSERT_NE(mark, std::string::npos) << text;
    const char letter = static_cast<char>(std::tolower(text[mark + 1]));
    EXPECT_TRUE(letters.insert(std::string(command.menu) + letter).second) << text;
  }
}

// Whatever is done in whatever order, with whatever answers, nothing breaks, and nothing is written
// into a run.
TEST_F(WorkspaceTest, AnythingInAnyOrder) {
  const auto files = FilesOf(path_);
  std::mt19937 random(5);
  const std::string texts[] = {"TIC",
                               "200.25,BPI",
                               "1-2x5",
                               "garbage",
                               "",
                               "AN1",
                               path_,
                               "500",
                               "x10",
                               "3-1x2",
                               "NL18",
                               "150>100",
                               "1-9x0",
                               folder_.Path("no/such/folder/a.png"),
                               folder_.Path("a.csv")};
  workspace_.Load();
  ASSERT_TRUE(workspace_.Open(path_));
  for (int i = 0; i < 200; ++i) {
    shell_.answers.clear();
    if (random() % 4 != 0) shell_.answers.push_back(texts[random() % std::size(texts)]);
    const Command& command = Commands()[random() % Commands().size()];
#if defined(_WIN32)
    if (command.run == FindCommand("project")->run) continue;  // asks somebody at the screen
#endif
    const bool can = command.run != nullptr && (command.can == nullptr || command.can(workspace_));
    ASSERT_EQ(RunCommand(command, workspace_), can) << command.id;
    if (workspace_.documents().size() > 8) workspace_.Close(*workspace_.documents().front());
    if (workspace_.documents().empty()) {
      ASSERT_TRUE(workspace_.Open(path_));
    }
    Document& document = *workspace_.documents()[random() % workspace_.documents().size()];
    if (random() % 2 == 0) workspace_.Activate(&document);
    if (Chart* const chart = document.chart(); chart != nullptr && random() % 3 == 0) {
      const auto place = [&] {
        return Place{static_cast<int32_t>(random() % kScreen.width),
                     static_cast<int32_t>(random() % kScreen.height)};
      };
      workspace_.PointAt(document, FindPlace(PlanOf(*chart), place()));
      chart->Press(random() % 3 == 0 ? Button::kRight : Button::kLeft, place());
      workspace_.Do(document, chart->Release(place()));
    }
    if (random() % 3 == 0) workspace_.Idle();
    if (random() % 50 == 0) workspace_.Follow();
    ASSERT_EQ(shell_.windows.size(), workspace_.documents().size());
  }
  workspace_.Save();
  EXPECT_EQ(FilesOf(path_), files);
}

}  // namespace
}  // namespace tervalon::viewer
