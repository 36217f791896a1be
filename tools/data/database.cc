#include "tools/data/database.h"

#include <tervalon/database_records.h>
#include <tervalon/databases.h>
#include <tervalon/memory.h>
#include <tervalon/result_codes.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <limits>
#include <map>
#include <optional>

#include "tools/commands/command.h"
#include "tools/data/files.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

void Check(int32_t cause, const std::string& subject) {
  if (cause == DB3_SUCCESS) return;
  throw Failure(subject, cause == DB3_GENERAL_ERROR ? "the path is too long, or holds a comma"
                                                    : TvErrorText(cause));
}

char Upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) { return Upper(c); });
  return text;
}

template <typename Number>
Number Load(const std::byte* member) {
  Number value;
  std::memcpy(&value, member, sizeof(value));
  return value;
}

// The text of a member without the blanks that fill it.
std::string TextOf(const std::byte* member, size_t size) {
  const std::string text = Utf8FromLatin1(reinterpret_cast<const char*>(member), size);
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

[[noreturn]] void Reject(const Database::Field& field, const std::string& text,
                         const std::string& reason) {
  throw WrongUsage(field.name + ": '" + text + "' " + reason);
}

std::optional<int32_t> ParseLogical(const std::string& text) {
  const std::string upper = Upper(text);
  for (const char* yes : {"1", "T", "Y", "TRUE", "YES"}) {
    if (upper == yes) return 1;
  }
  for (const char* no : {"0", "F", "N", "FALSE", "NO"}) {
    if (upper == no) return 0;
  }
  return std::nullopt;
}

int32_t ParseWhole(const Database::Field& field, const std::string& text) {
  using Limits = std::numeric_limits<int32_t>;
  const std::optional<double> number = ParseNumber(text);
  if (!number || std::trunc(*number) != *number) Reject(field, text, "is not a whole number");
  if (*number < Limits::min() || *number > Limits::max()) Reject(field, text, "is out of range");
  return static_cast<int32_t>(*number);
}

double ParseReal(const Database::Field& field, const std::string& text) {
  const std::optional<double> number = ParseNumber(text);
  if (!number) Reject(field, text, "is not a number");
  return *number;
}

float ParseFloat(const Database::Field& field, const std::string& text) {
  const double value = ParseReal(field, text);
  if (std::fabs(value) > std::numeric_limits<float>::max()) Reject(field, text, "is out of range");
  return static_cast<float>(value);
}

// Stores a number, after a trial of whether it fits the field.
template <typename Number>
void Put(const Database::Field& field, const std::string& text, Number value, std::byte* member) {
  std::string record(field.form.width, ' ');
  const DB3FieldOffsetWidth entry = {0, field.form.width, field.form.decimals};
  if (DB3ConvertFldToDBFmt(&value, record.data(), &entry, &field.form, 0,
                           field.member.conversion) != DB3_SUCCESS) {
    Reject(field, text,
           "is too long for " + std::to_string(field.form.width) + " characters with " +
               std::to_string(field.form.decimals) + " decimals");
  }
  std::memcpy(member, &value, sizeof(value));
}

void PutText(const Database::Field& field, const std::string& utf8, std::byte* member) {
  const std::optional<std::string> text = Latin1FromUtf8(utf8);
  const auto size = static_cast<size_t>(field.member.size);
  if (!text) Reject(field, utf8, "has characters beyond Latin-1");
  if (text->size() > size) {
    Reject(field, utf8, "is longer than " + std::to_string(size) + " characters");
  }
  std::memset(member, ' ', size);
  std::memcpy(member, text->data(), text->size());
}

}  // namespace

std::string DatabaseArgument(const std::string& text) {
  const std::filesystem::path path = PathOf(DirectoryArgument(text));
  return NameOf(path.has_parent_path() ? path : std::filesystem::path(".") / path);
}

std::string DatabaseTitle(int32_t type) {
  const std::string title = DB3GetTitle(type);
  return title.empty() ? "Periodic Table" : title;
}

int32_t DatabaseTypeArgument(const std::string& text) {
  for (int32_t type = 0; type < DB3_TYPES; ++type) {
    if (text == std::to_string(type) || Upper(text) == Upper(DatabaseTitle(type))) return type;
  }
  throw WrongUsage("--type: '" + text + "' is no type ('tervalon db types' lists them)");
}

void CreateDatabase(const std::string& file, int32_t type, bool replace) {
  if (!replace && std::filesystem::exists(PathOf(file))) {
    throw Failure(file, "exists ('--replace' replaces it)");
  }
  DB3SetReportErrors(type, 0);
  Check(DB3Open(type, console::SystemText(file).c_str(), DB3_MODE_CREATE), file);
}

