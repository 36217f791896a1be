#include "settings/ini_text.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/settings/exact_memory.h"
#include "tests/support/fault_services.h"

namespace tervalon::settings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class IniTextTest : public ::testing::Test {
 protected:
  IniTextTest() { Start(); }
  ~IniTextTest() override { EXPECT_EQ(memory_.live_locks(), 0); }

  void Start() {
    if (store_.block != nullptr) memory_.Free(store_.block);
    store_ = {};
    store_.block = memory_.Allocate(1);
    store_.free_bytes = 1;
  }

  // Runs one operation as the store's owner does, with the block locked around it.
  template <typename Operation>
  auto Locked(Operation operation) {
    LockText(&store_);
    auto result = operation();
    UnlockText(&store_);
    return result;
  }

  int32_t Set(const std::string& section, const std::string& key, std::string value,
              int32_t create = 1) {
    return Locked(
        [&] { return SetString(&store_, section.c_str(), key.c_str(), value.data(), create); });
  }
  // Takes a text as it stands, as another owner of the block may have left it.
  void Load(const std::string& text) {
    Start();
    store_.block = memory_.Reallocate(store_.block, text.size());
    store_.free_bytes = 0;
    Locked([&] { return text.copy(store_.text, text.size()); });
  }
  // The value, or "(none)".
  std::string Get(const std::string& section, const std::string& key) {
    char out[1024] = "?";
    const int16_t length = Locked([&] {
      return GetString(&store_, section.c_str(), key.c_str(), "(none)", out, sizeof(out));
    });
    EXPECT_EQ(length, std::string(out) == "(none)" ? -1 : static_cast<int>(std::strlen(out)));
    return out;
  }
  // A list's names, or "-1".
  std::vector<std::string> List(const char* section, int16_t size = INT16_MAX) {
    std::string out(static_cast<size_t>(size), '#');
    const int16_t count =
        Locked([&] { return GetString(&store_, section, nullptr, nullptr, out.data(), size); });
    if (count < 0) return {"-1"};
    std::vector<std::string> names;
    for (size_t at = 0; at < static_cast<size_t>(count); at += names.back().size() + 1) {
      names.emplace_back(out.c_str() + at);
    }
    return names;
  }
  // The used text, its NUL as "$".
  std::string Text() {
    return Locked([&] {
      std::string text(store_.text, Used());
      std::replace(text.begin(), text.end(), '\0', '$');
      return text;
    });
  }
  size_t Used() { return memory_.Size(store_.block) - static_cast<size_t>(store_.free_bytes); }

  testing::ExactMemory exact_memory_;
  platform::ScopedReplacement<platform::MovableMemory> use_exact_memory_{&exact_memory_};
  testing::FaultyMemory memory_;
  platform::ScopedReplacement<platform::MovableMemory> use_memory_{&memory_};
  testing::RecordingDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> use_desktop_{&desktop_};
  IniStore store_;
};

TEST_F(IniTextTest, TextAndBlockGrowByTheBytesNeeded) {
  EXPECT_EQ(Set("A", "k", "v", 0), 0);
  EXPECT_EQ(Used(), 0u);
  EXPECT_EQ(Set("A", "k", "v"), 1);
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=v\r\n");
  EXPECT_EQ(memory_.Size(store_.block), 1u + 7 + 100);  // old size, header, slack
  EXPECT_EQ(Get("A", "k"), "v");

  // The value's growth of 119 bytes exceeds the 96 free ones.
  EXPECT_EQ(Set("A", "k", std::string(120, 'x')), 1);
  EXPECT_EQ(memory_.Size(store_.block), 108u + 119 + 100);
  EXPECT_EQ(Used(), 131u);
  // A line that would leave no byte free makes the block grow.
  const auto free = static_cast<size_t>(store_.free_bytes);
  EXPECT_EQ(Set("A", std::string(free - 4, 'j'), ""), 1);
  EXPECT_EQ(memory_.Size(store_.block), 327u);
  EXPECT_EQ(Set("A", "i", ""), 1);
  EXPECT_EQ(memory_.Size(store_.block), 327u + 4 + 100);
  EXPECT_THAT(desktop_.messages, IsEmpty());
}

