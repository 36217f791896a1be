// Makes inputs for all targets with the library's own writers: fuzz_make_seeds FOLDER. They go to
// FOLDER/TARGET.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "db3/catalogue.h"
#include "db3/slots.h"
#include "fuzz/targets.h"
#include "settings/settings.h"
#include "tervalon/databases.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/projects.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_descriptor.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tervalon/raw_spectra.h"
#include "tervalon/retention_indices.h"
#include "tervalon/settings.h"
#include "tervalon/window_placement.h"

namespace tervalon::fuzz {
namespace {

constexpr int16_t kStoredTypes[] = {0, 1, 2, 3, 4, 6, 8, 9, 10, 11, 12};

class SeedWriter {
 public:
  SeedWriter(std::string folder, const Target& target)
      : folder_(folder + "/" + target.name), target_(target) {
    std::filesystem::create_directories(folder_);
  }

  // Those of the files that the target reads, with options of any kind.
  void Write(const MemoryFileSystem& files) {
    Bundle bundle = Collect(files);
    for (int variant = 0; variant < 3; ++variant) {
      bundle.options.resize(96);
      for (uint8_t& byte : bundle.options) byte = static_cast<uint8_t>(random_() >> 8);
      if (variant == 0) std::fill(bundle.options.begin(), bundle.options.end(), uint8_t{0});
      Write(bundle);
    }
  }

  Bundle Collect(const MemoryFileSystem& files) const {
    Bundle bundle;
    for (size_t i = 0; i < target_.paths.size(); ++i) {
      const Bytes bytes = files.Get(target_.paths[i]);
      if (!bytes.empty()) bundle.files.push_back({static_cast<uint8_t>(i), bytes});
    }
    return bundle;
  }

  void Write(const Bundle& bundle) {
    const Bytes bytes = bundle.EncodeTo();
    std::ofstream out(folder_ + "/seed" + std::to_string(++count_), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  }

 private:
  std::string folder_;
  const Target& target_;
  int count_ = 0;
  std::minstd_rand random_{1};
};

// A process of its own with an empty disk.
class Disk {
 public:
  ~Disk() {
    db3::ResetDatabases();
    settings::ResetGlobalStore();
    settings::ResetSettingsFile(nullptr);
    RawHandlesInit();
  }
  MemoryFileSystem files{"\\w"};

