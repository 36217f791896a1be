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
  return {"RawCreateOpen",
          [](Answer*) { return RawCreateOpen(kDirectory, &p.handle); },
          RAW_OK,
          {RAW_NO_FREE_HANDLE, RAW_DIRECTORY_NOT_CREATED, RAW_FILE_NOT_DELETED, RAW_LOCK_FAILED,
           RAW_DIRECTORY_NOT_REMOVED, RAW_DIRECTORY_VANISHED},
          kOnce | kParts,
          2};
}

Step OpenOld() {
  return {"RawReadOpen",
          [](Answer*) { return RawReadOpen(kDirectory, &p.handle); },
          RAW_OK,
          {RAW_DIRECTORY_ABSENT, RAW_NO_FREE_HANDLE}};
}

Step CloseOld() {
  return {"RawReadClose",
          [](Answer*) { return RawReadClose(p.handle); },
          RAW_OK,
          {RAW_HANDLE_OUT_OF_RANGE, RAW_HANDLE_NOT_OPEN},
          kEnds};
}

Step WriteHeader() {
  return {"RawCreateHeader",
          [](Answer*) { return RawCreateHeader(p.handle, &p.header, &p.calibration); },
          RAW_OK,
          kMember,
          0,
          1};
}

Step Functions() {
  return {"RawCreateFunctions",
          [](Answer*) { return RawCreateFunctions(p.handle, 2, p.functions.data()); },
          RAW_OK,
          kMember,
          0,
          1};
}

Step AppendFunction() {
  return {"RawAppendFunction",
          [](Answer* answer) {
            int16_t number = -1;
            const int32_t error = RawAppendFunction(p.handle, &p.functions[2], &number);
            if (error == RAW_OK && number == 0) return RAW_SEEK_FAILED + 0;  // documented, too
            answer->Add(number);
            return error;
          },
          RAW_OK,
          kMember,
          0,
          1};
}

Step AnalogInf() {
  return {"RawCreateAnalogInf",
          [](Answer*) { return RawCreateAnalogInf(p.handle, 2, p.analog.data()); },
          RAW_OK,
          kMember,
          0,
          1};
}

std::vector<Step> AnalogSamples() {
  return {{"RawCreateAnalogFile", [](Answer*) { return RawCreateAnalogFile(p.handle); }, RAW_OK,
           kMember},
          {"RawCreateAnalogScan",
           [](Answer*) {
             const float values[] = {3, 5};
             return RawCreateAnalogScan(p.handle, 0.5f, 2, values);
           },
           RAW_OK, MemberOr({RAW_MEMBER_NOT_OPEN})},
          {"RawCreateAnalogScan, the second",
           [](Answer*) {
             const float values[] = {30, 50};
             return RawCreateAnalogScan(p.handle, 0.75f, 2, values);
           },
           RAW_OK, MemberOr({RAW_MEMBER_NOT_OPEN})},
          {"RawCreateAnalogEnd", [](Answer*) { return RawCreateAnalogEnd(p.handle); }, RAW_OK,
           kMember, kOnce, 1, "_ANALOGS.DAT"}};
}

const std::vector<int32_t> kScanFailures =
    MemberOr({RAW_SCAN_BUFFER_ABSENT, RAW_NO_MEMORY_FOR_SCAN_BUFFER, RAW_HANDLE_OUT_OF_RANGE});

Step ScanFile(int16_t function) {
  return {"RawCreateScanFile " + std::to_string(function),
          [=](Answer*) { return RawCreateScanFile(p.handle, function, 0, 0); }, RAW_OK,
          kScanFailures};
}

Step WriteOne(int16_t function, int16_t type, int32_t number) {
  return {"RawCreateScansEx " + std::to_string(function),
          [=](Answer*) { return Write(function, type, number); }, RAW_OK, kScanFailures};
}

// More than wait in memory.
Step ManyScans(int16_t function, int16_t type) {
  return {"RawCreateScansEx, many",
          [=](Answer*) {
            for (int32_t i = 10; i < 70; ++i) {
              const int32_t error = Write(function, type, i);
              if (error != RAW_OK) return error;
            }
            return RAW_OK + 0;
          },
          RAW_OK, kScanFailures, kOnce | kParts};
}

Step FlushScans(int16_t function) {
  return {"RawCreateScansFlush",
          [=](Answer*) { return RawCreateScansFlush(p.handle, function, 0); }, RAW_OK,
          kScanFailures};
}

Step EndScans(int16_t function) {
  return {"RawCreateScansEnd",
          [=](Answer*) { return RawCreateScansEnd(p.handle, function, 0); },
          RAW_OK,
          kScanFailures,
          kOnce | kEnds,
          2,
          "_FUNC00" + std::to_string(function)};
}

