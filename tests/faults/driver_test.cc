#include "tests/faults/driver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <set>

#include "tests/support/fault_services.h"
#include "tests/support/memory_limit.h"

namespace tervalon::testing {
namespace {

bool Everything() { return std::getenv("TERVALON_FAULTS_ALL") != nullptr; }

constexpr int64_t kFaultsInPlainRuns = 60;  // of each scenario

constexpr auto kFileCalls = static_cast<int>(FileCall::kCount);
enum MemoryCall { kAllocation = kFileCalls, kBlock, kBlockGrowth, kBlockLock, kCalls };

class QuietDesktop : public RecordingDesktop {
 public:
  int32_t ShowMessage(TvWindow /*owner*/, const char* /*text*/, const char* /*caption*/,
                      uint32_t /*style*/) override {
    return platform::kAnswerOk;
  }
  void Beep(uint32_t /*sound*/) override {}
  void DebugText(const char* /*text*/) override {}
};

// The machine that a scenario runs on.
class Machine {
 public:
  MemoryFileSystem& disk() { return disk_; }

  int64_t Calls(int call) {
    return call == kAllocation ? memory_limit.allocations : PointOf(call).calls();
  }
  std::array<int64_t, kCalls> Calls() {
    std::array<int64_t, kCalls> calls = {};
    for (int call = 0; call < kCalls; ++call) calls[static_cast<size_t>(call)] = Calls(call);
    return calls;
  }

  void Fail(int call, int64_t n, Effect effect, bool onwards) {
    files_->SetEffect(effect);
    if (call != kAllocation) return PointOf(call).FailNth(n, onwards);
    memory_limit.first_failure = memory_limit.allocations + n;
    memory_limit.last_failure = onwards ? INT64_MAX : memory_limit.first_failure;
  }

  void Heal() {
    memory_limit.first_failure = 0;
    for (int call = 0; call < kCalls; ++call) {
      if (call != kAllocation) PointOf(call).Heal();
    }
  }

  int64_t open_files() const { return files_->open_files(); }
  int64_t live_blocks() const { return memory_->live_blocks(); }

 private:
  FaultPoint& PointOf(int call) {
    if (call < kFileCalls) return files_->On(static_cast<FileCall>(call));
    return call == kBlock         ? memory_->allocate
           : call == kBlockGrowth ? memory_->reallocate
                                  : memory_->lock;
  }

  MemoryFileSystem disk_;
  platform::ScopedReplacement<platform::FileSystem> disk_in_place_{&disk_};
  std::unique_ptr<FaultyFileSystem> files_ = std::make_unique<FaultyFileSystem>();
  platform::ScopedReplacement<platform::FileSystem> files_in_place_{files_.get()};
  std::unique_ptr<FaultyMemory> memory_ = std::make_unique<FaultyMemory>();
  platform::ScopedReplacement<platform::MovableMemory> memory_in_place_{memory_.get()};
  QuietDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> desktop_in_place_{&desktop_};
};

struct Result {
  int32_t code = 0;
  Answer answer;
  bool operator==(const Result&) const = default;
  friend void PrintTo(const Result& result, std::ostream* out) { *out << "code " << result.code; }
};

struct Fault {
  size_t step;
  int call;
  int64_t n;
  Effect effect;
  bool onwards;
};

struct Figures {
  int64_t faults = 0;
  int64_t calls = 0;
  int64_t cuts = 0;
};

constexpr const char* kCallNames[] = {
    "open",   "read",       "write",  "position",   "size",           "close",
    "status", "target",     "access", "remove",     "make directory", "remove directory",
    "list",   "touch",      "move",   "open alone", "sync",           "resize",
    "lock",   "allocation", "block",  "growth",     "lock of a block"};
static_assert(std::size(kCallNames) == kCalls);

using File = std::optional<std::vector<uint8_t>>;

File FileOf(const Disk& disk, const std::string& path) {
  const auto found = disk.files.find(path);
  return found != disk.files.end() ? File(found->second) : std::nullopt;
}

bool Begins(const File& whole, const File& begin) {
  return !begin || (whole && whole->size() >= begin->size() &&
                    std::equal(begin->begin(), begin->end(), whole->begin()));
}

// Whether a file is the old or the new one, or one that has grown from the one towards the other.
bool IsBetween(const File& file, const File& before, const File& after) {
  return file == before || file == after || (file && Begins(after, file) && Begins(file, before));
}

class Driver {
 public:
  explicit Driver(const Scenario& scenario) : scenario_(scenario) {
    for (int warm = 0; warm < 3; ++warm) RunUndisturbed();
    machine_.disk().Load({});
  }