TEST_F(IniTextTest, FollowingHeaderTakesALineFeedAndANewLineGetsItBack) {
  Set("A", "k", "v");
  Set("B", "k", "w");
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=v\r\r\n[B]\r\nk=w\r\n$");
  EXPECT_EQ(Get("A", "k"), "v");
  EXPECT_EQ(Get("B", "k"), "w");
  Set("A", "j", "1");
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=v\r\nj=1\r\n\r\n[B]\r\nk=w\r\n$");
  Set("C", "k", "x");  // takes the NUL's place
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=v\r\nj=1\r\n\r\n[B]\r\nk=w\r\n\r\n[C]\r\nk=x\r\n$");
  EXPECT_THAT(List(nullptr), ElementsAre("A", "B", "C"));
  EXPECT_THAT(List("A"), ElementsAre("k", "j"));
}

TEST_F(IniTextTest, ASectionWithoutLinesBeforeTheNextHeader) {
  Locked([&] { return FindSection(&store_, "A", 1); });
  Set("B", "k", "b");
  EXPECT_THAT(List("A"), IsEmpty());
  Set("A", "k", "a");
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=a\r\n\r\n[B]\r\nk=b\r\n$");
}

TEST_F(IniTextTest, ReplacingMovesTheTailAndClearsWhatItLeaves) {
  Set("A", "k", "12345");
  Set("A", "j", "1");
  Set("A", "k", "1");
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=1\r\nj=1\r\n");
  const std::string vacated = Locked([&] { return std::string(store_.text + Used(), 4); });
  EXPECT_EQ(vacated, std::string(4, '\0'));
  Set("A", "k", "1234567");
  EXPECT_EQ(Text(), "\r\n[A]\r\nk=1234567\r\nj=1\r\n");
}

TEST_F(IniTextTest, LongValuesAreCutInTheCallersBufferToo) {
  std::string value(600, 'v');
  Locked([&] { return SetString(&store_, "A", "key", value.data(), 1); });
  EXPECT_EQ(std::strlen(value.c_str()), 505u);
  EXPECT_EQ(Get("A", "key"), std::string(505, 'v'));
  EXPECT_EQ(Set("A", std::string(508, 'k'), "v"), 1);
  EXPECT_EQ(Get("A", std::string(508, 'k')), "");
  EXPECT_EQ(Set("A", std::string(509, 'k'), "v"), 0);
}

TEST_F(IniTextTest, ValuesAreCutToTheBuffer) {
  Set("a", "k", "lower");
  char out[8] = "???????";
  const auto get = [&](const char* key, const char* fallback, int16_t size) {
    return Locked([&] { return GetString(&store_, "a", key, fallback, out, size); });
  };
  EXPECT_EQ(get("k", nullptr, 0), -1);
  EXPECT_EQ(get("k", nullptr, -3), -1);
  EXPECT_STREQ(out, "???????");
  EXPECT_EQ(get("k", nullptr, 1), 0);
  EXPECT_STREQ(out, "");
  EXPECT_EQ(get("k", nullptr, 4), 3);
  EXPECT_STREQ(out, "low");
  EXPECT_EQ(get("none", "default", 4), -1);
  EXPECT_STREQ(out, "def");
}