Database::Database(const std::string& file, int32_t type) : file_(file), type_(type) {
  if (type != kAnyType) {
    Open(type);
  } else {
    // Of types with equal fields those come first whose records hold all of them.
    std::vector<int32_t> types = {DB3_METHOD};
    for (int32_t any = 0; any < DB3_TYPES; ++any) types.push_back(any);
    const auto fits = [&](int32_t any) {
      DB3SetReportErrors(any, 0);
      const int32_t cause = DB3Open(any, console::SystemText(file).c_str(), DB3_MODE_OPEN);
      if (cause != DB3_RECORD_STRUCTURE) Check(cause, file);
      return cause == DB3_SUCCESS;
    };
    const auto found = std::ranges::find_if(types, fits);
    if (found == types.end()) throw Failure(file, "has the fields of none of the types");
    type_ = *found;
  }
  LoadFields();
}

void Database::Open(int32_t type) {
  DB3SetReportErrors(type, 0);
  Check(DB3Open(type, console::SystemText(file_).c_str(), DB3_MODE_OPEN), file_);
}

Database::~Database() { DB3Close(type_); }

void Database::LoadFields() {
  std::vector<DB3FieldDescriptor> forms(static_cast<size_t>(DB3GetFields(type_, nullptr, 0)));
  DB3GetFields(type_, forms.data(), static_cast<int32_t>(forms.size()));
  const TvMemory table = DB3GetRecordStructureHandle(type_);
  const auto* const members = static_cast<const DB3RecordMember*>(TvMemLock(table));
  if (members == nullptr) throw Failure(file_, "out of memory");
  std::map<std::string, int> uses;
  for (size_t i = 0; i < forms.size(); ++i) {
    std::string name = forms[i].name;
    if (const int use = ++uses[name]; use > 1) name += "#" + std::to_string(use);
    if (members[i].conversion != DB3_NOT_HELD) fields_.push_back({name, forms[i], members[i]});
  }
  TvMemUnlock(table);
}

int32_t Database::count() const { return DB3GetRecordsInDB(type_); }

const Database::Field* Database::Find(const std::string& name) const {
  const auto found = std::ranges::find(fields_, Upper(name), &Field::name);
  return found != fields_.end() ? &*found : nullptr;
}

std::byte* Database::MemberOf(const Field& field) const {
  return static_cast<std::byte*>(DB3GetCurrentBuffer(type_)) + field.member.offset;
}

Value Database::Get(const Field& field) const {
  const std::byte* const member = MemberOf(field);
  switch (field.member.conversion) {
    case DB3_LOGICAL:
      return Load<int32_t>(member) != 0;
    case DB3_INT32:
      return int64_t{Load<int32_t>(member)};
    case DB3_FLOAT:
      return Load<float>(member);
    case DB3_DOUBLE:
      return Load<double>(member);
    default:
      return TextOf(member, static_cast<size_t>(field.member.size));
  }
}

void Database::Set(const Field& field, const std::string& text) {
  std::byte* const member = MemberOf(field);
  switch (field.member.conversion) {
    case DB3_LOGICAL: {
      const std::optional<int32_t> value = ParseLogical(text);
      if (!value) Reject(field, text, "is neither true nor false");
      return Put(field, text, *value, member);
    }
    case DB3_INT32:
      return Put(field, text, ParseWhole(field, text), member);
    case DB3_FLOAT:
      return Put(field, text, ParseFloat(field, text), member);
    case DB3_DOUBLE:
      return Put(field, text, ParseReal(field, text), member);
    default:
      return PutText(field, text, member);
  }
}

void Database::Handle(int32_t operation, int32_t number) {
  Check(DB3HandleRecord(type_, operation, number, nullptr, DB3_INSERT_INTO_EMPTY),
        file_ + ", record " + std::to_string(number));
}

void Database::Clear() {
  static constexpr DB3Curve kLargest = {};
  DB3SetCurrentBuffer(type_, &kLargest);
}

void Database::Read(int32_t number) { Handle(DB3_HANDLE_READ, number); }
void Database::Update(int32_t number) { Handle(DB3_HANDLE_UPDATE, number); }
void Database::Insert(int32_t number) { Handle(DB3_HANDLE_INSERT, number); }
void Database::Delete(int32_t number) { Handle(DB3_HANDLE_DELETE, number); }

}  // namespace tervalon::tools
