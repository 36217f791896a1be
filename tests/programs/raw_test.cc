// The files of a raw data directory that are replaced.

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>

#include "tervalon/raw_analog.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_functions.h"
#include "tervalon/raw_header.h"
#include "tervalon/raw_history.h"
#include "tests/programs/kinds.h"

namespace tervalon::testing {
namespace {

constexpr char kDirectory[] = "SAMPLE.RAW";

class RawPlaces : public Places {
 public:
  RawPlaces() { Succeed(RawReadOpen(kDirectory, &handle_), "RawReadOpen"); }
  ~RawPlaces() override { RawReadClose(handle_); }

 protected:
  int32_t handle_ = -1;
};

// --- The header: each field a place

constexpr uint32_t kFields = 8;
constexpr uint32_t kLongestField = 79;

char* Field(RawHeader* header, uint32_t place) {
  char* const fields[kFields] = {header->job_code,        header->task_code,  header->user_name,
                                 header->laboratory_name, header->instrument, header->conditions,
                                 header->submitter,       header->sample_id};
  return fields[place];
}

class HeaderPlaces : public RawPlaces {
 public:
  bool Set(uint32_t place, const std::string& text) override {
    RawHeader header;
    RawCalibration calibration;
    Succeed(RawReadHeader(handle_, &header, &calibration, nullptr, nullptr), "RawReadHeader");
    char* field = Field(&header, place);
    std::memcpy(field, text.c_str(), text.size() + 1);
    return RawCreateHeader(handle_, &header, &calibration) == RAW_OK;
  }

  std::string Get(uint32_t place) override {
    RawHeader header;
    Succeed(RawReadHeader(handle_, &header, nullptr, nullptr, nullptr), "RawReadHeader");
    return Field(&header, place);
  }
};

// --- The function table and the analog descriptors: each record a place

constexpr uint32_t kLongestText = 60;
constexpr size_t kTextInFunction = 160;  // masses, of which nobody takes notice
constexpr size_t kTextInDescriptor = 4;

class FunctionPlaces : public RawPlaces {
 public:
  bool Set(uint32_t place, const std::string& text) override {
    RawFunctionRecord records[RAW_MAX_FUNCTIONS] = {};
    Succeed(RawReadFuncInfo(handle_, 0, records, nullptr), "RawReadFuncInfo");
    std::memcpy(records[place].bytes + kTextInFunction, text.c_str(), text.size() + 1);
    return RawCreateFunctions(handle_, kCount, records) == RAW_OK;
  }

  std::string Get(uint32_t place) override {
    RawFunctionRecord record;
    Succeed(RawReadFuncInfo(handle_, static_cast<int16_t>(place + 1), &record, nullptr),
            "RawReadFuncInfo");
    return reinterpret_cast<const char*>(record.bytes + kTextInFunction);
  }

  static constexpr int16_t kCount = 16;
};

class AnalogPlaces : public RawPlaces {
 public:
  bool Set(uint32_t place, const std::string& text) override {
    RawAnalogDescriptor descriptors[kCount];
    Read(descriptors);
    std::memcpy(descriptors[place].bytes + kTextInDescriptor, text.c_str(), text.size() + 1);
    return RawCreateAnalogInf(handle_, kCount, descriptors) == RAW_OK;
  }

  std::string Get(uint32_t place) override {
    RawAnalogDescriptor descriptors[kCount];
    Read(descriptors);
    return reinterpret_cast<const char*>(descriptors[place].bytes + kTextInDescriptor);
  }

  static constexpr int16_t kCount = 8;

 private:
  void Read(RawAnalogDescriptor* descriptors) {
    int16_t count = kCount;
    Succeed(RawReadAnalogInf(handle_, &count, descriptors), "RawReadAnalogInf");
    Require(count == kCount, "descriptors are missing");
  }
};

void MakeDirectory() {
  int32_t handle = -1;
  Succeed(RawCreateOpen(kDirectory, &handle), "RawCreateOpen");
  const RawHeader header = {};
  const RawCalibration calibration = {};
  Succeed(RawCreateHeader(handle, &header, &calibration), "RawCreateHeader");
  const RawFunctionRecord functions[FunctionPlaces::kCount] = {};
  Succeed(RawCreateFunctions(handle, FunctionPlaces::kCount, functions), "RawCreateFunctions");
  const RawAnalogDescriptor descriptors[AnalogPlaces::kCount] = {};
  Succeed(RawCreateAnalogInf(handle, AnalogPlaces::kCount, descriptors), "RawCreateAnalogInf");
  Succeed(RawCreateClose(handle), "RawCreateClose");
}

// --- Functions that are appended: of each writer so many to a table, then to the next directory's

constexpr uint32_t kEach = RAW_MAX_FUNCTIONS / kWriters;

std::string TablePath(uint32_t table) { return "T" + std::to_string(table) + ".RAW"; }

// An empty table, unless another program's is there already.
void MakeTable(uint32_t table, int writer) {
  if (std::filesystem::exists(TablePath(table))) return;
  const std::string own = "NEW" + std::to_string(writer) + ".RAW";
  int32_t handle = -1;
  const RawFunctionRecord none = {};
  Succeed(RawCreateOpen(own.c_str(), &handle), "RawCreateOpen");
  Succeed(RawCreateFunctions(handle, 0, &none), "RawCreateFunctions");
  Succeed(RawCreateClose(handle), "RawCreateClose");
  std::error_code taken;
  std::filesystem::rename(own, TablePath(table), taken);
}

class AppendedTo {
 public:
  explicit AppendedTo(uint32_t table) {
    Succeed(RawReadOpen(TablePath(table).c_str(), &handle_), "RawReadOpen");
  }
  ~AppendedTo() { RawReadClose(handle_); }
  AppendedTo(const AppendedTo&) = delete;
  AppendedTo& operator=(const AppendedTo&) = delete;

