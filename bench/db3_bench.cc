// Reading, updating and appending every record of a large method database, against the dBASE
// functions of shapelib, which lock nothing, on a copy of the same file. Both read each of the 146
// fields into a number or text of the caller and write each of them.

#include <benchmark/benchmark.h>
#include <shapefil.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/ratio_reporter.h"
#include "db3/catalogue.h"
#include "db3/record_file.h"
#include "tervalon/database_records.h"
#include "tervalon/databases.h"

namespace {

namespace fs = std::filesystem;
using tervalon::bench::Ratio;
using tervalon::db3::Catalogue;
using tervalon::db3::DatabaseType;
using tervalon::db3::FieldDescriptor;

constexpr int32_t kType = DB3_METHOD;
constexpr int32_t kRecords = DB3_MAX_RECORDS;
constexpr int32_t kAppended = kRecords - 1;  // the last number takes no new record

void Check(bool success, const char* what) {
  if (!success) throw std::runtime_error(what);
}

// Random values that fit their fields.
std::string RandomText(const DatabaseType& type, std::mt19937* random) {
  std::string text;
  for (const FieldDescriptor& field : type.fields) {
    std::string value;
    if (field.type == 'N') {
      const int digits = field.decimals > 0 ? field.width - field.decimals - 1 : field.width;
      for (int i = 0; i < std::min(digits, 5); ++i)
        value += static_cast<char>('1' + (*random)() % 9);
      if (field.decimals > 0) value += '.';
      for (int i = 0; i < field.decimals; ++i) value += static_cast<char>('0' + (*random)() % 10);
      text.append(field.width - value.size(), ' ');
    } else if (field.type == 'L') {
      value += (*random)() % 2 != 0 ? 'T' : 'F';
    } else {
      value.assign((*random)() % (field.width + 1U), 'x');
      value.resize(field.width, ' ');
    }
    text += value;
  }
  return text;
}

// A directory with the database in it, twice.
class Database {
 public:
  Database()
      : directory_(fs::temp_directory_path() / ("tervalon-db3-bench-" + std::to_string(getpid()))) {
    fs::create_directory(directory_);
    const DatabaseType& type = *Catalogue(kType);
    std::unique_ptr<tervalon::db3::RecordFile> file;
    Check(
        tervalon::db3::RecordFile::Create(Path("OURS.DBF"), type.fields) == tervalon::db3::kSuccess,
        "create");
    Check(tervalon::db3::RecordFile::Open(Path("OURS.DBF"), &file) == tervalon::db3::kSuccess,
          "open");
    std::mt19937 random(3);
    {
      const tervalon::db3::RecordFile::Turn turn(file.get(),
                                                 tervalon::platform::LockMode::kExclusive);
      for (int32_t number = 1; number <= kRecords; ++number) {
        Check(file->Insert(number, RandomText(type, &random)) == tervalon::db3::kSuccess, "insert");
      }
    }
    Check(file->Close() == tervalon::db3::kSuccess, "close");
    fs::copy(Path("OURS.DBF"), Path("THEIRS.DBF"));
  }
  ~Database() { fs::remove_all(directory_); }

  std::string Path(const std::string& name) const { return directory_ / name; }

 private:
  fs::path directory_;
};

const Database& Data() {
  static const Database database;
  return database;
}

// By the number of a record.
template <typename Record>
Record* RecordOf(std::vector<Record>* records, int32_t number) {
  return &(*records)[static_cast<size_t>(number - 1)];
}

// The database, open.
class Ours {
 public:
  explicit Ours(const std::string& path, int32_t mode = DB3_MODE_OPEN) {
    Check(DB3Open(kType, path.c_str(), mode) == DB3_SUCCESS, "DB3Open");
  }
  ~Ours() { DB3Close(kType); }
  Ours(const Ours&) = delete;
  Ours& operator=(const Ours&) = delete;