TEST_F(IniTextTest, NamesThatBreakTheTextAreRefusedAndValuesCannotForgeLines) {
  Set("A", "k", "1");
  Set("A", "j", "2");
  Set("B", "k", "3");
  for (const char* key : {"a=b", "k=1\r\nj", "[C", "line\nend"}) {
    EXPECT_EQ(Set("A", key, "x"), 0) << key;
    EXPECT_EQ(Get("A", key), "(none)");
  }
  for (const char* section : {"A]", "C]\r\n[B", "\r"}) {
    EXPECT_EQ(Set(section, "k", "x"), 0) << section;
    EXPECT_EQ(Get(section, "k"), "(none)");
  }
  // A value ends at its first line end of either kind, and its neighbours stay as they are.
  for (const std::string after :
       {"\r\nj=forged\r\n[B]\r\nk=forged", "\r\nbroken", "\nbroken", "\r"}) {
    EXPECT_EQ(Set("A", "k", "1" + after), 1);
    EXPECT_EQ(Get("A", "k") + Get("A", "j") + Get("B", "k"), "123");
    EXPECT_THAT(List("A"), ElementsAre("k", "j"));
  }
  // No name at all is a name like any other.
  EXPECT_EQ(Set("", "", "none"), 1);
  EXPECT_EQ(Get("", "") + Get("A", "k") + Get("B", "k"), "none13");
  EXPECT_EQ(Set("", "k", "5"), 1);
  EXPECT_THAT(List(nullptr), ElementsAre("A", "B", ""));
  EXPECT_THAT(List(""), ElementsAre("", "k"));
}

TEST_F(IniTextTest, ListsAreCutToTheBufferAndShowBrokenLines) {
  Set("First", "one", "1");
  Set("Second", "two", "2");
  Set("Second", "three", "3");
  EXPECT_THAT(List(nullptr, 10), ElementsAre("First", "Sec"));
  EXPECT_THAT(List(nullptr, 8), ElementsAre("First"));
  EXPECT_THAT(List(nullptr, 2), IsEmpty());
  EXPECT_THAT(List("Second", 9), ElementsAre("two", "thre"));
  EXPECT_THAT(List("Third"), ElementsAre("-1"));

  // A line without "=" swallows what follows up to the next one, also in the next section.
  Load("[First]\r\none=1\r\nbroken\r\n[Second]\r\ntwo=2\r\nthree=3\r\n");
  EXPECT_THAT(List("First"), ElementsAre("one", "broken\r\n[Second]\r\ntwo"));
  EXPECT_EQ(Get("Second", "two"), "2");
  // Without any "=" left, or without "]", there is no list.
  Load("[Second]\r\nthree=3\r\nbroken\r\n[open");
  EXPECT_THAT(List("Second"), ElementsAre("-1"));
  EXPECT_THAT(List(nullptr), ElementsAre("-1"));
}

// Keys are told apart, kept and listed whatever is done around them.
TEST_F(IniTextTest, BehavesLikeAMapOfMaps) {
  const std::string stem(30, 's');
  const std::vector<std::string> sections = {
      "A", "a", "AA", stem, stem + "1", stem + "12", stem + "13", stem + stem + stem};
  std::vector<std::string> keys = {"k", "K", "kk", "xk", ";", "longer key", std::string(127, 'k')};
  for (int i = 1; i < 4; ++i) keys.push_back(keys.back() + "k");
  const std::string alphabet = "ab =[]\t;,\"\r\n";

  std::mt19937 random(1);
  const auto below = [&random](size_t n) { return random() % n; };
  for (int round = 0; round < 20; ++round) {
    Start();
    // In the order of creation, as the lists have them.
    using Entries = std::vector<std::pair<std::string, std::string>>;
    std::vector<std::pair<std::string, Entries>> model;
    const auto find = [](auto& list, const std::string& name) {
      return std::find_if(list.begin(), list.end(), [&](auto& e) { return e.first == name; });
    };
    for (int step = 0; step < 120; ++step) {
      const std::string& section = sections[below(sections.size())];
      const std::string& key = keys[below(keys.size())];
      std::string value(below(4) == 0 ? below(600) : below(12), ' ');
      const size_t letters = alphabet.size() - (below(2) == 0 ? 2 : 0);  // without line ends
      for (char& c : value) c = alphabet[below(letters)];
      const int32_t create = below(4) != 0;

      auto in_model = find(model, section);
      if (in_model == model.end() && create) in_model = model.insert(model.end(), {section, {}});
      bool expected = in_model != model.end();
      if (expected) {
        auto entry = find(in_model->second, key);
        if (entry == in_model->second.end() && create) {
          entry = in_model->second.insert(entry, {key, ""});
        }
        expected = entry != in_model->second.end();
        if (expected) {
          entry->second =
              value.substr(0, std::min(value.find_first_of("\r\n"), 509 - key.size() - 1));
        }
      }
      ASSERT_EQ(Set(section, key, value, create), expected);
      if (!expected) {
        ASSERT_EQ(Get(section, key), "(none)");
      }

      for (const auto& [name, entries] : model) {
        for (const auto& [entry, text] : entries) ASSERT_EQ(Get(name, entry), text) << Text();
      }
      std::vector<std::string> names;
      for (const auto& [name, entries] : model) {
        names.push_back(name);
        std::vector<std::string> entry_names;
        for (const auto& [entry, text] : entries) entry_names.push_back(entry);
        ASSERT_EQ(List(name.c_str()), entry_names) << Text();
      }
      ASSERT_EQ(List(nullptr), names) << Text();
    }
  }
}

