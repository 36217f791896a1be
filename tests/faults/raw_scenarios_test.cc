#include <array>
#include <string_view>

#include "datamgr/adapters.h"
#include "datamgr/data_handles.h"
#include "settings/settings.h"
#include "tervalon/memory.h"
#include "tervalon/processing_peaks.h"
#include "tervalon/processing_sets.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_chromatograms.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tervalon/raw_spectra.h"
#include "tests/faults/raw_normal_form.h"
#include "tests/faults/scenarios.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

constexpr char kDirectory[] = "C:\\M\\RUN.RAW";
constexpr int16_t kProcess = 7;
constexpr int32_t kPoints = 40;

// What any member file may answer.
const std::vector<int32_t> kMember = {
    RAW_NO_MEMORY_FOR_MEMBER, RAW_PATH_NOT_BUILT, RAW_LOCK_FAILED, RAW_MEMBER_NOT_OPENED,
    RAW_MEMBER_NOT_CLOSED,    RAW_SHORT_WRITE,    RAW_SEEK_FAILED};

std::vector<int32_t> MemberOr(std::vector<int32_t> more) {
  more.insert(more.end(), kMember.begin(), kMember.end());
  return more;
}

// What the program has in memory.
struct Program {
  int32_t handle = -1;
  RawHeader header;
  RawCalibration calibration;
  std::array<RawFunctionRecord, RAW_MAX_FUNCTIONS> functions;
  RawHistoryHeader history;
  std::array<RawHistoryEntry, RAW_HISTORY_ENTRIES> entries;
  DmRawDescriptor descriptor;
  std::array<float, kPoints> masses;
  std::array<float, kPoints> intensities;
  std::array<uint8_t, kPoints> flags;
  RawTraceWindow window;
  RawTrace trace;
  std::array<RawAnalogDescriptor, 2> analog;
};
Program p;

void StartProgram() {
  RawHandlesInit();
  datamgr::ResetDataHandles();
  datamgr::ResetAdapters();
  settings::ResetGlobalStore();
  settings::ResetSettingsFile(MemoryFileSystem::kWorkingDirectory);
  p = {};
  p.handle = -1;
  std::strcpy(p.header.job_code, "FIRST");
  std::strcpy(p.header.acquired_date, "01-Jan-2024");
  p.functions[0] = ScanningRecord(RAW_DATA_STANDARD_CENTROID);
  p.functions[1] = RecordFor(RAW_DATA_SIR);
  p.functions[2] = ScanningRecord(RAW_DATA_COMPRESSED_CENTROID);
  for (int32_t i = 0; i < kPoints; ++i) {
    p.masses[static_cast<size_t>(i)] = 100.0f + 20.0f * static_cast<float>(i);
  }
  for (size_t i = 0; i < p.analog.size(); ++i) p.analog[i].bytes[0] = static_cast<uint8_t>('A' + i);
  std::strcpy(p.descriptor.directory, kDirectory);
  p.descriptor.function = 1;
  p.descriptor.process = kProcess;
  p.descriptor.kind = DM_RAW_SPECTRUM;
}

int32_t Write(int16_t function, int16_t type, int32_t number) {
  for (int32_t i = 0; i < kPoints; ++i) {
    p.intensities[static_cast<size_t>(i)] = static_cast<float>((number * 7 + i) % 250 + 1);
  }
  const RawScanDescription description = {0, 0, 0, 0.0625f * static_cast<float>(number), 0, 0};
  return RawCreateScansEx(p.handle, function, 0, type, &description, p.masses.data(),
                          p.intensities.data(), nullptr, type == RAW_DATA_SIR ? 6 : kPoints);
}

int32_t WriteToSet(int32_t scan, float value) {
  p.descriptor.scan = scan;
  p.descriptor.element_count = 0;
  p.intensities.fill(value);
  void* const items[] = {p.masses.data(), p.intensities.data(), nullptr, nullptr};
  return DmRawWrite(&p.descriptor, 1, kPoints, items);
}

// --- Steps

