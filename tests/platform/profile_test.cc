// The rules are those of the desktop platform's own calls, with which these tests agree.

#include "platform/profile.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/temp_directory.h"

namespace tervalon::platform {
namespace {

using testing::TempDirectory;

class ProfileTest : public ::testing::Test {
 protected:
  void Store(const std::string& text) { testing::WriteText(path_, text); }
  std::string Text() { return testing::ReadText(path_); }

  std::string Read(const char* section, const char* key, const char* fallback = "?") {
    char out[300];
    const uint32_t count = Profiles().Read(section, key, fallback, out, sizeof out, path_.c_str());
    EXPECT_EQ(count, std::string(out).size());
    return out;
  }

  // A list with its zeros as ";".
  std::string List(const char* section, uint32_t size = 300) {
    std::vector<char> out(size + 1, '#');
    const uint32_t count = Profiles().Read(section, nullptr, "", out.data(), size, path_.c_str());
    EXPECT_LT(count, size);
    EXPECT_EQ(out[count], '\0');
    EXPECT_EQ(out[size], '#') << "written behind the buffer";
    std::string names(out.data(), count);
    for (char& c : names) c = c == '\0' ? ';' : c;
    return names;
  }

  bool Write(const char* section, const char* key, const char* value) {
    return Profiles().Write(section, key, value, path_.c_str());
  }