  bool Append(const std::string& text) {
    RawFunctionRecord record = {};
    text.copy(reinterpret_cast<char*>(record.bytes + kTextInFunction), kLongestText);
    int16_t number = 0;
    const int32_t error = RawAppendFunction(handle_, &record, &number);
    if (error == RAW_LOCK_FAILED) return false;
    Succeed(error, "RawAppendFunction");
    const std::vector<std::string> texts = Texts();
    const auto place = static_cast<size_t>(number - 1);
    Require(place < texts.size() && texts[place] == text, "not where it was reported to be");
    return true;
  }

  std::vector<std::string> Texts() {
    RawFunctionRecord records[RAW_MAX_FUNCTIONS] = {};
    Succeed(RawReadFuncInfo(handle_, 0, records, nullptr), "RawReadFuncInfo");
    std::vector<std::string> texts;
    for (const RawFunctionRecord& record : records) {
      texts.emplace_back(reinterpret_cast<const char*>(record.bytes + kTextInFunction));
      if (texts.back().empty()) break;
      CheckFilled(texts.back(), kLongestText);
    }
    std::erase(texts, "");
    return texts;
  }

 private:
  int32_t handle_ = -1;
};

class FunctionAppender : public Writer {
 public:
  void Make(uint32_t serial, Random* /*random*/, Notes* notes) override {
    const std::string text = Filled(notes->writer(), serial, kLongestText);
    MakeTable(serial / kEach, notes->writer());
    notes->Begin(text);
    notes->End(AppendedTo(serial / kEach).Append(text));
  }
};

class AppendedReader : public Reader {
 public:
  uint32_t Check(Random* random) override {
    if (!std::filesystem::exists(TablePath(table_))) return 0;
    AppendedTo table(table_);
    const std::vector<std::string> texts = table.Texts();
    Require(texts.size() >= seen_.size() && std::equal(seen_.begin(), seen_.end(), texts.begin()),
            "what was there is not there any more");
    seen_ = texts;
    if (texts.size() < RAW_MAX_FUNCTIONS && Below(random, 200) != 0) return 1;
    ++table_;
    seen_.clear();
    return 1;
  }

 private:
  uint32_t table_ = 0;
  std::vector<std::string> seen_;
};

void CheckAppended(const std::vector<Change>& changes) {
  std::map<std::string, Outcome> outcomes;
  uint32_t tables = 0;
  for (const Change& change : changes) {
    outcomes[change.text] = change.outcome;
    tables = std::max(tables, CheckFilled(change.text, kLongestText).serial / kEach + 1);
  }
  for (uint32_t table = 0; table < tables; ++table) {
    MakeTable(table, 0);  // where whoever was about to was ended
    for (const std::string& text : AppendedTo(table).Texts()) {
      const auto found = outcomes.find(text);
      Require(found != outcomes.end() && found->second != Outcome::kRefused &&
                  CheckFilled(text, kLongestText).serial / kEach == table,
              "there, but nobody or twice appended: " + text);
      outcomes.erase(found);
    }
  }
  for (const auto& [text, outcome] : outcomes) {
    Require(outcome != Outcome::kStored, "lost: " + text);
  }
}

// --- The history: entries that come and go

constexpr int16_t kTree = 1;
constexpr uint32_t kLongestName = 32;

struct History {
  RawHistoryHeader header = {};
  std::vector<RawHistoryEntry> entries = std::vector<RawHistoryEntry>(RAW_HISTORY_ENTRIES);

  explicit History(int32_t handle) {
    const int32_t error = RawReadProcInfo(handle, &header, entries.data());
    // Nobody has written one yet.
    if (error != RAW_MEMBER_NOT_OPEN) Succeed(error, "RawReadProcInfo");
  }

