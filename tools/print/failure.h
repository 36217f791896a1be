// What ends a command early: one line on standard error and an exit status.

#ifndef TOOLS_PRINT_FAILURE_H_
#define TOOLS_PRINT_FAILURE_H_

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tervalon::tools {

// The data or the system say no: exit status 1. `subject` is the file or directory concerned.
class Failure : public std::runtime_error {
 public:
  Failure(const std::string& subject, const std::string& reason)
      : std::runtime_error(subject + ": " + reason) {}
};

// What was looked at is not as it should be, and the output says so: exit status 1.
struct Unsound {};

// The command line says something that cannot be meant: exit status 2.
class WrongUsage : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A line on standard error about something that does not keep the rest from being printed.
void Warn(const std::string& message);

// Lines that another process has printed in this way.
void WarnAsPrinted(const std::string& lines);

// An error code of tervalon/raw_directory.h in words; codes without words name their number.
std::string RawErrorText(int32_t code);

// Throws a Failure unless `code` is RAW_OK. `subject` is a path, or names something in it.
void CheckRaw(int32_t code, const std::string& subject);

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_FAILURE_H_
