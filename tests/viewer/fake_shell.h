// Somebody in front of the program, who answers what the test says and remembers what was said.

#ifndef TESTS_VIEWER_FAKE_SHELL_H_
#define TESTS_VIEWER_FAKE_SHELL_H_

#include <algorithm>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "viewer/core/shell.h"

namespace tervalon::viewer {

class FakeShell : public Shell {
 public:
  void Add(Document& document) override { windows.push_back(&document); }
  void Remove(Document& document) override { std::erase(windows, &document); }
  void Raise(Document& document) override { raised = &document; }
  void Arrange(Arrangement) override {}
  void Refresh(Document& document) override { redrawn.push_back(&document); }
  void Redraw(Document& document) override { redrawn.push_back(&document); }
  void RefreshCommands() override {}
  void Status(const std::string& text) override { status = text; }
  void WantIdle() override { wants_idle = true; }
  TvWindow window() override { return nullptr; }
  std::optional<std::string> AskForRun(const std::string&) override { return Answer(); }
  std::optional<std::string> AskForFile(const std::string&, const std::string&) override {
    return Answer();
  }
  std::optional<std::string> AskForText(const std::string&, const std::string&,
                                        const std::string&) override {
    return Answer();
  }
  void Complain(const std::string& text) override { complaints.push_back(text); }
  void Copy(Document&) override {}
  void Print(Document&, bool) override {}
  void Quit() override {}

  std::vector<Document*> windows;
  Document* raised = nullptr;
  std::vector<Document*> redrawn;
  std::deque<std::string> answers;  // to what is asked, in order; then it is cancelled
  std::vector<std::string> complaints;
  std::string status;
  bool wants_idle = false;

 private:
  std::optional<std::string> Answer() {
    if (answers.empty()) return std::nullopt;
    std::string answer = answers.front();
    answers.pop_front();
    return answer;
  }
};

}  // namespace tervalon::viewer

#endif  // TESTS_VIEWER_FAKE_SHELL_H_