 private:
  platform::ScopedReplacement<platform::FileSystem> use_{&files};
};

void Put(RawFunctionRecord* record, size_t offset, float value) {
  std::memcpy(record->bytes + offset, &value, sizeof(value));
}

RawFunctionRecord MakeRecord(int16_t function_type, int16_t data_type) {
  RawFunctionRecord record = {};
  const auto word = static_cast<uint16_t>(function_type | 8 << 5 | data_type << 10);
  std::memcpy(record.bytes, &word, sizeof(word));
  Put(&record, 2, 1);
  Put(&record, 10, 0.1f);
  Put(&record, 14, 1);
  Put(&record, 28, 100);
  Put(&record, 32, 1100);
  Put(&record, 70, 100);
  Put(&record, 74, 1100);
  record.bytes[23] = data_type == 2 || data_type == 11 || function_type == RAW_TYPE_MRM ? 4 : 0;
  for (size_t i = 0; i < 4; ++i) {
    Put(&record, 160 + 4 * i, 100 + 50 * static_cast<float>(i));
    Put(&record, 288 + 4 * i, 88 + 50 * static_cast<float>(i));
  }
  return record;
}

void WriteScans(int32_t handle, int16_t function, int16_t process, int16_t type) {
  RawCreateScanFile(handle, function, process, 0);
  float time = 0;
  for (const int32_t points : {5, 0, 9, 4}) {
    std::vector<float> masses;
    std::vector<float> intensities;
    std::vector<uint8_t> flags;
    for (int32_t i = 0; i < points; ++i) {
      masses.push_back(100.25f + 50 * static_cast<float>(i));
      intensities.push_back(static_cast<float>(1 << (i + points)));
      flags.push_back(static_cast<uint8_t>(i));
    }
    RawScanDescription description = {};
    description.retention_time = time += 0.1f;
    description.flag_b = points == 4 ? 1 : 0;
    RawCreateScansEx(handle, function, process, type, &description, masses.data(),
                     intensities.data(), flags.data(), points);
  }
  RawCreateScansEnd(handle, function, process);
}

// A run with something of everything.
void MakeRun(int16_t function_type, int16_t data_type) {
  int32_t handle = -1;
  RawCreateOpen("\\w\\R.RAW", &handle);
  const std::array<RawFunctionRecord, 2> records = {MakeRecord(function_type, data_type),
                                                    MakeRecord(RAW_TYPE_SCAN, 1)};
  RawCreateFunctions(handle, 2, records.data());
  WriteScans(handle, 1, 0, data_type);
  WriteScans(handle, 2, 0, 1);
  WriteScans(handle, 1, 1, data_type);

  const auto header = std::make_unique<RawHeader>();
  const auto calibration = std::make_unique<RawCalibration>();
  std::strcpy(header->acquired_name, "R");
  std::strcpy(header->acquired_date, "02-Jun-2025");
  std::strcpy(header->sample_description, "a sample, described");
  std::strcpy(header->processed, "smoothed");
  std::strcpy(calibration->ms1_static_params, "1,2,3");
  std::strcpy(calibration->date, "02-Jun-2025");
  header->solvent_delay = 1.5;
  header->resolved = 1;
  RawParseCaliCoeffs(&calibration->ms1_static, "0.5,1.0,1.0e-6,T1");
  RawParseCaliCoeffs(&calibration->ms1_dynamic, "0,1,T0");
  RawParseCaliCoeffs(&calibration->ms2_dynamic, "0,1,0,0,0,1e-20,T0");
  calibration->function_count = 2;
  calibration->functions[0].segment_count = 2;
  calibration->functions[0].segments[0] = calibration->ms1_static;
  calibration->functions[0].segments[1] = calibration->ms2_dynamic;
  calibration->functions[0].has_modification = 1;
  calibration->functions[0].modification = calibration->ms1_dynamic;
  RawCreateHeader(handle, header.get(), calibration.get());

  std::array<RawAnalogDescriptor, 3> channels = {};
  for (RawAnalogDescriptor& channel : channels) std::memcpy(channel.bytes, "UV\0mAU", 7);
  RawCreateAnalogInf(handle, 3, channels.data());
  RawCreateAnalogFile(handle);
  for (int i = 0; i < 12; ++i) {
    const std::array<float, 3> values = {static_cast<float>(i), 100, 8191.0f * 64};
    RawCreateAnalogScan(handle, 0.1f * static_cast<float>(i), 3, values.data());
  }
  RawCreateAnalogEnd(handle);

  RawHistoryHeader history = {};
  std::vector<RawHistoryEntry> entries(RAW_HISTORY_ENTRIES);
  RawReadProcInfo(handle, &history, nullptr);
  for (uint16_t type = 0; type <= 22; ++type) {
    RawHistoryEntry entry = {};
    entry.process.type = type;
    entry.process.created = 1750000000;
    std::snprintf(entry.process.name, sizeof(entry.process.name), "_PROC%03d", type + 1);
    std::fill_n(entry.process.parameters, type % 2 != 0 ? 64 : 0, static_cast<uint8_t>(type));
    RawHistAddProcess(&history, entries.data(), static_cast<int16_t>(1 + type % 2),
                      static_cast<uint16_t>(type % 3), &entry);
  }
  RawHistUpdateInfo(handle, &history, entries.data());
  RawCreateClose(handle);
}

// What the data handles are asked for, of function 1.
void WriteTraces(const MemoryFileSystem& files, SeedWriter* directory) {
  constexpr uint8_t kPlain = 6;     // of whatever is chosen, what is there
  constexpr uint8_t kNeutral = 12;  // also that loss instead of masses
  for (const char* trace : {"TIC", "BPI", "AN1", "150.5", "150_400", "150+200-300", "TAS", "1>2"}) {
    for (const uint8_t choice : {kPlain, kNeutral}) {
      Bundle bundle = directory->Collect(files);
      bundle.options = {1};
      bundle.options.insert(bundle.options.end(), trace, trace + std::strlen(trace) + 1);
      bundle.options.insert(bundle.options.end(), 40, choice);
      directory->Write(bundle);
    }
  }
}

void MakeRaws(const std::string& folder) {
  SeedWriter scans(folder, kScans);
  SeedWriter header(folder, kHeader);
  SeedWriter members(folder, kMembers);
  SeedWriter directory(folder, kDirectory);
  for (const int16_t type : kStoredTypes) {
    Disk disk;
    MakeRun(type == 2 || type == 11 ? RAW_TYPE_SIR : RAW_TYPE_SCAN, type);
    scans.Write(disk.files);
    directory.Write(disk.files);
  }
  for (const int16_t function_type : {RAW_TYPE_MRM, RAW_TYPE_MALDI_TOF, RAW_TYPE_TOF_MS}) {
    Disk disk;
    MakeRun(function_type, 3);
    WriteTraces(disk.files, &directory);
    scans.Write(disk.files);
    directory.Write(disk.files);
    header.Write(disk.files);
    members.Write(disk.files);
    const std::string_view provided = "[Acquisition]\r\nIsGCMD=TRUE\r\n";
    disk.files.Put("TERVALON.INI", {provided.begin(), provided.end()});
    header.Write(disk.files);
    members.Write(disk.files);
    disk.files.Remove("TERVALON.INI");
    Bytes inverted = disk.files.Get("R.RAW\\_HEADER.TXT");
    for (uint8_t& byte : inverted) byte = static_cast<uint8_t>(~byte);
    disk.files.Put("R.RAW\\_HEADER.INF", inverted);
    header.Write(disk.files);
    Bytes every_tag;
    for (int32_t tag = 0; tag < RAW_HEADER_TAG_COUNT; ++tag) {
      char line[64];
      RawGetHeaderTag(tag, line);
      for (const char* c = line; *c != 0; ++c) {
        if (*c == '%' && c[1] != 0) {
          for (const char digit : {'1', ',', '2'}) every_tag.push_back(static_cast<uint8_t>(digit));
          ++c;
        } else {
          every_tag.push_back(static_cast<uint8_t>(*c));
        }
      }
    }
    disk.files.Remove("R.RAW\\_HEADER.INF");
    disk.files.Put("R.RAW\\_HEADER.TXT", every_tag);
    header.Write(disk.files);
  }
}

// Texts that options take, one after the other, each with a byte in front and ended by a zero.
Bytes OptionTexts(uint8_t operation, std::initializer_list<const char*> texts) {
  Bytes bytes = {operation};
  for (const char* text : texts) {
    bytes.insert(bytes.end(), text, text + std::strlen(text) + 1);
  }
  bytes.insert(bytes.end(), 16, 1);
  return bytes;
}

void MakeSettings(const std::string& folder) {
  SeedWriter settings(folder, kSettings);
  Disk disk;
  const IniWindPos position = {1, 1, 10, 20, 410, 320};
  SetIniWindPos("Windows", "Browser", &position, 0);
  RTCalibration calibration = {1, 3, 1, 14, 1, {1, 2, 3}, {4, 5, 6}, {7, 8, 9}};
  RTIndicesSetRetentionCalibration(nullptr, &calibration);
  const ChroStatSettings statistics = {0.5f, 1000};
  ChroStatSetIniFile(&statistics);
  const float level = 1000;
  SpecStatSetIniFile(&level);
  InitGlobal(0);
  SystemRawFile raw = {1, "\\w\\", "R", "RAW", 1, 2, 3, 4};
  SystemFile project = {1, "\\w\\", "P", "PRO", 0, 0};
  SetGlobalRawFile("SystemList", "RAW", &raw, 1);
  SetGlobalFile("SystemList", "PROJECT", &project, 1);
  FreeGlobal(0);
  disk.files.Put("P.PRO\\DATA\\A.RAW\\x", {'x'});
  disk.files.Put("P.PRO\\METHDB\\a.mdb", {'x'});
  const std::initializer_list<const char*> kTexts[] = {
      {"SystemList", "RAW", "value"}, {"Windows", "Browser"},
      {"SystemList", "PROJECT", "P"}, {"ChrRetentionCalibration", "Index1"},
      {"New", "Key", "\"quoted\" "},  {"", "", ""}};
  // The file has a section for each of these; inputs of one section, and not all of it, run faster.
  const Bytes all = disk.files.Get("TERVALON.INI");
  for (auto at = all.begin(); at != all.end();) {
    const auto end = std::find(at + 1, all.end(), '[');
    const Bytes section(at, std::min(end, at + 800));
    at = end;
    disk.files.Put("TERVALON.INI", section);
    disk.files.Put("text", section);
    settings.Write(disk.files);
    Bundle bundle;
    bundle.files = {{0, section}, {1, section}};
    for (uint8_t operation = 0; operation < 6; ++operation) {
      for (const auto& texts : kTexts) {
        const std::string_view wanted = *texts.begin();
        const bool there = std::search(section.begin(), section.end(), wanted.begin(),
                                       wanted.end()) != section.end();
        if (!there) continue;
        bundle.options = OptionTexts(operation, texts);
        settings.Write(bundle);
      }
    }
  }
}

// A structure whose members have values that fit any field.
std::vector<uint8_t> MakeStructure(int32_t type, int32_t number) {
  const db3::DatabaseType& made = *db3::Catalogue(type);
  std::vector<uint8_t> record(made.structure_size);
  for (const db3::Member& member : made.members) {
    uint8_t* const at = record.data() + member.offset;
    const double real = number;
    const auto single = static_cast<float>(number);
    if (member.conversion == DB3_TEXT) {
      std::fill_n(at, member.size, static_cast<uint8_t>(0x40 + number));
    } else if (member.conversion == DB3_DOUBLE) {
      std::memcpy(at, &real, sizeof(real));
    } else if (member.conversion == DB3_FLOAT) {
      std::memcpy(at, &single, sizeof(single));
    } else if (member.conversion != DB3_NOT_HELD) {
      *at = static_cast<uint8_t>(number & 1);
    }
  }
  return record;
}

void MakeDatabases(const std::string& folder) {
  SeedWriter database(folder, kDatabase);
  for (int32_t type = 0; type < DB3_TYPES; ++type) {
    for (const int32_t mode : {DB3_MODE_CREATE + 0, DB3_MODE_CREATE | DB3_MODE_ENCRYPT}) {
      Disk disk;
      DB3Open(type, "\\w\\D.DBF", mode);
      if (DB3Open(type, "\\w\\D.DBF", DB3_MODE_OPEN) != DB3_SUCCESS) continue;
      for (int32_t number = 1; number <= 3; ++number) {
        std::vector<uint8_t> record = MakeStructure(type, number);
        DB3HandleRecord(type, DB3_HANDLE_INSERT, number, record.data(), DB3_INSERT_INTO_EMPTY);
      }
      DB3Close(type);
      Bundle bundle;
      bundle.files.push_back({0, disk.files.Get("\\w\\D.DBF")});
      bundle.options = {0, static_cast<uint8_t>(type), 1, 0};
      bundle.options.insert(bundle.options.end(), 24, static_cast<uint8_t>(7 + 3 * type));
      database.Write(bundle);
      bundle.options.insert(bundle.options.begin(),
                            {1, 40, 0, 60, 0, 0, 1, 3, 65, 90, 0, 66, 91, 0, 67, 92, 0});
      database.Write(bundle);
      if (mode == DB3_MODE_CREATE) database.Write(disk.files);
    }
  }
}

void MakeTexts(const std::string& folder) {
  SeedWriter text(folder, kText);
  const std::string long_number(800, '7');
  const std::initializer_list<const char*> kTexts[] = {
      {"-12.5e-3"},
      {"1e400"},
      {long_number.c_str()},
      {"2147483648"},
      {" +7 "},
      {""},
      {"184+200-150,100_200,TIC"},
      {"100>50+Ch2_3"},
      {"AN1"},
      {"bpi"},
      {"184+"},
      {"STOP OKCANCEL|DEFBUTTON2 NOLOG, text %s %-08.3d %c %% %#lx", "given"},
      {"2 text %f %+.3e %G %Lf %hd %*.*d %a", "given"},
      {"%llu %hhu %zu %td %lX", "given"},
      {"C:\\DIR\\NAME.EXT", "C:\\OTHER\\.X"},
      {"..\\a.b/c.", "ext"},
      {"1.0e0,-2.5E-10,,3,T1"},
      {"T0"},
      {"F"},
      {"   12.50"},
      {"***"},
      {"1 2"}};
  for (uint8_t operation = 0; operation < 6; ++operation) {
    for (const auto& texts : kTexts) {
      Bundle bundle;
      bundle.options = OptionTexts(operation, texts);
      text.Write(bundle);
    }
  }
}

}  // namespace
}  // namespace tervalon::fuzz

int main(int count, char** arguments) {
  if (count != 2) {
    std::fprintf(stderr, "usage: fuzz_make_seeds FOLDER\n");
    return 2;
  }
  tervalon::fuzz::MakeRaws(arguments[1]);
  tervalon::fuzz::MakeSettings(arguments[1]);
  tervalon::fuzz::MakeDatabases(arguments[1]);
  tervalon::fuzz::MakeTexts(arguments[1]);
  return 0;
}
