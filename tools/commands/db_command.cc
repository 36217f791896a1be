// tervalon db: record databases, record by record or as CSV and JSON.

#include <tervalon/database_fields.h>
#include <tervalon/databases.h>

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <utility>

#include "tools/commands/command.h"
#include "tools/data/csv_reader.h"
#include "tools/data/database.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

// The column of the record's number in CSV.
constexpr const char* kRecordColumn = "record";

struct Options {
  std::string file;
  std::string type;
  bool replace = false;
  int32_t record = 0;
  std::vector<std::string> values;
  std::string source;
  std::string columns;
  FormatOptions format;
};

std::unique_ptr<Database> Open(const Options& options) {
  return std::make_unique<Database>(
      DatabaseArgument(options.file),
      options.type.empty() ? Database::kAnyType : DatabaseTypeArgument(options.type));
}

const Database::Field& FieldArgument(const Database& database, const std::string& name) {
  const Database::Field* const field = database.Find(name);
  if (field == nullptr) {
    throw WrongUsage("'" + name + "' is no field of \"" + DatabaseTitle(database.type()) + "\"");
  }
  return *field;
}

// --- Printing ---

Section Summary(const Database& database) {
  return {.properties = {{"type", "Type", int64_t{database.type()}},
                         {"title", "Title", DatabaseTitle(database.type())},
                         {"count", "Records", int64_t{database.count()}}}};
}

// The fields that the user names, separated by commas.
std::vector<const Database::Field*> ChosenFields(const Database& database,
                                                 const std::string& names) {
  std::vector<const Database::Field*> fields;
  for (size_t begin = 0; begin <= names.size();) {
    const size_t end = std::min(names.find(',', begin), names.size());
    fields.push_back(&FieldArgument(database, names.substr(begin, end - begin)));
    begin = end + 1;
  }
  return fields;
}

std::vector<const Database::Field*> AllFields(const Database& database) {
  std::vector<const Database::Field*> fields;
  for (const Database::Field& field : database.fields()) fields.push_back(&field);
  return fields;
}

bool IsBlank(const Value& value) {
  return value == Value(std::string()) || value == Value(int64_t{0}) || value == Value(0.0) ||
         value == Value(0.0F) || value == Value(false);
}

// The first fields that are not blank in every record.
std::vector<const Database::Field*> TellingFields(Database& database) {
  constexpr size_t kMost = 5;
  std::vector<const Database::Field*> blank = AllFields(database);
  for (int32_t number = 1; number <= database.count(); ++number) {
    database.Read(number);
    std::erase_if(blank, [&](const auto* field) { return !IsBlank(database.Get(*field)); });
  }
  std::vector<const Database::Field*> fields = AllFields(database);
  std::erase_if(fields,
                [&](const auto* field) { return std::ranges::find(blank, field) != blank.end(); });
  if (fields.size() > kMost) fields.resize(kMost);
  return fields;
}

Section Records(Database& database, const std::vector<const Database::Field*>& fields) {
  const int32_t count = database.count();
  std::vector<int32_t> numbers;
  std::vector<std::vector<Value>> cells(fields.size());
  for (int32_t number = 1; number <= count; ++number) {
    database.Read(number);
    numbers.push_back(number);
    for (size_t i = 0; i < fields.size(); ++i) cells[i].push_back(database.Get(*fields[i]));
  }
  Section section = {.key = "records", .title = "Records"};
  section.columns.push_back({kRecordColumn, "Record", std::move(numbers)});
  for (size_t i = 0; i < fields.size(); ++i) {
    section.columns.push_back(
        {fields[i]->name, fields[i]->name, std::move(cells[i]), fields[i]->form.decimals});
  }
  return section;
}

void List(const Options& options, Format format, Output& output) {
  const std::unique_ptr<Database> database = Open(options);
  const auto fields = !options.columns.empty()  ? ChosenFields(*database, options.columns)
                      : format == Format::kText ? TellingFields(*database)
                                                : AllFields(*database);
  Print({.sections = {Summary(*database), Records(*database, fields)}, .csv_section = "records"},
        format, output);
}

void Show(const Options& options, Output& output) {
  const std::unique_ptr<Database> database = Open(options);
  database->Read(options.record);
  Section section = {.key = "record",
                     .title = "Record " + std::to_string(options.record) + " of " +
                              std::to_string(database->count())};
  for (const Database::Field& field : database->fields()) {
    section.properties.push_back(
        {field.name, field.name, database->Get(field), "", field.form.decimals});
  }
  Print({.sections = {Summary(*database), std::move(section)}}, options.format.format(), output);
}

void Types(const Options& options, Output& output) {
  std::vector<int32_t> numbers, fields;
  std::vector<Value> titles;
  for (int32_t type = 0; type < DB3_TYPES; ++type) {
    numbers.push_back(type);
    titles.emplace_back(DatabaseTitle(type));
    fields.push_back(DB3GetFields(type, nullptr, 0));
  }
  Print({.sections = {{.key = "types",
                       .title = "Types",
                       .columns = {{"type", "Type", numbers},
                                   {"title", "Title", titles},
                                   {"fields", "Fields", fields}}}},
         .csv_section = "types"},
        options.format.format(), output);
}

