#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz/targets.h"
#include "tervalon/application.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_history.h"

namespace tervalon::fuzz {
namespace {

constexpr const char* kPaths[] = {"R.RAW\\_HISTORY.INF", "R.RAW\\_ANALOGS.INF",
                                  "R.RAW\\_ANALOGS.DAT", "TERVALON.INI"};

struct History {
  RawHistoryHeader header = {};
  std::vector<RawHistoryEntry> entries = std::vector<RawHistoryEntry>(RAW_HISTORY_ENTRIES);

  int32_t Read(int32_t handle) { return RawReadProcInfo(handle, &header, entries.data()); }

  size_t used() const { return std::min<size_t>(header.highest_index, RAW_HISTORY_MAX_INDEX) + 1; }

  bool operator==(const History& other) const {
    return std::memcmp(&header, &other.header, sizeof(header)) == 0 &&
           std::memcmp(entries.data(), other.entries.data(), used() * sizeof(entries[0])) == 0;
  }

  void Walk(int16_t tree, Options* options) {
    for (int32_t index = 0; index <= RAW_HISTORY_MAX_INDEX; index += 1 + options->Pick(32)) {
      const auto at = static_cast<uint16_t>(index);
      for (int32_t mode = 0; mode <= RAW_HISTORY_PARENT; ++mode) {
        const int32_t found = RawHistGetProcess(&header, entries.data(), tree, at, mode & 1, mode);
        FUZZ_CHECK((found >> 16) >= 0 && static_cast<size_t>(found >> 16) < used());
      }
    }
    RawHistSearchTag(&header, entries.data(), tree, options->TakeText().c_str());
  }

  void Describe(const RawHistoryProcess& process, Options* options) const {
    const int32_t capacity = 1 + options->Pick(120);
    std::vector<char> text(static_cast<size_t>(capacity), 'x');
    const auto flags = static_cast<uint16_t>(options->Pick(2) != 0 ? RAW_DESCRIBE_FULL
                                                                   : options->Take<uint16_t>());
    FUZZ_CHECK(RawHistDescription(&process, flags, text.data(), capacity) == 1);
    FUZZ_CHECK(std::find(text.begin(), text.end(), '\0') != text.end());
  }

