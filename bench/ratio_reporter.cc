#include "bench/ratio_reporter.h"

#include <cstdio>

namespace tervalon::bench {

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred || run.run_type != Run::RT_Iteration) continue;
    const bool is_manual = run.run_name.time_type == "manual_time";
    const double seconds = (is_manual ? run.real_accumulated_time : run.cpu_accumulated_time) /
                           static_cast<double>(run.iterations);
    const auto [place, added] = seconds_.try_emplace(run.run_name.function_name, seconds);
    if (!added && seconds < place->second) place->second = seconds;
  }
  ConsoleReporter::ReportRuns(runs);
}

void RatioReporter::Finalize() {
  std::printf("\nRatios of the fastest repetitions of this run:\n");
  for (const Ratio& ratio : ratios_) {
    const auto numerator = seconds_.find(ratio.numerator);
    const auto denominator = seconds_.find(ratio.denominator);
    if (numerator == seconds_.end() || denominator == seconds_.end()) continue;
    std::printf("  %-66s %7.2f", ratio.title.c_str(), numerator->second / denominator->second);
    if (ratio.limit > 0) std::printf("  (to stay below %.3g)", ratio.limit);
    std::printf("\n");
  }
}

int RunWithRatios(int argc, char** argv, std::vector<Ratio> (*register_all)()) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter(register_all());
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace tervalon::bench