Step History() {
  return {"RawHistUpdateInfo",
          [](Answer*) {
            p.history.tree_count = RAW_HISTORY_TREES;
            RawHistoryEntry entry = {};
            std::strcpy(entry.process.name, "_PROC009");
            RawHistoryHeader header = p.history;
            auto entries = p.entries;
            if (RawHistAddProcess(&header, entries.data(), 1, 0, &entry) != 0) return -99;
            return RawHistUpdateInfo(p.handle, &header, entries.data());
          },
          RAW_OK,
          MemberOr({RAW_HISTORY_FULL}),
          0,
          1};
}

Step CloseNew() {
  return {"RawCreateClose",
          [](Answer*) { return RawCreateClose(p.handle); },
          RAW_OK,
          {RAW_HANDLE_OUT_OF_RANGE, RAW_HANDLE_NOT_OPEN, RAW_SHORT_WRITE, RAW_SEEK_FAILED,
           RAW_MEMBER_NOT_CLOSED, RAW_DIRECTORY_VANISHED, RAW_TIME_STAMP_FAILED},
          kOnce | kEnds | kParts,
          2,
          "_FUNC002"};
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
      {"RawReadHeader",
       [](Answer* answer) {
         int16_t functions = 0;
         int16_t channels = 0;
         const int32_t error =
             RawReadHeader(p.handle, &p.header, &p.calibration, &functions, &channels);
         answer->Add(functions);
         answer->Add(channels);
         answer->Add(p.header);
         answer->Add(p.calibration.function_count);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadFuncInfo",
       [](Answer* answer) {
         const int32_t error = RawReadFuncInfo(p.handle, 0, p.functions.data(), nullptr);
         answer->Add(p.functions);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadScanCount",
       [](Answer* answer) {
         int32_t scans = 0;
         const int32_t error = RawReadScanCount(p.handle, 1, 0, &scans);
         answer->Add(scans);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadScanCount of a set",
       [](Answer* answer) {
         int32_t scans = 0;
         const int32_t error = RawReadScanCount(p.handle, 1, kProcess, &scans);
         answer->Add(scans);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadProcFunction",
       [](Answer* answer) {
         int16_t function = 0;
         RawFunctionRecord record = {};
         const int32_t error = RawReadProcFunction(p.handle, kProcess, &function, &record);
         answer->Add(function);
         answer->Add(record);
         return error;
       },
       RAW_OK, MemberOr({RAW_NO_MEMORY_FOR_SCAN_BUFFER})},
      {"RawReadFuncInit",
       [](Answer*) { return RawReadFuncInit(p.handle, 1, 0, p.functions.data(), &p.calibration); },
       RAW_OK, any},
      {"RawReadSpectrum",
       [](Answer* answer) {
         int32_t count = kPoints;
         RawScanHeader header = {};
         const int32_t error =
             RawReadSpectrum(p.handle, 1, 0, 33, 1, &count, &header, p.masses.data(),
                             p.intensities.data(), p.flags.data(), 0);
         answer->Add(count);
         answer->Add(header);
         answer->Add(p.masses);
         answer->Add(p.intensities);
         return error;
       },
       RAW_OK, any},
      {"RawReadChrom",
       [](Answer* answer) {
         const int32_t error = RawReadChrom(p.handle, 1, 0, 1, kPoints, p.intensities.data(),
                                            p.masses.data(), RAW_CHROM_TOTAL_ION);
         answer->Add(p.intensities);
         answer->Add(p.masses);
         return error;
       },
       RAW_OK, any},
      {"RawReadChromTraces",
       [](Answer* answer) {
         p.window = {150, 350, 0, 0, 0};
         p.trace = {RAW_TRACE_MASSES, 1, &p.window};
         float* const arrays[] = {p.intensities.data()};
         const int32_t error =
             RawReadChromTraces(p.handle, 1, 0, 1, kPoints, 1, &p.trace, arrays, nullptr);
         answer->Add(p.intensities);
         return error;
       },
       RAW_OK, any},
      {"RawReadTimeScan",
       [](Answer* answer) {
         int32_t scan = 0;
         const int32_t error = RawReadTimeScan(p.handle, 1, 0, p.functions.data(), 1.3f, &scan);
         answer->Add(scan);
         return error;
       },
       RAW_OK, any},
      {"RawReadFuncEnd", [](Answer*) { return RawReadFuncEnd(p.handle, 1, 0); }, RAW_OK, any,
       kOnce | kEnds},
      {"RawReadAnalogInf",
       [](Answer* answer) {
         int16_t count = 2;
         const int32_t error = RawReadAnalogInf(p.handle, &count, p.analog.data());
         answer->Add(count);
         answer->Add(p.analog);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadAnalogSize",
       [](Answer* answer) {
         int32_t count = 0;
         const int32_t error = RawReadAnalogSize(p.handle, 2, &count);
         answer->Add(count);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadAnalogChrom",
       [](Answer* answer) {
         p.intensities = {};
         const int32_t error =
             RawReadAnalogChrom(p.handle, 1, 2, 1, 2, p.intensities.data(), p.masses.data());
         answer->Add(p.intensities);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadAnalogTimeScan",
       [](Answer* answer) {
         int32_t record = 0;
         const int32_t error = RawReadAnalogTimeScan(p.handle, 2, 0.7f, &record);
         answer->Add(record);
         return error;
       },
       RAW_OK, kMember},
      {"RawReadProcInfo",
       [](Answer* answer) {
         const int32_t error = RawReadProcInfo(p.handle, &p.history, p.entries.data());
         answer->Add(p.history);
         return error;
       },
       RAW_OK, MemberOr({RAW_HISTORY_CUT_OFF})},
      {"RawCheckDirectory",
       [](Answer* answer) {
         int32_t problems = -1;
         const int32_t error = RawCheckDirectory(kDirectory, nullptr, nullptr, &problems);
         if (error == RAW_OK && problems != 0) return -1;  // what cannot be read is told
         answer->Add(problems);
         return error;
       },
       RAW_OK,
       {RAW_DIRECTORY_ABSENT, RAW_NO_MEMORY_FOR_MEMBER, -1}}};
}

std::vector<Step> SetSteps() {
  const std::vector<int32_t> any =
      MemberOr({-1, RAW_SCAN_BUFFER_ABSENT, RAW_NO_MEMORY_FOR_SCAN_BUFFER, RAW_DIRECTORY_ABSENT,
                RAW_NO_FREE_HANDLE});
  const auto add = [=](const char* name, int32_t scan, float value) -> Step {
    return {name,
            [=](Answer* answer) {
              const int32_t error = WriteToSet(scan, value);
              if (error == 0) answer->Add(p.descriptor.scan);
              return error;
            },
            0, any};
  };
  return {add("DmRawWrite", 0, 10),
          add("DmRawWrite, the second", 0, 20),
          add("DmRawWrite in place", 1, 30),
          {"DmRawSaveProcess", [](Answer*) { return DmRawSaveProcess(&p.descriptor, 1); }, 0,
           MemberOr({-1, RAW_DIRECTORY_ABSENT, RAW_NO_FREE_HANDLE, RAW_HISTORY_FULL,
                     RAW_MEMBER_NOT_OPEN}),
           0, 3, "_PROC007"},
          add("DmRawWrite, after it was saved", 2, 40),
          {"DmRawRelease",
           [](Answer*) { return DmRawRelease(&p.descriptor, 0, 0, 0, nullptr); },
           0,
           {-1},
           kEnds}};
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
    const int32_t error = PrcSaveStep(p.handle, 1, 0, &step, &saved);
    answer->Add(saved);
    return error;
  };
  const auto repeat = [](Answer* answer) {
    int16_t saved = 0;
    const int32_t error = PrcRepeat(p.handle, 1, &saved);
    answer->Add(saved);
    return error;
  };
  return {{"PrcCombine", combine, PRC_OK, any},
          {"PrcFindPeaks", find, PRC_OK, {PRC_NO_MEMORY}},
          {"PrcSaveStep", save, PRC_OK, any, 0, 3, "_PROC001"},
          {"PrcRepeat", repeat, PRC_OK, any, 0, 3, "_PROC002"}};
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
  return {
      "RawRepair",
      damage,
      {{"RawRepairDirectory",
        [](Answer*) {
          int32_t problems = -1;
          const int32_t error = RawRepairDirectory(kDirectory, nullptr, nullptr, &problems);
          return error == RAW_OK && problems != 0 ? -1 : error;  // some remain
        },
        RAW_OK,
        {RAW_DIRECTORY_ABSENT, RAW_NO_MEMORY_FOR_MEMBER, -1, RAW_LOCK_FAILED,
         RAW_DIRECTORY_NOT_REMOVED},
        kParts | kOnce,
        3},
       {"RawFileErase",
        [](Answer*) { return RawFileErase(kDirectory); },
        RAW_OK,
        {RAW_DIRECTORY_VANISHED, RAW_LOCK_FAILED, RAW_FILE_NOT_DELETED, RAW_DIRECTORY_NOT_REMOVED},
        kParts | kOnce}},
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