// --- Changing ---

struct Assignment {
  const Database::Field* field;
  std::string text;
};

// A record to be written.
struct Change {
  std::string where;   // for messages: the row that it comes from
  int32_t record = 0;  // 0: not said
  std::vector<Assignment> assignments;
};

Change ChangeFromArguments(const Database& database, const std::vector<std::string>& values) {
  Change change;
  for (const std::string& value : values) {
    const size_t equals = value.find('=');
    if (equals == std::string::npos) throw WrongUsage("'" + value + "' is not FIELD=VALUE");
    change.assignments.push_back(
        {&FieldArgument(database, value.substr(0, equals)), value.substr(equals + 1)});
  }
  return change;
}

int32_t RecordCell(const std::string& text) {
  const std::optional<double> number = ParseNumber(text);
  if (!number || !(*number >= 1 && *number <= DB3_MAX_RECORDS)) {
    throw WrongUsage(std::string(kRecordColumn) + ": '" + text + "' is no record's number");
  }
  return static_cast<int32_t>(*number);
}

// A message of what is wrong with a row names the row.
template <typename Body>
void InRow(const std::string& where, Body&& body) {
  try {
    body();
  } catch (const WrongUsage& wrong) {
    if (where.empty()) throw;
    throw Failure(where, wrong.what());
  }
}

std::vector<Change> ChangesFromCsv(const Database& database, const std::string& file) {
  std::vector<CsvRow> rows = ReadCsv(file);
  if (rows.empty()) throw Failure(file, "has no line of column names");
  const CsvRow names = std::move(rows.front());
  rows.erase(rows.begin());
  std::vector<const Database::Field*> fields;  // nullptr for the record's number
  InRow(file, [&] {
    for (const std::string& name : names.cells) {
      fields.push_back(name == kRecordColumn ? nullptr : &FieldArgument(database, name));
    }
  });
  std::vector<Change> changes;
  for (CsvRow& row : rows) {
    Change change;
    change.where = file + ", line " + std::to_string(row.line);
    if (row.cells.size() != fields.size()) {
      throw Failure(change.where, "has " + std::to_string(row.cells.size()) + " values for " +
                                      std::to_string(fields.size()) + " columns");
    }
    for (size_t i = 0; i < fields.size(); ++i) {
      if (fields[i] != nullptr) {
        change.assignments.push_back({fields[i], std::move(row.cells[i])});
      } else {
        InRow(change.where, [&] { change.record = RecordCell(row.cells[i]); });
      }
    }
    changes.push_back(std::move(change));
  }
  return changes;
}

void Assign(Database& database, const Change& change) {
  InRow(change.where, [&] {
    for (const Assignment& assignment : change.assignments) {
      database.Set(*assignment.field, assignment.text);
    }
  });
}

std::vector<Change> Changes(const Options& options, const Database& database) {
  if (!options.source.empty()) return ChangesFromCsv(database, options.source);
  return {ChangeFromArguments(database, options.values)};
}

// All records are checked before the first is written.
void Insert(const Options& options) {
  const std::unique_ptr<Database> database = Open(options);
  const std::vector<Change> changes = Changes(options, *database);
  const auto room = static_cast<size_t>(DB3_MAX_RECORDS - database->count());
  if (changes.size() > room) {
    throw Failure(options.file, "has room for " + std::to_string(room) + " more records");
  }
  for (const bool write : {false, true}) {
    int32_t record = options.record != 0 ? options.record : database->count() + 1;
    for (const Change& change : changes) {
      database->Clear();
      Assign(*database, change);
      if (write) database->Insert(record++);
    }
  }
}

void Update(const Options& options) {
  const std::unique_ptr<Database> database = Open(options);
  const std::vector<Change> changes = Changes(options, *database);
  for (const bool write : {false, true}) {
    for (const Change& change : changes) {
      const int32_t record = options.source.empty() ? options.record : change.record;
      if (record == 0)
        throw Failure(options.source, "has no column '" + std::string(kRecordColumn) + "'");
      database->Read(record);
      Assign(*database, change);
      if (write) database->Update(record);
    }
  }
}

// --- The command line ---

void AddFile(Command command, Options& options) {
  command.AddOption("FILE", options.file, "Database file").TypeName("").Required();
  command
      .AddOption("--type", options.type,
                 "Type, by number or title, of files that could be of\n"
                 "more than one")
      .TypeName("TYPE");
}

Option AddRecord(Command command, Options& options) {
  return command.AddOption("RECORD", options.record, "Number of the record, from 1")
      .Between(1, DB3_MAX_RECORDS)
      .TypeName("");
}

Option AddChanges(Command command, Options& options) {
  const Option values = command.AddOption("VALUES", options.values, "FIELD=VALUE ...").TypeName("");
  return command
      .AddOption("--from", options.source,
                 "Read CSV, a line of column names and a line for each\n"
                 "record, from a file ('-': standard input)")
      .TypeName("CSV")
      .Excludes(values);
}

Command AddSubcommand(Command db, const char* name, const char* what, const char* footer) {
  const Command command = db.AddSubcommand(name, what);
  command.Footer(footer);
  return command;
}

