// What leaves the program is what was shown.

#include "viewer/core/leaving.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/viewer/small_run.h"
#include "tools/print/failure.h"

namespace tervalon::viewer {
namespace {

std::string FileText(const std::string& path) {
  std::ifstream file(tools::PathOf(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(LeavingTest, PicturesTablesAndData) {
  const Folder folder;
  const std::string path = folder.Path("SMALL.RAW");
  MakeRun(path, 60);
  const auto run = std::make_shared<viewer::Run>(path);
  ChromatogramDocument traces(run, {.function = 2});
  traces.SetTraces("TIC,200.25");
  traces.Read({});
  while (traces.Step()) {
  }
  SpectrumDocument spectrum(run, {.function = 2});
  spectrum.SetScan(20);
  spectrum.Read({});

  EXPECT_EQ(UsualName(traces, Leaving::kMzml), "SMALL.mzML");
#if defined(_WIN32)
  constexpr std::pair<const char*, const char*> kPictures[] = {{"a.png", "\x89PNG"},
                                                               {"a.emf", "\x01"}};
#else
  constexpr std::pair<const char*, const char*> kPictures[] = {
      {"a.png", "\x89PNG"}, {"a.svg", "<?xml"}, {"a.pdf", "%PDF"}};
#endif
  for (const auto& [name, begin] : kPictures) {
    SaveAs(traces, Leaving::kPicture, folder.Path(name));
    EXPECT_TRUE(FileText(folder.Path(name)).starts_with(begin)) << name;
  }
#if !defined(_WIN32)
  EXPECT_NE(FileText(folder.Path("a.svg")).find("SMALL.RAW: function 2"), std::string::npos);
#endif
  EXPECT_THROW(SaveAs(traces, Leaving::kPicture, folder.Path("a.xyz")), tools::WrongUsage);
  EXPECT_THROW(SaveAs(traces, Leaving::kTable, folder.Path("none/a.csv")), tools::Failure);

  SaveAs(traces, Leaving::kTable, folder.Path("a.csv"));
  const std::string rows = FileText(folder.Path("a.csv"));
  EXPECT_EQ(CountOf(rows, "\n"), 121U);
  EXPECT_EQ(CountOf(rows, "m/z 200.25,2,500"), 1U);  // half of what function 1 has

  traces.chart()->SetView({.x = Window{1.95F, 2.25F}});
  SaveAs(traces, Leaving::kMzml, folder.Path("a.mzML"));
  EXPECT_EQ(CountOf(FileText(folder.Path("a.mzML")), "<spectrum "), 3U);
  SaveAs(spectrum, Leaving::kMzml, folder.Path("b.mzML"));
  const std::string one = FileText(folder.Path("b.mzML"));
  EXPECT_EQ(CountOf(one, "<spectrum "), 1U);
  EXPECT_NE(one.find("function=2"), std::string::npos);
}

}  // namespace
}  // namespace tervalon::viewer
