// Small record files, and what they should hold.

#ifndef TESTS_DB3_RECORD_MODEL_H_
#define TESTS_DB3_RECORD_MODEL_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "db3/record_file.h"

namespace tervalon::db3 {

inline constexpr FieldDescriptor kSmallFields[] = {
    {"VERSION", 'N', 2, 0}, {"NAME", 'C', 12, 0}, {"MASS", 'N', 10, 4}};
inline constexpr size_t kSmallHeader = 32 + 3 * 32 + 1;

// A text of `size` characters that tells records apart in every place.
inline std::string NumberedText(uint32_t number, size_t size = 24) {
  std::string text;
  while (text.size() < size) text += std::to_string(number * 7919) + ".";
  return text.substr(0, size);
}

// Changes of one user in a turn.
template <typename Operation>
Cause InTurn(RecordFile* file, Operation operation) {
  const RecordFile::Turn turn(file, platform::LockMode::kExclusive);
  return turn.cause() == kSuccess ? operation() : turn.cause();
}
inline Cause Update(RecordFile* file, int32_t number, const std::string& text) {
  return InTurn(file, [&] { return file->Update(number, text); });
}
inline Cause Insert(RecordFile* file, int32_t number, const std::string& text) {
  return InTurn(file, [&] { return file->Insert(number, text); });
}
inline Cause Append(RecordFile* file, const std::string& text) {
  return InTurn(file, [&] { return file->Insert(file->count() + 1, text); });
}
inline Cause Delete(RecordFile* file, int32_t number) {
  return InTurn(file, [&] { return file->Delete(number); });
}

// The records that a file holds.
inline std::vector<std::string> RecordsOf(RecordFile* file) {
  const RecordFile::Turn turn(file, platform::LockMode::kShared);
  if (turn.cause() != kSuccess) return {"no turn: cause " + std::to_string(turn.cause())};
  std::vector<std::string> records;
  for (int32_t number = 1; number <= file->count(); ++number) {
    std::string text(file->text_size(), '\0');
    const Cause cause = file->Read(number, text);
    records.push_back(cause == kSuccess ? text : "cause " + std::to_string(cause));
  }
  return records;
}

inline std::vector<std::string> RecordsIn(const std::string& path) {
  std::unique_ptr<RecordFile> file;
  const Cause cause = RecordFile::Open(path, &file);
  if (cause != kSuccess) return {"does not open: cause " + std::to_string(cause)};
  return RecordsOf(file.get());
}

}  // namespace tervalon::db3

#endif  // TESTS_DB3_RECORD_MODEL_H_
