#include "tests/programs/driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "tests/support/process.h"
#include "tests/support/temp_directory.h"

namespace tervalon::testing {
namespace {

namespace fs = std::filesystem;

#if defined(_WIN32)
constexpr uint32_t kShare = 4;          // of the changes: processes take their time there
constexpr int kKills = 4;               // of each kind
constexpr uint32_t kLongestLife = 600;  // milliseconds between two of them
constexpr std::chrono::microseconds kReadersPause{1000};
#else
constexpr int kKills = 50;
constexpr uint32_t kShare = 1;
constexpr uint32_t kLongestLife = 60;
constexpr std::chrono::microseconds kReadersPause{200};
#endif

constexpr std::chrono::minutes kLongestKilling{3};  // of each kind
constexpr uint32_t kReadersShare = 8;               // every so many kills one of a reader

constexpr char kProgramArgument[] = "--program";
constexpr char kDoneName[] = "done";
constexpr char kEnoughName[] = "enough";  // kills

uint32_t FromEnvironment(const char* name, uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text != nullptr ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

std::string NotesPath(const std::string& directory, int writer) {
  return (fs::path(directory) / ("writer" + std::to_string(writer))).string();
}

std::string CountPath(const std::string& directory, int reader) {
  return (fs::path(directory) / ("reader" + std::to_string(reader))).string();
}

void Write(const Kind& kind, const std::string& notes_directory, int number, uint32_t changes,
           Random* random) {
  const std::string path = NotesPath(notes_directory, number);
  auto serial = static_cast<uint32_t>(Notes::Read(path, number).size());
  Notes notes(path, number);
  const std::unique_ptr<Writer> writer = kind.make_writer(number);
  const fs::path enough = fs::path(notes_directory) / kEnoughName;
  while (serial < changes || !fs::exists(enough)) writer->Make(++serial, random, &notes);
}

void ReadUntilDone(const Kind& kind, const std::string& notes_directory, int number,
                   Random* random) {
  const std::unique_ptr<Reader> reader = kind.make_reader();
  uint64_t answers = 0;
  // Once more at the end.
  for (bool done = false; !done;) {
    done = fs::exists(fs::path(notes_directory) / kDoneName);
    answers += reader->Check(random);
    // Some systems do not replace a file while anybody has it open, and writers need processors.
    std::this_thread::sleep_for(kReadersPause);
  }
  std::ofstream(CountPath(notes_directory, number)) << answers << "\n";
}

// Makes a directory the working directory for a while.
class InDirectory {
 public:
  explicit InDirectory(const fs::path& directory) : before_(fs::current_path()) {
    fs::current_path(directory);
  }
  ~InDirectory() { fs::current_path(before_); }
  InDirectory(const InDirectory&) = delete;
  InDirectory& operator=(const InDirectory&) = delete;

 private:
  fs::path before_;
};

// The processes of one kind.
class Programs {
 public:
  explicit Programs(const Kind& kind)
      : kind_(kind),
        times_(FromEnvironment("TERVALON_PROGRAMS_TIMES", 1)),
        changes_(kind.changes * times_ / kShare),
        most_kills_(static_cast<int>(FromEnvironment("TERVALON_PROGRAMS_KILLS", kKills))),
        seed_(FromEnvironment("TERVALON_PROGRAMS_SEED",
                              static_cast<uint32_t>(std::random_device()()))),
        random_(seed_),
        started_(std::chrono::steady_clock::now()) {
    std::cout << kind.name << ": TERVALON_PROGRAMS_SEED=" << seed_ << std::endl;
  }

  void Run() {
    const InDirectory in_files(Native(files_.Path()));
    kind_.prepare();
    for (int i = 0; i < kWriters; ++i) writers_.push_back(Start("writer", i));
    for (int i = 0; i < kReaders; ++i) readers_.push_back(Start("reader", i));
    KillAndWait();
    std::ofstream(Native(notes_.Path(kDoneName))).put('\n');
    for (const auto& reader : readers_) EXPECT_EQ(reader->Wait(), 0) << "a reader's last words";
    if (!::testing::Test::HasFailure()) CheckAll();
  }

 private:
  std::unique_ptr<Program> Start(const char* role, int number) {
    return std::make_unique<Program>(
        ThisProgram(),
        std::vector<std::string>{kProgramArgument, kind_.name, role, std::to_string(number),
                                 std::to_string(changes_), std::to_string(random_()),
                                 Native(notes_.Path()).string()});
  }

  // Ends writers at random moments, now and then a reader, and starts them again, until it was
  // often enough and all have finished.
  void KillAndWait() {
    for (;;) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1 + Below(&random_, kLongestLife)));
      if (kills_ == most_kills_) break;
      if (std::chrono::steady_clock::now() - started_ > kLongestKilling) break;
      const size_t chosen = Below(&random_, kWriters);
      if (!writers_[chosen]->Running()) break;  // it found something
      if (!Kill(&writers_[chosen])) break;
      ++kills_;
      writers_[chosen] = Start("writer", static_cast<int>(chosen));
      if (kills_ % kReadersShare != 0) continue;
      const size_t reader = Below(&random_, kReaders);
      if (!Kill(&readers_[reader])) break;
      readers_[reader] = Start("reader", static_cast<int>(reader));
    }
    std::ofstream(Native(notes_.Path(kEnoughName))).put('\n');
    for (const auto& writer : writers_) EXPECT_EQ(writer->Wait(), 0) << "a writer's last words";
  }

