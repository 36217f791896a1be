// The command-line program as its users have it: arguments in, texts and an exit status out.

#ifndef TESTS_TOOLS_PROGRAM_H_
#define TESTS_TOOLS_PROGRAM_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/temp_directory.h"

namespace tervalon::testing {

inline std::string ProgramPath() {
  return std::filesystem::absolute(TERVALON_PROGRAM).make_preferred().string();
}

// A working directory of a test's own, and the program run in it.
class ProgramTest : public ::testing::Test {
 protected:
  using Arguments = std::vector<std::string>;

  ProcessResult Run(const Arguments& arguments) const {
    return RunProcess(ProgramPath(), arguments, directory_.Path());
  }

  // The output of a run that has to succeed.
  std::string Output(const Arguments& arguments) const {
    const ProcessResult result = Run(arguments);
    EXPECT_EQ(result.status, 0) << arguments[0];
    EXPECT_EQ(result.err, "");
    return result.out;
  }

  nlohmann::json Json(Arguments arguments) const {
    arguments.emplace_back("--json");
    return nlohmann::json::parse(Output(arguments));
  }

  // A failure is told in one line, and nothing else is printed.
  void ExpectFailure(const Arguments& arguments, int status, const std::string& text) const {
    const ProcessResult result = Run(arguments);
    SCOPED_TRACE(::testing::PrintToString(arguments) + " said: " + result.err);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("tervalon: ", 0), 0U);
    EXPECT_NE(result.err.find(text), std::string::npos) << "expected: " << text;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
  }

  struct Failure {
    Arguments arguments;
    int status;
    std::string text;
  };
  void ExpectFailures(const std::vector<Failure>& failures) const {
    for (const Failure& f : failures) ExpectFailure(f.arguments, f.status, f.text);
  }

  // In the library's form, for ReadFile and its like.
  std::string Path(const std::string& name) const { return directory_.Path(name); }

  // The working directory, or a path of a name inside it, for the standard library.
  std::filesystem::path NativePath(const std::string& name = "") const {
    return Native(directory_.Path(name));
  }

  // Names in the working directory, in order.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(NativePath())) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  TempDirectory directory_;
};

}  // namespace tervalon::testing

#endif  // TESTS_TOOLS_PROGRAM_H_
