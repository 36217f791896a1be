// What tervalon export writes: every format holds the points that the run has.

#include <bit>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using nlohmann::json;

struct Points {
  std::vector<float> masses;
  std::vector<float> intensities;
  bool operator==(const Points&) const = default;
};
// By "function/scan".
using PointsByScan = std::map<std::string, Points>;

void Add(PointsByScan& run, const json& row) {
  Points& points = run[row["function"].dump() + "/" + row["scan"].dump()];
  points.masses.push_back(row["mass"].get<float>());
  points.intensities.push_back(row["intensity"].get<float>());
}

PointsByScan FromNdjson(const std::string& text) {
  PointsByScan run;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) Add(run, json::parse(line));
  return run;
}

PointsByScan FromJson(const std::string& text) {
  PointsByScan run;
  const json document = json::parse(text);
  for (const json& row : document["points"]) Add(run, row);
  return run;
}

// Rows of function, scan, time, mass, intensity under a line of names.
PointsByScan FromTable(const std::string& text, char separator) {
  PointsByScan run;
  std::istringstream lines(text);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::vector<std::string> cells(1);
    for (const char c : line) {
      if (c == separator) {
        cells.emplace_back();
      } else {
        cells.back() += c;
      }
    }
    Points& points = run[cells.at(0) + "/" + cells.at(1)];
    points.masses.push_back(std::stof(cells.at(3)));
    points.intensities.push_back(std::stof(cells.at(4)));
  }
  return run;
}

std::string Between(const std::string& text, const std::string& from, const std::string& to,
                    size_t start = 0) {
  const size_t begin = text.find(from, start) + from.size();
  return text.substr(begin, text.find(to, begin) - begin);
}

std::vector<uint8_t> FromBase64(const std::string& text) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::vector<uint8_t> bytes;
  uint32_t bits = 0;
  int count = 0;
  for (const char c : text.substr(0, text.find('='))) {
    bits = bits << 6 | static_cast<uint32_t>(digits.find(c));
    count += 6;
    if (count >= 8) bytes.push_back(static_cast<uint8_t>(bits >> (count -= 8)));
  }
  return bytes;
}

template <typename Number>
std::vector<float> Numbers(const std::string& base64) {
  const std::vector<uint8_t> bytes = FromBase64(base64);
  std::vector<float> numbers;
  for (size_t i = 0; i + sizeof(Number) <= bytes.size(); i += sizeof(Number)) {
    Number number;
    std::memcpy(&number, bytes.data() + i, sizeof number);
    numbers.push_back(static_cast<float>(number));
  }
  return numbers;
}

// Masses of 64 bits and intensities of 32, uncompressed, by way of the index.
PointsByScan FromMzml(const std::string& text) {
  PointsByScan run;
  for (size_t at = text.find("<indexList "); (at = text.find("<offset idRef=", at)) < text.size();
       ++at) {
    const std::string id = Between(text, "idRef=\"", "\"", at);
    const size_t offset = std::stoul(Between(text, "\">", "<", at));
    const std::string element = Between(text, "<", ">", offset);
    EXPECT_NE(element.find("id=\"" + id + "\""), std::string::npos) << element;
    if (!element.starts_with("spectrum ")) continue;
    const std::string spectrum = Between(text, "<", "</spectrum>", offset);
    const size_t second = spectrum.rfind("<binaryDataArray ");
    Points points = {Numbers<double>(Between(spectrum, "<binary>", "</binary>")),
                     Numbers<float>(Between(spectrum, "<binary>", "</binary>", second))};
    EXPECT_EQ(std::stoul(Between(element, "defaultArrayLength=\"", "\"")), points.masses.size());
    run[Between(id, "function=", " ") + "/" + id.substr(id.rfind('=') + 1)] = points;
  }
  return run;
}

class ExportTest : public ProgramTest {
 protected:
  void SetUp() override { Output({"simulate", "R.RAW", "--scans", "9"}); }

  // Those with few points.
  const Arguments kSmallFunctions = {"-f", "1", "-f", "3"};

  std::string Exported(const std::string& name, Arguments options = {}) const {
    Arguments arguments = {"export", "R.RAW", "-o", name};
    arguments.insert(arguments.end(), options.begin(), options.end());
    EXPECT_EQ(Output(arguments), "");
    return Content(name);
  }

