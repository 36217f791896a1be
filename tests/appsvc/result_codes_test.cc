// The version, and result codes in words.

#include "tervalon/result_codes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <string>

#include "tervalon/version.h"

namespace {

// The numbers of the enumeration that a header has below a comment.
std::set<int32_t> CodesBelow(const std::string& header, const std::string& comment) {
  std::ifstream file(std::string(TERVALON_HEADERS) + "/" + header);
  std::set<int32_t> codes;
  std::string line;
  while (std::getline(file, line) && line != comment) {
  }
  const std::regex code(" *[A-Z0-9_]+ = ([0-9]+),?( *//.*)?");
  for (std::smatch match; std::getline(file, line) && line != "};";) {
    if (std::regex_match(line, match, code)) codes.insert(std::stoi(match[1]));
  }
  return codes;
}

TEST(ResultCodes, HaveTextsAsTheHeadersHaveCodes) {
  std::set<int32_t> codes = CodesBelow("raw_directory.h", "// Error codes.");
  EXPECT_GT(codes.size(), 25U);
  const std::set<int32_t> causes = CodesBelow("databases.h", "// Causes.");
  EXPECT_GT(causes.size(), 20U);
  codes.insert(causes.begin(), causes.end());
  codes.merge(CodesBelow("processing.h", "// Result codes."));
  codes.insert(-1);
  for (int32_t code = -100; code < 10000; ++code) {
    EXPECT_EQ(*TvErrorText(code) != '\0', codes.contains(code)) << code;
  }
  EXPECT_STREQ(TvErrorText(INT32_MIN), "");
}

TEST(Version, IsThatOfTheHeader) {
  int32_t number = 0;
  EXPECT_STREQ(TvVersion(&number), TERVALON_VERSION);
  EXPECT_EQ(number, TERVALON_VERSION_NUMBER);
  EXPECT_STREQ(TvVersion(nullptr), TERVALON_VERSION);
}

}  // namespace
