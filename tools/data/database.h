// A record database as the commands see it: records of named values.

#ifndef TOOLS_DATA_DATABASE_H_
#define TOOLS_DATA_DATABASE_H_

#include <tervalon/database_fields.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/print/document.h"

namespace tervalon::tools {

// The file's own form of a path as typed: a name without a directory is in the working directory.
// Throws WrongUsage for an empty one.
std::string DatabaseArgument(const std::string& text);

// The title of a database type, also of the one that has none in the library.
std::string DatabaseTitle(int32_t type);

// The type that a number or a title names; throws WrongUsage.
int32_t DatabaseTypeArgument(const std::string& text);

// Makes an empty file. Throws a Failure, also for a file that is there unless it may be replaced.
void CreateDatabase(const std::string& file, int32_t type, bool replace);

// An open file, and one record of it in memory. Whatever fails throws a Failure that names the
// file.
class Database {
 public:
  // A field that the record holds.
  struct Field {
    std::string name;  // "NAME#2" for the second field of a name
    DB3FieldDescriptor form;
    DB3RecordMember member;
  };

  static constexpr int32_t kAnyType = -1;

  // With kAnyType, as the first type whose fields the file has.
  Database(const std::string& file, int32_t type);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  int32_t type() const { return type_; }
  int32_t count() const;
  const std::vector<Field>& fields() const { return fields_; }

  // nullptr when there is none of that name, in upper or lower case.
  const Field* Find(const std::string& name) const;

  // The record in memory.
  void Read(int32_t number);
  void Clear();
  Value Get(const Field& field) const;
  // Throws WrongUsage for a text that is no value of the field.
  void Set(const Field& field, const std::string& text);

  // Write it to the file, or remove one from there.
  void Update(int32_t number);
  void Insert(int32_t number);
  void Delete(int32_t number);

 private:
  void Open(int32_t type);
  void LoadFields();
  void Handle(int32_t operation, int32_t number);
  std::byte* MemberOf(const Field& field) const;

  std::string file_;
  int32_t type_;
  std::vector<Field> fields_;
};

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_DATABASE_H_
