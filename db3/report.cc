#include "db3/report.h"

#include <cstddef>
#include <string>
#include <string_view>

#include "appsvc/export_guard.h"
#include "db3/catalogue.h"
#include "db3/causes.h"
#include "platform/desktop.h"
#include "settings/system_file.h"
#include "tervalon/databases.h"

namespace tervalon::db3 {
namespace {

using settings::FieldText;

constexpr const char* kActions[] = {
    "perform invalid action",
    "open",
    "close",
    "create",
    "delete",
    "check file existence",
    "check file open",
    "read record %d from",
    "update record %d in",
    "insert record %d in",
    "delete record %d in",
    "",
};

constexpr const char* kCauseTexts[] = {
    "",
    "General error",
    "File open error",
    "File close error",
    "File creation error",
    "File deletion error",
    "File read error",
    "File write error",
    "Memory allocation error",
    "Memory lock error",
    "Memory free error",
    "Invalid record number",
    "Database is full",
    "A database of the same type is already open",
    "The database is in old format",
    "The record structure is incorrect",
    "There is only one record in the database",
    "",
    "File does not exist",
    "The database has an invalid format",
    "The limit of %d open databases has been reached",
};
static_assert(std::size(kCauseTexts) == kCauses);

std::string WithNumber(std::string text, int32_t number) {
  const size_t place = text.find("%d");
  if (place != std::string::npos) text.replace(place, 2, std::to_string(number));
  return text;
}

std::string Title(int32_t type) {
  const DatabaseType& row = *Catalogue(type);
  return row.title != nullptr ? row.title : "Database " + std::to_string(row.code);
}

std::string Message(int32_t type, Action action, int32_t cause, const SystemFile& file) {
  const std::string parts[] = {
      "Failed to",
      WithNumber(kActions[action], file.first_value),
      Title(type),
      "DB",
      std::string(FieldText(file.name)),
      "\nin directory",
      std::string(FieldText(file.directory)),
      "\nCause of problem:",
      WithNumber(kCauseTexts[cause], DB3_MAX_OPEN),
  };
  std::string message;
  for (const std::string& part : parts) message += (message.empty() ? "" : " ") + part;
  return message;
}

}  // namespace

int32_t Report(int32_t type, Action action, int32_t cause, const SystemFile& file) {
  if (cause == kSuccess) return cause;
  return Guarded(cause, [&] {
    platform::Desktop& desktop = platform::TheDesktop();
    desktop.Beep(platform::kMessageOk);
    desktop.ShowMessage(nullptr, Message(type, action, cause, file).c_str(), "Database error",
                        platform::kMessageIconStop);
    return cause;
  });
}

}  // namespace tervalon::db3
