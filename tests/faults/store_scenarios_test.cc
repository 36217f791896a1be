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
  return {std::string("SetIniString ") + key,
          [=](Answer*) { return SetIniString("Section", key, value, 0) != 0 ? 1 : 0; },
          1,
          {0},
          0,
          1};
}

Step SetGlobal(const char* key, const char* value) {
  // What does not fit any more is lost, with a message: the program ends.
  return {std::string("SetGlobalString ") + key,
          [=](Answer*) { return SetGlobalString("SystemList", key, value, 1); },
          1,
          {0},
          kOnce};
}

Step GetGlobal(const char* key, int32_t length) {
  return {std::string("GetGlobalString ") + key,
          [=](Answer* answer) {
            char out[300] = "";
            const int32_t found = GetGlobalString("SystemList", key, "", out, sizeof(out));
            AddText(answer, out);
            return found;
          },
          length,
          {-1},
          kOnce};
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
  return {name,
          [=](Answer*) { return DB3Open(kType, kDatabase, mode); },
          DB3_SUCCESS,
          kCauses,
          flags,
          waits,
          waits > 0 ? "E.DBF" : ""};
}

Step CloseDatabase() {
  return {
      "DB3Close", [](Answer*) { return DB3Close(kType); }, DB3_SUCCESS, kCauses, kOnce | kEnds, 1,
      "E.DBF"};
}

Step Record(const char* name, int32_t operation, int32_t number, double mass) {
  return {name,
          [=](Answer* answer) {
            DB3PepElement record = {mass, mass / 2};
            const int32_t cause =
                DB3HandleRecord(kType, operation, number, &record, DB3_INSERT_INTO_EMPTY);
            if (operation == DB3_HANDLE_READ) answer->Add(record);
            return cause;
          },
          DB3_SUCCESS, kCauses};
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
      {"InitGlobal", [](Answer*) { return InitGlobal(0); }, 1, {0}},
      SetGlobal("OWN", "a value"),
      SetGlobal("RAW", "1,C:\\M\\,RUN,RAW,0,0,1,0"),
      GetGlobal("OWN", 7),
      {"UpdateGlobal", [](Answer*) { return UpdateGlobal(0); }, 1, {0}, 0, 1},
      SetIni("second", "two"),
      {"IsGCMD", [](Answer*) { return int32_t{IsGCMD()}; }, 1, {0}},
      {"GetIniString",
       [](Answer* answer) {
         char out[40] = "";
         const int32_t length = GetIniString("Section", "second", "none", out, sizeof(out));
         // The fallback, where the file cannot be read.
         if (std::string_view(out) == "none") return 0;
         AddText(answer, out);
         return length;
       },
       3,
       {0}},
      {"ChroStatSetIniFile",
       [](Answer*) {
         const ChroStatSettings settings = {0.5f, 700};
         return ChroStatSetIniFile(&settings);
       },
       1,
       {0},
       0,
       1},
      {"ChroStatGetIniFile",
       [](Answer* answer) {
         ChroStatSettings settings = {};
         const int32_t found = ChroStatGetIniFile(&settings);
         if (found != 0) answer->Add(settings);
         return found;
       },
       1,
       {0}},
      {"RTIndicesSetRetentionCalibration",
       [](Answer*) {
         RTCalibration calibration = {};
         calibration.point_count = 3;
         calibration.times[1] = 2.5f;
         return RTIndicesSetRetentionCalibration(nullptr, &calibration);
       },
       1,
       {0},
       0,
       1},
      {"RTIndicesGetRetentionCalibration",
       [](Answer* answer) {
         RTCalibration calibration = {};
         const int32_t points = RTIndicesGetRetentionCalibration(nullptr, &calibration);
         answer->Add(calibration);
         return points;
       },
       32,
       {0}},
      {"GetIniWindPos",
       [](Answer* answer) {
         IniWindPos placement = {};
         const int32_t found = GetIniWindPos("Windows", "Browser", nullptr, &placement);
         answer->Add(placement);
         return found;
       },
       1,
       {0}},
      {"ProCreateDirectory",
       [](Answer*) {
         const SystemFile project = Project();
         return ProCreateDirectory(nullptr, &project);
       },
       1,
       {0},
       kParts,
       7},
      {"ProSetCurrent",
       [](Answer*) {
         const SystemFile project = Project();
         return ProSetCurrent(nullptr, &project);
       },
       1,
       {0},
       kOnce},
      {"ProFindFirstFileName",
       [](Answer* answer) {
         SystemFile file = Project();
         const int32_t found = ProFindFirstFileName(&file, 1);
         AddText(answer, file.name);
         return found;
       },
       1,
       {0}},
      {"FreeGlobal", [](Answer*) { return FreeGlobal(0); }, 1, {0}, kOnce | kEnds, 1},
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
      {"DB3SetReportErrors", [](Answer*) { return DB3SetReportErrors(kType, 0); }, 1, {0}, kOnce},
      OpenDatabase("DB3Open", DB3_MODE_OPEN, 0),
      Record("read", DB3_HANDLE_READ, 3, 0),
      Record("update", DB3_HANDLE_UPDATE, 2, 200),
      Record("append", DB3_HANDLE_INSERT, 6, 600),
      Record("insert", DB3_HANDLE_INSERT, 2, 150),
      Record("delete", DB3_HANDLE_DELETE, 4, 0),
      {"DB3SetCurrentRecordNum", [](Answer*) { return DB3SetCurrentRecordNum(kType, 1); },
       DB3_SUCCESS, kCauses},
      {"DB3ReadRecord", [](Answer*) { return DB3ReadRecord(kType); }, DB3_SUCCESS, kCauses},
      {"DB3UpdateRecord",
       [](Answer*) {
         const DB3PepElement record = {17, 18};
         DB3SetCurrentBuffer(kType, &record);
         return DB3UpdateRecord(kType);
       },
       DB3_SUCCESS, kCauses},
      CloseDatabase(),
      {"DB3CheckFile", [](Answer*) { return DB3CheckFile(kType, kDatabase, nullptr, 0); },
       DB3_SUCCESS, kCauses},
      {"DB3RepairFile",
       [](Answer*) { return DB3RepairFile(kType, "C:\\M\\BAD.DBF", nullptr, 0); },
       DB3_SUCCESS,
       {DB3_FILE_OPEN, DB3_FILE_READ, DB3_FILE_WRITE, DB3_FILE_CREATION, DB3_MEMORY_ALLOCATION,
        DB3_GENERAL_ERROR, DB3_INVALID_FORMAT},
       kOnce | kParts,
       3},
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
