// Other programs.

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

// A program that runs beside this one. The destructor ends it.
class Program {
 public:
  Program(const std::string& program, const std::vector<std::string>& arguments);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool Running();
  // Ends it wherever it is, and waits until it is gone.
  void Kill();
  // Waits for its end; the exit status, -1 for one that was ended.
  int Wait();

 private:
#if defined(_WIN32)
  void* process_ = nullptr;
#else
  void Collect(int options);

  int process_ = 0;
#endif
  bool running_ = true;
  int status_ = -1;
};

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
