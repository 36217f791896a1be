// Memory blocks, what an application registers, messages, numbers and, where windows are records in
// memory, windows and atoms.

#include <array>
#include <cmath>
#include <cstring>
#include <map>

#include "platform/atoms.h"
#include "platform/desktop.h"
#include "platform/headless/window_records.h"
#include "tervalon/application.h"
#include "tervalon/linearisation.h"
#include "tervalon/memory.h"
#include "tervalon/noise_statistics.h"
#include "tervalon/number_format.h"
#include "tervalon/trace_strings.h"
#include "tervalon/window_placement.h"
#include "tests/support/families.h"

namespace tervalon::testing {
namespace {

class MemoryBlocks : public Family {
 public:
  explicit MemoryBlocks(const Workplace& place) : mark_(static_cast<char>('A' + place.worker)) {}
  ~MemoryBlocks() override {
    for (auto& [block, state] : blocks_) Free(block);
  }

  void Step(Random* random) override {
    if (blocks_.empty() || (blocks_.size() < 20 && Below(random, 4) == 0)) {
      const uint32_t size = Below(random, 3000) + 1;
      const TvMemory block = TvMemAlloc(size);
      Require(block != nullptr && blocks_.emplace(block, State{size, 1}).second, "TvMemAlloc");
      std::memset(TvMemLock(block), mark_, size);
      return;
    }
    auto at = std::next(blocks_.begin(), Below(random, static_cast<uint32_t>(blocks_.size())));
    auto& [block, state] = *at;
    const auto* bytes = static_cast<const char*>(TvMemLock(block));
    ++state.locks;
    Require(bytes != nullptr && TvMemSize(block) >= state.size && bytes[0] == mark_ &&
                bytes[state.size - 1] == mark_,
            "another block");
    Require(TvMemFree(block) == 0, "a locked block is freed");
    for (uint32_t i = 1 + Below(random, 2); i > 0; --i) {
      if (state.locks > 0) --state.locks;
      Require(TvMemUnlock(block) == state.locks, "TvMemUnlock");
    }
    if (state.locks > 0) return;
    Free(block);
    blocks_.erase(at);
  }

 private:
  struct State {
    uint32_t size;
    int32_t locks;
  };
  static void Free(TvMemory block) {
    while (TvMemUnlock(block) > 0) {
    }
    TvMemFree(block);
  }

  char mark_;
  std::map<TvMemory, State> blocks_;
};

// Slots of the worker's own, and messages, which the ground's handler answers.
class Registrations : public Family {
 public:
  explicit Registrations(const Workplace& place)
      : first_(1 + 4 * static_cast<int32_t>(place.worker)) {}
  ~Registrations() override {
    for (int32_t slot = first_; slot < first_ + 4; ++slot) {
      AppSetWindow(slot, nullptr);
      AppSetService(slot, nullptr, 0);
    }
  }

  void Step(Random* random) override {
    const uint32_t number = Below(random, 4);
    const int32_t slot = first_ + static_cast<int32_t>(number);
    uintptr_t& value = values_[number];
    Require(
        value == 0 || (AppGetWindow(slot) == WindowOf(value) && Service(slot) == WindowOf(value)),
        "another window");
    value = Below(random, 1000) + 1;
    AppSetWindow(slot, WindowOf(value));
    AppSetService(slot, WindowOf(value), 1);
    const std::string text = "question " + std::to_string(value);
    const int32_t answer = platform::TheDesktop().ShowMessage(nullptr, text.c_str(), "caption", 4);
    Require(answer == (value % 2 == 0 ? 6 : 7), "another answer");
  }

 private:
  static TvWindow WindowOf(uintptr_t value) { return reinterpret_cast<TvWindow>(value); }
  static TvWindow Service(int32_t slot) {
    TvWindow window = nullptr;
    return AppGetService(slot, &window) == 1 ? window : nullptr;
  }

