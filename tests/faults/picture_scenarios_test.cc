// Data handles, numerics and pictures.

#include <array>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "datamgr/adapters.h"
#include "datamgr/data_handles.h"
#include "settings/settings.h"
#include "tervalon/axes.h"
#include "tervalon/data_handles.h"
#include "tervalon/drawing.h"
#include "tervalon/drawing_devices.h"
#include "tervalon/linearisation.h"
#include "tervalon/memory.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tests/faults/scenarios.h"

namespace tervalon::testing {
namespace {

constexpr size_t kDrawnPoints = 600;
std::array<float, kDrawnPoints> x;
std::array<float, kDrawnPoints> y;

void MakePoints() {
  for (size_t i = 0; i < kDrawnPoints; ++i) {
    x[i] = static_cast<float>(i);
    y[i] = 50 + 40 * std::sin(static_cast<float>(i) * 0.1f);
  }
}

DmRawDescriptor descriptor;
int32_t handle = 0;

DmRawDescriptor Chromatogram() {
  DmRawDescriptor wanted = {};
  std::strcpy(wanted.directory, "C:\\M\\RUN.RAW");
  wanted.function = 1;
  wanted.kind = DM_RAW_CHROMATOGRAM;
  wanted.trace.type = 1;
  wanted.trace.masses[0] = 200;
  return wanted;
}

SystemRawFile SourceFile() {
  SystemRawFile file = {};
  std::strcpy(file.directory, "C:\\M\\");
  std::strcpy(file.name, "RUN");
  std::strcpy(file.extension, "RAW");
  file.function = 1;
  file.first_value = 3;
  return file;
}

Step Linearise(const char* name, int32_t(TERVALON_CALL* run)(const float*, const float*, int32_t,
                                                             float, LinDataset*)) {
  return Step(name, {.failures = {-1}}, [=](Answer* answer) {
    LinDataset result = {};
    const int32_t error = run(x.data(), y.data(), kDrawnPoints, 0.5f, &result);
    if (error != 0) return error;
    answer->Add(result.count);
    TvMemFree(result.values);
    return 0;
  });
}

}  // namespace

Scenario DataHandleUse() {
  Scenario scenario = RawReading();
  scenario.name = "DataHandleUse";
  const std::vector<int32_t> kRaw = {-1,
                                     RAW_DIRECTORY_ABSENT,
                                     RAW_NO_FREE_HANDLE,
                                     RAW_NO_MEMORY_FOR_MEMBER,
                                     RAW_PATH_NOT_BUILT,
                                     RAW_MEMBER_NOT_OPENED,
                                     RAW_MEMBER_NOT_CLOSED,
                                     RAW_SEEK_FAILED,
                                     RAW_NO_MEMORY_FOR_SCAN_BUFFER};
  scenario.steps = {
      Step("DmGetHandle", {.success = 1, .failures = {0}, .flags = kOnce},
           [](Answer* answer) {
             descriptor = Chromatogram();
             handle =
                 DmGetHandle(DM_TYPE_RAW, sizeof(descriptor), &descriptor, 2, sizeof(float), 0);
             answer->Add(descriptor.element_count);
             // Without memory for the descriptor's copy it is a handle that is not in use.
             void* const copy = DmLockID(handle);
             if (copy == nullptr) return 0;
             DmUnlockID(handle);
             return 1;
           }),
      Step("DmGetData", {.failures = kRaw}, [](Answer*) { return DmGetData(handle, 11, 10, 0); }),
      Step("DmGetData, more on both sides", {.failures = kRaw},
           [](Answer*) { return DmGetData(handle, 1, 30, 0); }),
      Step("DmLockData", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             const void* values = DmLockData(handle, 0, 1, 20);
             if (values == nullptr) return 0;
             answer->Add(values, 20 * sizeof(float));
             DmUnlockData(handle, 0);
             return 1;
           }),
      Step("DmReleaseHandle", {.failures = {-1}, .flags = kOnce | kEnds},
           [](Answer*) { return DmReleaseHandle(handle, 0); }),
      Step("DmRawOpen", {.failures = kRaw}, [](Answer*) { return DmRawOpen("C:\\M\\RUN.RAW"); }),
      Step("SpecStatCalcNoiseStats", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             const SystemRawFile file = SourceFile();
             float range = 0;
             float rate = 0;
             return answer->With(SpecStatCalcNoiseStats(&file, 100, 800, &range, &rate), range,
                                 rate);
           }),
      Step("ChroStatCalcNoiseStats", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             const SystemRawFile file = SourceFile();
             float noise = 0;
             float rate = 0;
             return answer->With(
                 ChroStatCalcNoiseStats(&file, &descriptor.trace, 0, 3, &noise, &rate), noise,
                 rate);
           }),
      Step("ChroStatCalcNoiseLevel", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             float noise = 0;
             return answer->With(ChroStatCalcNoiseLevel(y.data(), kDrawnPoints, 2, &noise), noise);
           }),
      Linearise("LineariseDataset", LineariseDataset),
      Linearise("LineariseDatasetNoFluxPreserve", LineariseDatasetNoFluxPreserve),
      Step("LineariseDatasetPreserveVariance", {.failures = {-1}},
           [](Answer* answer) {
             LinVarianceDataset result = {};
             const int32_t error = LineariseDatasetPreserveVariance(x.data(), y.data(), y.data(),
                                                                    kDrawnPoints, 0.5f, &result);
             if (error != 0) return error;
             answer->Add(result.count);
             TvMemFree(result.values);
             TvMemFree(result.variances);
             return 0;
           }),
  };
  const auto prepare = scenario.prepare;
  scenario.prepare = [prepare] {
    MakePoints();
    prepare();
  };
  return scenario;
}