  // Whether it was still there to be ended.
  static bool Kill(std::unique_ptr<Program>* program) {
    (*program)->Kill();
    return (*program)->Wait() == -1;
  }

  void CheckAll() {
    std::vector<Change> changes;
    for (int i = 0; i < kWriters; ++i) {
      const std::vector<Change> own = Notes::Read(NotesPath(Native(notes_.Path()).string(), i), i);
      EXPECT_GE(own.size(), changes_) << "changes that were not made";
      changes.insert(changes.end(), own.begin(), own.end());
    }
    uint64_t answers = 0;
    for (int i = 0; i < kReaders; ++i) {
      uint64_t own = 0;
      std::ifstream(CountPath(Native(notes_.Path()).string(), i)) >> own;
      EXPECT_GT(own, 0U);
      answers += own;
    }
    try {
      kind_.check(changes);
    } catch (const std::runtime_error& error) {
      ADD_FAILURE() << error.what();
    }
    const auto count = [&](Outcome outcome) {
      return std::count_if(changes.begin(), changes.end(),
                           [=](const Change& change) { return change.outcome == outcome; });
    };
    // A disk that takes seconds to force a file makes waits too long; then the changes are refused,
    // and have to be as if they were not asked for.
    EXPECT_LE(count(Outcome::kRefused) * 20, std::ssize(changes));
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - started_;
    std::cout << kind_.name << ": " << kWriters << " writers, " << count(Outcome::kStored)
              << " changes stored, " << count(Outcome::kRefused) << " refused, "
              << count(Outcome::kUnknown) << " cut short by " << kills_ << " kills; " << kReaders
              << " readers, " << answers << " answers; " << time.count() << " s" << std::endl;
  }

  const Kind& kind_;
  const uint32_t times_;
  const uint32_t changes_;  // of each writer, at least
  const int most_kills_;
  const uint32_t seed_;
  Random random_;
  const std::chrono::steady_clock::time_point started_;
  const TempDirectory files_;
  const TempDirectory notes_;
  std::vector<std::unique_ptr<Program>> writers_;
  std::vector<std::unique_ptr<Program>> readers_;
  int kills_ = 0;
};

}  // namespace

Notes::Notes(const std::string& path, int writer)
    : writer_(writer), out_(path, std::ios::app | std::ios::binary) {}

void Notes::Begin(const std::string& text) { out_ << '?' << text << '\n' << std::flush; }

void Notes::End(bool stored) { out_ << (stored ? '+' : '-') << '\n' << std::flush; }

std::vector<Change> Notes::Read(const std::string& path, int writer) {
  std::vector<Change> changes;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (line.starts_with('?')) {
      changes.push_back({writer, line.substr(1), Outcome::kUnknown});
    } else if (!changes.empty()) {
      changes.back().outcome = line == "+" ? Outcome::kStored : Outcome::kRefused;
    }
  }
  return changes;
}

std::string Filled(int owner, uint32_t serial, uint32_t longest) {
  std::string text = std::to_string(owner) + "." + std::to_string(serial) + ".";
  const uint32_t more = serial * 7919 % (longest - static_cast<uint32_t>(text.size()));
  return text + std::string(more, static_cast<char>('a' + serial % 26));
}

Filling CheckFilled(const std::string& text, uint32_t longest) {
  Filling filling;
  char* end = nullptr;
  filling.owner = static_cast<int>(std::strtol(text.c_str(), &end, 10));
  if (*end == '.') filling.serial = static_cast<uint32_t>(std::strtoul(end + 1, &end, 10));
  Require(Filled(filling.owner, filling.serial, longest) == text, "not whole: " + text);
  return filling;
}

