// The global store, which every program writes back whole, beside keys of the programs' own.

#include "settings/system_list.h"

#include <map>
#include <memory>
#include <string>

#include "platform/profile.h"
#include "settings/settings.h"
#include "tervalon/settings.h"
#include "tests/programs/kinds.h"

namespace tervalon::testing {
namespace {

constexpr uint32_t kLongestValue = 120;
constexpr int16_t kSize = kLongestValue + 1;

// The one value that all keys of the list have; empty before the first write-back. `read` copies a
// key's value to a buffer of kSize bytes.
template <typename Read>
std::string ListOf(const Read& read) {
  std::string value;
  for (const settings::SystemListRow& row : settings::SystemList()) {
    char text[kSize];
    read(row, text);
    if (&row == settings::SystemList().data()) value = text;
    Require(value == text, "a list of two programs' values");
  }
  if (!value.empty()) CheckFilled(value, kLongestValue);
  return value;
}

std::string ListInStore() {
  return ListOf([](const settings::SystemListRow& row, char* text) {
    Require(GetGlobalString(row.section, row.key, nullptr, text, kSize) >= 0, "a key is missing");
  });
}

class ListWriter : public Writer {
 public:
  void Make(uint32_t serial, Random* /*random*/, Notes* notes) override {
    Require(InitGlobal(0) == 1, "no store");
    ListInStore();
    for (const settings::SystemListRow& row : settings::SystemList()) {
      std::string value = Filled(notes->writer(), serial, kLongestValue);
      Require(SetGlobalString(row.section, row.key, value.data(), 0) == 1, "a key is missing");
    }
    notes->Begin(std::to_string(serial));
    notes->End(FreeGlobal(0) == 1);

    const std::string section = "Writer" + std::to_string(notes->writer());
    char own[16];
    GetIniString(section.c_str(), "Own", "", own, sizeof(own));
    Require(own_.empty() || own_ == own, "an own key was lost");
    std::string value = std::to_string(serial);
    if (SetIniString(section.c_str(), "Own", value.data(), 0) != 0) own_ = value;
  }

 private:
  std::string own_;  // since the process began
};

class ListReader : public Reader {
 public:
  uint32_t Check(Random* /*random*/) override {
    platform::ProfileText file;
    Require(settings::LoadSettings(&file), "the file cannot be read");
    const std::string value = ListOf([&](const settings::SystemListRow& row, char* text) {
      file.Read(row.section, row.key, nullptr, text, kSize);
    });
    if (value.empty()) return 1;
    const Filling filling = CheckFilled(value, kLongestValue);
    uint32_t& seen = seen_[filling.owner];
    Require(filling.serial >= seen, "a list has gone back");
    seen = filling.serial;
    return 1;
  }

 private:
  std::map<int, uint32_t> seen_;
};

void CheckList(const std::vector<Change>& changes) {
  std::map<int, uint32_t> stored;
  for (const Change& change : changes) {
    if (change.outcome == Outcome::kStored) {
      stored[change.writer] = static_cast<uint32_t>(std::stoul(change.text));
    }
  }
  settings::ResetSettingsFile(nullptr);  // this process may have used another one
  Require(InitGlobal(0) == 1, "no store");
  const Filling last = CheckFilled(ListInStore(), kLongestValue);
  settings::ResetGlobalStore();
  settings::ResetSettingsFile(nullptr);
  Require(last.serial >= stored[last.owner], "a list that was stored is not there any more");
}

}  // namespace

Kind SystemListKind() {
  return {"SystemList",
          30,
          [] {},
          [](int) { return std::make_unique<ListWriter>(); },
          [] { return std::make_unique<ListReader>(); },
          CheckList};
}

}  // namespace tervalon::testing
