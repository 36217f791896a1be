// Help, manual pages and completion: what each has to have, and how shells take it.

#include <gmock/gmock.h>

#include <sstream>

#include "tests/tools/program.h"

namespace tervalon::testing {
namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;

class Manual : public ProgramTest {
 protected:
  void SetUp() override { Output({"write-manual", "manual"}); }

  std::string File(const std::string& name) const { return ReadText(Path("manual\\" + name)); }

  // "  chrom    Print ..." behind "Subcommands:".
  static std::vector<std::string> Subcommands(const std::string& help) {
    std::vector<std::string> names;
    std::istringstream lines(help.substr(std::min(help.find("Subcommands:"), help.size())));
    std::string line;
    std::getline(lines, line);
    for (; std::getline(lines, line) && line.starts_with("  ");) {
      if (line[2] != ' ') names.push_back(line.substr(2, line.find(' ', 2) - 2));
    }
    return names;
  }

  // Every "--name" that begins an option's line.
  static std::vector<std::string> Options(const std::string& help) {
    std::vector<std::string> names;
    std::istringstream lines(help);
    for (std::string line; std::getline(lines, line);) {
      const size_t at = line.find("--");
      const bool option = at == 2 || (at == 5 && line[2] == '-');
      if (option) names.push_back(line.substr(at, line.find_first_of(" ,", at) - at));
    }
    return names;
  }

  static std::string Roff(const std::string& option) {
    std::string text;
    for (const char c : option) text += c == '-' ? "\\-" : std::string(1, c);
    return text;
  }

  // The line that begins so, and ends the first one of its kind.
  static std::string LineOf(const std::string& text, const std::string& start) {
    const size_t at = text.find(start);
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
  }

  // Checks a command, and its subcommands.
  void CheckCommand(const std::vector<std::string>& names) {
    std::string path;
    for (const std::string& name : names) path += (path.empty() ? "" : " ") + name;
    SCOPED_TRACE("tervalon " + path);
    Arguments arguments = {"help"};
    arguments.insert(arguments.end(), names.begin(), names.end());
    const std::string help = Output(arguments);
    const std::string page = File("man1\\tervalon" + (names.empty() ? "" : "-" + names[0]) + ".1");
    const std::string bash = LineOf(File("bash\\tervalon"), "    \"" + path + "\") commands=");
    const std::string fish = File("fish\\tervalon.fish");
    const std::vector<std::string> options = Options(help);
    EXPECT_THAT(options, Contains("--help"));
    for (const std::string& option : options) {
      SCOPED_TRACE(option);
      EXPECT_THAT(page, HasSubstr("\\fB" + Roff(option) + "\\fR"));
      EXPECT_THAT(bash, AnyOf(HasSubstr(" " + option + " "), HasSubstr(" " + option + "'"),
                              HasSubstr("'" + option + " "), HasSubstr("'" + option + "'")));
      EXPECT_THAT(File("zsh\\_tervalon"), HasSubstr("'" + option + ":"));
      EXPECT_THAT(fish, HasSubstr(" -l " + option.substr(2) + " "));
    }
    for (const std::string& name : Subcommands(help)) {
      EXPECT_THAT(bash, HasSubstr(name));
      EXPECT_THAT(fish, HasSubstr(" -a " + name + " "));
      std::vector<std::string> sub = names;
      sub.push_back(name);
      CheckCommand(sub);
      ++commands_;
    }
  }

  int commands_ = 0;
};

TEST_F(Manual, HasEveryCommandAndOptionThatTheHelpHas) {
  CheckCommand({});
  EXPECT_GE(commands_, 25);
  EXPECT_EQ(Output({"help", "db", "list"}), Output({"db", "list", "--help"}));
  EXPECT_EQ(Output({"help"}), Output({"--help"}));
  EXPECT_THAT(
      File("man1\\tervalon-chrom.1"),
      AllOf(HasSubstr(".SH EXAMPLES\n"), HasSubstr("tervalon chrom SAMPLE.RAW \\-\\-plot")));
}

TEST_F(Manual, MistypedNamesGetTheNearestOne) {
  EXPECT_EQ(Output({"-V"}), Output({"--version"}));
  ExpectFailures({
      {{"chorm"}, 2, "no command 'chorm'; did you mean 'chrom'? ('tervalon --help' lists them)"},
      {{"db", "lst"}, 2, "no command 'lst'; did you mean 'list'? ('tervalon db --help'"},
      {{"help", "db", "exprot"}, 2, "no command 'exprot'; did you mean 'export'?"},
      {{"info", "x", "--jsno"}, 2, "no option '--jsno'; did you mean '--json'? ('tervalon info"},
      {{"spectrum", "x", "-s", "1", "--fnction=2"}, 2, "did you mean '--function'?"},
      {{"plot", "x", "--resol", "96"}, 2, "did you mean '--resolution'?"},
      {{"frobnicate"}, 2, "no command 'frobnicate' ('tervalon --help' lists them)"},
  });
}

#if !defined(_WIN32)

TEST_F(Manual, IsTakenByShellsAndReaders) {
  const auto run = [this](const std::string& tool, const std::string& line) {
    const ProcessResult found = RunShell("command -v " + tool + " >/dev/null", "/");
    if (found.status != 0) return std::string("no ") + tool;
    const ProcessResult result = RunShell(line, NativePath("manual").string());
    EXPECT_EQ(result.err, "") << tool;
    return result.out;
  };
  const std::string lint = run("mandoc", "mandoc -Tlint -W warning man1/*.1");
  EXPECT_THAT(lint, ::testing::AnyOf("", "no mandoc"));

  const auto bash = [&run](const std::string& words) {
    return run("bash", "bash -c 'source bash/tervalon; COMP_WORDS=(tervalon " + words +
                           "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _tervalon; "
                           "echo \"${COMPREPLY[*]}\"'");
  };
  EXPECT_EQ(bash("chr"), "chrom\n");
  EXPECT_EQ(bash("db li"), "list\n");
  EXPECT_EQ(bash("db list --f"), "--fields\n");
  EXPECT_EQ(bash("plot x.raw -o --"), "\n");  // a file's name

  const std::string fish =
      run("fish",
          "HOME=$PWD fish -c 'source fish/tervalon.fish; complete -C \"tervalon db li\"; "
          "complete -C \"tervalon db list --f\"'");
  EXPECT_THAT(fish, ::testing::AnyOf("no fish", AllOf(HasSubstr("list\t"), HasSubstr("--fields"))));

  const std::string zsh =
      run("zsh",
          "zsh -fc '_describe() { print -l -- ${(P)argv[-1]} }; words=(tervalon db li) CURRENT=3; "
          ". zsh/_tervalon; words=(tervalon db list --f) CURRENT=4; _tervalon'");
  EXPECT_THAT(zsh, ::testing::AnyOf("no zsh", AllOf(HasSubstr("list:Print the records"),
                                                    HasSubstr("--fields:Only these"))));
}

#endif

}  // namespace
}  // namespace tervalon::testing
