// The table of a benchmark program: what each job takes as a multiple of the plain work beside it,
// or as it is, and what that is meant to be. Figures are medians of rounds that are taken in turn,
// in processor time, which other work on the machine disturbs least, unless a benchmark measures
// its own.

#ifndef BENCH_RATIO_REPORTER_H_
#define BENCH_RATIO_REPORTER_H_

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace tervalon::bench {

struct Ratio {
  std::string title;
  std::string numerator;
  std::string denominator;  // empty: `counter` of the first, or its milliseconds
  double limit;             // what it is meant to reach; 0: only shown
  std::string counter = {};
};

// A figure that is no ratio: a counter of a benchmark, or its milliseconds.
inline Ratio Figure(std::string title, std::string benchmark, std::string counter, double limit) {
  return {std::move(title), std::move(benchmark), "", limit, std::move(counter)};
}

class RatioReporter : public benchmark::BenchmarkReporter {
 public:
  explicit RatioReporter(std::vector<Ratio> ratios) : ratios_(std::move(ratios)) {}

  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;
  void Finalize() override;

 private:
  struct Rounds {
    std::vector<double> seconds;
    std::map<std::string, double> counters;
  };

  // False where a benchmark that the row needs was not asked for.
  bool Value(const Ratio& ratio, double* value) const;
  void WriteJson(const char* path) const;

  std::vector<Ratio> ratios_;
  std::vector<std::string> names_;  // in the order of their ends
  std::map<std::string, Rounds> rounds_;
};

// The body of a program's main: all benchmarks, which `register_all` registers, nine rounds of each
// in turn unless the arguments say otherwise, and the table. With TERVALON_BENCH_JSON the figures
// go into that file as well.
int RunWithRatios(int argc, char** argv, std::vector<Ratio> (*register_all)());

}  // namespace tervalon::bench

#endif  // BENCH_RATIO_REPORTER_H_
