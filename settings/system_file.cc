#include "settings/system_file.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "appsvc/text_number.h"
#include "settings/ini_text.h"

namespace tervalon::settings {
namespace {

static_assert(sizeof(SystemFile) == 784 && offsetof(SystemFile, first_value) == 776);
static_assert(sizeof(SystemRawFile) == 788 && offsetof(SystemRawFile, function) == 784);

// Hands out the fields of a text one by one.
class FieldSplitter {
 public:
  // Starts behind the text's first comma.
  explicit FieldSplitter(const char* text) : rest_(text) { Skip(); }

  void Next(char* out, int32_t size) {
    *out = '\0';
    if (rest_ == nullptr) return;
    const auto length = static_cast<int32_t>(std::strcspn(rest_, ","));
    CopyBounded(out, rest_, std::min(length, size - 1));
    Skip();
  }
  int32_t NextInt(int32_t fallback) {
    if (rest_ == nullptr) return fallback;
    const int32_t value = appsvc::ParseInt(rest_);
    Skip();
    return value;
  }

 private:
  void Skip() {
    rest_ = FindCharacter(rest_, ',');
    if (rest_ != nullptr) ++rest_;
  }

  const char* rest_;  // nullptr once no comma follows
};

int16_t Narrow(int32_t value) {
  return static_cast<int16_t>(std::clamp<int32_t>(value, INT16_MIN, INT16_MAX));
}

template <typename Record>
bool FormatCommon(const Record& file, std::string* text) {
  *text = std::to_string(file.number);
  for (const std::string_view field :
       {FieldText(file.directory), FieldText(file.name), FieldText(file.extension)}) {
    if (field.find_first_of(",\r\n") != std::string_view::npos) return false;
    text->append(",").append(field);
  }
  for (const int32_t value : {file.first_value, file.second_value}) {
    text->append(",").append(std::to_string(value));
  }
  return true;
}

template <typename Record>
FieldSplitter ParseCommon(const char* text, Record* file) {
  FieldSplitter fields(text);
  file->number = Narrow(appsvc::ParseInt(text));
  fields.Next(file->directory, sizeof(file->directory));
  fields.Next(file->name, sizeof(file->name));
  fields.Next(file->extension, sizeof(file->extension));
  file->first_value = fields.NextInt(0);
  file->second_value = fields.NextInt(0);
  return fields;
}

}  // namespace

bool Format(const SystemFile& file, std::string* text) { return FormatCommon(file, text); }

bool Format(const SystemRawFile& file, std::string* text) {
  if (!FormatCommon(file, text)) return false;
  for (const int16_t value : {file.function, file.process}) {
    text->append(",").append(std::to_string(value));
  }
  return true;
}

void Parse(const char* text, SystemFile* file) { ParseCommon(text, file); }

void Parse(const char* text, SystemRawFile* file) {
  FieldSplitter fields = ParseCommon(text, file);
  file->function = Narrow(fields.NextInt(1));
  file->process = Narrow(fields.NextInt(0));
}

}  // namespace tervalon::settings