#if !defined(_WIN32)

namespace {

TvDC dc = nullptr;
int32_t axes = 0;

Step Draw() {
  return Step("drawing", {}, [](Answer*) {
    AxsDisplayDefaultAxes(dc, axes, "Time, min", 2, "Intensity", 0);
    AxsDisplayDefaultData(dc, axes, x.data(), y.data(), kDrawnPoints, 0, 0);
    return 0;  // whether all is drawn is told in the end
  });
}

// A failed picture is not there, or the old one is.
std::vector<Step> FileSteps(const char* what, const char* path,
                            TvDC(TERVALON_CALL* create)(const char*, int32_t, int32_t, int32_t)) {
  const std::string name = what;
  return {Step(name, {.success = 1, .failures = {0}, .flags = kOnce},
               [=](Answer*) {
                 dc = create(path, 400, 300, 96);
                 return dc != nullptr ? 1 : 0;
               }),
          Draw(),
          Step(name + ", TvDeleteDC", {.success = 1, .failures = {0}, .flags = kOnce | kEnds},
               [](Answer*) { return TvDeleteDC(std::exchange(dc, nullptr)); })};
}

// What the day and the libraries below decide; files that are being made.
void NormalisePictures(Disk* disk) {
  std::erase_if(disk->files, [](const auto& file) {
    return dc != nullptr && (file.first.ends_with(".tmp") || file.first.ends_with(".lock"));
  });
  for (auto& [path, bytes] : disk->files) {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const bool whole = path.ends_with(".PDF")   ? text.ends_with("%%EOF\n")
                       : path.ends_with(".SVG") ? text.ends_with("</svg>\n")
                                                : text.find("IEND") != std::string_view::npos;
    bytes = {static_cast<uint8_t>(whole ? 'W' : 'C')};
  }
}

}  // namespace

Scenario PictureUse() {
  std::vector<Step> steps = {
      Step("AxsCreate", {.success = 1, .failures = {0}, .flags = kOnce},
           [](Answer*) {
             axes = AxsCreate(1, 0, 1, 1);
             const TvRect area = {0, 0, 399, 299};
             const TvRect margins = {50, 20, 20, 50};
             return axes != 0 && AxsSize(axes, &area, &margins) != 0 &&
                            AxsSetRanges(axes, 0, kDrawnPoints, 0, 100) != 0
                        ? 1
                        : 0;
           }),
      Step("TvCreateImageDC", {.success = 1, .failures = {0}, .flags = kOnce},
           [](Answer*) {
             dc = TvCreateImageDC(400, 300, 96);
             return dc != nullptr ? 1 : 0;
           }),
      Draw(),
      Step("TvSavePng", {.success = 1, .failures = {0}, .flags = kOnce},
           [](Answer*) { return TvSavePng(dc, "C:\\M\\A.PNG"); }),
      Step("TvDeleteDC", {.success = 1, .failures = {0}, .flags = kOnce | kEnds},
           [](Answer*) { return TvDeleteDC(std::exchange(dc, nullptr)); })};
  for (const auto& more : {FileSteps("TvCreateSvgDC", "C:\\M\\A.SVG", TvCreateSvgDC),
                           FileSteps("TvCreatePdfDC", "C:\\M\\A.PDF", TvCreatePdfDC)}) {
    steps.insert(steps.end(), more.begin(), more.end());
  }
  const auto reset = [] {
    TvDeleteDC(dc);
    if (axes != 0) AxsDelete(axes);
    dc = nullptr;
    axes = 0;
  };
  return {"PictureUse",
          MakePoints,
          steps,
          reset,
          NormalisePictures,
          [](const std::string&) { return Spared::kUnchanged; },
          [] {},
          true};
}

#endif

}  // namespace tervalon::testing
