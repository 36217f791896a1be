// Sums a mass window over every scan of function 1 and finds where the sum is highest.

#include <tervalon/raw_chromatograms.h>
#include <tervalon/raw_directory.h>
#include <tervalon/raw_functions.h>
#include <tervalon/result_codes.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

void Check(int32_t code, const std::string& what) {
  if (code != RAW_OK) throw std::runtime_error(what + ": " + TvErrorText(code));
}

// A directory that is open for reading.
class RawDirectory {
 public:
  explicit RawDirectory(const std::string& path) {
    Check(RawReadOpen(path.c_str(), &handle_), path);
  }
  ~RawDirectory() { RawReadClose(handle_); }  // ends what is being read, too
  RawDirectory(const RawDirectory&) = delete;
  RawDirectory& operator=(const RawDirectory&) = delete;
  int32_t handle() const { return handle_; }

 private:
  int32_t handle_ = -1;
};

void PrintTop(const std::string& path, float low, float high) {
  const RawDirectory directory(path);
  RawFunctionRecord record = {};
  Check(RawReadFuncInfo(directory.handle(), 1, &record, nullptr), "function 1");
  Check(RawReadFuncInit(directory.handle(), 1, 0, &record, nullptr), "scans of function 1");

  const int32_t scans = RawGetFuncScanCount(&record);
  std::vector<float> sums(static_cast<size_t>(scans));
  std::vector<float> times(sums.size());
  RawTraceWindow window = {low, high, 0, 0, 0};
  RawTrace trace = {RAW_TRACE_MASSES, 1, &window};
  float* values[] = {sums.data()};
  float* minutes[] = {times.data()};
  Check(RawReadChromTraces(directory.handle(), 1, 0, 1, scans, 1, &trace, values, minutes),
        "chromatogram");
  const auto top = std::max_element(sums.begin(), sums.end());
  if (top == sums.end()) throw std::runtime_error("there are no scans");
  std::cout << low << " to " << high << ": highest at "
            << times[static_cast<size_t>(top - sums.begin())] << " min, " << *top << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: " << argv[0] << " DIRECTORY LOW_MASS HIGH_MASS\n";
    return 2;
  }
  try {
    PrintTop(argv[1], std::strtof(argv[2], nullptr), std::strtof(argv[3], nullptr));
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << "\n";
    return 1;
  }
  return 0;
}
