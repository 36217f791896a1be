// Several programs store spectra in one processed data set while others read it.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <future>
#include <map>
#include <set>
#include <thread>

#include "tests/datamgr/raw_data_fixture.h"
#include "tests/support/process.h"

namespace tervalon::datamgr {
namespace {

constexpr int16_t kProcess = 7;
constexpr char kVariable[] = "TERVALON_SET_WRITER";  // directory|log|seed|milliseconds to live

// A spectrum that tells by itself whether it is whole: all intensities are `value`, and their count
// follows from it.
int32_t PointsOf(int32_t value) { return 1 + value * 37 % 1500; }

using SetWritersTest = RawDataTest;

int32_t Write(DmRawDescriptor* descriptor, int32_t value) {
  const int32_t points = PointsOf(value);
  Floats masses(static_cast<size_t>(points));
  for (int32_t i = 0; i < points; ++i) masses[static_cast<size_t>(i)] = static_cast<float>(i);
  Floats intensities(masses.size(), static_cast<float>(value));
  descriptor->element_count = 0;
  void* const items[] = {masses.data(), intensities.data(), nullptr, nullptr};
  return DmRawWrite(descriptor, 1, points, items);
}

// Run by itself in a writer's process: adds spectra and replaces some, and notes what was stored.
TEST_F(SetWritersTest, WriterProcess) {
  const char* given = std::getenv(kVariable);
  if (given == nullptr) GTEST_SKIP() << "the other tests start this one";
  std::vector<std::string> words;
  std::istringstream text(given);
  for (std::string word; std::getline(text, word, '|');) words.push_back(word);
  const int32_t seed = std::atoi(words[2].c_str());
  const int32_t lifetime = std::atoi(words[3].c_str());
  std::mt19937 random(static_cast<uint32_t>(seed));
  std::ofstream log(testing::Native(words[1]));
  std::thread killer;
  if (lifetime > 0) {
    killer = std::thread([lifetime] {
      std::this_thread::sleep_for(std::chrono::microseconds(lifetime));
      std::_Exit(9);
    });
  }
  int32_t stored = 0;
  for (int32_t i = 0; i < (lifetime > 0 ? 100000 : 150); ++i) {
    DmRawDescriptor descriptor = {};
    words[0].copy(descriptor.directory, sizeof(descriptor.directory) - 1);
    descriptor.function = 1;
    descriptor.process = kProcess;
    descriptor.kind = DM_RAW_SPECTRUM;
    const bool replaces = stored > 0 && random() % 3 == 0;
    descriptor.scan =
        replaces ? static_cast<int32_t>(1 + random() % static_cast<uint32_t>(stored)) : 0;
    const int32_t value = 1 + static_cast<int32_t>(random() % 8000);
    log << "try " << descriptor.scan << " " << value << std::endl;
    ASSERT_EQ(Write(&descriptor, value), 0);
    stored = std::max(stored, descriptor.scan);
    log << "done " << descriptor.scan << " " << value << (replaces ? " replaced" : " added")
        << std::endl;
  }
}

class Writers {
 public:
  Writers(std::string directory, std::string log) : directory_(directory), log_(log) {}

  std::future<testing::ProcessResult> Start(int32_t seed, int32_t lifetime) {
    logs_.push_back(log_ + std::to_string(logs_.size()));
    testing::SetEnvironment(kVariable, directory_ + "|" + logs_.back() + "|" +
                                           std::to_string(seed) + "|" + std::to_string(lifetime));
    auto run = std::async(std::launch::async, [] {
      return testing::RunProcess(testing::ThisProgram(),
                                 {"--gtest_filter=SetWritersTest.WriterProcess"}, ".");
    });
    // It has its surroundings once it writes its log.
    while (!testing::Exists(logs_.back()) &&
           run.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
    }
    return run;
  }

  // What all of them have noted: spectra added, attempts without an answer, and the values that a
  // scan may have.
  void Read(int32_t* added, int32_t* open, std::map<int32_t, std::set<int32_t>>* values) const {
    *added = *open = 0;
    std::set<int32_t> unanswered;
    for (const std::string& name : logs_) {
      std::ifstream log(testing::Native(name));
      std::string word, how;
      int32_t scan = 0, value = 0, tried = 0;
      bool answered = true;
      for (std::string line; std::getline(log, line);) {
        std::istringstream words(line);
        words >> word >> scan >> value >> how;
        answered = word == "done";
        if (!answered) tried = value;
        if (answered && how == "added") ++*added;
        if (answered) (*values)[scan].insert(value);
        how.clear();
      }
      if (answered) continue;
      ++*open;
      unanswered.insert(tried);
    }
    for (auto& [scan, of_scan] : *values) of_scan.insert(unanswered.begin(), unanswered.end());
    (*values)[0] = unanswered;
  }

