// Settings and record databases.

#include <cstring>
#include <sstream>
#include <string_view>

#include "appsvc/application.h"
#include "db3/slots.h"
#include "settings/settings.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/projects.h"
#include "tervalon/retention_indices.h"
#include "tervalon/settings.h"
#include "tervalon/window_placement.h"
#include "tests/faults/scenarios.h"

namespace tervalon::testing {
namespace {

void Restart() {
  db3::ResetDatabases();
  settings::ResetGlobalStore();
  settings::ResetSettingsFile(MemoryFileSystem::kWorkingDirectory);
  appsvc::ResetApplication();
}

template <size_t size>
void AddText(Answer* answer, const char (&text)[size]) {
  answer->Add(text, strnlen(text, size));
}

SystemFile Project() {
  SystemFile project = {};
  std::strcpy(project.directory, "C:\\M\\");
  std::strcpy(project.name, "P1");
  std::strcpy(project.extension, "PRO");
  return project;
}

Step SetIni(const char* key, const char* value) {
  return Step(std::string("SetIniString ") + key, {.success = 1, .failures = {0}, .waits = 1},
              [=](Answer*) { return SetIniString("Section", key, value, 0) != 0 ? 1 : 0; });
}

Step SetGlobal(const char* key, const char* value) {
  // What does not fit any more is lost, with a message: the program ends.
  return Step(std::string("SetGlobalString ") + key,
              {.success = 1, .failures = {0}, .flags = kOnce},
              [=](Answer*) { return SetGlobalString("SystemList", key, value, 1); });
}

Step GetGlobal(const char* key, int32_t length) {
  return Step(std::string("GetGlobalString ") + key,
              {.success = length, .failures = {-1}, .flags = kOnce}, [=](Answer* answer) {
                char out[300] = "";
                const int32_t found = GetGlobalString("SystemList", key, "", out, sizeof(out));
                AddText(answer, out);
                return found;
              });
}

// Each key of the settings file by itself.
void NormaliseSettings(Disk* disk) {
  const std::string path = "C:\\M\\TERVALON.INI";
  const auto file = disk->files.find(path);
  if (file == disk->files.end()) return;
  std::istringstream text(std::string(file->second.begin(), file->second.end()));
  disk->files.erase(file);
  std::string section;
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with('[')) section = line;
    const size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    disk->files[path + section + line.substr(0, equals)] = {
        line.begin() + static_cast<std::ptrdiff_t>(equals), line.end()};
  }
}

// --- Databases

constexpr int32_t kType = DB3_PEP_ELEMENT;
constexpr char kDatabase[] = "C:\\M\\E.DBF";

const std::vector<int32_t> kCauses = {DB3_GENERAL_ERROR,     DB3_FILE_OPEN,     DB3_FILE_CLOSE,
                                      DB3_FILE_CREATION,     DB3_FILE_READ,     DB3_FILE_WRITE,
                                      DB3_MEMORY_ALLOCATION, DB3_MEMORY_LOCK,   DB3_MEMORY_FREE,
                                      DB3_NOT_OPEN,          DB3_RECORD_NUMBER, DB3_FILE_DELETION};

Step OpenDatabase(const char* name, int32_t mode, int waits, uint32_t flags = 0) {
  return Step(
      name,
      {.failures = kCauses, .flags = flags, .waits = waits, .forces = waits > 0 ? "E.DBF" : ""},
      [=](Answer*) { return DB3Open(kType, kDatabase, mode); });
}

Step CloseDatabase() {
  return Step("DB3Close",
              {.failures = kCauses, .flags = kOnce | kEnds, .waits = 1, .forces = "E.DBF"},
              [](Answer*) { return DB3Close(kType); });
}

Step Record(const char* name, int32_t operation, int32_t number, double mass) {
  return Step(name, {.failures = kCauses}, [=](Answer* answer) {
    DB3PepElement record = {mass, mass / 2};
    const int32_t cause = DB3HandleRecord(kType, operation, number, &record, DB3_INSERT_INTO_EMPTY);
    if (operation == DB3_HANDLE_READ) answer->Add(record);
    return cause;
  });
}