TEST_F(IniTextTest, FailedGrowthIsNotedAndLosesTheText) {
  const char* const noted[] = {"", "FindLine", "SetString"};  // nothing for the header
  const std::string key(120, 'k');
  for (int growth = 0; growth < 3; ++growth) {
    Start();
    memory_.reallocate.FailNth(growth + 1);
    EXPECT_EQ(Set("A", key, std::string(300, 'v')), 0);
    EXPECT_EQ(store_.short_of_memory != nullptr ? std::string(store_.short_of_memory) : "",
              noted[growth]);
    EXPECT_EQ(store_.block, nullptr);
    EXPECT_EQ(memory_.live_blocks(), 0);
    EXPECT_EQ(Get("A", key), "(none)");
    EXPECT_EQ(Set("A", key, "v"), 0);
  }
  // The block grows but cannot be locked again: nothing is lost.
  Start();
  Set("A", "k", "v");
  memory_.lock.FailNth(2);
  EXPECT_EQ(Set("A", "k", std::string(300, 'v')), 0);
  EXPECT_EQ(Get("A", "k"), "v");
}

TEST(StringRoutines, StayWithinTheirBounds) {
  char out[] = "????";
  EXPECT_EQ(CopyBounded(out, "abc", 2), out + 2);
  EXPECT_STREQ(out, "ab");
  EXPECT_EQ(CopyBounded(out, "a", 9), out + 1);
  EXPECT_EQ(CopyBounded(out, "a", -1), out);

  const char* text = "abcabd";
  EXPECT_EQ(FindBounded(text, "abd", 6), text + 3);
  EXPECT_EQ(FindBounded(text, "abd", 5), nullptr);
  EXPECT_EQ(FindBounded(text, "abd", 1000), text + 3);
  EXPECT_EQ(FindBounded(text, "", 0), text);
  EXPECT_EQ(FindBounded(nullptr, "", 1), nullptr);
  EXPECT_EQ(FindBounded("ab\0cd", "cd", 5), nullptr);

  EXPECT_EQ(FindCharacter(text, 'b'), text + 1);
  EXPECT_EQ(FindCharacter(text, 'x'), nullptr);
  EXPECT_EQ(FindCharacter(nullptr, 'x'), nullptr);

  EXPECT_EQ(CompareBounded("abc", "abd", 2), 0);
  EXPECT_EQ(CompareBounded("abc", "abd", 3), -1);
  EXPECT_EQ(CompareBounded("ab", "ab", 9), 0);
  EXPECT_EQ(CompareBounded("abc", "ab", 9), 'c');
  EXPECT_EQ(CompareBounded("\xE4", "a", 1), static_cast<signed char>('\xE4') - 'a');
  EXPECT_EQ(CompareBounded("", "", 1), -1);
  EXPECT_EQ(CompareBounded(nullptr, "a", 1), -1);
}

}  // namespace
}  // namespace tervalon::settings