  void FailEachCall() {
    ForEachKind([this](const Fault&, int64_t calls) { all_calls_ += calls; });
    ForEachKind([this](const Fault& fault, int64_t calls) { FailEach(fault, calls); });
    std::cout << scenario_.name << ": " << figures_.faults << " runs with a fault, of "
              << figures_.calls << " that there are" << std::endl;
  }

  void CutPower();

 private:
  // Every step with every kind of fault, and how many calls there are to fail.
  template <typename Use>
  void ForEachKind(Use use) {
    for (size_t step = 0; step < scenario_.steps.size(); ++step) {
      for (int call = 0; call < kCalls; ++call) {
        if (call == kAllocation && scenario_.platform_caches) continue;
        for (const Effect effect : EffectsOf(call)) {
          for (const bool onwards : {false, true}) {
            use({step, call, 0, effect, onwards}, calls_[step][static_cast<size_t>(call)]);
          }
        }
      }
    }
  }

  bool IsSpared(const std::string& path, const File& file, size_t step) const;

  static std::vector<Effect> EffectsOf(int call) {
    if (call >= kFileCalls) return {Effect::kNone};
    switch (static_cast<FileCall>(call)) {
      case FileCall::kWrite:
        return {Effect::kNone, Effect::kHalf, Effect::kWhole};
      case FileCall::kRead:
        return {Effect::kNone, Effect::kHalf};
      case FileCall::kRemove:
      case FileCall::kMakeDirectory:
      case FileCall::kRemoveDirectory:
      case FileCall::kMove:
      case FileCall::kResize:
        return {Effect::kNone, Effect::kWhole};
      default:
        return {Effect::kNone};
    }
  }

  void FailEach(Fault fault, int64_t calls) {
    for (fault.n = 1; fault.n <= calls; ++fault.n) {
      const int64_t stride = Everything() ? 1 : 1 + all_calls_ / kFaultsInPlainRuns;
      if (++figures_.calls % stride != 0) continue;
      if (Failures() > 0) return;
      ++figures_.faults;
      SCOPED_TRACE(::testing::Message()
                   << scenario_.name << ": " << scenario_.steps[fault.step].name << ", "
                   << kCallNames[fault.call] << " " << fault.n << " of " << calls << ", effect "
                   << static_cast<int>(fault.effect)
                   << (fault.onwards ? ", and all later ones" : ""));
      const int64_t blocks = memory_limit.blocks;
      const int64_t movable = machine_.live_blocks();
      Try(fault);
      EndProcess();
      machine_.disk().Load({});
      EXPECT_EQ(machine_.live_blocks(), movable) << "blocks are left over";
      if (!scenario_.platform_caches && Failures() == 0) {
        EXPECT_EQ(memory_limit.blocks, blocks) << "memory is left over";
      }
    }
  }

  static int Failures() { return ::testing::Test::HasFailure() ? 1 : 0; }

  Result Run(const Step& step) {
    Result result;
    memory_limit.watched = true;
    try {
      result.code = step.run(&result.answer);
    } catch (...) {
      memory_limit.watched = false;
      ADD_FAILURE() << step.name << ": an exception left the library";
    }
    memory_limit.watched = false;
    return result;
  }

  void EndProcess() {
    machine_.Heal();
    scenario_.reset();
    EXPECT_EQ(machine_.open_files(), 0) << "files are left open";
  }

  Disk Now() {
    Disk disk = machine_.disk().Now();
    scenario_.normalise(&disk);
    return disk;
  }

  void RunUndisturbed() {
    calls_.clear();
    results_.clear();
    states_.clear();
    ends_.clear();
    machine_.disk().Load({});
    scenario_.prepare();
    scenario_.reset();
    prepared_ = machine_.disk().Now();
    machine_.disk().Load(prepared_);
    machine_.disk().Record(true);
    states_.push_back(Now());
    for (const Step& step : scenario_.steps) {
      const auto before = machine_.Calls();
      const int64_t forced = machine_.disk().forced();
      results_.push_back(Run(step));
      EXPECT_EQ(results_.back().code, step.success) << scenario_.name << ": " << step.name;
      EXPECT_LE(machine_.disk().forced() - forced, step.waits)
          << scenario_.name << ": " << step.name << " waits for the disk";
      auto after = machine_.Calls();
      for (size_t call = 0; call < kCalls; ++call) after[call] -= before[call];
      calls_.push_back(after);
      states_.push_back(Now());
      ends_.push_back(machine_.disk().steps().size());
    }
    journal_ = machine_.disk().steps();
    machine_.disk().Record(false);
    EndProcess();
    for (const Disk& state : states_) {
      for (const auto& file : state.files) known_.insert(file.first);
    }
  }

