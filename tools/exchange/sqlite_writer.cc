#include "tools/exchange/sqlite_writer.h"

#include <sqlite3.h>

#include <initializer_list>
#include <map>
#include <utility>
#include <variant>
#include <vector>

#include "tools/data/function_description.h"
#include "tools/data/scan_table.h"
#include "tools/exchange/byte_sink.h"
#include "tools/exchange/run_description.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

constexpr const char* kTables =
    "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE;"
    "CREATE TABLE run (key TEXT PRIMARY KEY, value TEXT);"
    "CREATE TABLE functions (id INTEGER PRIMARY KEY, function INTEGER, process INTEGER,"
    " type INTEGER, type_name TEXT, ion_mode INTEGER, ion_mode_name TEXT, data_type INTEGER,"
    " data_type_name TEXT, ms_level INTEGER, polarity INTEGER, profile INTEGER, scans INTEGER);"
    "CREATE TABLE channels (function_id INTEGER REFERENCES functions, channel INTEGER, mass REAL,"
    " daughter_mass REAL);"
    "CREATE TABLE scans (id INTEGER PRIMARY KEY, function_id INTEGER REFERENCES functions,"
    " scan INTEGER, time REAL, points INTEGER, tic REAL, low_mass REAL, high_mass REAL,"
    " segment INTEGER, flags TEXT);"
    "CREATE TABLE arrays (scan_id INTEGER PRIMARY KEY REFERENCES scans, masses BLOB,"
    " intensities BLOB, flags BLOB);"
    "CREATE TABLE points (scan_id INTEGER REFERENCES scans, mass REAL, intensity REAL);"
    "CREATE TABLE chromatograms (id INTEGER PRIMARY KEY, name TEXT, unit TEXT,"
    " function_id INTEGER REFERENCES functions, channel INTEGER, points INTEGER, times BLOB,"
    " intensities BLOB);"
    "BEGIN";

using Blob = std::span<const std::byte>;
using SqlValue = std::variant<std::monostate, int64_t, double, std::string, Blob>;

class Database {
 public:
  Database(std::string name, const std::string& path) : name_(std::move(name)) {
    Check(sqlite3_open(path.c_str(), &database_));
  }
  ~Database() {
    for (const auto& [sql, statement] : statements_) sqlite3_finalize(statement);
    sqlite3_close(database_);
  }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  void Run(const char* sql) { Check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr)); }

  // A row; returns its id.
  int64_t Insert(const char* sql, std::initializer_list<SqlValue> values) {
    sqlite3_stmt*& statement = statements_[sql];
    if (statement == nullptr) {
      Check(sqlite3_prepare_v2(database_, sql, -1, &statement, nullptr));
    }
    int index = 0;
    for (const SqlValue& value : values) Bind(statement, ++index, value);
    const int code = sqlite3_step(statement);
    if (code != SQLITE_DONE) Check(code);
    sqlite3_reset(statement);
    return sqlite3_last_insert_rowid(database_);
  }

 private:
  void Bind(sqlite3_stmt* statement, int index, const SqlValue& value) {
    if (const auto* integer = std::get_if<int64_t>(&value)) {
      Check(sqlite3_bind_int64(statement, index, *integer));
    } else if (const auto* real = std::get_if<double>(&value)) {
      Check(sqlite3_bind_double(statement, index, *real));
    } else if (const auto* text = std::get_if<std::string>(&value)) {
      Check(sqlite3_bind_text64(statement, index, text->data(), text->size(), SQLITE_STATIC,
                                SQLITE_UTF8));
    } else if (const auto* blob = std::get_if<Blob>(&value)) {
      const void* const bytes = blob->empty() ? "" : static_cast<const void*>(blob->data());
      Check(sqlite3_bind_blob64(statement, index, bytes, blob->size(), SQLITE_STATIC));
    } else {
      Check(sqlite3_bind_null(statement, index));
    }
  }

  void Check(int code) const {
    if (code != SQLITE_OK) {
      throw Failure(name_, std::string("cannot be written: ") + sqlite3_errmsg(database_));
    }
  }

  const std::string name_;
  sqlite3* database_ = nullptr;
  std::map<const char*, sqlite3_stmt*> statements_;
};

Blob BytesOf(std::span<const float> values) { return std::as_bytes(values); }

class SqliteWriter {
 public:
  SqliteWriter(const ExportRun& run, bool rows, Database& database)
      : run_(run), rows_(rows), database_(database) {}

