// Reading and updating every record of a large method database, against the dBASE functions of
// shapelib on a copy of the same file. Both read each of the 146 fields into a number or text of
// the caller and write each back.

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

void ReadAndUpdate(benchmark::State& state) {
  Check(DB3Open(kType, Data().Path("OURS.DBF").c_str(), DB3_MODE_OPEN) == DB3_SUCCESS, "DB3Open");
  auto* record = static_cast<DB3Method*>(DB3GetCurrentBuffer(kType));
  for ([[maybe_unused]] auto _ : state) {
    for (int32_t number = 1; number <= kRecords; ++number) {
      Check(DB3SetCurrentRecordNum(kType, number) == DB3_SUCCESS, "DB3SetCurrentRecordNum");
      Check(DB3ReadRecord(kType) == DB3_SUCCESS, "DB3ReadRecord");
      record->user_value_1 += 1;
      Check(DB3UpdateRecord(kType) == DB3_SUCCESS, "DB3UpdateRecord");
    }
  }
  Check(DB3Close(kType) == DB3_SUCCESS, "DB3Close");
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

void ShapelibReadAndUpdate(benchmark::State& state) {
  constexpr size_t kUserValue1 = 5;
  const DBFHandle file = DBFOpen(Data().Path("THEIRS.DBF").c_str(), "rb+");
  Check(file != nullptr && DBFGetRecordCount(file) == kRecords, "DBFOpen");
  std::vector<Value> values(Catalogue(kType)->fields.size());
  for ([[maybe_unused]] auto _ : state) {
    for (int record = 0; record < kRecords; ++record) {
      ReadRecord(file, record, &values);
      values[kUserValue1].number += 1;
      WriteRecord(file, record, values);
    }
  }
  DBFClose(file);
}

std::vector<Ratio> RegisterAll() {
  constexpr const char* kOurs = "read and update 9,999 records";
  constexpr const char* kTheirs = "read and update 9,999 records/shapelib";
  for (const auto& [name, body] :
       {std::pair(kOurs, &ReadAndUpdate), std::pair(kTheirs, &ShapelibReadAndUpdate)}) {
    benchmark::RegisterBenchmark(name, body)->Unit(benchmark::kMillisecond);
  }
  return {{std::string(kOurs) + " / shapelib", kOurs, kTheirs, 0.5}};
}

}  // namespace

int main(int argc, char** argv) { return tervalon::bench::RunWithRatios(argc, argv, RegisterAll); }