  TempDirectory directory_;
  std::string path_ = directory_.Path("SETTINGS.INI");
};

TEST_F(ProfileTest, FindsNamesWithoutCaseAndDropsBlanksAndQuotes) {
  Store(
      "; a comment=1\r\n"
      "[ First Section ]\r\n"
      "  Plain \t=\t a value with = and ; in it \t\r\n"
      "Double=\"  kept blanks \"\r\n"
      "Single='it'\r\n"
      "Twice=\"'inner'\"\r\n"
      "Open=\"half\r\n"
      "Lone=\"\r\n"
      "Empty=\r\n"
      "EmptyQuotes=\"\"\r\n"
      ";Hidden=1\r\n"
      "\r\n"
      "[Second]\n"
      "Plain=other\n");
  EXPECT_EQ(Read("First Section", "Plain"), "a value with = and ; in it");
  EXPECT_EQ(Read("FIRST section", "pLAIN"), "a value with = and ; in it");
  EXPECT_EQ(Read("First Section", "Double"), "  kept blanks ");
  EXPECT_EQ(Read("First Section", "Single"), "it");
  EXPECT_EQ(Read("First Section", "Twice"), "'inner'");
  EXPECT_EQ(Read("First Section", "Open"), "\"half");
  EXPECT_EQ(Read("First Section", "Lone"), "\"");
  EXPECT_EQ(Read("First Section", "Empty"), "");
  EXPECT_EQ(Read("First Section", "EmptyQuotes"), "");
  EXPECT_EQ(Read("First Section", "Hidden"), "?");
  EXPECT_EQ(Read("Second", "PLAIN"), "other");
  EXPECT_EQ(Read("second", "Double"), "?");
}

TEST_F(ProfileTest, GivesTheFallbackWithoutItsTrailingBlanksForWhatIsMissing) {
  EXPECT_EQ(Read("Section", "Key", " no file  "), " no file");
  Store("[Section]\r\nOther=1\r\nNameAlone\r\n");
  EXPECT_EQ(Read("Section", "Key", "no key "), "no key");
  EXPECT_EQ(Read("Section", "NameAlone", "no value"), "no value");
  EXPECT_EQ(Read("Sect", "Other", "no section"), "no section");
  EXPECT_EQ(Read("Section", "Key", nullptr), "");
}

TEST_F(ProfileTest, TakesTheFirstOfEqualKeysAndSections) {
  Store("[A]\r\nKey=1\r\nKEY=2\r\n[B]\r\nKey=3\r\n[a]\r\nKey=4\r\nLate=5\r\n");
  EXPECT_EQ(Read("A", "key"), "1");
  EXPECT_EQ(Read("A", "Late"), "?");
}

TEST_F(ProfileTest, CutsValuesToTheBuffer) {
  Store("[A]\r\nKey=12345\r\n");
  char out[8] = "#######";
  EXPECT_EQ(Profiles().Read("A", "Key", "", out, 4, path_.c_str()), 3u);
  EXPECT_STREQ(out, "123");
  EXPECT_EQ(out[4], '#');
  EXPECT_EQ(Profiles().Read("A", "Key", "", out, 6, path_.c_str()), 5u);
  EXPECT_STREQ(out, "12345");
  EXPECT_EQ(Profiles().Read("A", "None", "fallback", out, 5, path_.c_str()), 4u);
  EXPECT_STREQ(out, "fall");
  EXPECT_EQ(Profiles().Read("A", "Key", "", out, 1, path_.c_str()), 0u);
  EXPECT_STREQ(out, "");
  out[0] = '#';
  EXPECT_EQ(Profiles().Read("A", "Key", "", out, 0, path_.c_str()), 0u);
  EXPECT_EQ(out[0], '#');
}

TEST_F(ProfileTest, ListsKeysAndSections) {
  Store(";c\r\n[One]\r\nFirst=1\r\n;c=2\r\nSecond =\r\n\r\n[Two]\r\n[Three]\r\nLast=3");
  EXPECT_EQ(List(nullptr), "One;Two;Three;");
  EXPECT_EQ(List("one"), "First;Second;");
  EXPECT_EQ(List("Two"), "");
  EXPECT_EQ(List("Three"), "Last;");
  EXPECT_EQ(List("Four"), "");
}

TEST_F(ProfileTest, CutsListsBeforeTheirTwoZeros) {
  Store("[One]\r\nFirst=1\r\nSecond=2\r\n[Two]\r\n");
  EXPECT_EQ(List("One", 15), "First;Second;");
  // A list that just fits counts as cut, though nothing is lost.
  EXPECT_EQ(List("One", 14), "First;Second");
  EXPECT_EQ(List(nullptr, 9), "One;Two");
  for (const uint32_t size : {3u, 8u, 9u, 10u, 13u}) {
    const std::string cut = List("One", size);
    EXPECT_EQ(cut.size(), size - 2) << cut;
    EXPECT_EQ(cut.substr(0, 6), std::string("First;").substr(0, size - 2));
  }
  EXPECT_EQ(List(nullptr, 8).size(), 6u);
  EXPECT_EQ(List("One", 1), "");
}

TEST_F(ProfileTest, WritesMakeFileSectionAndKey) {
  EXPECT_TRUE(Write("Section", "Key", "value"));
  EXPECT_EQ(Text(), "[Section]\r\nKey=value\r\n");
  EXPECT_TRUE(Write("SECTION", "Second", "2"));
  EXPECT_TRUE(Write("section", "KEY", "changed"));
  EXPECT_TRUE(Write("Other", "Key", ""));
  EXPECT_EQ(Read("Section", "Key"), "changed");
  EXPECT_EQ(Read("Other", "Key"), "");
  EXPECT_EQ(List(nullptr), "Section;Other;");
  EXPECT_EQ(List("Section"), "Key;Second;");
}

TEST_F(ProfileTest, ReadsBackWhatIsWrittenWithBlanksAndQuotes) {
  EXPECT_TRUE(Write("A", "Leading", " \t two blanks"));
  EXPECT_TRUE(Write("A", "Trailing", "kept?  "));
  EXPECT_TRUE(Write("A", "Quoted", "\"  as is \""));
  EXPECT_TRUE(Write(" A ", " Named with blanks ", "found"));
  EXPECT_EQ(Read("A", "Leading"), "two blanks");
  EXPECT_EQ(Read("A", "Trailing"), "kept?");
  EXPECT_EQ(Read("A", "Quoted"), "  as is ");
  EXPECT_EQ(Read("A", "Named with blanks"), "found");
}

TEST_F(ProfileTest, KeepsCommentsAndOrder) {
  const std::string before = "; head\r\n[A]\r\n; about one\r\nOne=1\r\nTwo=2\r\n";
  const std::string after = "; tail\r\n[B]\r\nThree=3\r\n";
  Store(before + after);
  EXPECT_TRUE(Write("A", "Two", "zwei"));
  EXPECT_EQ(Text(), "; head\r\n[A]\r\n; about one\r\nOne=1\r\nTwo=zwei\r\n" + after);
  EXPECT_TRUE(Write("A", "Two", "2"));
  EXPECT_TRUE(Write("B", "Four", "4"));
  EXPECT_EQ(Text(), before + after + "Four=4\r\n");
}

TEST_F(ProfileTest, AFileWithoutALastLineEndStaysReadable) {
  Store("[A]\r\nOne=1");
  EXPECT_EQ(Read("A", "One"), "1");
  EXPECT_TRUE(Write("A", "Two", "2"));
  EXPECT_EQ(Read("A", "One"), "1");
  EXPECT_EQ(Read("A", "Two"), "2");
  Store("[A]\r\nOne=1");
  EXPECT_TRUE(Write("B", "Two", "2"));
  EXPECT_EQ(Read("A", "One"), "1");
  EXPECT_EQ(Read("B", "Two"), "2");
  Store("[A]");
  EXPECT_TRUE(Write("A", "One", "eins"));
  EXPECT_EQ(Read("A", "One"), "eins");
}

TEST_F(ProfileTest, SeesWhatOthersWroteMeanwhile) {
  Store("[A]\r\nKey=first\r\n");
  EXPECT_EQ(Read("A", "Key"), "first");
  Store("[A]\r\nKey=other\r\n");
  EXPECT_EQ(Read("A", "Key"), "other");
  EXPECT_TRUE(Write("A", "Own", "1"));
  Store("[A]\r\nKey=third\r\n");
  EXPECT_EQ(Read("A", "Key"), "third");
  EXPECT_EQ(Read("A", "Own"), "?");
}

TEST_F(ProfileTest, RefusesAPlaceThatCannotBeWritten) {
  Store("[A]\r\nKey=1\r\n");
  const std::string below_file = path_ + "\\below.ini";
  EXPECT_FALSE(Profiles().Write("A", "Key", "2", below_file.c_str()));
  EXPECT_FALSE(Profiles().Write("A", "Key", "2", directory_.Path("none\\x.ini").c_str()));
  EXPECT_FALSE(Profiles().Write("A", "Key", "2", directory_.Path().c_str()));
  EXPECT_EQ(Text(), "[A]\r\nKey=1\r\n");
}

TEST_F(ProfileTest, RefusesAReadOnlyFile) {
  Store("[A]\r\nKey=1\r\n");
  if (!testing::SetWritable(path_, false)) GTEST_SKIP() << "nothing is read-only for this user";
  EXPECT_FALSE(Write("A", "Key", "2"));
  EXPECT_FALSE(Write("B", "Key", "2"));
  EXPECT_EQ(Text(), "[A]\r\nKey=1\r\n");
  testing::SetWritable(path_, true);
}

TEST_F(ProfileTest, RefusesTextsThatWouldForgeLinesAndNone) {
  Store("[A]\r\nKey=1\r\n");
  EXPECT_FALSE(Write("A", "Key", "2\r\n[B]"));
  EXPECT_FALSE(Write("A", "Key\n", "2"));
  EXPECT_FALSE(Write("A]\r[B", "Key", "2"));
  EXPECT_FALSE(Write(nullptr, "Key", "2"));
  EXPECT_FALSE(Write("A", nullptr, "2"));
  EXPECT_FALSE(Write("A", "Key", nullptr));
  EXPECT_FALSE(Profiles().Write("A", "Key", "2", nullptr));
  EXPECT_EQ(Text(), "[A]\r\nKey=1\r\n");
}

}  // namespace
}  // namespace tervalon::platform
