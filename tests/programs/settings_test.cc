// Any file that is replaced, and the settings file.

#include "tervalon/settings.h"

#include <map>

#include "platform/file_change.h"
#include "tests/programs/kinds.h"

namespace tervalon::testing {
namespace {

using platform::ChangeLock;
using platform::Files;

// A file that holds the count of its changes.
constexpr char kCounterPath[] = "counter";
constexpr uint32_t kLongestCounter = 20000;

uint32_t ReadCounter() {
  bool absent = false;
  const auto file = Files().Open(kCounterPath, platform::OpenMode::kRead, &absent);
  if (absent) return 0;
  Require(file != nullptr, "the file cannot be opened");
  std::string text(kLongestCounter, '\0');
  size_t read = 0;
  Require(file->ReadAt(0, text.data(), text.size(), &read), "the file cannot be read");
  text.resize(read);
  return CheckFilled(text, kLongestCounter).serial;
}

class CounterWriter : public Writer {
 public:
  void Make(uint32_t /*serial*/, Random* /*random*/, Notes* notes) override {
    std::unique_ptr<ChangeLock> lock;
    while (lock == nullptr) lock = ChangeLock::Take(kCounterPath);
    const uint32_t next = ReadCounter() + 1;
    notes->Begin(std::to_string(next));
    const std::string text = Filled(notes->writer(), next, kLongestCounter);
    platform::Replacement replacement(lock.get());
    replacement.Write(0, {reinterpret_cast<const uint8_t*>(text.data()), text.size()});
    notes->End(replacement.Commit(platform::Force::kNo) == platform::ReplaceResult::kDone);
  }
};

class CounterReader : public Reader {
 public:
  uint32_t Check(Random* /*random*/) override {
    const uint32_t count = ReadCounter();
    Require(count >= seen_, "the count has gone back");
    seen_ = count;
    return 1;
  }

 private:
  uint32_t seen_ = 0;
};

void CheckCounter(const std::vector<Change>& changes) {
  std::map<std::string, int> stored;
  size_t unknown = 0;
  for (const Change& change : changes) {
    if (change.outcome == Outcome::kRefused) continue;
    if (change.outcome == Outcome::kUnknown) {
      ++unknown;
    } else {
      Require(++stored[change.text] == 1, "two changes have made the count " + change.text);
    }
  }
  const uint32_t count = ReadCounter();
  Require(count >= stored.size() && count <= stored.size() + unknown,
          "the count " + std::to_string(count) + " is not that of the changes");
  std::vector<platform::DirectoryEntry> entries;
  // What the last kill may have left goes with the next change.
  Require(ChangeLock::Take(kCounterPath) != nullptr, "no lock");
  Require(Files().List(".", &entries) && entries.size() == 1, "something is left behind");
}

class SettingsPlaces : public Places {
 public:
  bool Set(uint32_t place, const std::string& text) override {
    std::string value = text;
    return SetIniString(Section(place).c_str(), Key(place).c_str(), value.data(), 0) != 0;
  }

  std::string Get(uint32_t place) override {
    char text[kLongestValue + 1];
    GetIniString(Section(place).c_str(), Key(place).c_str(), "", text, sizeof(text));
    return text;
  }

  static constexpr uint32_t kLongestValue = 200;

 private:
  static std::string Section(uint32_t place) { return "Section " + std::to_string(place % 5); }
  static std::string Key(uint32_t place) { return "Key " + std::to_string(place); }
};

}  // namespace

Kind ReplacedFileKind() {
  return {"ReplacedFile",
          300,
          [] {},
          [](int) { return std::make_unique<CounterWriter>(); },
          [] { return std::make_unique<CounterReader>(); },
          CheckCounter};
}

Kind SettingsKind() {
  return KindOfPlaces(
      "Settings", 500, 6, SettingsPlaces::kLongestValue, [] {},
      [] { return std::make_unique<SettingsPlaces>(); });
}

}  // namespace tervalon::testing
