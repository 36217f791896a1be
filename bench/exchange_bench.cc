// Exports and imports of mzML by the program that stands beside this one. Times are processor time
// of processes and include their start; all files are in the page cache as far as it has room.
// TERVALON_BENCH_MEGABYTES (default 480) is the size of the runs' numbers as mzML stores them;
// TERVALON_BENCH_MEMORY=1 also measures the memory that 1 GB of input takes.

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "platform/little_endian.h"
#include "raw/function_record.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_spectra.h"

namespace {

namespace fs = std::filesystem;
using tervalon::bench::Ratio;

constexpr int32_t kPoints = 5000;         // of a scan
constexpr int64_t kBytesOfPoint = 8 + 4;  // mass and intensity
constexpr float kLowMass = 100;
constexpr float kHighMass = 1100;

void Check(int32_t error, const char* what) {
  if (error != RAW_OK) {
    throw std::runtime_error(std::string(what) + ": error " + std::to_string(error));
  }
}

int64_t Scans(int64_t megabytes) { return megabytes * 1000000 / kBytesOfPoint / kPoints; }

int64_t Megabytes() {
  const char* const megabytes = std::getenv("TERVALON_BENCH_MEGABYTES");
  return megabytes != nullptr ? std::atoll(megabytes) : 480;
}

// The scans of a run, one after the other: peaks above noise at evenly spaced masses, or centroids
// whose masses and intensities scatter from scan to scan.
class ScanSource {
 public:
  explicit ScanSource(bool centroids) : centroids_(centroids) {
    for (int32_t i = 0; i < kPoints; ++i) {
      masses_.push_back(kLowMass + (kHighMass - kLowMass) * static_cast<float>(i) / kPoints);
      heights_.push_back(static_cast<float>(random_() % (random_() % 50 == 0 ? 100000 : 200)));
    }
    Next();
  }

  void Next() {
    std::uniform_real_distribution<float> change(0.8F, 1.2F);
    std::normal_distribution<float> parts_per_million(0, 5e-6F);
    intensities.clear();
    for (const float height : heights_) {
      intensities.push_back(std::floor(height * change(random_)));
    }
    masses.clear();
    for (const float mass : masses_) {
      masses.push_back(centroids_ ? mass * (1 + parts_per_million(random_)) : mass);
    }
  }

  std::vector<float> masses;
  std::vector<float> intensities;

 private:
  const bool centroids_;
  std::mt19937 random_{7};
  std::vector<float> masses_;
  std::vector<float> heights_;
};

// A directory for the files, removed at the end.
class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / ("tervalon-bench-" + std::to_string(getpid()))) {
    fs::create_directory(path_);
  }
  ~Folder() { fs::remove_all(path_); }

  // A run whose numbers take so much in mzML; made when it is asked for first.
  std::string Run(bool centroids, int64_t megabytes) const {
    const fs::path path =
        path_ / ((centroids ? "centroids" : "continuum") + std::to_string(megabytes) + ".RAW");
    if (fs::exists(path)) return path;
    const int16_t type = centroids ? RAW_DATA_FLOAT : RAW_DATA_CONTINUUM;
    RawFunctionRecord record = {};
    tervalon::Store<uint16_t>(record.bytes, static_cast<uint16_t>(type << 10 | RAW_TYPE_TOF_MS));
    tervalon::Store(record.bytes + tervalon::raw::kLowMass, kLowMass);
    tervalon::Store(record.bytes + tervalon::raw::kHighMass, kHighMass);
    int32_t handle = 0;
    Check(RawCreateOpen(path.c_str(), &handle), "RawCreateOpen");
    const RawHeader header = {};
    const RawCalibration calibration = {};
    Check(RawCreateHeader(handle, &header, &calibration), "RawCreateHeader");
    Check(RawCreateFunctions(handle, 1, &record), "RawCreateFunctions");
    Check(RawCreateScanFile(handle, 1, 0, 0), "RawCreateScanFile");
    ScanSource source(centroids);
    for (int64_t i = 0; i < Scans(megabytes); ++i, source.Next()) {
      Check(RawCreateScans(handle, 1, 0, type, 0, 0, 0, static_cast<float>(i) * 0.01F,
                           source.masses.data(), source.intensities.data(), nullptr, kPoints),
            "RawCreateScans");
    }
    Check(RawCreateScansEnd(handle, 1, 0), "RawCreateScansEnd");
    Check(RawCreateClose(handle), "RawCreateClose");
    return path;
  }
  std::string Path(const char* name) const { return path_ / name; }

 private:
  fs::path path_;
};

const Folder& Files() {
  static const Folder folder;
  return folder;
}

struct Cost {
  double seconds;
  int64_t megabytes;  // of memory
};

// Runs the program to its end.
Cost RunProgram(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(),
                   fs::read_symlink("/proc/self/exe").parent_path() / "tervalon");
  std::vector<char*> words;
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  pid_t process = 0;
  int status = 0;
  rusage used = {};
  if (posix_spawn(&process, words[0], nullptr, nullptr, words.data(), environ) != 0 ||
      wait4(process, &status, 0, &used) != process || status != 0) {
    throw std::runtime_error("the program failed: " + arguments[1]);
  }
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return {seconds(used.ru_utime) + seconds(used.ru_stime), used.ru_maxrss / 1024};
}