Step OpenNew() {
  return Step("RawCreateOpen",
              {.failures = {RAW_NO_FREE_HANDLE, RAW_DIRECTORY_NOT_CREATED, RAW_FILE_NOT_DELETED,
                            RAW_LOCK_FAILED, RAW_DIRECTORY_NOT_REMOVED, RAW_DIRECTORY_VANISHED},
               .flags = kOnce | kParts,
               .waits = 2},
              [](Answer*) { return RawCreateOpen(kDirectory, &p.handle); });
}

Step OpenOld() {
  return Step("RawReadOpen", {.failures = {RAW_DIRECTORY_ABSENT, RAW_NO_FREE_HANDLE}},
              [](Answer*) { return RawReadOpen(kDirectory, &p.handle); });
}

Step CloseOld() {
  return Step("RawReadClose",
              {.failures = {RAW_HANDLE_OUT_OF_RANGE, RAW_HANDLE_NOT_OPEN}, .flags = kEnds},
              [](Answer*) { return RawReadClose(p.handle); });
}

Step WriteHeader() {
  return Step("RawCreateHeader", {.failures = kMember, .waits = 1},
              [](Answer*) { return RawCreateHeader(p.handle, &p.header, &p.calibration); });
}

Step Functions() {
  return Step("RawCreateFunctions", {.failures = kMember, .waits = 1},
              [](Answer*) { return RawCreateFunctions(p.handle, 2, p.functions.data()); });
}

Step AppendFunction() {
  return Step("RawAppendFunction", {.failures = kMember, .waits = 1}, [](Answer* answer) {
    int16_t number = -1;
    const int32_t error = RawAppendFunction(p.handle, &p.functions[2], &number);
    if (error == RAW_OK && number == 0) return RAW_SEEK_FAILED + 0;  // documented, too
    answer->Add(number);
    return error;
  });
}

Step AnalogInf() {
  return Step("RawCreateAnalogInf", {.failures = kMember, .waits = 1},
              [](Answer*) { return RawCreateAnalogInf(p.handle, 2, p.analog.data()); });
}

std::vector<Step> AnalogSamples() {
  return {Step("RawCreateAnalogFile", {.failures = kMember},
               [](Answer*) { return RawCreateAnalogFile(p.handle); }),
          Step("RawCreateAnalogScan", {.failures = MemberOr({RAW_MEMBER_NOT_OPEN})},
               [](Answer*) {
                 const float values[] = {3, 5};
                 return RawCreateAnalogScan(p.handle, 0.5f, 2, values);
               }),
          Step("RawCreateAnalogScan, the second", {.failures = MemberOr({RAW_MEMBER_NOT_OPEN})},
               [](Answer*) {
                 const float values[] = {30, 50};
                 return RawCreateAnalogScan(p.handle, 0.75f, 2, values);
               }),
          Step("RawCreateAnalogEnd",
               {.failures = kMember, .flags = kOnce, .waits = 1, .forces = "_ANALOGS.DAT"},
               [](Answer*) { return RawCreateAnalogEnd(p.handle); })};
}

const std::vector<int32_t> kScanFailures =
    MemberOr({RAW_SCAN_BUFFER_ABSENT, RAW_NO_MEMORY_FOR_SCAN_BUFFER, RAW_HANDLE_OUT_OF_RANGE});

Step ScanFile(int16_t function) {
  return Step("RawCreateScanFile " + std::to_string(function), {.failures = kScanFailures},
              [=](Answer*) { return RawCreateScanFile(p.handle, function, 0, 0); });
}

Step WriteOne(int16_t function, int16_t type, int32_t number) {
  return Step("RawCreateScansEx " + std::to_string(function), {.failures = kScanFailures},
              [=](Answer*) { return Write(function, type, number); });
}

// More than wait in memory.
Step ManyScans(int16_t function, int16_t type) {
  return Step("RawCreateScansEx, many", {.failures = kScanFailures, .flags = kOnce | kParts},
              [=](Answer*) {
                for (int32_t i = 10; i < 70; ++i) {
                  const int32_t error = Write(function, type, i);
                  if (error != RAW_OK) return error;
                }
                return RAW_OK + 0;
              });
}

Step FlushScans(int16_t function) {
  return Step("RawCreateScansFlush", {.failures = kScanFailures},
              [=](Answer*) { return RawCreateScansFlush(p.handle, function, 0); });
}

