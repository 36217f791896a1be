#include "tervalon/trace_strings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/support/special_values.h"

namespace {

using tervalon::testing::kNan;

using List = std::vector<float>;  // with its terminator

struct Parsed {
  int32_t count = -1;
  List list = {};
  std::optional<size_t> next = {};  // an offset
  bool operator==(const Parsed&) const = default;
};

void PrintTo(const Parsed& parsed, std::ostream* out) {
  *out << parsed.count << " " << ::testing::PrintToString(parsed.list) << " next "
       << (parsed.next ? static_cast<int>(*parsed.next) : -1);
}

// In memory of exactly the promised size.
Parsed Parse(const std::string& text, int32_t max_count = 32, bool daughters = false) {
  List list(static_cast<size_t>(max_count) + 1);
  const char* const untouched = "";
  const char* next = untouched;
  Parsed parsed = {
      .count = DmRawStrToMassMRM(text.c_str(), list.data(), max_count, &next, daughters ? 1 : 0)};
  if (parsed.count < 0) {
    EXPECT_EQ(next, untouched);
    return parsed;
  }
  if (next != nullptr) parsed.next = next - text.c_str();
  list.resize(static_cast<size_t>(parsed.count) + 1);
  parsed.list = list;
  return parsed;
}

std::string Format(float mass) {
  char text[32];
  const int32_t length = DmRawFormatMass(mass, text);
  EXPECT_EQ(static_cast<size_t>(length), std::string(text).size());
  return text;
}

std::string ModelFormat(float mass) {
  char text[64];
  const double whole = std::floor(mass + 0.5);
  std::snprintf(text, sizeof(text), "%.4f", std::fabs(mass - whole));
  if (std::atof(text) < 0.0001) {
    std::snprintf(text, sizeof(text), "%lld", static_cast<long long>(whole));
    return text;
  }
  std::snprintf(text, sizeof(text), "%.3f", std::floor(mass * 10000.0 + 0.5) / 10000);
  std::string trimmed = text;
  while (trimmed.back() == '0') trimmed.pop_back();
  return trimmed;
}

std::string Print(const List& list) {
  std::vector<char> text(33 * list.size() + 1);
  const int32_t length = DmRawMassToStr(list.data(), text.data());
  EXPECT_EQ(static_cast<size_t>(length), std::string(text.data()).size());
  return text.data();
}

std::string ModelPrint(const List& list) {
  std::string text;
  bool end_follows = false;
  for (const float value : list) {
    const float magnitude = std::fabs(value);
    if (value == 0 || std::isnan(value)) break;
    if (magnitude >= 64000) continue;
    if (!end_follows && (value < 0 || !text.empty())) text += value < 0 ? "-" : "+";
    end_follows = magnitude >= 32000;
    text += end_follows ? ModelFormat(magnitude - 32000) + "_" : ModelFormat(magnitude);
  }
  return text;
}

List Sort(List list) {
  DmRawSortMassList(list.data());
  return list;
}

// A bubble sort on a list of lists, cut into groups again at every step.
List ModelSort(List list) {
  list.pop_back();
  const auto group = [&list](size_t at, bool second) {
    const float magnitude = std::fabs(list[at]);
    size_t length = 1;
    float key = magnitude;
    if (magnitude >= 64000) {
      while (at + length < list.size() && std::fabs(list[at + length]) < 64000) ++length;
      if (at + length < list.size()) ++length;
      key = at + 1 < list.size() ? std::fabs(list[at + 1]) : 0;
    } else if (second ? magnitude > 32000 : magnitude >= 32000) {
      length = std::min<size_t>(2, list.size() - at);
      key = magnitude - 32000;
    }
    return std::pair(List(&list[at], &list[at] + length), key);
  };
  for (size_t n = list.size(); n >= 2; --n) {
    for (size_t i = 0; i < n - 1;) {
      const auto [first, first_key] = group(i, false);
      if (i + first.size() == list.size()) break;
      const auto [second, second_key] = group(i + first.size(), true);
      if (first_key > second_key) {
        std::copy(second.begin(), second.end(), &list[i]);
        std::copy(first.begin(), first.end(), &list[i] + second.size());
        i += second.size();
      } else {
        i += first.size();
      }
    }
  }
  list.push_back(0);
  return list;
}

// Values of every kind, often equal ones; a list need not be well formed.
List RandomList(std::mt19937* random) {
  List list;
  for (size_t length = (*random)() % 12; length > 0; --length) {
    const float mass =
        static_cast<float>((*random)() % 8) + static_cast<float>((*random)() % 3) / 8;
    const float sign = (*random)() % 3 == 0 ? -1.0f : 1.0f;
    const auto kind = (*random)() % 8;
    const float value = kind == 0   ? 64000.0f
                        : kind <= 2 ? sign * (32000 + mass)
                                    : sign * (mass + 0.125f);
    list.push_back(value);
  }
  list.push_back(0);
  return list;
}

TEST(TraceStrings, Parse) {
  const struct {
    std::string text;
    List list;
    std::optional<size_t> next = {};
  } cases[] = {
      {"", {0}},
      {",184", {0}, 1},
      {"184", {184, 0}},
      {"184,", {184, 0}, 4},
      {"100 200", {100, 0}},
      {"100_200", {32100, 200, 0}},
      {"184+200-150", {64000, 184, 200, -150, 64000, 0}},
      {"1-2+3", {64000, 1, -2, 3, 64000, 0}},
      {"300-100_200,5", {64000, 300, -32100, 200, 64000, 0}, 12},
      {"100_200+300_400", {64000, 32100, 200, 32300, 400, 64000, 0}},
      {"ch5", {5, 0}},
      {"184 + Ch 5", {64000, 184, 5, 64000, 0}},
      {"500>200", {500, 0}},
      {"184+", {64000, 184, 64000, 0}},
      {"100_", {32100, 0}},
  };
  for (const auto& [text, list, next] : cases) {
    const Parsed expected = {static_cast<int32_t>(list.size()) - 1, list, next};
    EXPECT_EQ(Parse(text), expected) << text;
  }
  EXPECT_EQ(Parse("500>200", 32, true).list, (List{200, 0}));
  EXPECT_EQ(Parse(std::string(400, '9')).list[0], std::numeric_limits<float>::max());
  for (const char* text : {"184ch5", "-184", "184--200", "184++200", "_200", "100_200_300",
                           "100__2", "100+_200", "x", "184x", ".5", "1e5", "TIC", "184+ ", " "}) {
    EXPECT_EQ(Parse(text).count, -1) << text;
  }
}

TEST(TraceStrings, ParseStaysWithinTheList) {
  std::string text = "1";
  for (int i = 2; i <= 30; ++i) text += "+" + std::to_string(i);
  const Parsed thirty = Parse(text);
  ASSERT_EQ(thirty.count, 32);
  EXPECT_EQ(thirty.list[31], 64000.0f);
  EXPECT_EQ(Parse(text + "+31").count, -1);

  std::vector<float> none;
  EXPECT_EQ(DmRawStrToMass("1", none.data(), -1, nullptr), -1);
}

// Whatever is parsed stays within its list, and its print stands for the same.
TEST(TraceStrings, PrintsOfWhatIsParsedAreParsedAgain) {
  const std::vector<std::string> pieces = {"1",  "25.5", "300", "+", "-",  "_", ">",
                                           "Ch", " ",    ",",   "x", ".5", "c", "\t"};
  std::mt19937 random(11);
  int accepted = 0;
  for (int i = 0; i < 40000; ++i) {
    std::string text;
    for (size_t length = random() % 12; length > 0; --length) {
      // Half of the time a number is followed by an operator, so that many texts are good.
      const bool after_digit = !text.empty() && std::isdigit(text.back()) != 0;
      text += pieces[random() % 2 == 0 ? random() % pieces.size()
                                       : (after_digit ? 3 + random() % 3 : random() % 3)];
    }
    const Parsed parsed = Parse(text);
    const auto max_count = static_cast<int32_t>(random() % 9);
    const Parsed narrow = Parse(text, max_count, random() % 2 == 0);
    ASSERT_LE(narrow.count, std::min(parsed.count, max_count)) << text;
    const auto is_marker = [](float mass) { return std::fabs(mass) > 64000; };
    if (parsed.count < 0 || std::ranges::any_of(parsed.list, is_marker)) continue;
    const std::string print = Print(parsed.list);
    ASSERT_EQ(Print(Parse(print).list), print) << text;
    if (parsed.count > 1) ++accepted;
  }
  EXPECT_GT(accepted, 4000);
}

TEST(TraceStrings, FormatMass) {
  const std::pair<float, const char*> cases[] = {
      {184.0f, "184"},      {184.1f, "184.1"},     {184.12345f, "184.123"},
      {100.0004f, "100."},  {99.99998f, "100"},    {-184.25f, "-184.25"},
      {0.0f, "0"},          {1999.9996f, "2000."}, {16777216.0f, "16777216"},
      {3e9f, "3000000000"}, {kNan, "nan"},         {-HUGE_VALF, "-inf"},
      {0.00004f, "0"},      {0.0006f, "0.001"},    {12345.678f, "12345.678"},
  };
  for (const auto& [mass, text] : cases) EXPECT_EQ(Format(mass), text) << mass;
  EXPECT_LT(Format(std::numeric_limits<float>::max()).size(), 32U);

  std::mt19937 random(5);
  for (int i = 0; i < 20000; ++i) {
    const float mass =
        static_cast<float>(random() % 20000000) / static_cast<float>(random() % 10000 + 1);
    ASSERT_EQ(Format(mass), ModelFormat(mass)) << mass;
  }
}

TEST(TraceStrings, PrintAndSort) {
  // The low end of a range keeps what 32000 and it have room for.
  EXPECT_EQ(Print(Parse("455.2902_455.3").list), "455.291_455.3");
  EXPECT_EQ(Parse("455.2902_455.3").list[0], 32455.291015625F);
  EXPECT_EQ(Print({100, kNan, 200, 0}), "100");
  EXPECT_EQ(Print({64000, -184.5f, -32100, -200, 300, 64000, 0}), "-184.5-100_200+300");
  EXPECT_EQ(Sort({300, -200, 32100, 400, 64000, 50, 10, 64000, 0}),
            (List{64000, 50, 10, 64000, 32100, 400, -200, 300, 0}));
}

TEST(TraceStrings, PrintAndSortAsAModelDoes) {
  std::mt19937 random(3);
  for (int i = 0; i < 20000; ++i) {
    const List list = RandomList(&random);
    ASSERT_EQ(Print(list), ModelPrint(list)) << ::testing::PrintToString(list);
    ASSERT_EQ(Sort(list), ModelSort(list)) << ::testing::PrintToString(list);
  }
}

TEST(TraceStrings, Validate) {
  const struct {
    const char* text;
    int32_t traces;
    int32_t error_at = -1;
  } cases[] = {{"", 0},
               {",,", 0},
               {"184.1,100_200,184+200-150,", 3},
               {"184, 100", 2},
               {"1,TIC,2", -1, 2},
               {"1,2+,3--4", -1, 5},
               {"100_200_3", -1, 0}};
  for (const auto& [text, traces, error_at] : cases) {
    const char* where = nullptr;
    EXPECT_EQ(DmRawValidateMassStr(text, &where), traces) << text;
    EXPECT_EQ(where, error_at < 0 ? nullptr : text + error_at) << text;
  }
}

// What became of a list: the low and high mass, subtract and relative flag of every window.
using Windows = std::vector<std::vector<std::vector<float>>>;

Windows Expand(const List& list, float tolerance, bool absolute) {
  std::vector<std::vector<RawTraceWindow>> windows(list.size() + 1,
                                                   std::vector<RawTraceWindow>(list.size()));
  std::vector<RawTrace> traces;
  for (auto& of_trace : windows) traces.push_back({77, -1, of_trace.data()});
  const int32_t count = DmRawSetupLoHiMass(list.data(), tolerance, traces.data(), absolute ? 1 : 0);
  Windows expanded(static_cast<size_t>(count));
  for (size_t t = 0; t < expanded.size(); ++t) {
    EXPECT_EQ(int32_t{traces[t].kind}, 77);
    for (int16_t w = 0; w < traces[t].window_count; ++w) {
      const RawTraceWindow& window = windows[t][static_cast<size_t>(w)];
      expanded[t].push_back({window.low, window.high, static_cast<float>(window.subtract),
                             static_cast<float>(window.relative)});
    }
  }
  return expanded;
}

TEST(TraceStrings, Windows) {
  EXPECT_EQ(Expand({0}, 0.5f, true), Windows());
  EXPECT_EQ(Expand({184, -32100, -200, 0}, 0.5f, true),
            (Windows{{{183.5f, 184.5f, 0, 0}}, {{100, 200, 1, 0}}}));
  EXPECT_EQ(Expand({64000, 200, -1000, 32100, 200, 64000, 0}, 500, false),
            (Windows{{{199.9f, 200.1f, 0, 1}, {999.5f, 1000.5f, 1, 1}, {100, 200, 0, 0}}}));
  EXPECT_EQ(Expand({32100, 0}, 1, true), (Windows{{{100, 0, 0, 0}}}));

  // Members in front of a combination are traces, those behind belong to one that nothing closes;
  // between two combinations stands an empty trace.
  EXPECT_EQ(Expand({5, 64000, 6, 64000, 7, 0}, 1, true), (Windows{{{4, 6, 0, 0}}, {{5, 7, 0, 0}}}));
  EXPECT_EQ(Expand({64000, 6, 64000, 64000, 7, 64000, 0}, 1, true),
            (Windows{{{5, 7, 0, 0}}, {}, {{6, 8, 0, 0}}}));

  RawTrace without_windows[2] = {};
  const float list[] = {184, 200, 0};
  EXPECT_EQ(DmRawSetupLoHiMass(list, 1, without_windows, 1), 0);
}

}  // namespace
