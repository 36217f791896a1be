// Pictures as files: what kinds there are, that they show what they should, and where it stands.

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using ::testing::EndsWith;
using ::testing::StartsWith;

class Plots : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "run.raw", "--scans", "24"}); }

  Arguments Plot(const Arguments& more) const {
    Arguments all = {"plot", "run.raw"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  std::string File(const std::string& name) const {
    std::ifstream stream(NativePath(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
};

TEST_F(Plots, RefuseWhatCannotBeMeant) {
  for (const auto& [arguments, text] : std::vector<std::pair<Arguments, std::string>>{
           {{"-o", "x.txt"}, "--output: 'x.txt' does not end in "},
           {{"--size", "900"}, "--size: '900'"},
           {{"--range", "5-2"}, "--range: '5-2'"},
           {{"--magnify", "2-5"}, "--magnify: '2-5'"},
           {{"-s", "0"}, "--scan: '0'"},
           {{"-s", "5-"}, "--scan: '5-'"},
           {{"-t", "-1"}, "--time: -1"},
           {{"--trace", "x"}, "'x' is no trace"},
           {{"-s", "1-999999"}, "more than 200 plots"},
           {{"--format", "gif"}, "--format: 'gif' is not "},
           {{"--pages"}, "only a PDF"},
           {{"--layout", "mirrored"}, "two plots are compared, not 1"},
           {{"--y-scale", "log", "--magnify", "2-5x3"}, "has to be linear"},
           {{"--y-scale", "log", "--y-range", "0-5"}, "begins above 0"},
           {{"--name", "verapamil"}, "--name: 'verapamil'"},
           {{"--text-size", "3"}, "--text-size: 3"},
           {{"--functions", "1,33"}, "--functions: '33'"},
           {{"-s", "1", "--trace", "TIC", "--layout", "3d"}, "different axes"}}) {
    ExpectFailure(Plot(arguments), 2, text);
  }
  ExpectFailure(Plot({"-s", "25"}), 1, "no scan 25");
  ExpectFailure(Plot({"--trace", "AN4"}), 1, "has no trace AN4");
  ExpectFailure(Plot({"-s", "1-20", "--size", "300x200"}), 1, "too small for 20 plots");
#if !defined(_WIN32)
  ExpectFailure(Plot({"--size", "50x50", "-o", "x.svg"}), 1, "too small for a plot");
#endif
  EXPECT_EQ(Names(), std::vector<std::string>{"run.raw"});
}

// The big-endian number at a place of a PNG file.
size_t NumberAt(const std::string& file, size_t place) {
  if (file.size() < place + 4) return 0;
  size_t number = 0;
  for (size_t i = 0; i < 4; ++i) number = number << 8 | static_cast<unsigned char>(file[place + i]);
  return number;
}

#if !defined(_WIN32)

TEST_F(Plots, TakeThePlaceOfAFileWithItsRights) {
  namespace fs = std::filesystem;
  constexpr fs::perms kRights = fs::perms::owner_all | fs::perms::group_read;
  WriteText(Path("old.png"), "old");
  fs::permissions(NativePath("old.png"), kRights);
  fs::create_symlink("old.png", NativePath("link.png"));
  Output(Plot({"-o", "link.png"}));
  EXPECT_TRUE(is_symlink(NativePath("link.png")));
  EXPECT_EQ(fs::status(NativePath("old.png")).permissions(), kRights);
  EXPECT_THAT(File("old.png"), StartsWith("\x89PNG"));
  EXPECT_EQ(Names(), (std::vector<std::string>{"link.png", "old.png", "run.raw"}));
}

// The paths of an SVG file that are drawn in a colour, and the rectangle around them.
struct Paths {
  int count = 0;
  double left = HUGE_VAL;
  double top = HUGE_VAL;
  double right = -HUGE_VAL;
  double bottom = -HUGE_VAL;

  bool Surround(const Paths& inner) const {
    return left <= inner.left && top <= inner.top && right >= inner.right && bottom >= inner.bottom;
  }
};

Paths PathsOf(const std::string& svg, const std::string& colour) {
  Paths paths;
  std::istringstream lines(svg);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("<path d=\"", 0) != 0) continue;
    if (line.find(" stroke=\"" + colour) == std::string::npos) continue;
    ++paths.count;
    std::istringstream steps(line.substr(9));
    double x = 0;
    double y = 0;
    char step = 0;
    while (steps >> step && step != '"') {
      double along[2] = {};
      const bool across = std::strchr("HhVv", step) == nullptr;
      steps >> along[0];
      if (across) steps >> along[1];
      if (step == 'V' || step == 'v') std::swap(along[0], along[1]);
      const bool relative = std::strchr("lhv", step) != nullptr;
      if (relative || step != 'V') x = relative ? x + along[0] : along[0];
      if (relative || step != 'H') y = relative ? y + along[1] : along[1];
      paths.left = std::min(paths.left, x);
      paths.right = std::max(paths.right, x);
      paths.top = std::min(paths.top, y);
      paths.bottom = std::max(paths.bottom, y);
    }
  }
  return paths;
}

constexpr char kBlack[] = "#000000";
constexpr char kBlue[] = "#0048a8";
constexpr char kRed[] = "#d55e00";

TEST_F(Plots, AreOfTheSizeAndKindAskedFor) {
  EXPECT_EQ(Output(Plot({})), "run.png: 960 by 600 pixels, 96 per inch\n");
  EXPECT_EQ(NumberAt(File("run.png"), 16), 960U);
  Output(Plot({"--resolution", "192", "--size", "700x500", "--trace", "AN1,AN2", "-o", "A.PNG"}));
  EXPECT_EQ(NumberAt(File("A.PNG"), 16), 700U);
  EXPECT_EQ(NumberAt(File("A.PNG"), 20), 500U);
  // 192 pixels an inch are 7559 a metre. The check sum stands for all of the chunk.
  EXPECT_EQ(File("A.PNG").substr(33, 8), std::string("\0\0\0\x09pHYs", 8));
  EXPECT_EQ(NumberAt(File("A.PNG"), 41), 7559U);
  EXPECT_EQ(NumberAt(File("A.PNG"), 50), 0x8FE5F165U);
  EXPECT_EQ(Output(Plot({"-o", "a.pdf"})), "a.pdf: 2880 by 1800 pixels, 288 per inch\n");
  EXPECT_THAT(File("a.pdf"), StartsWith("%PDF"));
}

TEST_F(Plots, ShowEverySeriesInsideTheAxes) {
  const struct {
    Arguments arguments;
    int blue;
    int red;
    bool inside = true;  // not in a legend, too, nor above the axes in front
  } kCases[] = {{{}, 1, 0},
                {{"--trace", "TIC,AN1"}, 2, 0},
                {{"--trace", "TIC,BPI", "--layout", "overlaid"}, 2, 2, false},
                {{"-f", "2", "-s", "12-13", "--layout", "3d"}, 4, 0, false},
                {{"--rows", "3", "--filled"}, 3, 0},
                {{"-t", "2", "--trace", "TIC"}, 2, 0},
                {{"-f", "2", "-s", "3-4", "--range", "200-300"}, 2, 0}};
  for (const auto& expected : kCases) {
    SCOPED_TRACE(::testing::PrintToString(expected.arguments));
    Arguments all = Plot(expected.arguments);
    all.insert(all.end(), {"-o", "a.svg"});
    Output(all);
    const std::string svg = File("a.svg");
    const Paths axes = PathsOf(svg, kBlack);
    for (const auto& [colour, count] :
         {std::pair(std::string(kBlue), expected.blue), {kRed, expected.red}}) {
      const Paths data = PathsOf(svg, colour);
      EXPECT_EQ(data.count, count);
      EXPECT_TRUE(count == 0 || !expected.inside || axes.Surround(data));
    }
  }
}

TEST_F(Plots, WarnOfWhatIsNotThere) {
  const auto result = Run(Plot({"-s", "2", "--range", "2000-3000", "-o", "a.png"}));
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "tervalon: a.png: nothing lies in --range\n");
}

TEST_F(Plots, HaveAPageForEachScan) {
  EXPECT_THAT(Output(Plot({"-s", "3-5", "--pages", "-o", "a.pdf"})), EndsWith(", 3 pages\n"));
  EXPECT_NE(File("a.pdf").find("/Count 3"), std::string::npos);
}

TEST_F(Plots, GoToStandardOutput) {
  EXPECT_THAT(Output(Plot({"-o", "-"})), StartsWith("\x89PNG"));
  const std::string svg = Output(Plot({"-o", "-", "--format", "SVG-outlines"}));
  EXPECT_NE(svg.find("<svg"), std::string::npos);
  EXPECT_EQ(svg.find("<text"), std::string::npos);
  EXPECT_EQ(Names(), std::vector<std::string>{"run.raw"});
}

TEST_F(Plots, CompareFunctions) {
  Output(Plot({"--functions", "1,2", "--layout", "mirrored", "-o", "a.svg"}));
  const std::string svg = File("a.svg");
  for (const char* name : {">function 1 TIC (100% = ", ">function 2 TIC (100% = "}) {
    EXPECT_NE(svg.find(name), std::string::npos);
  }
}

TEST_F(Plots, AreMapsOfWholeRuns) {
  Output(Plot({"--map", "--range", "2-6", "--y-range", "400-600", "-o", "a.svg"}));
  const std::string svg = File("a.svg");
  EXPECT_NE(svg.find("<image"), std::string::npos);
  EXPECT_NE(svg.find(">Time (min)<"), std::string::npos);
}

#else

TEST_F(Plots, AreMetafilesAndImages) {
  EXPECT_EQ(Output(Plot({"-o", "a.emf"})), "a.emf: 2880 by 1800 pixels, 288 per inch\n");
  const std::string metafile = File("a.emf");
  ASSERT_GT(metafile.size(), 2000U);
  EXPECT_EQ(metafile.substr(40, 4), " EMF");
  // The frame, in hundredths of a millimetre: 10 by 6.25 inches.
  int32_t frame[4] = {};
  std::memcpy(frame, metafile.data() + 24, sizeof frame);
  EXPECT_EQ(frame[2] - frame[0], 25400);
  EXPECT_EQ(frame[3] - frame[1], 15875);

  EXPECT_EQ(Output(Plot({"--resolution", "192", "--size", "700x500"})),
            "run.png: 700 by 500 pixels, 192 per inch\n");
  const std::string png = File("run.png");
  EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1A\n");
  EXPECT_EQ(NumberAt(png, 20), 500U);
  EXPECT_EQ(NumberAt(png, 41), 7559U);
  EXPECT_EQ(NumberAt(png, 50), 0x8FE5F165U);
  EXPECT_EQ(png.substr(png.size() - 8), "IEND\xAE\x42\x60\x82");

  Output(Plot({"-s", "12", "--size", "300x200", "-o", "a.bmp"}));
  const std::string bitmap = File("a.bmp");
  ASSERT_EQ(bitmap.size(), 54U + 300 * 200 * 4);
  EXPECT_NE(bitmap.substr(54, bitmap.npos).find_first_not_of('\xFF'), std::string::npos);
}

#endif

}  // namespace
}  // namespace tervalon::testing