Step EndScans(int16_t function) {
  return Step("RawCreateScansEnd",
              {.failures = kScanFailures,
               .flags = kOnce | kEnds,
               .waits = 2,
               .forces = "_FUNC00" + std::to_string(function)},
              [=](Answer*) { return RawCreateScansEnd(p.handle, function, 0); });
}

Step History() {
  return Step("RawHistUpdateInfo", {.failures = MemberOr({RAW_HISTORY_FULL}), .waits = 1},
              [](Answer*) {
                p.history.tree_count = RAW_HISTORY_TREES;
                RawHistoryEntry entry = {};
                std::strcpy(entry.process.name, "_PROC009");
                RawHistoryHeader header = p.history;
                auto entries = p.entries;
                if (RawHistAddProcess(&header, entries.data(), 1, 0, &entry) != 0) return -99;
                return RawHistUpdateInfo(p.handle, &header, entries.data());
              });
}

Step CloseNew() {
  return Step(
      "RawCreateClose",
      {.failures = {RAW_HANDLE_OUT_OF_RANGE, RAW_HANDLE_NOT_OPEN, RAW_SHORT_WRITE, RAW_SEEK_FAILED,
                    RAW_MEMBER_NOT_CLOSED, RAW_DIRECTORY_VANISHED, RAW_TIME_STAMP_FAILED},
       .flags = kOnce | kEnds | kParts,
       .waits = 2,
       .forces = "_FUNC002"},
      [](Answer*) { return RawCreateClose(p.handle); });
}