  void Try(const Fault& fault) {
    machine_.disk().Load(prepared_);
    for (size_t i = 0; i < fault.step; ++i) ASSERT_EQ(Run(scenario_.steps[i]), results_[i]);
    const Step& step = scenario_.steps[fault.step];
    machine_.Fail(fault.call, fault.n, fault.effect, fault.onwards);
    const Result result = Run(step);
    if (!fault.onwards) machine_.Heal();
    const bool failed = result.code != step.success;
    if (failed) {
      EXPECT_THAT(step.failures, ::testing::Contains(result.code)) << "not documented";
    } else {
      EXPECT_EQ(result, results_[fault.step]) << "another answer";
    }
    ExpectState(fault, failed);
    if (Failures() > 0) return;
    bool goes_on = !fault.onwards;
    if (goes_on && failed) {
      // What is done all the same is not to be done twice.
      const bool done = states_[fault.step] != states_[fault.step + 1] &&
                        OnlyKnown(Now()) == states_[fault.step + 1];
      goes_on = (step.flags & (kOnce | kEnds)) == 0 && !done;
      if (goes_on) {
        EXPECT_EQ(Run(step), results_[fault.step]) << "repeated";
      }
    }
    for (size_t i = fault.step + 1; i < scenario_.steps.size(); ++i) {
      const Step& later = scenario_.steps[i];
      if (goes_on) {
        ASSERT_EQ(Run(later), results_[i]) << later.name << " after it";
      } else if ((later.flags & kEnds) != 0) {
        const int32_t code = Run(later).code;
        if (code != later.success) {
          EXPECT_THAT(later.failures, ::testing::Contains(code)) << later.name << " after it";
        }
      }
    }
    EndProcess();
    const bool left_over = MayLeaveFiles(fault);
    if (goes_on) {
      EXPECT_TRUE(Same(left_over ? OnlyKnown(Now()) : Now(), states_.back())) << "at the end";
    } else {
      ExpectParts(fault.step, states_.size() - 1, left_over);
    }
    if (Failures() > 0) return;
    RunAgain();
  }

  // The same scenario, with whatever a failure has left beside its files.
  void RunAgain() {
    Disk disk = machine_.disk().Now();
    std::erase_if(disk.files, [&](const auto& file) { return known_.contains(file.first); });
    std::erase_if(disk.directories, [&](const std::string& directory) {
      return !prepared_.directories.contains(directory);
    });
    for (const auto& file : prepared_.files) disk.files.insert(file);
    disk.directories.insert(prepared_.directories.begin(), prepared_.directories.end());
    std::erase_if(disk.files, [&](const auto& file) {
      return !disk.directories.contains(file.first.substr(0, file.first.rfind('\\')));
    });
    machine_.disk().Load(disk);
    for (size_t i = 0; i < scenario_.steps.size(); ++i) {
      ASSERT_EQ(Run(scenario_.steps[i]), results_[i]) << scenario_.steps[i].name << ", run again";
    }
    EndProcess();
    EXPECT_TRUE(Same(Now(), states_.back())) << "run again";
  }

  // What could not be removed is for the next to remove.
  static bool MayLeaveFiles(const Fault& fault) {
    return fault.onwards || fault.call == kAllocation ||
           fault.call == static_cast<int>(FileCall::kRemove);
  }

  void ExpectState(const Fault& fault, bool failed) {
    const Disk& before = states_[fault.step];
    const Disk& after = states_[fault.step + 1];
    const Disk now = Now();
    if (!MayLeaveFiles(fault)) ExpectOnlyKnown(now);
    if (!failed) {
      EXPECT_TRUE(Same(OnlyKnown(now), after)) << "it answered success";
    } else if ((scenario_.steps[fault.step].flags & kParts) != 0) {
      ExpectParts(fault.step, fault.step + 1, true);
    } else {
      const Disk known = OnlyKnown(now);
      if (known == before || known == after) return;
      ExpectParts(fault.step, fault.step + 1, true);
      size_t changed = 0;
      for (const std::string& path : known_) {
        const auto file = FileOf(known, path);
        const auto file_before = FileOf(before, path);
        const auto file_after = FileOf(after, path);
        if (file != file_before && file != file_after) continue;
        if (file_before != file_after && file == file_after) ++changed;
      }
      EXPECT_EQ(changed, 0U) << "only some of it is done";
    }
  }

  Disk OnlyKnown(Disk disk) const {
    std::erase_if(disk.files, [&](const auto& file) { return !known_.contains(file.first); });
    return disk;
  }

  // Every file is as one of the states from `first` to `last` has it, or between two of them.
  void ExpectParts(size_t first, size_t last, bool left_over) {
    const Disk now = Now();
    for (const std::string& path : known_) {
      const auto file = FileOf(now, path);
      bool found = false;
      for (size_t i = first; i <= last && !found; ++i) {
        found =
            IsBetween(file, FileOf(states_[i], path), FileOf(states_[std::min(i + 1, last)], path));
      }
      EXPECT_TRUE(found) << path << " is " << (file ? "neither old nor new" : "lost");
    }
    if (!left_over) ExpectOnlyKnown(now);
  }