void Export(benchmark::State& state, bool centroids, const char* compression, int64_t megabytes) {
  const std::string run = Files().Run(centroids, megabytes);
  for ([[maybe_unused]] auto _ : state) {
    const Cost cost =
        RunProgram({"export", run, "-o", Files().Path("run.mzML"), "--compression", compression});
    state.SetIterationTime(cost.seconds);
    state.counters["memory_MB"] = static_cast<double>(cost.megabytes);
  }
  state.SetItemsProcessed(state.iterations() * Scans(megabytes) * kPoints);
}

// What an export left.
void Import(benchmark::State& state, int64_t megabytes) {
  for ([[maybe_unused]] auto _ : state) {
    const Cost cost = RunProgram(
        {"import", Files().Path("run.mzML"), "-o", Files().Path("again.RAW"), "--force"});
    state.SetIterationTime(cost.seconds);
    state.counters["memory_MB"] = static_cast<double>(cost.megabytes);
  }
  state.SetItemsProcessed(state.iterations() * Scans(megabytes) * kPoints);
}

// A scan's arrays as they are stored.
struct Arrays {
  explicit Arrays(const ScanSource& source)
      : masses(source.masses.begin(), source.masses.end()), intensities(source.intensities) {}
  std::vector<double> masses;
  std::vector<float> intensities;
};

template <typename Value>
void WriteBase64(const std::vector<Value>& values, std::vector<char>& text, std::FILE* file) {
  constexpr const char* kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  const auto* const bytes = reinterpret_cast<const uint8_t*>(values.data());
  const size_t size = values.size() * sizeof(Value) / 3 * 3;
  text.clear();
  for (size_t i = 0; i < size; i += 3) {
    const uint32_t bits = static_cast<uint32_t>(bytes[i]) << 16 |
                          static_cast<uint32_t>(bytes[i + 1]) << 8 | bytes[i + 2];
    for (int shift = 18; shift >= 0; shift -= 6) text.push_back(kDigits[bits >> shift & 63]);
  }
  if (std::fwrite(text.data(), 1, text.size(), file) != text.size()) {
    throw std::runtime_error("cannot write");
  }
}

// The same bytes in base64 from memory.
void PlainBase64(benchmark::State& state, int64_t megabytes) {
  const Arrays arrays{ScanSource(false)};
  std::vector<char> text;
  text.reserve(size_t{kPoints} * 12);
  for ([[maybe_unused]] auto _ : state) {
    std::FILE* const file = std::fopen(Files().Path("plain").c_str(), "wb");
    if (file == nullptr) throw std::runtime_error("cannot write");
    for (int64_t scan = 0; scan < Scans(megabytes); ++scan) {
      WriteBase64(arrays.masses, text, file);
      WriteBase64(arrays.intensities, text, file);
    }
    if (std::fclose(file) != 0) throw std::runtime_error("cannot write");
  }
  state.SetItemsProcessed(state.iterations() * Scans(megabytes) * kPoints);
}

// zlib's compressor alone on the arrays of the scans, which lie in memory.
void PlainDeflate(benchmark::State& state, int64_t megabytes) {
  std::vector<Arrays> scans;
  ScanSource source(true);
  for (int64_t i = 0; i < Scans(megabytes); ++i, source.Next()) scans.emplace_back(source);
  z_stream stream = {};
  deflateInit(&stream, Z_DEFAULT_COMPRESSION);
  std::vector<Bytef> out(deflateBound(&stream, kPoints * sizeof(double)));
  const auto deflate_all = [&](const auto& values) {
    deflateReset(&stream);
    stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(values.data()));
    stream.avail_in = static_cast<uInt>(values.size() * sizeof values[0]);
    stream.next_out = out.data();
    stream.avail_out = static_cast<uInt>(out.size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) throw std::runtime_error("deflate");
  };
  for ([[maybe_unused]] auto _ : state) {
    for (const Arrays& scan : scans) {
      deflate_all(scan.masses);
      deflate_all(scan.intensities);
    }
  }
  deflateEnd(&stream);
  state.SetItemsProcessed(state.iterations() * Scans(megabytes) * kPoints);
}

template <typename... Arguments>
benchmark::internal::Benchmark* Register(const char* name, Arguments... arguments) {
  return benchmark::RegisterBenchmark(name, arguments...)
      ->Unit(benchmark::kMillisecond)
      ->Iterations(1);
}

std::vector<Ratio> RegisterAll() {
  const int64_t megabytes = Megabytes();
  // A process starts with the largest size that this one had: to be run alone, with a filter.
  if (std::getenv("TERVALON_BENCH_MEMORY") != nullptr) {
    constexpr int64_t kLarge = 1000;
    for (const char* const compression : {"none", "zlib"}) {
      const std::string name = std::string("/memory, ") + compression;
      Register(("export" + name).c_str(), Export, true, compression, kLarge)
          ->UseManualTime()
          ->Repetitions(1);
      Register(("import" + name).c_str(), Import, kLarge)->UseManualTime()->Repetitions(1);
    }
  }
  Register("base64 from memory", PlainBase64, megabytes);
  Register("export/uncompressed", Export, false, "none", megabytes)->UseManualTime();
  const int64_t fewer = megabytes / 8;  // zlib takes its time
  Register("zlib from memory", PlainDeflate, fewer);
  Register("export/zlib", Export, true, "zlib", fewer)->UseManualTime();
  return {{"export uncompressed / base64 from memory", "export/uncompressed", "base64 from memory",
           2.5},
          {"export with zlib / zlib from memory", "export/zlib", "zlib from memory", 1.15}};
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