// A change behind the records is taken back, or forgotten, by the next user; the day of the last
// change differs.
void NormaliseDatabase(Disk* disk) {
  for (auto& [path, bytes] : disk->files) {
    if (path.find(".DBF") == std::string::npos || bytes.size() < 32) continue;
    if (bytes[14] == 'U') {
      MemoryFileSystem other;
      other.Load({{{path, bytes}}, {}});
      const platform::ScopedReplacement<platform::FileSystem> replaced(&other);
      std::unique_ptr<db3::RecordFile> file;
      db3::RecordFile::Open(path, &file);
      file.reset();
      bytes = other.Now().files[path];
    }
    std::fill_n(bytes.begin() + 1, 3, uint8_t{0});
    const size_t records = bytes[4] + size_t{bytes[5]} * 256;
    const size_t header = bytes[8] + size_t{bytes[9]} * 256;
    const size_t whole = header + records * (bytes[10] + size_t{bytes[11]} * 256) + 1;
    if (bytes[14] == 0 && bytes.size() > whole) bytes.resize(whole);
  }
}

}  // namespace

Scenario SettingsUse() {
  const std::vector<Step> steps = {
      SetIni("first", "one"),
      Step("InitGlobal", {.success = 1, .failures = {0}}, [](Answer*) { return InitGlobal(0); }),
      SetGlobal("OWN", "a value"),
      SetGlobal("RAW", "1,C:\\M\\,RUN,RAW,0,0,1,0"),
      GetGlobal("OWN", 7),
      Step("UpdateGlobal", {.success = 1, .failures = {0}, .waits = 1},
           [](Answer*) { return UpdateGlobal(0); }),
      SetIni("second", "two"),
      Step("IsGCMD", {.success = 1, .failures = {0}}, [](Answer*) { return int32_t{IsGCMD()}; }),
      Step("GetIniString", {.success = 3, .failures = {0}},
           [](Answer* answer) {
             char out[40] = "";
             const int32_t length = GetIniString("Section", "second", "none", out, sizeof(out));
             // The fallback, where the file cannot be read.
             if (std::string_view(out) == "none") return 0;
             AddText(answer, out);
             return length;
           }),
      Step("ChroStatSetIniFile", {.success = 1, .failures = {0}, .waits = 1},
           [](Answer*) {
             const ChroStatSettings settings = {0.5f, 700};
             return ChroStatSetIniFile(&settings);
           }),
      Step("ChroStatGetIniFile", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             ChroStatSettings settings = {};
             const int32_t found = ChroStatGetIniFile(&settings);
             if (found != 0) answer->Add(settings);
             return found;
           }),
      Step("RTIndicesSetRetentionCalibration", {.success = 1, .failures = {0}, .waits = 1},
           [](Answer*) {
             RTCalibration calibration = {};
             calibration.point_count = 3;
             calibration.times[1] = 2.5f;
             return RTIndicesSetRetentionCalibration(nullptr, &calibration);
           }),
      Step("RTIndicesGetRetentionCalibration", {.success = 32, .failures = {0}},
           [](Answer* answer) {
             RTCalibration calibration = {};
             return answer->With(RTIndicesGetRetentionCalibration(nullptr, &calibration),
                                 calibration);
           }),
      Step("GetIniWindPos", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             IniWindPos placement = {};
             return answer->With(GetIniWindPos("Windows", "Browser", nullptr, &placement),
                                 placement);
           }),
      Step("ProCreateDirectory", {.success = 1, .failures = {0}, .flags = kParts, .waits = 7},
           [](Answer*) {
             const SystemFile project = Project();
             return ProCreateDirectory(nullptr, &project);
           }),
      Step("ProSetCurrent", {.success = 1, .failures = {0}, .flags = kOnce},
           [](Answer*) {
             const SystemFile project = Project();
             return ProSetCurrent(nullptr, &project);
           }),
      Step("ProFindFirstFileName", {.success = 1, .failures = {0}},
           [](Answer* answer) {
             SystemFile file = Project();
             const int32_t found = ProFindFirstFileName(&file, 1);
             AddText(answer, file.name);
             return found;
           }),
      Step("FreeGlobal", {.success = 1, .failures = {0}, .flags = kOnce | kEnds, .waits = 1},
           [](Answer*) { return FreeGlobal(0); }),
  };
  return {"SettingsUse",
          [] {
            Restart();
            SetIniString("Section", "kept", "always", 0);
            SetIniString("Acquisition", "IsGCMD", "TRUE", 0);
            SetIniString("Windows", "Browser", "TRUE,SW_SHOWNORMAL,10,20,410,320", 0);
            SetIniString("SystemList", "METHOD_DB", "1,C:\\M\\,KEPT,DBF,1,0", 0);
            InitGlobal(0);
            FreeGlobal(0);  // writes every key
          },
          steps,
          Restart,
          NormaliseSettings,
          [](const std::string&) { return Spared::kReported; }};
}