  void ExpectOnlyKnown(const Disk& disk) {
    for (const auto& file : disk.files) {
      EXPECT_TRUE(known_.contains(file.first)) << "left over: " << file.first;
    }
  }

  static ::testing::AssertionResult Same(const Disk& left, const Disk& right) {
    if (left == right) return ::testing::AssertionSuccess();
    auto result = ::testing::AssertionFailure();
    std::set<std::string> paths = left.directories;
    paths.insert(right.directories.begin(), right.directories.end());
    for (const std::string& path : paths) {
      if (left.directories.contains(path) != right.directories.contains(path))
        result << path << " ";
    }
    paths.clear();
    for (const Disk* disk : {&left, &right}) {
      for (const auto& file : disk->files) paths.insert(file.first);
    }
    for (const std::string& path : paths) {
      const auto a = FileOf(left, path);
      const auto b = FileOf(right, path);
      if (a == b) continue;
      result << path << ": " << (a ? std::to_string(a->size()) + " bytes" : "absent")
             << ", but expected " << (b ? std::to_string(b->size()) + " bytes" : "absent") << "; ";
    }
    return result;
  }

  const Scenario& scenario_;
  Machine machine_;
  Disk prepared_;
  std::vector<std::array<int64_t, kCalls>> calls_;  // of each step
  std::vector<Result> results_;
  std::vector<Disk> states_;  // before the first step, and after each
  std::vector<size_t> ends_;  // of each step, in the journal
  std::vector<DiskStep> journal_;
  std::set<std::string> known_;  // files that are there between steps
  int64_t all_calls_ = 0;
  Figures figures_;
};

// Whether a file that a power cut left in the middle of a step is what was promised.
bool Driver::IsSpared(const std::string& path, const File& file, size_t step) const {
  const size_t last = std::min(step + 1, states_.size() - 1);
  const Spared spared = scenario_.spared(path);
  if (spared == Spared::kReported) {
    if (file == FileOf(states_[step], path) || file == FileOf(states_[last], path)) return true;
    size_t there = step;  // before it was erased, which nothing forces
    while (there > 0 && !FileOf(states_[there], path)) --there;
    return there < step && file == FileOf(states_[there], path);
  }
  size_t state = step;  // the last one in which it was forced
  const auto forced_by = [&](size_t i) {
    const std::string& forces = scenario_.steps[i].forces;
    return !forces.empty() && path.find(forces) != std::string::npos;
  };
  while (state > 0 && !forced_by(state - 1)) --state;
  const File forced = FileOf(states_[state], path);
  for (size_t i = state; i <= last; ++i) {
    const File later = FileOf(states_[i], path);
    if (spared == Spared::kGrown ? !Begins(later, forced) : later != forced) return true;
  }
  return spared == Spared::kGrown ? Begins(file, forced) : file == forced;
}

void Driver::CutPower() {
  if (journal_.empty()) return;  // it only reads
  std::mt19937 random(20240607);
  const int cuts = Everything() ? 20000 : 50;
  std::set<size_t> moments;
  for (int i = 0; i < cuts && !Failures(); ++i) {
    const size_t moment = random() % (journal_.size() + 1);
    const auto step = static_cast<size_t>(std::upper_bound(ends_.begin(), ends_.end(), moment) -
                                          ends_.begin());  // is under way
    SCOPED_TRACE(::testing::Message()
                 << scenario_.name << ": cut " << i << " after " << moment << " of "
                 << journal_.size() << ", in "
                 << (step < ends_.size() ? scenario_.steps[step].name : "the end"));
    moments.insert(moment);
    const Disk left = MemoryFileSystem::AfterPowerCut(prepared_, journal_, moment, &random);
    machine_.disk().Load(left);
    Disk normal = left;
    scenario_.normalise(&normal);
    for (const std::string& path : known_) {
      if (path.ends_with(".lock")) continue;  // the next user removes it
      const auto file = FileOf(normal, path);
      EXPECT_TRUE(IsSpared(path, file, step)) << path << (file ? " has suffered" : " is lost");
    }
    scenario_.read_all();
    EndProcess();
    ++figures_.cuts;
  }
  std::cout << scenario_.name << ": " << figures_.cuts << " power cuts at " << moments.size()
            << " moments of " << journal_.size() << std::endl;
}

}  // namespace

void Answer::Add(const void* bytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    value_ = (value_ ^ static_cast<const uint8_t*>(bytes)[i]) * 0x100000001B3;
  }
}

void FailEachCall(const Scenario& scenario) { Driver(scenario).FailEachCall(); }
void CutPower(const Scenario& scenario) { Driver(scenario).CutPower(); }

}  // namespace tervalon::testing