  static void Handle(int32_t operation, int32_t number, DB3Method* record, int32_t flags = 0) {
    Check(DB3HandleRecord(kType, operation, number, record, flags) == DB3_SUCCESS,
          "DB3HandleRecord");
  }
};

void Read(benchmark::State& state) {
  const Ours file(Data().Path("OURS.DBF"));
  auto record = std::make_unique<DB3Method>();
  for ([[maybe_unused]] auto _ : state) {
    for (int32_t n = 1; n <= kRecords; ++n) Ours::Handle(DB3_HANDLE_READ, n, record.get());
  }
}

std::vector<DB3Method> ReadAll() {
  std::vector<DB3Method> records(kRecords);
  const Ours file(Data().Path("OURS.DBF"));
  for (int32_t n = 1; n <= kRecords; ++n) Ours::Handle(DB3_HANDLE_READ, n, RecordOf(&records, n));
  return records;
}

void Update(benchmark::State& state) {
  std::vector<DB3Method> records = ReadAll();
  const Ours file(Data().Path("OURS.DBF"));
  for ([[maybe_unused]] auto _ : state) {
    for (int32_t n = 1; n <= kRecords; ++n) {
      RecordOf(&records, n)->user_value_1 += 1;
      Ours::Handle(DB3_HANDLE_UPDATE, n, RecordOf(&records, n));
    }
  }
}

void Append(benchmark::State& state) {
  std::vector<DB3Method> records = ReadAll();
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    const std::string path = Data().Path("NEW.DBF");
    fs::remove(path);
    Check(DB3Open(kType, path.c_str(), DB3_MODE_CREATE) == DB3_SUCCESS, "DB3Open");
    {
      const Ours file(path);
      state.ResumeTiming();
      for (int32_t n = 1; n <= kAppended; ++n) {
        Ours::Handle(DB3_HANDLE_INSERT, n, RecordOf(&records, n), DB3_INSERT_INTO_EMPTY);
      }
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
}

// What a caller of shapelib keeps of a field.
struct Value {
  double number = 0;
  int whole = 0;
  std::string text;
};

void ReadRecord(DBFHandle file, int record, std::vector<Value>* values) {
  const DatabaseType& type = *Catalogue(kType);
  for (size_t i = 0; i < type.fields.size(); ++i) {
    const FieldDescriptor& field = type.fields[i];
    const int index = static_cast<int>(i);
    Value& value = (*values)[i];
    if (field.type == 'C') {
      value.text = DBFReadStringAttribute(file, record, index);
    } else if (field.type == 'L') {
      value.whole = DBFReadLogicalAttribute(file, record, index)[0];
    } else if (field.decimals > 0) {
      value.number = DBFReadDoubleAttribute(file, record, index);
    } else {
      value.whole = DBFReadIntegerAttribute(file, record, index);
    }
  }
}

void WriteRecord(DBFHandle file, int record, const std::vector<Value>& values) {
  const DatabaseType& type = *Catalogue(kType);
  for (size_t i = 0; i < type.fields.size(); ++i) {
    const FieldDescriptor& field = type.fields[i];
    const int index = static_cast<int>(i);
    const Value& value = values[i];
    int written = 0;
    if (field.type == 'C') {
      written = DBFWriteStringAttribute(file, record, index, value.text.c_str());
    } else if (field.type == 'L') {
      written = DBFWriteLogicalAttribute(file, record, index, static_cast<char>(value.whole));
    } else if (field.decimals > 0) {
      written = DBFWriteDoubleAttribute(file, record, index, value.number);
    } else {
      written = DBFWriteIntegerAttribute(file, record, index, value.whole);
    }
    Check(written != 0, "DBFWriteAttribute");
  }
}

using Values = std::vector<Value>;

// The copy, open.
class Theirs {
 public:
  explicit Theirs(DBFHandle file) : file_(file) { Check(file != nullptr, "DBFOpen"); }
  ~Theirs() { DBFClose(file_); }
  Theirs(const Theirs&) = delete;
  Theirs& operator=(const Theirs&) = delete;

  DBFHandle get() const { return file_; }

 private:
  DBFHandle file_;
};

DBFHandle OpenTheirs() { return DBFOpen(Data().Path("THEIRS.DBF").c_str(), "rb+"); }

void ShapelibRead(benchmark::State& state) {
  const Theirs file(OpenTheirs());
  Values values(Catalogue(kType)->fields.size());
  for ([[maybe_unused]] auto _ : state) {
    for (int record = 0; record < kRecords; ++record) ReadRecord(file.get(), record, &values);
  }
}

std::vector<Values> ShapelibReadAll() {
  std::vector<Values> all(kRecords, Values(Catalogue(kType)->fields.size()));
  const Theirs file(OpenTheirs());
  for (int record = 0; record < kRecords; ++record) {
    ReadRecord(file.get(), record, &all[static_cast<size_t>(record)]);
  }
  return all;
}

void ShapelibUpdate(benchmark::State& state) {
  constexpr size_t kUserValue1 = 5;
  std::vector<Values> all = ShapelibReadAll();
  const Theirs file(OpenTheirs());
  for ([[maybe_unused]] auto _ : state) {
    for (int record = 0; record < kRecords; ++record) {
      Values& values = all[static_cast<size_t>(record)];
      values[kUserValue1].number += 1;
      WriteRecord(file.get(), record, values);
    }
  }
}

void ShapelibAppend(benchmark::State& state) {
  const std::vector<Values> all = ShapelibReadAll();
  const Theirs model(OpenTheirs());
  for ([[maybe_unused]] auto _ : state) {
    state.PauseTiming();
    {
      const Theirs file(DBFCloneEmpty(model.get(), Data().Path("THEIRNEW.DBF").c_str()));
      state.ResumeTiming();
      for (int record = 0; record < kAppended; ++record) {
        WriteRecord(file.get(), record, all[static_cast<size_t>(record)]);
      }
      state.PauseTiming();
    }
    state.ResumeTiming();
  }
}

std::vector<Ratio> RegisterAll() {
  struct Row {
    const char* job;
    void (*ours)(benchmark::State&);
    void (*theirs)(benchmark::State&);
  };
  std::vector<Ratio> ratios;
  for (const Row& row : {Row{"read 9,999 records", Read, ShapelibRead},
                         Row{"update 9,999 records", Update, ShapelibUpdate},
                         Row{"append 9,998 records", Append, ShapelibAppend}}) {
    const std::string ours = row.job;
    const std::string theirs = ours + "/shapelib";
    benchmark::RegisterBenchmark(ours.c_str(), row.ours);
    benchmark::RegisterBenchmark(theirs.c_str(), row.theirs);
    ratios.push_back({ours + " / shapelib", ours, theirs, 0.2});
  }
  return ratios;
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