std::vector<Step> Joined(const std::vector<std::vector<Step>>& parts) {
  std::vector<Step> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::vector<Step> AcquisitionSteps() {
  return Joined(
      {{OpenNew(), WriteHeader(), Functions(), AnalogInf()},
       AnalogSamples(),
       {ScanFile(1), WriteOne(1, RAW_DATA_STANDARD_CENTROID, 1), FlushScans(1),
        WriteOne(1, RAW_DATA_STANDARD_CENTROID, 2), ManyScans(1, RAW_DATA_STANDARD_CENTROID),
        EndScans(1), ScanFile(2), WriteOne(2, RAW_DATA_SIR, 3), AppendFunction(), History(),
        WriteHeader(), CloseNew()}});
}

void Acquire() {
  StartProgram();
  for (const Step& step : AcquisitionSteps()) {
    Answer answer;
    if (step.run(&answer) != step.success) throw std::runtime_error(step.name);
  }
}

// --- What is stored

void Normalise(Disk* disk) { NormaliseRaw(kDirectory, disk); }

Spared SparedRaw(const std::string& path) {
  if (path.find("_PROC") != std::string::npos) return Spared::kUnchanged;
  const bool grows =
      path.ends_with(".IDX") || path.ends_with(".DAT") || path.find(".BAK") != std::string::npos;
  return grows ? Spared::kGrown : Spared::kReported;
}

// --- Reading

// Everything that there is, whatever it answers.
void ReadAll() {
  StartProgram();
  if (RawReadOpen(kDirectory, &p.handle) != RAW_OK) return;
  int16_t functions = 0;
  RawReadHeader(p.handle, &p.header, &p.calibration, &functions, nullptr);
  RawReadFuncInfo(p.handle, 0, p.functions.data(), nullptr);
  for (int16_t function = 1; function <= functions; ++function) {
    const RawFunctionRecord& record = p.functions[static_cast<size_t>(function - 1)];
    if (RawReadFuncInit(p.handle, function, 0, &record, &p.calibration) != RAW_OK) continue;
    for (int32_t scan = 1; scan <= 70; ++scan) {
      int32_t count = kPoints;
      RawScanHeader header;
      RawReadSpectrum(p.handle, function, 0, scan, 1, &count, &header, p.masses.data(),
                      p.intensities.data(), p.flags.data(), 0);
    }
    RawReadFuncEnd(p.handle, function, 0);
  }
  RawReadProcInfo(p.handle, &p.history, p.entries.data());
  RawCheckDirectory(kDirectory, nullptr, nullptr, nullptr);
  RawReadClose(p.handle);
}

std::vector<Step> ReadingSteps() {
  const std::vector<int32_t> any =
      MemberOr({RAW_SCAN_BUFFER_ABSENT, RAW_NO_MEMORY_FOR_SCAN_BUFFER, RAW_HANDLE_OUT_OF_RANGE});
  return {
      Step("RawReadHeader", {.failures = kMember},
           [](Answer* answer) {
             int16_t functions = 0;
             int16_t channels = 0;
             return answer->With(
                 RawReadHeader(p.handle, &p.header, &p.calibration, &functions, &channels),
                 functions, channels, p.header, p.calibration.function_count);
           }),
      Step("RawReadFuncInfo", {.failures = kMember},
           [](Answer* answer) {
             return answer->With(RawReadFuncInfo(p.handle, 0, p.functions.data(), nullptr),
                                 p.functions);
           }),
      Step("RawReadScanCount", {.failures = kMember},
           [](Answer* answer) {
             int32_t scans = 0;
             return answer->With(RawReadScanCount(p.handle, 1, 0, &scans), scans);
           }),
      Step("RawReadScanCount of a set", {.failures = kMember},
           [](Answer* answer) {
             int32_t scans = 0;
             return answer->With(RawReadScanCount(p.handle, 1, kProcess, &scans), scans);
           }),
      Step("RawReadProcFunction", {.failures = MemberOr({RAW_NO_MEMORY_FOR_SCAN_BUFFER})},
           [](Answer* answer) {
             int16_t function = 0;
             RawFunctionRecord record = {};
             return answer->With(RawReadProcFunction(p.handle, kProcess, &function, &record),
                                 function, record);
           }),
      Step("RawReadFuncInit", {.failures = any},
           [](Answer*) {
             return RawReadFuncInit(p.handle, 1, 0, p.functions.data(), &p.calibration);
           }),
      Step("RawReadSpectrum", {.failures = any},
           [](Answer* answer) {
             int32_t count = kPoints;
             RawScanHeader header = {};
             return answer->With(
                 RawReadSpectrum(p.handle, 1, 0, 33, 1, &count, &header, p.masses.data(),
                                 p.intensities.data(), p.flags.data(), 0),
                 count, header, p.masses, p.intensities);
           }),
      Step("RawReadChrom", {.failures = any},
           [](Answer* answer) {
             return answer->With(RawReadChrom(p.handle, 1, 0, 1, kPoints, p.intensities.data(),
                                              p.masses.data(), RAW_CHROM_TOTAL_ION),
                                 p.intensities, p.masses);
           }),
      Step("RawReadChromTraces", {.failures = any},
           [](Answer* answer) {
             p.window = {150, 350, 0, 0, 0};
             p.trace = {RAW_TRACE_MASSES, 1, &p.window};
             float* const arrays[] = {p.intensities.data()};
             return answer->With(
                 RawReadChromTraces(p.handle, 1, 0, 1, kPoints, 1, &p.trace, arrays, nullptr),
                 p.intensities);
           }),
      Step("RawReadTimeScan", {.failures = any},
           [](Answer* answer) {
             int32_t scan = 0;
             return answer->With(RawReadTimeScan(p.handle, 1, 0, p.functions.data(), 1.3f, &scan),
                                 scan);
           }),
      Step("RawReadFuncEnd", {.failures = any, .flags = kOnce | kEnds},
           [](Answer*) { return RawReadFuncEnd(p.handle, 1, 0); }),
      Step("RawReadAnalogInf", {.failures = kMember},
           [](Answer* answer) {
             int16_t count = 2;
             return answer->With(RawReadAnalogInf(p.handle, &count, p.analog.data()), count,
                                 p.analog);
           }),
      Step("RawReadAnalogSize", {.failures = kMember},
           [](Answer* answer) {
             int32_t count = 0;
             return answer->With(RawReadAnalogSize(p.handle, 2, &count), count);
           }),
      Step("RawReadAnalogChrom", {.failures = kMember},
           [](Answer* answer) {
             p.intensities = {};
             return answer->With(
                 RawReadAnalogChrom(p.handle, 1, 2, 1, 2, p.intensities.data(), p.masses.data()),
                 p.intensities);
           }),
      Step("RawReadAnalogTimeScan", {.failures = kMember},
           [](Answer* answer) {
             int32_t record = 0;
             return answer->With(RawReadAnalogTimeScan(p.handle, 2, 0.7f, &record), record);
           }),
      Step("RawReadProcInfo", {.failures = MemberOr({RAW_HISTORY_CUT_OFF})},
           [](Answer* answer) {
             return answer->With(RawReadProcInfo(p.handle, &p.history, p.entries.data()),
                                 p.history);
           }),
      Step("RawCheckDirectory", {.failures = {RAW_DIRECTORY_ABSENT, RAW_NO_MEMORY_FOR_MEMBER, -1}},
           [](Answer* answer) {
             int32_t problems = -1;
             const int32_t error = RawCheckDirectory(kDirectory, nullptr, nullptr, &problems);
             if (error == RAW_OK && problems != 0) return -1;  // what cannot be read is told
             answer->Add(problems);
             return error;
           })};
}

std::vector<Step> SetSteps() {
  const std::vector<int32_t> any =
      MemberOr({-1, RAW_SCAN_BUFFER_ABSENT, RAW_NO_MEMORY_FOR_SCAN_BUFFER, RAW_DIRECTORY_ABSENT,
                RAW_NO_FREE_HANDLE});
  const auto add = [=](const char* name, int32_t scan, float value) -> Step {
    return Step(name, {.failures = any}, [=](Answer* answer) {
      const int32_t error = WriteToSet(scan, value);
      if (error == 0) answer->Add(p.descriptor.scan);
      return error;
    });
  };
  return {add("DmRawWrite", 0, 10),
          add("DmRawWrite, the second", 0, 20),
          add("DmRawWrite in place", 1, 30),
          Step("DmRawSaveProcess",
               {.failures = MemberOr({-1, RAW_DIRECTORY_ABSENT, RAW_NO_FREE_HANDLE,
                                      RAW_HISTORY_FULL, RAW_MEMBER_NOT_OPEN}),
                .waits = 3,
                .forces = "_PROC007"},
               [](Answer*) { return DmRawSaveProcess(&p.descriptor, 1); }),
          add("DmRawWrite, after it was saved", 2, 40),
          Step("DmRawRelease", {.failures = {-1}, .flags = kEnds},
               [](Answer*) { return DmRawRelease(&p.descriptor, 0, 0, 0, nullptr); })};
}

// The result is told by its size alone: blocks have no other to compare.
std::vector<Step> ProcessingSteps() {
  const std::vector<int32_t> any =
      MemberOr({PRC_NO_MEMORY, RAW_SCAN_BUFFER_ABSENT, RAW_NO_MEMORY_FOR_SCAN_BUFFER,
                RAW_DIRECTORY_ABSENT, RAW_NO_FREE_HANDLE, RAW_SCAN_ABSENT});
  const auto combine = [](Answer* answer) {
    PrcCombining how = {};
    how.scans[0] = {1, 3};
    PrcSpectrum spectrum = {};
    int32_t error = RawReadFuncInit(p.handle, 1, 0, &p.functions[0], nullptr);
    if (error != RAW_OK) return error;
    error = PrcCombine(p.handle, 1, 0, &how, &spectrum);
    answer->Add(spectrum.count);
    TvMemFree(spectrum.masses);
    TvMemFree(spectrum.intensities);
    RawReadFuncEnd(p.handle, 1, 0);
    return error;
  };
  const auto find = [](Answer* answer) {
    PrcPeaks peaks = {};
    p.intensities[20] = 500;
    const int32_t error =
        PrcFindPeaks(nullptr, p.masses.data(), p.intensities.data(), kPoints, nullptr, &peaks);
    answer->Add(peaks.count);
    TvMemFree(peaks.peaks);
    return error;
  };
  const auto save = [](Answer* answer) {
    PrcStep step = {};
    step.type = RAW_STEP_COMBINE;
    step.combining.scans[0] = {1, 3};
    int16_t saved = 0;
    return answer->With(PrcSaveStep(p.handle, 1, 0, &step, &saved), saved);
  };
  const auto repeat = [](Answer* answer) {
    int16_t saved = 0;
    return answer->With(PrcRepeat(p.handle, 1, &saved), saved);
  };
  return {Step("PrcCombine", {.failures = any}, combine),
          Step("PrcFindPeaks", {.failures = {PRC_NO_MEMORY}}, find),
          Step("PrcSaveStep", {.failures = any, .waits = 3, .forces = "_PROC001"}, save),
          Step("PrcRepeat", {.failures = any, .waits = 3, .forces = "_PROC002"}, repeat)};
}

void AcquireWithSet() {
  Acquire();
  StartProgram();
  for (const Step& step : SetSteps()) {
    Answer answer;
    if (step.run(&answer) != step.success) throw std::runtime_error(step.name);
  }
}

}  // namespace

