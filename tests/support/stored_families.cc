// The global store, the settings file, databases.

#include <cstring>
#include <map>

#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tervalon/paths.h"
#include "tervalon/settings.h"
#include "tests/support/families.h"

namespace tervalon::testing {
namespace {

std::string TextOf(Random* random, uint32_t longest) {
  return std::string(Below(random, longest), static_cast<char>('a' + Below(random, 26)));
}

// Keys of the global store in sections of the worker's own.
class Store : public Family {
 public:
  explicit Store(const Workplace& place) : section_("Worker" + std::to_string(place.worker)) {}

  void Step(Random* random) override {
    const std::string key = "key" + std::to_string(Below(random, 40));
    const uint32_t choice = Below(random, 2000);
    char out[512];
    if (choice == 0) {
      Require(UpdateGlobal(0) == 1, "UpdateGlobal");
    } else if (choice == 1) {
      Require(InitGlobal(0) == 0, "InitGlobal");  // there is one
      Require(FreeGlobal(0) == 1, "FreeGlobal");
    } else if (choice < 600) {
      std::string value = TextOf(random, 100);
      Require(SetGlobalString(section_.c_str(), key.c_str(), value.data(), 1) == 1,
              "SetGlobalString");
      values_[key] = value;
    } else if (choice < 800) {
      const auto value = static_cast<int32_t>((*random)());
      int32_t back = 0;
      Require(SetGlobalLong(section_.c_str(), key.c_str(), value, 1) == 1 &&
                  GetGlobalLong(section_.c_str(), key.c_str(), 0, &back) == 1 && back == value,
              "another number");
      values_[key] = std::to_string(value);
    } else {
      const int16_t length =
          GetGlobalString(section_.c_str(), key.c_str(), "none", out, sizeof(out));
      const auto known = values_.find(key);
      // What one before this worker has set may still be there.
      if (known == values_.end()) return;
      Require(length == static_cast<int16_t>(known->second.size()) && known->second == out,
              "another value");
    }
  }

 private:
  std::string section_;
  std::map<std::string, std::string> values_;
};

// Keys of the settings file, likewise.
class SettingsFile : public Family {
 public:
  explicit SettingsFile(const Workplace& place)
      : section_("FileWorker" + std::to_string(place.worker)), directory_(place.directory) {}

  void Step(Random* random) override {
    const std::string key = "key" + std::to_string(Below(random, 10));
    if (Below(random, 20) == 0) {
      std::string value = "v" + TextOf(random, 60);
      Require(SetIniString(section_.c_str(), key.c_str(), value.data(), 0) == 1, "SetIniString");
      values_[key] = value;
      return;
    }
    char out[128];
    GetIniString(section_.c_str(), key.c_str(), "", out, sizeof(out));
    const auto known = values_.find(key);
    Require(known == values_.end() || known->second == out, "another value in the file");
    char directory[TV_PATH_SIZE];
    Require(IsGCMD() == 0 && GetTervalonWorkingDir(directory) == 1 && directory_ == directory,
            "another working directory");
  }

 private:
  std::string section_;
  std::string directory_;
  std::map<std::string, std::string> values_;
};

// A database of the worker's own type, whose structure begins with a number.
class Databases : public Family {
 public:
  explicit Databases(const Workplace& place)
      : kind_(kKinds[place.worker]),
        name_(place.directory + "\\DB" + std::to_string(place.worker)) {
    DB3SetReportErrors(kind_.type, 0);
    Succeed(DB3Open(kind_.type, name_.c_str(), DB3_MODE_CREATE), "creating");
    Succeed(DB3Open(kind_.type, name_.c_str(), DB3_MODE_OPEN), "opening");
  }
  ~Databases() override {
    DB3Close(kind_.type);
    DB3Open(kind_.type, name_.c_str(), DB3_MODE_DELETE);
  }

  void Step(Random* random) override {
    const auto count = static_cast<uint32_t>(values_.size());
    const uint32_t choice = Below(random, 64);
    const uint32_t at = count == 0 ? 0 : Below(random, count);
    if (choice == 0) {
      Succeed(DB3Close(kind_.type), "closing");
      Succeed(DB3Open(kind_.type, name_.c_str(), DB3_MODE_OPEN), "opening");
    } else if (count == 0 || (choice < 4 && count < 50)) {
      const int32_t value = Put(random);
      const int32_t flags = count == 0 ? DB3_INSERT_INTO_EMPTY : 0;
      Succeed(Handle(DB3_HANDLE_INSERT, at, flags), "inserting");
      values_.insert(values_.begin() + at, value);
    } else if (choice < 6 && count > 1) {
      Succeed(Handle(DB3_HANDLE_DELETE, at, 0), "deleting");
      values_.erase(values_.begin() + at);
    } else if (choice < 12) {
      const int32_t value = Put(random);
      Succeed(Handle(DB3_HANDLE_UPDATE, at, 0), "updating");
      values_[at] = value;
    } else {
      Succeed(Handle(DB3_HANDLE_READ, at, 0), "reading");
      Require(Value() == values_[at], "another record");
    }
    Require(DB3GetRecordsInDB(kind_.type) == static_cast<int32_t>(values_.size()), "record count");
  }

 private:
  struct Kind {
    int32_t type;
    bool is_double;
  };
  static constexpr Kind kKinds[kMostWorkers] = {
      {DB3_PEP_ELEMENT, true}, {DB3_GC, true}, {DB3_PROBE, false}, {DB3_INTERIM_REPORT, false}};

  static void Succeed(int32_t cause, const char* what) {
    Require(cause == DB3_SUCCESS, what + (" a database: " + std::to_string(cause)));
  }

  int32_t Handle(int32_t operation, uint32_t at, int32_t flags) const {
    return DB3HandleRecord(kind_.type, operation, static_cast<int32_t>(at) + 1, nullptr, flags);
  }

  int32_t Put(Random* random) const {
    const auto value = static_cast<int32_t>(Below(random, 100));
    void* const buffer = DB3GetCurrentBuffer(kind_.type);
    if (kind_.is_double) {
      const double number = value;
      std::memcpy(buffer, &number, sizeof(number));
    } else {
      std::memcpy(buffer, &value, sizeof(value));
    }
    return value;
  }

  int32_t Value() const {
    const void* const buffer = DB3GetCurrentBuffer(kind_.type);
    double number = 0;
    int32_t value = 0;
    std::memcpy(&number, buffer, sizeof(number));
    std::memcpy(&value, buffer, sizeof(value));
    return kind_.is_double ? static_cast<int32_t>(number) : value;
  }

  const Kind& kind_;
  std::string name_;
  std::vector<int32_t> values_;
};

}  // namespace

std::vector<FamilyKind> StoredFamilies() {
  return {{"Store", 30, Make<Store>},
          {"SettingsFile", 4, Make<SettingsFile>},
          {"Databases", 6, Make<Databases>}};
}

}  // namespace tervalon::testing