  void Write() {
    database_.Run(kTables);
    for (const auto& [key, text] : HeaderTexts(run_.directory().header())) {
      database_.Insert("INSERT INTO run VALUES (?, ?)", {std::string(key), text});
    }
    for (const auto& function : run_.functions()) WriteFunction(*function);
    run_.ForEachScan([this](const ExportedFunction& function, int32_t scan,
                            const Spectrum& spectrum) { WriteScan(function, scan, spectrum); });
    for (const auto& function : run_.functions()) WriteChromatograms(*function);
    run_.ForEachAnalog([this](int channel, const AnalogTrace& trace) {
      const std::string name = trace.name.empty() ? "AN" + std::to_string(channel) : trace.name;
      WriteChromatogram(name, trace.unit, {}, int64_t{channel}, trace.times, trace.values);
    });
    database_.Run("CREATE INDEX scans_by_time ON scans (function_id, time)");
    if (rows_) database_.Run("CREATE INDEX points_by_scan ON points (scan_id)");
    database_.Run("COMMIT");
  }

 private:
  void WriteFunction(const ExportedFunction& function) {
    const RawFunctionRecord& record = function.record();
    const FunctionKind& kind = KindOf(record);
    const int64_t id = database_.Insert(
        "INSERT INTO functions VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        {int64_t{function.function()}, int64_t{function.process()}, int64_t{FunctionType(record)},
         FunctionTypeName(record), int64_t{IonMode(record)}, IonModeName(record),
         int64_t{DataType(record)}, DataTypeName(record),
         kind.ms_level > 0 ? SqlValue(int64_t{kind.ms_level}) : SqlValue(),
         int64_t{Polarity(record)}, int64_t{IsProfile(record)}, int64_t{function.scan_count()}});
    ids_[&function] = id;
    int64_t number = 0;
    for (const Channel& channel : Channels(record)) {
      database_.Insert("INSERT INTO channels VALUES (?, ?, ?, ?)",
                       {id, ++number, double{channel.mass},
                        channel.daughter ? SqlValue(double{*channel.daughter}) : SqlValue()});
    }
  }

  void WriteScan(const ExportedFunction& function, int32_t scan, const Spectrum& spectrum) {
    const RawScanHeader& header = spectrum.header;
    const int64_t id = database_.Insert(
        "INSERT INTO scans VALUES (NULL, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        {ids_[&function], int64_t{scan}, double{header.retention_time},
         static_cast<int64_t>(spectrum.masses.size()), double{header.total_ion_current},
         double{header.low_mass}, double{header.high_mass}, int64_t{header.segment},
         FlagLetters(header, function.is_calibrated())});
    if (rows_) {
      for (size_t i = 0; i < spectrum.masses.size(); ++i) {
        database_.Insert("INSERT INTO points VALUES (?, ?, ?)",
                         {id, double{spectrum.masses[i]}, double{spectrum.intensities[i]}});
      }
      return;
    }
    flags_.assign(spectrum.flags.begin(), spectrum.flags.end());
    database_.Insert("INSERT INTO arrays VALUES (?, ?, ?, ?)",
                     {id, BytesOf(spectrum.masses), BytesOf(spectrum.intensities),
                      flags_.empty() ? SqlValue() : SqlValue(std::as_bytes(std::span(flags_)))});
  }

  void WriteChromatograms(const ExportedFunction& function) {
    const SqlValue id = ids_[&function];
    WriteChromatogram("TIC", "", id, {}, function.times(),
                      function.IndexChromatogram(RAW_CHROM_TOTAL_ION));
    WriteChromatogram("BPI", "", id, {}, function.times(),
                      function.IndexChromatogram(RAW_CHROM_BASE_PEAK));
    const auto channels = static_cast<int>(Channels(function.record()).size());
    for (int channel = 1; channel <= channels; ++channel) {
      WriteChromatogram("channel " + std::to_string(channel), "", id, int64_t{channel},
                        function.times(), function.ChannelChromatogram(channel));
    }
  }

  void WriteChromatogram(const std::string& name, const std::string& unit, const SqlValue& function,
                         const SqlValue& channel, const std::vector<float>& times,
                         const std::vector<float>& values) {
    database_.Insert("INSERT INTO chromatograms VALUES (NULL, ?, ?, ?, ?, ?, ?, ?)",
                     {name, unit, function, channel, static_cast<int64_t>(times.size()),
                      BytesOf(times), BytesOf(values)});
  }

  const ExportRun& run_;
  const bool rows_;
  Database& database_;
  std::map<const ExportedFunction*, int64_t> ids_;
  std::vector<uint8_t> flags_;
};

}  // namespace

void WriteSqlite(const ExportRun& run, const ExportOptions& options, const std::string& name) {
  StagedName staged(name);
  {
    Database database(name, staged.staging());
    SqliteWriter(run, options.rows, database).Write();
  }
  staged.Commit();
}

}  // namespace tervalon::tools