Scenario Acquisition() {
  return {"Acquisition", Acquire, AcquisitionSteps(), StartProgram, Normalise, SparedRaw, ReadAll};
}

Scenario RawReading() {
  return {"RawReading", AcquireWithSet, Joined({{OpenOld()}, ReadingSteps(), {CloseOld()}}),
          StartProgram, Normalise,      SparedRaw,
          ReadAll};
}

Scenario RawChanges() {
  Step change = WriteHeader();
  change.run = [](Answer*) {
    std::strcpy(p.header.job_code, "SECOND");
    return RawCreateHeader(p.handle, &p.header, &p.calibration);
  };
  return {"RawChanges",
          Acquire,
          Joined({{OpenOld(), ReadingSteps()[0], change, ReadingSteps()[1], AppendFunction(),
                   AnalogInf(), ReadingSteps()[15], History(), ScanFile(2),
                   WriteOne(2, RAW_DATA_SIR, 4), EndScans(2)},
                  ProcessingSteps(),
                  SetSteps(),
                  {CloseOld()}}),
          StartProgram,
          Normalise,
          SparedRaw,
          ReadAll};
}

Scenario RawRepair() {
  const auto damage = [] {
    AcquireWithSet();
    // A record that is cut off, and a lock that a killed program left.
    const auto put = [](const std::string& name, std::string_view text) {
      const auto file = platform::Files().Open(std::string(kDirectory) + "\\" + name,
                                               platform::OpenMode::kCreate);
      size_t written = 0;
      file->WriteAt(0, text.data(), text.size(), &written);
    };
    const auto index = platform::Files().Open(std::string(kDirectory) + "\\_FUNC001.IDX",
                                              platform::OpenMode::kReadWrite);
    uint64_t size = 0;
    size_t written = 0;
    index->Size(&size);
    index->WriteAt(size, "1234567", 7, &written);
    put("_HEADER.TXT.lock", "Tervalon change\n_HEADER.TXT.0123456789abcdef.tmp\n");
    put("_HEADER.TXT.0123456789abcdef.tmp", "half");
  };
  const std::vector<int32_t> check = {RAW_DIRECTORY_ABSENT, RAW_NO_MEMORY_FOR_MEMBER, -1};
  return {"RawRepair",
          damage,
          {Step("RawRepairDirectory",
                {.failures = {RAW_DIRECTORY_ABSENT, RAW_NO_MEMORY_FOR_MEMBER, -1, RAW_LOCK_FAILED,
                              RAW_DIRECTORY_NOT_REMOVED},
                 .flags = kParts | kOnce,
                 .waits = 3},
                [](Answer*) {
                  int32_t problems = -1;
                  const int32_t error = RawRepairDirectory(kDirectory, nullptr, nullptr, &problems);
                  return error == RAW_OK && problems != 0 ? -1 : error;  // some remain
                }),
           Step("RawFileErase",
                {.failures = {RAW_DIRECTORY_VANISHED, RAW_LOCK_FAILED, RAW_FILE_NOT_DELETED,
                              RAW_DIRECTORY_NOT_REMOVED},
                 .flags = kParts | kOnce},
                [](Answer*) { return RawFileErase(kDirectory); })},
          StartProgram,
          [](Disk* disk) {
            Normalise(disk);
            // What cannot be read is not taken for left over.
            std::erase_if(disk->files, [](const auto& file) {
              return file.first.ends_with(".tmp") || file.first.ends_with(".lock");
            });
          },
          SparedRaw,
          ReadAll};
}

}  // namespace tervalon::testing
