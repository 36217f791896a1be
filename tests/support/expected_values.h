// Acquisitions with the values expected of them, in the folder that TERVALON_TEST_DATA names.

#ifndef TESTS_SUPPORT_EXPECTED_VALUES_H_
#define TESTS_SUPPORT_EXPECTED_VALUES_H_

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "appsvc/text_number.h"

namespace tervalon::testing {

inline nlohmann::json ReadJson(const std::filesystem::path& path) {
  std::ifstream in(path);
  return nlohmann::json::parse(in);
}

// Columns of numbers by name; "-", a value that is not given, is not a number.
using Table = std::map<std::string, std::vector<double>>;

inline Table ReadTable(const std::filesystem::path& path) {
  std::ifstream in(path);
  EXPECT_TRUE(in) << path;
  Table table;
  std::vector<std::string> names;
  for (std::string line; std::getline(in, line);) {
    std::istringstream cells(line);
    size_t column = 0;
    for (std::string cell; cells >> cell; ++column) {
      if (table.size() <= column) {
        names.push_back(cell);
        table[cell];
        continue;
      }
      table[names[column]].push_back(cell == "-" ? NAN : appsvc::ParseDouble(cell.c_str()));
    }
  }
  return table;
}

inline std::vector<float> Floats(const std::vector<double>& column) {
  return {column.begin(), column.end()};
}

// Calls check(raw directory, folder of what is expected of it) for every acquisition.
template <typename Check>
void ForEachAcquisition(Check check) {
  const char* folder = std::getenv("TERVALON_TEST_DATA");
  if (folder == nullptr || *folder == '\0') GTEST_SKIP() << "TERVALON_TEST_DATA is not set";
  int acquisitions = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".expected") continue;
    SCOPED_TRACE(entry.path().string());
    check(std::filesystem::path(entry.path()).replace_extension(".RAW").string(), entry.path());
    ++acquisitions;
  }
  EXPECT_GT(acquisitions, 0) << "nothing in " << folder;
}

// The same for each of its functions and processed data sets: check(raw directory, path of the
// set's files without an ending, what its JSON file says).
template <typename Check>
void ForEachSet(Check check) {
  ForEachAcquisition([&](const std::string& raw, const std::filesystem::path& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::string name = entry.path().stem().string();
      if (entry.path().extension() != ".json" || name == "header") continue;
      SCOPED_TRACE(name);
      check(raw, (folder / name).string(), ReadJson(entry.path()));
    }
  });
}

}  // namespace tervalon::testing

#endif  // TESTS_SUPPORT_EXPECTED_VALUES_H_