  std::string Content(const std::string& name) const {
    std::ifstream file(NativePath(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

TEST_F(ExportTest, EveryFormatHoldsThePointsThatSpectraHave) {
  const PointsByScan run = FromNdjson(Exported("r.ndjson", kSmallFunctions));
  ASSERT_EQ(run.size(), 18U);
  EXPECT_EQ(FromJson(Exported("r.json", kSmallFunctions)), run);
  EXPECT_EQ(FromTable(Exported("r.csv", kSmallFunctions), ','), run);
  EXPECT_EQ(FromTable(Exported("r.tsv", kSmallFunctions), '\t'), run);
  EXPECT_EQ(Output({"export", "R.RAW", "-f", "1", "-f", "3", "--csv"}), Content("r.csv"));
  PointsByScan all = FromMzml(Exported("r.mzML", {"--compression", "none"}));
  EXPECT_EQ(all.size(), 27U);
  for (const auto& [id, points] : run) EXPECT_EQ(all[id], points) << id;
  for (const std::string id : {"1/1", "2/5", "3/9"}) {
    const json points =
        Json({"spectrum", "R.RAW", "-f", id.substr(0, 1), "-s", id.substr(2)})["points"];
    EXPECT_EQ(points["mass"].get<std::vector<float>>(), all[id].masses);
    EXPECT_EQ(points["intensity"].get<std::vector<float>>(), all[id].intensities);
  }

  // A part of it, by time and by scan.
  const json scans = Json({"scans", "R.RAW", "-f", "1"})["scans"];
  const std::string from = scans[2]["time"].dump();
  const std::string to = scans[5]["time"].dump();
  const PointsByScan part = FromTable(
      Output({"export", "R.RAW", "-f", "1", "-t", from + "-" + to, "--scan", "-5", "--csv"}), ',');
  EXPECT_EQ(part.size(), 3U);
  for (const auto& [id, points] : part) EXPECT_EQ(points, run.at(id)) << id;
  EXPECT_EQ(scans[4]["points"], run.at("1/5").masses.size());
}

TEST_F(ExportTest, CentroidsWithAPrecursorArePeakLists) {
  const std::string lists = Exported("r.mgf", {"-f", "1", "--precursor", "455.25"});
  EXPECT_TRUE(
      lists.starts_with("BEGIN IONS\nTITLE=function=1 process=0 scan=1\nRTINSECONDS=0\n"
                        "PEPMASS=455.25\n"));
  EXPECT_TRUE(lists.ends_with("END IONS\n\n"));
}

// Nothing is left behind, and an older file is as it was.
TEST_F(ExportTest, AFailedExportLeavesWhatWasThere) {
  std::ofstream(NativePath("old.mzML")) << "old";
  const std::vector<std::string> names = Names();
  ExpectFailures({{{"export", "R.RAW", "-o", "old.mzML", "-f", "4"}, 1, "no function 4"},
                  {{"export", "R.RAW", "-o", "none/r.mzML"}, 1, "cannot be written"},
                  {{"export", "R.RAW", "-o", "r.mgf"}, 1, "--precursor"},
                  {{"export", "R.RAW", "-o", "r.xyz"}, 2, "--format"},
                  {{"export", "R.RAW", "R.RAW", "-o", "old.mzML"}, 2, "no directory"},
                  {{"export", "R.RAW", "R.RAW"}, 2, "R.mzML"}});
  std::filesystem::resize_file(NativePath("R.RAW/_FUNC002.IDX"), 0);
  std::filesystem::remove(NativePath("R.RAW/_FUNC001.DAT"));
  ExpectFailure({"export", "R.RAW", "-o", "old.mzML"}, 1, "_FUNC001.DAT");
  EXPECT_EQ(Content("old.mzML"), "old");
  EXPECT_EQ(Names(), names);
}

#if !defined(_WIN32)
// Neither a full disk nor a signal leaves a part of a file or spoils an older one.
TEST_F(ExportTest, AnExportThatIsBrokenOffLeavesNothing) {
  Output({"simulate", "LONG.RAW", "--scans", "400"});
  const std::string command = "'" + ProgramPath() + "' export LONG.RAW -o old.";
  for (const std::string format : {"mzML", "csv", "mgf", "sqlite", "cdf"}) {
    SCOPED_TRACE(format);
    std::ofstream(NativePath("old." + format)) << "old";
    const std::vector<std::string> names = Names();
    const ProcessResult full = RunShell(
        "trap '' XFSZ; ulimit -f 1; exec " + command + format + " -f 1 --precursor 400", Path(""));
    EXPECT_EQ(full.status, 1);
    EXPECT_TRUE(full.err.starts_with("tervalon: old." + format + ": ")) << full.err;
    EXPECT_EQ(Content("old." + format), "old");
    EXPECT_EQ(Names(), names);
    if (format == "mgf" || format == "cdf") continue;  // too fast to be broken off
    // As soon as there is something beside the old file.
    const ProcessResult ended =
        RunShell(command + format + " -f 2 & until ls old." + format +
                     ".*.part >/dev/null 2>&1; do :; done; kill -TERM $!; wait $!",
                 Path(""));
    EXPECT_EQ(ended.status, 128 + 15) << ended.err;
    EXPECT_EQ(Content("old." + format), "old");
    EXPECT_EQ(Names(), names);
  }
}

std::vector<float> FromHex(const std::string& digits) {
  std::vector<float> numbers;
  for (size_t i = 0; i + 8 <= digits.size(); i += 8) {
    const auto bits = static_cast<uint32_t>(std::stoul(digits.substr(i, 8), nullptr, 16));
    numbers.push_back(std::bit_cast<float>(__builtin_bswap32(bits)));
  }
  return numbers;
}

// Read back by the libraries' own programs.
TEST_F(ExportTest, DatabasesHoldWhatTheRunHas) {
  if (RunShell("command -v sqlite3 && command -v ncdump", Path("")).status != 0) {
    GTEST_SKIP() << "no sqlite3 or ncdump";
  }
  const PointsByScan run = FromNdjson(Exported("r.ndjson", kSmallFunctions));
  Exported("rows.sqlite", {"-f", "1", "-f", "3", "--rows"});
  Exported("arrays.sqlite", kSmallFunctions);
  const auto query = [this](const std::string& file, const std::string& columns) {
    const ProcessResult result =
        RunShell("sqlite3 -header -csv " + file + " 'SELECT function, scan, time, " + columns +
                     " JOIN scans s ON scan_id = s.id JOIN functions f ON function_id = f.id'",
                 Path(""));
    EXPECT_EQ(result.err, "");
    return result.out;
  };
  EXPECT_EQ(FromTable(query("rows.sqlite", "mass, intensity FROM points"), ','), run);
  std::istringstream arrays(query("arrays.sqlite", "hex(masses), hex(intensities) FROM arrays"));
  PointsByScan packed;
  std::string line;
  for (std::getline(arrays, line); std::getline(arrays, line);) {
    std::vector<std::string> cells;
    std::istringstream row(line);
    for (std::string cell; std::getline(row, cell, ',');) cells.push_back(cell);
    packed[cells.at(0) + "/" + cells.at(1)] = {FromHex(cells.at(3)), FromHex(cells.at(4))};
  }
  EXPECT_EQ(packed, run);

  Exported("r.cdf", {"-f", "2"});
  const std::string text = RunShell("ncdump -p 9,17 r.cdf", Path("")).out;
  const auto variable = [&text](const std::string& name) {
    std::vector<float> values;
    const size_t data = text.find("\ndata:");
    std::istringstream list(Between(text, " " + name + " = ", ";", data));
    for (std::string value; std::getline(list, value, ',');) values.push_back(std::stof(value));
    return values;
  };
  std::vector<float> seconds, currents;
  const json table = Json({"scans", "R.RAW", "-f", "2"});
  for (const json& scan : table["scans"]) {
    seconds.push_back(static_cast<float>(scan["time"].get<float>() * 60.0));
    currents.push_back(scan["tic"].get<float>());
  }
  EXPECT_EQ(variable("raw_data_retention"), seconds);
  EXPECT_EQ(variable("ordinate_values"), currents);
}
#endif

// What several inputs print is what each prints, labelled; a failure is told and the others done.
TEST_F(ExportTest, SeveralInputsAreDoneSideBySide) {
  Output({"simulate", "S.RAW", "--scans", "4", "--seed", "5"});
  for (const Arguments& command : {Arguments{"info"}, {"scans"}, {"chrom", "--bpi"}, {"noise"}}) {
    SCOPED_TRACE(command[0]);
    Arguments all = command;
    all.insert(all.end(), {"R.RAW", "NO.RAW", "S.RAW"});
    for (const std::string format : {"--csv", "--json"}) {
      Arguments arguments = all;
      arguments.push_back(format);
      ProcessResult one_by_one = Run(arguments);
      std::erase(one_by_one.err, '\r');
      EXPECT_EQ(one_by_one.status, 1);
      EXPECT_EQ(one_by_one.err, "tervalon: NO.RAW: no such directory\n");
      arguments.insert(arguments.end(), {"--jobs", "2"});
      ProcessResult side_by_side = Run(arguments);
      std::erase(side_by_side.err, '\r');
      EXPECT_EQ(side_by_side.status, 1);
      EXPECT_EQ(side_by_side.out, one_by_one.out);
      EXPECT_EQ(side_by_side.err, one_by_one.err);
      if (format == "--csv") {
        EXPECT_TRUE(one_by_one.out.starts_with("directory,"));
        continue;
      }
      const json both = json::parse(one_by_one.out);
      ASSERT_EQ(both.size(), 2U);
      for (const json& labelled : both) {
        Arguments alone = command;
        alone.push_back(labelled["directory"].get<std::string>());
        json expected = Json(alone);
        expected["directory"] = labelled["directory"];
        if (labelled.contains("function")) expected["function"] = 1;
        EXPECT_EQ(labelled, expected);
      }
    }
  }
  std::filesystem::create_directory(NativePath("out"));
  EXPECT_EQ(Run({"export", "R.RAW", "NO.RAW", "S.RAW", "-o", "out", "--jobs", "3"}).status, 1);
  EXPECT_EQ(Content("out/R.mzML").size(), Exported("r.mzML").size());
  EXPECT_TRUE(Content("out/S.mzML").ends_with("</indexedmzML>\n"));
}

}  // namespace
}  // namespace tervalon::testing