Scenario DatabaseUse() {
  const auto prepare = [] {
    Restart();
    DB3SetReportErrors(kType, 0);
    DB3Open(kType, kDatabase, DB3_MODE_CREATE);
    DB3Open(kType, kDatabase, DB3_MODE_OPEN);
    for (int32_t number = 1; number <= 5; ++number) {
      DB3PepElement record = {number * 1.5, 0};
      DB3HandleRecord(kType, DB3_HANDLE_INSERT, number, &record, DB3_INSERT_INTO_EMPTY);
    }
    DB3Close(kType);
  };
  const std::vector<Step> steps = {
      Step("DB3SetReportErrors", {.success = 1, .failures = {0}, .flags = kOnce},
           [](Answer*) { return DB3SetReportErrors(kType, 0); }),
      OpenDatabase("DB3Open", DB3_MODE_OPEN, 0),
      Record("read", DB3_HANDLE_READ, 3, 0),
      Record("update", DB3_HANDLE_UPDATE, 2, 200),
      Record("append", DB3_HANDLE_INSERT, 6, 600),
      Record("insert", DB3_HANDLE_INSERT, 2, 150),
      Record("delete", DB3_HANDLE_DELETE, 4, 0),
      Step("DB3SetCurrentRecordNum", {.failures = kCauses},
           [](Answer*) { return DB3SetCurrentRecordNum(kType, 1); }),
      Step("DB3ReadRecord", {.failures = kCauses}, [](Answer*) { return DB3ReadRecord(kType); }),
      Step("DB3UpdateRecord", {.failures = kCauses},
           [](Answer*) {
             const DB3PepElement record = {17, 18};
             DB3SetCurrentBuffer(kType, &record);
             return DB3UpdateRecord(kType);
           }),
      CloseDatabase(),
      Step("DB3CheckFile", {.failures = kCauses},
           [](Answer*) { return DB3CheckFile(kType, kDatabase, nullptr, 0); }),
      Step("DB3RepairFile",
           {.failures = {DB3_FILE_OPEN, DB3_FILE_READ, DB3_FILE_WRITE, DB3_FILE_CREATION,
                         DB3_MEMORY_ALLOCATION, DB3_GENERAL_ERROR, DB3_INVALID_FORMAT},
            .flags = kOnce | kParts,
            .waits = 3},
           [](Answer*) { return DB3RepairFile(kType, "C:\\M\\BAD.DBF", nullptr, 0); }),
      OpenDatabase("DB3Open, creating", DB3_MODE_CREATE, 1),
  };
  return {"DatabaseUse",
          [=] {
            prepare();
            // One whose last record is cut off.
            auto& files = platform::Files();
            const auto sound = files.Open(kDatabase, platform::OpenMode::kRead);
            const auto bad = files.Open("C:\\M\\BAD.DBF", platform::OpenMode::kCreate);
            std::vector<char> bytes(4096);
            size_t count = 0;
            sound->ReadAt(0, bytes.data(), bytes.size(), &count);
            bad->WriteAt(0, bytes.data(), count - 9, &count);
          },
          steps,
          Restart,
          NormaliseDatabase,
          [](const std::string& path) {
            return path.ends_with(".DBF") ? Spared::kUnchanged : Spared::kGrown;
          },
          [] {
            char findings[500];
            DB3CheckFile(kType, kDatabase, findings, sizeof(findings));
            DB3RepairFile(kType, kDatabase, findings, sizeof(findings));
          }};
}

}  // namespace tervalon::testing
