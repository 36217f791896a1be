// Prints ratios of benchmarks of the same run behind the usual table: of processor time, which
// other work on the machine disturbs least, or of the times that a benchmark measures itself.

#ifndef BENCH_RATIO_REPORTER_H_
#define BENCH_RATIO_REPORTER_H_

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace tervalon::bench {

// Time of one benchmark as a multiple of another's.
struct Ratio {
  std::string title;
  std::string numerator;
  std::string denominator;
  double limit;  // what it is meant to stay below; 0: only shown
};

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  explicit RatioReporter(std::vector<Ratio> ratios) : ratios_(std::move(ratios)) {}

  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  std::vector<Ratio> ratios_;
  std::map<std::string, double> seconds_;  // the fastest repetition, by benchmark
};

// The body of a program's main: all benchmarks, which `register_all` registers, and their ratios.
int RunWithRatios(int argc, char** argv, std::vector<Ratio> (*register_all)());

}  // namespace tervalon::bench

#endif  // BENCH_RATIO_REPORTER_H_
