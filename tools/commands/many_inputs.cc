#include "tools/commands/many_inputs.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "tools/commands/command.h"
#include "tools/print/child_process.h"
#include "tools/print/console.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

// Puts what several inputs print together.
class Merger {
 public:
  Merger(Format format, Output& output) : format_(format), output_(output) {
    if (format_ == Format::kJson) output_ << "[";
  }

  void Add(std::string_view part) {
    if (part.empty()) return;
    if (format_ == Format::kJson) {
      if (part.ends_with('\n')) part.remove_suffix(1);
      output_ << (first_ ? "\n" : ",\n");
    } else if (format_ == Format::kText) {
      output_ << (first_ ? "" : "\n");
    } else if (!first_) {
      part.remove_prefix(std::min(part.find('\n') + 1, part.size()));
    }
    first_ = false;
    output_ << part;
    output_.Flush();
  }

  void End() {
    if (format_ == Format::kJson) output_ << "\n]\n";
  }

 private:
  const Format format_;
  Output& output_;
  bool first_ = true;
};

// False when it failed, which is told.
bool DoHere(const std::string& path, Merger& merger, const OneInput& one) {
  std::string printed;
  try {
    Output output(printed);
    one(path, output);
    output.Flush();
  } catch (const Failure& failure) {
    Warn(failure.what());
    return false;
  } catch (const Unsound&) {
    merger.Add(printed);
    return false;
  }
  merger.Add(printed);
  return true;
}

// The command line of the process that does input `number` alone.
std::vector<std::string> WordsFor(const Inputs& inputs, size_t number) {
  std::vector<std::string> words = inputs.words;
  words.insert(words.begin() + 1, "--only=" + std::to_string(number));
  return words;
}

// As many processes at a time as there are jobs, each looked after by a thread.
class Jobs {
 public:
  explicit Jobs(const Inputs& inputs) : inputs_(inputs), results_(inputs.paths.size()) {
    const size_t count = std::min(static_cast<size_t>(inputs.jobs), inputs.paths.size());
    for (size_t i = 0; i < count; ++i) threads_.emplace_back([this] { Work(); });
  }
  ~Jobs() {
    next_ = results_.size();
    for (std::thread& thread : threads_) thread.join();
  }
  Jobs(const Jobs&) = delete;
  Jobs& operator=(const Jobs&) = delete;

  ChildResult ResultOf(size_t index) {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this, index] { return results_[index].has_value(); });
    return std::move(*results_[index]);
  }

 private:
  void Work() {
    for (size_t index = next_++; index < results_.size(); index = next_++) {
      ChildResult result = RunThisProgram(WordsFor(inputs_, index + 1));
      const std::lock_guard lock(mutex_);
      results_[index] = std::move(result);
      done_.notify_all();
    }
  }

  const Inputs& inputs_;
  std::atomic<size_t> next_ = 0;
  std::mutex mutex_;
  std::condition_variable done_;
  std::vector<std::optional<ChildResult>> results_;
  std::vector<std::thread> threads_;
};

bool DoInProcesses(const Inputs& inputs, Merger& merger) {
  Jobs jobs(inputs);
  bool done = true;
  for (size_t i = 0; i < inputs.paths.size(); ++i) {
    const ChildResult result = jobs.ResultOf(i);
    WarnAsPrinted(result.err);
    merger.Add(result.out);
    done = done && result.status == 0;
  }
  return done;
}

}  // namespace

void AddInputs(Command command, Inputs& inputs) {
  inputs.words = command.Words();
  command.AddOption("DIR", inputs.paths, "Raw data directories").Required().TypeName("");
  command
      .AddOption("--jobs", inputs.jobs,
                 "Do up to N directories side by side, in processes of\ntheir own")
      .Between(1, 64)
      .TypeName("N");
  command.AddHiddenOption("--only", inputs.only);
}

void CompleteInputs(Inputs& inputs) {
  std::vector<std::string> paths;
  for (const std::string& typed : inputs.paths) {
    for (const std::string& path : console::ExpandWildcards(typed)) {
      paths.push_back(DirectoryArgument(path));
    }
  }
  inputs.paths = paths;
  if (inputs.only < 0 || inputs.only > std::ssize(inputs.paths)) {
    throw WrongUsage("--only: there is no such input");
  }
}

void ForEachInput(const Inputs& inputs, Format format, Output& output, const OneInput& one) {
  if (inputs.only != 0 || inputs.paths.size() == 1) {
    one(inputs.paths[static_cast<size_t>(std::max(inputs.only, 1)) - 1], output);
    return;
  }
  Merger merger(format, output);
  bool done = true;
  if (inputs.jobs > 1) {
    done = DoInProcesses(inputs, merger);
  } else {
    for (const std::string& path : inputs.paths) done = DoHere(path, merger, one) && done;
  }
  merger.End();
  if (!done) throw Unsound();
}

void Label(const Inputs& inputs, const std::string& path, int function, Document& document) {
  if (inputs.paths.size() == 1) return;
  document.labels.push_back({"directory", "Directory", Utf8FromSystem(path)});
  if (function != 0) document.labels.push_back({"function", "Function", int64_t{function}});
}

}  // namespace tervalon::tools