void AddReaders(Command db, const std::shared_ptr<Options>& options, Action& chosen) {
  const Command types =
      AddSubcommand(db, "types", "Print the types of databases", "Example:\n  tervalon db types");
  AddFormatOptions(types, options->format);
  types.Callback(
      [&chosen, options] { chosen = [options](Output& output) { Types(*options, output); }; });

  const Command list =
      AddSubcommand(db, "list", "Print the records, a line each",
                    "Without --fields the first five fields that are not blank in every "
                    "record, for programs all.\n\nExamples:\n  tervalon db list P1.DBF\n  "
                    "tervalon db list P1.DBF "
                    "--fields NAME,FOUND_RT,AREA");
  const Command show = AddSubcommand(db, "show", "Print every field of a record",
                                     "Example:\n  tervalon db show P1.DBF 3");
  const Command all =
      AddSubcommand(db, "export", "Print all records as CSV, or with --json as JSON",
                    "'tervalon db update --from' and 'insert --from' read the CSV.\n\n"
                    "Example:\n  tervalon db export P1.DBF > p1.csv");
  for (const Command command : {list, all}) {
    AddFile(command, *options);
    command.AddOption("--fields", options->columns, "Only these, separated by commas")
        .TypeName("FIELDS");
    AddFormatOptions(command, options->format);
  }
  AddFile(show, *options);
  AddRecord(show, *options).Required();
  AddFormatOptions(show, options->format);
  list.Callback([&chosen, options] {
    chosen = [options](Output& output) { List(*options, options->format.format(), output); };
  });
  show.Callback(
      [&chosen, options] { chosen = [options](Output& output) { Show(*options, output); }; });
  all.Callback([&chosen, options] {
    chosen = [options](Output& output) {
      List(*options, options->format.json ? Format::kJson : Format::kCsv, output);
    };
  });
}

void AddWriters(Command db, const std::shared_ptr<Options>& options, Action& chosen) {
  const Command create =
      AddSubcommand(db, "create", "Make an empty database",
                    "Example:\n  tervalon db create P1.DBF --type \"Peak List\"");
  AddFile(create, *options);
  create.GetOption("--type").Required();
  create.AddFlag("--replace", options->replace, "Replace a file that is there");
  create.Callback([&chosen, options] {
    const int32_t type = DatabaseTypeArgument(options->type);
    chosen = [options, type](Output&) {
      CreateDatabase(DatabaseArgument(options->file), type, options->replace);
    };
  });

  const Command insert = AddSubcommand(db, "insert", "Add records",
                                       "Fields that are not named are blank or 0.\n\n"
                                       "Examples:\n"
                                       "  tervalon db insert P1.DBF NAME=Caffeine FOUND_RT=4.125\n"
                                       "  tervalon db insert P1.DBF --from peaks.csv --at 1");
  AddFile(insert, *options);
  AddChanges(insert, *options);
  insert.AddOption("--at", options->record, "Number of the first new record; those behind move up")
      .Between(1, DB3_MAX_RECORDS)
      .TypeName("N");
  insert.Callback([&chosen, options] { chosen = [options](Output&) { Insert(*options); }; });

  const Command update =
      AddSubcommand(db, "update", "Change fields of records",
                    "With --from, the column 'record' says which records.\n\n"
                    "Examples:\n"
                    "  tervalon db update P1.DBF 3 FOUND_RT=4.125 \"TEXT=checked by hand\"\n"
                    "  tervalon db update P1.DBF --from changes.csv");
  AddFile(update, *options);
  const Option record = AddRecord(update, *options);
  AddChanges(update, *options).Excludes(record);
  update.Callback([&chosen, options] {
    if (options->source.empty() && options->values.empty()) {
      throw WrongUsage("update needs RECORD and FIELD=VALUE, or --from");
    }
    chosen = [options](Output&) { Update(*options); };
  });

  const Command remove = AddSubcommand(db, "delete", "Remove a record; those behind it move down",
                                       "Example:\n  tervalon db delete P1.DBF 3");
  AddFile(remove, *options);
  AddRecord(remove, *options).Required();
  remove.Callback([&chosen, options] {
    chosen = [options](Output&) { Open(*options)->Delete(options->record); };
  });
}

}  // namespace

void AddDbCommand(Command program, Action& chosen) {
  const Command db = program.AddSubcommand("db", "Read and write record databases");
  db.RequireSubcommand();
  db.Footer(
      "A record database is a file in the dBASE III layout with the fields of one of twenty "
      "types.\n"
      "The second field of a name that a type has twice is NAME#2.\n\n"
      "Examples:\n"
      "  tervalon db create P1.DBF --type \"Peak List\"\n"
      "  tervalon db insert P1.DBF NAME=Caffeine FOUND_RT=4.125\n"
      "  tervalon db list P1.DBF --fields NAME,FOUND_RT");
  auto options = std::make_shared<Options>();
  AddReaders(db, options, chosen);
  AddWriters(db, options, chosen);
  AddDatabaseChecks(db, chosen);
}

}  // namespace tervalon::tools
