// Record databases.

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "platform/file_system.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"
#include "tests/programs/kinds.h"

namespace tervalon::testing {
namespace {

// Two types with the same fields, so that one file can be open as both.
constexpr int32_t kTypes[] = {DB3_PEP_MOD, DB3_NUC_MOD};
constexpr uint32_t kLongest = 49;
constexpr uint32_t kOwnRecords = 6;

// A text stands in two fields, to show a record that is torn.
template <typename Structure>
void Put(const std::string& text, Structure* record) {
  text.copy(record->symbol, sizeof(record->symbol));
  text.copy(record->formula, sizeof(record->formula));
}

std::string TextOf(const char (&member)[50]) {
  const std::string text(member, sizeof(member));
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

template <typename Structure>
std::string Get(const Structure& record) {
  const std::string text = TextOf(record.symbol);
  const std::string again = TextOf(record.formula);
  Require(text == again, "a torn record: " + text + ", " + again);
  return text;
}

union Record {
  DB3PepMod pep;
  DB3NucMod nuc;
};

std::string Path() { return platform::Files().WorkingDirectory() + "\\P.DBF"; }

// The file, open in two slots.
class Slots {
 public:
  Slots() {
    for (const int32_t type : kTypes) {
      DB3SetReportErrors(type, 0);
      const int32_t cause = DB3Open(type, Path().c_str(), DB3_MODE_OPEN);
      Require(cause == DB3_SUCCESS, "cannot be opened: cause " + std::to_string(cause));
    }
  }
  ~Slots() {
    for (const int32_t type : kTypes) DB3Close(type);
  }
  Slots(const Slots&) = delete;
  Slots& operator=(const Slots&) = delete;

  // The next operation is another slot's.
  int32_t Type() { return kTypes[++turn_ % 2]; }

  int32_t Count() { return DB3GetRecordsInDB(Type()); }

  int32_t Do(int32_t operation, int32_t number, const std::string& text = "") {
    Record record = {};
    const int32_t type = Type();
    if (type == DB3_PEP_MOD) {
      Put(text, &record.pep);
    } else {
      Put(text, &record.nuc);
    }
    return DB3HandleRecord(type, operation, number, &record, DB3_INSERT_INTO_EMPTY);
  }

  // False when there is no such record.
  bool Read(int32_t number, std::string* text) {
    Record record = {};
    const int32_t type = Type();
    const int32_t cause = DB3HandleRecord(type, DB3_HANDLE_READ, number, &record, 0);
    if (cause == DB3_RECORD_NUMBER) return false;
    Require(cause == DB3_SUCCESS, "a record cannot be read: cause " + std::to_string(cause));
    *text = type == DB3_PEP_MOD ? Get(record.pep) : Get(record.nuc);
    return true;
  }

 private:
  int turn_ = 0;
};

void MakeFile(uint32_t records) {
  DB3SetReportErrors(kTypes[0], 0);
  Require(DB3Open(kTypes[0], Path().c_str(), DB3_MODE_CREATE) == DB3_SUCCESS, "not created");
  Slots slots;
  for (uint32_t i = 0; i < records; ++i) {
    Require(slots.Do(DB3_HANDLE_INSERT, static_cast<int32_t>(i) + 1) == DB3_SUCCESS, "no insert");
  }
}

class RecordPlaces : public Places {
 public:
  bool Set(uint32_t place, const std::string& text) override {
    return slots_.Do(DB3_HANDLE_UPDATE, static_cast<int32_t>(place) + 1, text) == DB3_SUCCESS;
  }
  std::string Get(uint32_t place) override {
    std::string text;
    Require(slots_.Read(static_cast<int32_t>(place) + 1, &text), "a record is missing");
    return text;
  }

 private:
  Slots slots_;
};

// Records move while others insert and delete, so a number may be any record's when its turn comes.
class MovingWriter : public Writer {
 public:
  void Make(uint32_t serial, Random* random, Notes* notes) override {
    constexpr uint32_t kFew = 30;
    constexpr uint32_t kMany = 150;
    constexpr int kMostTries = 10;
    const auto count = static_cast<uint32_t>(slots_.Count());
    uint32_t choice = Below(random, 4);
    if (count < kFew) choice = 0;
    if (count > kMany) choice = 2;
    const std::string text = Filled(notes->writer(), serial, kLongest);
    notes->Begin(choice <= 1 ? "insert " + text : choice == 2 ? "delete -" : "update " + text);
    // Where others have taken away the record of that number meanwhile, another one will do.
    int32_t cause = DB3_RECORD_NUMBER;
    for (int tries = 0; cause == DB3_RECORD_NUMBER && tries < kMostTries; ++tries) {
      const auto now = static_cast<uint32_t>(slots_.Count());
      const auto number = static_cast<int32_t>(1 + Below(random, std::max(now, 1U)));
      if (choice <= 1) {
        cause = slots_.Do(DB3_HANDLE_INSERT, choice == 0 ? number : slots_.Count() + 1, text);
      } else if (choice == 2) {
        cause = slots_.Do(DB3_HANDLE_DELETE, number);
      } else {
        cause = slots_.Do(DB3_HANDLE_UPDATE, number, text);
      }
    }
    notes->End(cause == DB3_SUCCESS);
    Require(cause == DB3_SUCCESS || cause == DB3_RECORD_NUMBER,
            "a change was refused: cause " + std::to_string(cause));
  }

 private:
  Slots slots_;
};

class MovingReader : public Reader {
 public:
  uint32_t Check(Random* random) override {
    const auto count = static_cast<uint32_t>(slots_.Count());
    std::string text;
    if (slots_.Read(static_cast<int32_t>(1 + Below(random, std::max(count, 1U))), &text)) {
      CheckFilled(text, kLongest);
    }
    return 1;
  }

 private:
  Slots slots_;
};

// Every insert adds a record, every delete takes one away, and an update puts one in another's
// place: nobody knows whose, but the sum has to be right, and no record is there that was not
// written.
void CheckMoved(const std::vector<Change>& changes) {
  std::map<std::string, int64_t> stored;
  std::map<std::string, int64_t> unknown;
  std::set<std::string> written;
  for (const Change& change : changes) {
    std::string what;
    std::string text;
    std::istringstream(change.text) >> what >> text;
    if (change.outcome != Outcome::kRefused) written.insert(text);
    if (change.outcome == Outcome::kStored) ++stored[what];
    if (change.outcome == Outcome::kUnknown) ++unknown[what];
  }
  Slots slots;
  const int64_t count = slots.Count();
  const int64_t expected = stored["insert"] - stored["delete"];
  Require(count >= expected - unknown["delete"] && count <= expected + unknown["insert"],
          "there are " + std::to_string(count) + " records, not " + std::to_string(expected));
  for (int32_t number = 1; number <= count; ++number) {
    std::string text;
    Require(slots.Read(number, &text), "a record is missing");
    Require(written.erase(text) == 1, "not written, or there twice: " + text);
  }
}

}  // namespace

Kind UpdatedRecordsKind() {
  return KindOfPlaces(
      "UpdatedRecords", 1000, kOwnRecords, kLongest, [] { MakeFile(kOwnRecords * kWriters); },
      [] { return std::make_unique<RecordPlaces>(); });
}

Kind MovedRecordsKind() {
  return {"MovedRecords",
          700,
          [] { MakeFile(0); },
          [](int) { return std::make_unique<MovingWriter>(); },
          [] { return std::make_unique<MovingReader>(); },
          CheckMoved};
}

}  // namespace tervalon::testing
