// This program once more, in a process of its own.

#ifndef TOOLS_PRINT_CHILD_PROCESS_H_
#define TOOLS_PRINT_CHILD_PROCESS_H_

#include <string>
#include <vector>

namespace tervalon::tools {

struct ChildResult {
  int status = 1;  // its exit status; 1 as well when a signal ended it
  std::string out;
  std::string err;
};

// Runs the program with these words behind its name and waits for its end. Can be called by several
// threads at a time. The process ends with the one that started it. When it cannot be started, err
// says so.
ChildResult RunThisProgram(const std::vector<std::string>& words);

}  // namespace tervalon::tools

#endif  // TOOLS_PRINT_CHILD_PROCESS_H_