  int32_t first_;
  std::array<uintptr_t, 4> values_ = {};
};

// Functions without any state: the same answer as the first time.
class Numbers : public Family {
 public:
  explicit Numbers(const Workplace& /*place*/) {
    for (size_t i = 0; i < x_.size(); ++i) {
      x_[i] = static_cast<float>(i) * 1.25F;
      y_[i] = std::sin(static_cast<float>(i)) * 100;
    }
    first_ = Calculate();
  }

  void Step(Random* /*random*/) override { Require(Calculate() == first_, "another number"); }

 private:
  std::string Calculate() const {
    char text[64];
    std::string all = ftoa(1.0 / 3, text, 8);
    all += gtoa(6.02214e23, 5, text);
    float list[20];
    const char* next = nullptr;
    DmRawStrToMass("184.1+200.5-150,TIC", list, 19, &next);
    DmRawMassToStr(list, text);
    all += text;
    float noise = 0;
    ChroStatCalcNoiseLevel(y_.data(), static_cast<int32_t>(y_.size()), 2, &noise);
    all += gtoa(noise, 9, text);
    LinDataset set = {};
    LineariseDataset(x_.data(), y_.data(), static_cast<int32_t>(x_.size()), 0.5F, &set);
    Require(set.count > 100, "LineariseDataset");
    const auto* values = static_cast<const float*>(TvMemLock(set.values));
    all += gtoa(values[set.count / 2], 9, text);
    TvMemUnlock(set.values);
    Require(TvMemFree(set.values) == 1, "TvMemFree");
    return all;
  }

  std::array<float, 200> x_;
  std::array<float, 200> y_;
  std::string first_;
};

#if !defined(_WIN32)
class WindowsAndAtoms : public Family {
 public:
  explicit WindowsAndAtoms(const Workplace& place)
      : windows_(static_cast<platform::WindowRecords&>(platform::Windows())),
        name_("Atom" + std::to_string(place.worker)) {}
  ~WindowsAndAtoms() override {
    for (const auto& [window, rect] : rects_) windows_.Destroy(window);
  }

  void Step(Random* random) override {
    const std::string name = name_ + std::to_string(Below(random, 20));
    const uint16_t atom = platform::Atoms().Add(name.c_str());
    Require(atom != 0 && platform::Atoms().Name(atom, 50) == name, "another atom");
    platform::Atoms().Delete(atom);
    if (rects_.empty() || (rects_.size() < 10 && Below(random, 8) == 0)) {
      const TvWindow window = windows_.Create({.window_class = "Test"});
      Require(window != nullptr, "Create");
      Place(window, random);
      windows_.SetHandler(window, [](TvWindow self, uint32_t message, uintptr_t, intptr_t) {
        platform::Windows().Rect(self);  // calls back
        return static_cast<intptr_t>(message) + 1;
      });
      return;
    }
    const auto at = std::next(rects_.begin(), Below(random, static_cast<uint32_t>(rects_.size())));
    const TvWindow window = at->first;
    const TvRect rect = at->second;
    IniWindPos placement = {};
    ObtainWindPos(window, &placement);
    Require(placement.left == rect.left && placement.bottom == rect.bottom, "another place");
    Require(windows_.Send(window, 0x400, 0, 0) == 0x401, "another answer of a window");
    if (Below(random, 8) == 0) {
      windows_.Destroy(window);
      rects_.erase(at);
    } else {
      Place(window, random);
    }
  }

 private:
  void Place(TvWindow window, Random* random) {
    const auto left = static_cast<int32_t>(Below(random, 100));
    const TvRect rect = {left, left + 10, left + 200, left + 100};
    windows_.Move(window, rect, false);
    rects_[window] = rect;
  }

  platform::WindowRecords& windows_;
  std::string name_;
  std::map<TvWindow, TvRect> rects_;
};
#endif

}  // namespace

std::vector<FamilyKind> MemoryFamilies() {
  return {
#if !defined(_WIN32)
    {"WindowsAndAtoms", 30, Make<WindowsAndAtoms>},
#endif
        {"MemoryBlocks", 50, Make<MemoryBlocks>}, {"Registrations", 50, Make<Registrations>}, {
      "Numbers", 10, Make<Numbers>
    }
  };
}

}  // namespace tervalon::testing
