// Runs a program and collects what it prints.

#ifndef TESTS_SUPPORT_PROCESS_H_
#define TESTS_SUPPORT_PROCESS_H_

#include <string>
#include <vector>

namespace tervalon::testing {

struct ProcessResult {
  int status;  // as the shell has it: 128 and more for the end by a signal
  std::string out;
  std::string err;
};

// Runs `program` in the working directory `directory` and waits for its end. Arguments are UTF-8;
// none may hold a quotation mark.
ProcessResult RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& directory);

// The path of the test program itself.
std::string ThisProgram();

// Sets a variable of this process's environment, which programs that it runs get; "" removes it.
void SetEnvironment(const char* name, const std::string& value);

#if !defined(_WIN32)
// Runs a line of the POSIX shell.
ProcessResult RunShell(const std::string& line, const std::string& directory);
#endif

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_PROCESS_H_
