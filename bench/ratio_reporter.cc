#include "bench/ratio_reporter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string_view>

namespace tervalon::bench {
namespace {

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

// The first line of /proc/cpuinfo that names the processor.
std::string Processor() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("model name")) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

constexpr std::string_view kCompiler =
#ifdef __clang__
    "clang " __clang_version__;
#else
    "g++ " __VERSION__;
#endif

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '"';
}

}  // namespace

bool RatioReporter::ReportContext(const Context& context) {
  std::printf("%s, %d at a time; %.*s\n", Processor().c_str(), context.cpu_info.num_cpus,
              static_cast<int>(kCompiler.size()), kCompiler.data());
  return true;
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.run_type != Run::RT_Iteration) continue;
    const std::string& name = run.run_name.function_name;
    if (run.error_occurred) {
      std::printf("%s: %s\n", name.c_str(), run.error_message.c_str());
      continue;
    }
    const bool is_own = !run.run_name.time_type.empty();
    const double seconds = (is_own ? run.real_accumulated_time : run.cpu_accumulated_time) /
                           static_cast<double>(run.iterations);
    const auto [place, added] = rounds_.try_emplace(name);
    if (added) names_.push_back(name);
    place->second.seconds.push_back(seconds);
    for (const auto& [counter, value] : run.counters) place->second.counters[counter] = value;
  }
}

bool RatioReporter::Value(const Ratio& ratio, double* value) const {
  const auto numerator = rounds_.find(ratio.numerator);
  if (numerator == rounds_.end()) return false;
  const Rounds& own = numerator->second;
  if (!ratio.counter.empty()) {
    const auto counter = own.counters.find(ratio.counter);
    if (counter == own.counters.end()) return false;
    *value = counter->second;
    return true;
  }
  *value = Median(own.seconds) * 1e3;
  if (ratio.denominator.empty()) return true;
  const auto denominator = rounds_.find(ratio.denominator);
  if (denominator == rounds_.end()) return false;
  *value /= Median(denominator->second.seconds) * 1e3;
  return true;
}

void RatioReporter::Finalize() {
  std::printf("\n%-70s %12s\n", "", "milliseconds");
  for (const std::string& name : names_) {
    std::printf("%-70s %12.5g", name.c_str(), Median(rounds_.at(name).seconds) * 1e3);
    for (const auto& [counter, value] : rounds_.at(name).counters) {
      std::printf("  %s %.6g", counter.c_str(), value);
    }
    std::printf("\n");
  }
  std::printf("\n%-70s %8s %8s\n", "", "now", "target");
  for (const Ratio& ratio : ratios_) {
    double value = 0;
    if (!Value(ratio, &value)) continue;
    std::printf("%-70s %8.3g", ratio.title.c_str(), value);
    if (ratio.limit > 0) std::printf(" %8.3g%s", ratio.limit, value > ratio.limit ? " *" : "");
    std::printf("\n");
  }
  if (const char* path = std::getenv("TERVALON_BENCH_JSON"); path != nullptr) WriteJson(path);
}

void RatioReporter::WriteJson(const char* path) const {
  std::ofstream file(path);
  file << "{\"processor\": " << Quoted(Processor()) << ", \"compiler\": " << Quoted(kCompiler)
       << ",\n \"milliseconds\": {";
  const char* comma = "\n";
  for (const std::string& name : names_) {
    file << comma << "  " << Quoted(name) << ": " << Median(rounds_.at(name).seconds) * 1e3;
    comma = ",\n";
  }
  file << "},\n \"rows\": [";
  comma = "\n";
  for (const Ratio& ratio : ratios_) {
    double value = 0;
    if (!Value(ratio, &value)) continue;
    file << comma << "  {\"title\": " << Quoted(ratio.title) << ", \"now\": " << value
         << ", \"target\": " << ratio.limit << "}";
    comma = ",\n";
  }
  file << "]}\n";
  if (!file.flush()) std::cerr << "cannot write " << path << "\n";
}

int RunWithRatios(int argc, char** argv, std::vector<Ratio> (*register_all)()) {
  // What is said on the command line comes later and counts.
  std::vector<std::string> defaults = {"--benchmark_enable_random_interleaving=true",
                                       "--benchmark_repetitions=9"};
  std::vector<char*> arguments = {argv[0]};
  for (std::string& text : defaults) arguments.push_back(text.data());
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  auto count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  RatioReporter reporter(register_all());
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

}  // namespace tervalon::bench