namespace {

class PlaceWriter : public Writer {
 public:
  PlaceWriter(uint32_t each, uint32_t longest, std::unique_ptr<Places> places)
      : longest_(longest), places_(std::move(places)), own_(each) {}

  void Make(uint32_t serial, Random* random, Notes* notes) override {
    const auto each = static_cast<uint32_t>(own_.size());
    const uint32_t first = static_cast<uint32_t>(notes->writer()) * each;
    const std::string text = Filled(notes->writer(), serial, longest_);
    notes->Begin(std::to_string(serial));
    const bool stored = places_->Set(first + serial % each, text);
    notes->End(stored);
    if (stored) own_[serial % each] = text;
    const uint32_t any = Below(random, each);
    Require(own_[any].empty() || places_->Get(first + any) == own_[any],
            "an own text is not there any more");
  }

 private:
  uint32_t longest_;
  std::unique_ptr<Places> places_;
  std::vector<std::string> own_;  // since the process began
};

uint32_t SerialAt(Places* places, uint32_t place, uint32_t each, uint32_t longest) {
  const std::string text = places->Get(place);
  if (text.empty()) return 0;
  const Filling filling = CheckFilled(text, longest);
  Require(
      static_cast<uint32_t>(filling.owner) == place / each && filling.serial % each == place % each,
      "another place's text");
  return filling.serial;
}

class PlaceReader : public Reader {
 public:
  PlaceReader(uint32_t each, uint32_t longest, std::unique_ptr<Places> places)
      : each_(each), longest_(longest), places_(std::move(places)), seen_(kWriters * each) {}

  uint32_t Check(Random* random) override {
    const uint32_t place = Below(random, static_cast<uint32_t>(seen_.size()));
    const uint32_t serial = SerialAt(places_.get(), place, each_, longest_);
    Require(serial >= seen_[place], "a text has gone back");
    seen_[place] = serial;
    return 1;
  }

 private:
  uint32_t each_;
  uint32_t longest_;
  std::unique_ptr<Places> places_;
  std::vector<uint32_t> seen_;
};

void CheckPlaces(const std::vector<Change>& changes, uint32_t each, uint32_t longest,
                 Places* places) {
  std::vector<std::vector<uint32_t>> possible(kWriters * each, {0});
  for (const Change& change : changes) {
    if (change.outcome == Outcome::kRefused) continue;
    const auto serial = static_cast<uint32_t>(std::stoul(change.text));
    auto& serials = possible[static_cast<uint32_t>(change.writer) * each + serial % each];
    if (change.outcome == Outcome::kStored) serials.clear();
    serials.push_back(serial);
  }
  for (uint32_t place = 0; place < possible.size(); ++place) {
    const uint32_t serial = SerialAt(places, place, each, longest);
    Require(std::ranges::count(possible[place], serial) > 0,
            "what was stored last is lost in place " + std::to_string(place));
  }
}

}  // namespace

Kind KindOfPlaces(const std::string& name, uint32_t changes, uint32_t each, uint32_t longest,
                  std::function<void()> prepare, std::function<std::unique_ptr<Places>()> make) {
  return {name,
          changes,
          std::move(prepare),
          [=](int) { return std::make_unique<PlaceWriter>(each, longest, make()); },
          [=] { return std::make_unique<PlaceReader>(each, longest, make()); },
          [=](const std::vector<Change>& made) { CheckPlaces(made, each, longest, make().get()); }};
}

void RunPrograms(const Kind& kind) { Programs(kind).Run(); }

int RunAsProgram(int count, char** arguments, const std::vector<Kind>& kinds) {
  if (count != 8 || std::string(arguments[1]) != kProgramArgument) return -1;
  const std::string name = arguments[2];
  const std::string role = arguments[3];
  const int number = std::atoi(arguments[4]);
  const auto changes = static_cast<uint32_t>(std::strtoul(arguments[5], nullptr, 10));
  Random random(static_cast<uint32_t>(std::strtoul(arguments[6], nullptr, 10)));
  try {
    for (const Kind& kind : kinds) {
      if (kind.name != name) continue;
      if (role == "reader") {
        ReadUntilDone(kind, arguments[7], number, &random);
      } else {
        Write(kind, arguments[7], number, changes, &random);
      }
      return 0;
    }
  } catch (const std::runtime_error& error) {
    std::cerr << name << ", " << role << " " << number << ": " << error.what() << std::endl;
  }
  return 1;
}

}  // namespace tervalon::testing