  // The names in the tree that are a writer's (-1: anybody's), by their serial numbers.
  std::map<uint32_t, std::string> Names(int writer) const {
    std::map<uint32_t, std::string> names;
    uint32_t at = static_cast<uint32_t>(Go(0, RAW_HISTORY_FIRST_CHILD));
    while (at != 0) {
      const RawHistoryEntry& entry = entries[at >> 16];
      const std::string name(entry.process.name, strnlen(entry.process.name, kLongestName));
      const Filling filling = CheckFilled(name, kLongestName);
      if (writer < 0 || filling.owner == writer) {
        Require(names
                    .emplace(filling.serial * (writer < 0 ? kWriters : 1) +
                                 (writer < 0 ? static_cast<uint32_t>(filling.owner) : 0),
                             name)
                    .second,
                "an entry is there twice: " + name);
      }
      at = static_cast<uint32_t>(Go(static_cast<uint16_t>(at >> 16), RAW_HISTORY_NEXT_SIBLING));
    }
    return names;
  }

 private:
  int32_t Go(uint16_t index, int32_t mode) const {
    return RawHistGetProcess(&header, entries.data(), kTree, index, 1, mode);
  }
};

class HistoryWriter : public Writer {
 public:
  HistoryWriter() { Succeed(RawReadOpen(kDirectory, &handle_), "RawReadOpen"); }
  ~HistoryWriter() override { RawReadClose(handle_); }

  void Make(uint32_t serial, Random* /*random*/, Notes* notes) override {
    constexpr size_t kMost = 20;
    History history(handle_);
    const auto own = history.Names(notes->writer());
    if (own.size() < kMost) {
      RawHistoryEntry entry = {};
      const std::string name = Filled(notes->writer(), serial, kLongestName);
      name.copy(entry.process.name, sizeof(entry.process.name) - 1);
      Require(RawHistAddProcess(&history.header, history.entries.data(), kTree, 0, &entry) == 0,
              "the history is full");
      notes->Begin("+" + name);
    } else {
      const std::string name = own.begin()->second;
      const int32_t found =
          RawHistSearchTag(&history.header, history.entries.data(), kTree, name.c_str());
      Require(RawHistDeleteProcess(&history.header, history.entries.data(), kTree,
                                   static_cast<uint16_t>(found >> 16), 0) == 1,
              "an own entry cannot be deleted");
      notes->Begin("-" + name);
    }
    const int32_t error = RawHistUpdateInfo(handle_, &history.header, history.entries.data());
    notes->End(error == RAW_OK);
    if (error != RAW_LOCK_FAILED) Succeed(error, "RawHistUpdateInfo");
  }

 private:
  int32_t handle_ = -1;
};

class HistoryReader : public Reader {
 public:
  HistoryReader() { Succeed(RawReadOpen(kDirectory, &handle_), "RawReadOpen"); }
  ~HistoryReader() override { RawReadClose(handle_); }

  uint32_t Check(Random* /*random*/) override {
    return static_cast<uint32_t>(1 + History(handle_).Names(-1).size());
  }

 private:
  int32_t handle_ = -1;
};

void CheckHistory(const std::vector<Change>& changes) {
  std::set<std::string> certain;
  std::set<std::string> possible;
  for (const Change& change : changes) {
    if (change.outcome == Outcome::kRefused) continue;
    const std::string name = change.text.substr(1);
    if (change.outcome == Outcome::kStored) {
      change.text[0] == '+' ? void(certain.insert(name)) : void(certain.erase(name));
      possible.erase(name);
    } else {
      certain.erase(name);
      possible.insert(name);
    }
  }
  int32_t handle = -1;
  Succeed(RawReadOpen(kDirectory, &handle), "RawReadOpen");
  for (const auto& [serial, name] : History(handle).Names(-1)) {
    Require(certain.erase(name) == 1 || possible.contains(name), "deleted, but there: " + name);
  }
  RawReadClose(handle);
  Require(certain.empty(), "lost: " + (certain.empty() ? "" : *certain.begin()));
}

}  // namespace

Kind RawHeaderKind() {
  return KindOfPlaces("RawHeader", 100, kFields / kWriters, kLongestField, MakeDirectory,
                      [] { return std::make_unique<HeaderPlaces>(); });
}

Kind FunctionTableKind() {
  return KindOfPlaces("FunctionTable", 100, FunctionPlaces::kCount / kWriters, kLongestText,
                      MakeDirectory, [] { return std::make_unique<FunctionPlaces>(); });
}

Kind AnalogDescriptorsKind() {
  return KindOfPlaces("AnalogDescriptors", 100, AnalogPlaces::kCount / kWriters, kLongestText,
                      MakeDirectory, [] { return std::make_unique<AnalogPlaces>(); });
}

Kind AppendedFunctionsKind() {
  return {"AppendedFunctions",
          100,
          [] {},
          [](int) { return std::make_unique<FunctionAppender>(); },
          [] { return std::make_unique<AppendedReader>(); },
          CheckAppended};
}

Kind HistoryKind() {
  return {"History",
          100,
          MakeDirectory,
          [](int) { return std::make_unique<HistoryWriter>(); },
          [] { return std::make_unique<HistoryReader>(); },
          CheckHistory};
}

}  // namespace tervalon::testing