  void Change(int16_t tree, Options* options) {
    const auto index = options->Take<uint8_t>();
    if (options->Pick(2) != 0) {
      RawHistDeleteProcess(&header, entries.data(), tree, index, options->Pick(2));
      return;
    }
    RawHistoryEntry entry = {};
    const auto name = options->TakeText();
    name.copy(entry.process.name, sizeof(entry.process.name));
    if (RawHistAddProcess(&header, entries.data(), tree, index, &entry) == RAW_OK) {
      FUZZ_CHECK(entry.index >= 1 && entry.index <= RAW_HISTORY_MAX_INDEX);
      const int32_t up = RawHistGetProcess(&header, entries.data(), tree, entry.index, 1, 0);
      FUZZ_CHECK((up & 0xFFFF) == entry.index);  // in a file whose entries share numbers, the first
    }
  }
};

void ReadHistory(int32_t handle, Options* options) {
  RawHistoryHeader header_only = {};
  RawReadProcInfo(handle, &header_only, nullptr);
  History history;
  const int32_t error = history.Read(handle);
  if (error != RAW_OK && error != RAW_HISTORY_CUT_OFF) return;
  for (size_t i = 1; i < history.used(); ++i) history.Describe(history.entries[i].process, options);
  for (int i = options->Pick(16); i >= 0; --i) {
    const auto tree = static_cast<int16_t>(options->Pick(34));
    history.Walk(tree, options);
    history.Change(tree, options);
  }
  const int32_t written = RawHistUpdateInfo(handle, &history.header, history.entries.data());
  if (written != RAW_OK) return;
  History first;
  History again;
  const int32_t reading = first.Read(handle);
  FUZZ_CHECK(reading == RAW_OK || first.header.highest_index > RAW_HISTORY_MAX_INDEX);
  FUZZ_CHECK(RawHistUpdateInfo(handle, &first.header, first.entries.data()) == RAW_OK);
  FUZZ_CHECK(again.Read(handle) == reading);
  FUZZ_CHECK(again == first);
}

void ReadAnalogs(int32_t handle, Options* options) {
  std::vector<RawAnalogDescriptor> descriptors(RAW_MAX_ANALOG_CHANNELS);
  int16_t found = RAW_MAX_ANALOG_CHANNELS;
  if (RawReadAnalogInf(handle, &found, descriptors.data()) != RAW_OK) found = 0;
  FUZZ_CHECK(found >= 0 && found <= RAW_MAX_ANALOG_CHANNELS);
  const int16_t channels = options->Pick(4) != 0 ? found : options->Take<int16_t>();
  int32_t records = -1;
  if (RawReadAnalogSize(handle, channels, &records) != RAW_OK) return;
  FUZZ_CHECK(records >= 0);
  const auto count = static_cast<int32_t>(options->Take<uint16_t>() % 2000);
  std::vector<float> values(static_cast<size_t>(count), -1);
  std::vector<float> times(values.size(), -1);
  const int32_t first = options->Pick(4) != 0 ? 1 : options->Take<int32_t>();
  const auto channel = static_cast<int16_t>(options->Pick(34) - 1);
  if (RawReadAnalogChrom(handle, channel, channels, first, count, values.data(), times.data()) ==
      RAW_OK) {
    const int32_t there = std::clamp(records - first + 1, 0, count);
    for (int32_t i = 0; i < there; ++i) FUZZ_CHECK(values[static_cast<size_t>(i)] >= 0);
    if (there < count) FUZZ_CHECK(values[static_cast<size_t>(there)] == -1);
  }
  int32_t record = -1;
  if (RawReadAnalogTimeScan(handle, channels, options->Take<float>(), &record) == RAW_OK) {
    FUZZ_CHECK(record >= std::min(records, 1) && record <= records);
  }
  if (found == 0) return;
  FUZZ_CHECK(RawCreateAnalogInf(handle, found, descriptors.data()) == RAW_OK);
  const auto before = descriptors;
  int16_t again = RAW_MAX_ANALOG_CHANNELS;
  FUZZ_CHECK(RawReadAnalogInf(handle, &again, descriptors.data()) == RAW_OK);
  FUZZ_CHECK(again == found);
  FUZZ_CHECK(std::memcmp(before.data(), descriptors.data(), before.size() * sizeof(before[0])) ==
             0);
}

// Analog data that an application supplies, as many records as `user` says, where settings say so.
constexpr AppPenProcedures kProvider = {
    [](void* user, const char*) TERVALON_CALL { return *static_cast<const int32_t*>(user) % 5; },
    [](void* user, const char*) TERVALON_CALL { return *static_cast<const int32_t*>(user); },
    [](void*, const char*, int32_t, int32_t first, int32_t count, float* intensities, float* times)
        TERVALON_CALL {
          for (int32_t i = 0; i < count; ++i) {
            if (intensities != nullptr) intensities[i] = 1;
            if (times != nullptr) times[i] = static_cast<float>(first + i);
          }
          return count;
        }};

void RunMembers(Options* options, MemoryFileSystem*) {
  int32_t provided = options->Pick(40) - 1;
  if (provided < 30) AppSetPenProcedures(&kProvider, &provided);
  int32_t handle = -1;
  if (RawReadOpen("\\w\\R.RAW", &handle) != RAW_OK) return;
  ReadAnalogs(handle, options);
  ReadHistory(handle, options);
  FUZZ_CHECK(RawReadClose(handle) == RAW_OK);
}

}  // namespace

const Target kMembers = {"members", kPaths, RunMembers};

}  // namespace tervalon::fuzz