 private:
  std::string directory_;
  std::string log_;
  std::vector<std::string> logs_;
};

// Reads every scan of the set; its value, or -1 for one that is not whole.
std::vector<int32_t> ReadSet(const std::string& directory) {
  std::vector<int32_t> values;
  int32_t handle = -1;
  RawFunctionRecord record = testing::ScanningRecord(RAW_DATA_STANDARD_CENTROID);
  EXPECT_EQ(RawReadOpen(directory.c_str(), &handle), RAW_OK);
  if (RawReadFuncInit(handle, 1, kProcess, &record, nullptr) == RAW_OK) {
    int32_t scans = 0;
    EXPECT_EQ(RawReadTimeScan(handle, 1, kProcess, &record, 1e9f, &scans), RAW_OK);
    for (int32_t scan = 1; scan <= scans; ++scan) {
      const testing::Spectrum read = testing::Read(handle, 1, kProcess, scan);
      EXPECT_EQ(read.error, RAW_OK) << scan;
      const auto value = static_cast<int32_t>(read.intensities.empty() ? 0 : read.intensities[0]);
      const Floats expected(static_cast<size_t>(PointsOf(value)), static_cast<float>(value));
      values.push_back(read.intensities == expected ? value : -1);
    }
    EXPECT_EQ(RawReadFuncEnd(handle, 1, kProcess), RAW_OK);
  }
  EXPECT_EQ(RawReadClose(handle), RAW_OK);
  return values;
}

void ExpectWhole(const std::vector<int32_t>& values) {
  for (size_t i = 0; i < values.size(); ++i) EXPECT_GT(values[i], 0) << "torn: scan " << i + 1;
}

void Check(const Writers& writers, const std::vector<int32_t>& scans) {
  int32_t added = 0;
  int32_t open = 0;
  std::map<int32_t, std::set<int32_t>> values;
  writers.Read(&added, &open, &values);
  ExpectWhole(scans);
  EXPECT_GE(static_cast<int32_t>(scans.size()), added);
  EXPECT_LE(static_cast<int32_t>(scans.size()), added + open);
  for (size_t i = 0; i < scans.size(); ++i) {
    const auto found = values.find(static_cast<int32_t>(i + 1));
    const std::set<int32_t>& allowed = found != values.end() ? found->second : values[0];
    EXPECT_EQ(allowed.count(scans[i]), 1U) << "scan " << i + 1;
  }
}

TEST_F(SetWritersTest, NothingStoredIsLostAndNoScanIsTorn) {
  MakeData({testing::ScanningRecord(RAW_DATA_STANDARD_CENTROID)}, {{}});
  Writers writers(Path(), temp_.Path("log"));
  std::vector<std::future<testing::ProcessResult>> running;
  for (int32_t seed = 1; seed <= 3; ++seed) running.push_back(writers.Start(seed, 0));
  size_t seen = 0;
  int32_t passes = 0;
  for (auto& run : running) {
    do {
      const std::vector<int32_t> values = ReadSet(Path());
      ExpectWhole(values);
      EXPECT_GE(values.size(), seen) << "scans have vanished";
      seen = values.size();
      ++passes;
    } while (run.wait_for(std::chrono::seconds(0)) != std::future_status::ready && !HasFailure());
    const testing::ProcessResult result = run.get();
    EXPECT_EQ(result.status, 0) << result.out << result.err;
  }
  testing::SetEnvironment(kVariable, "");
  EXPECT_GT(passes, 3);
  Check(writers, ReadSet(Path()));
}

TEST_F(SetWritersTest, WritersThatDieLoseNothing) {
  MakeData({testing::ScanningRecord(RAW_DATA_STANDARD_CENTROID)}, {{}});
  Writers writers(Path(), temp_.Path("log"));
  for (int32_t seed = 1; seed <= 12 && !HasFailure(); ++seed) {
    auto first = writers.Start(2 * seed, 1000 + static_cast<int32_t>(random_() % 40000));
    auto second = writers.Start(2 * seed + 1, 1000 + static_cast<int32_t>(random_() % 40000));
    first.get();
    second.get();
    Check(writers, ReadSet(Path()));
  }
  testing::SetEnvironment(kVariable, "");
}

}  // namespace
}  // namespace tervalon::datamgr
