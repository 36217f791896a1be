#include "raw/analog.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>
#include <vector>

#include "appsvc/application.h"
#include "appsvc/export_guard.h"
#include "platform/little_endian.h"
#include "raw/data_types.h"
#include "raw/member_change.h"
#include "raw/member_files.h"
#include "raw/time_search.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_functions.h"
#include "tervalon/settings.h"

namespace tervalon::raw {
namespace {

constexpr size_t kBytesAtOnce = 65536;
constexpr size_t kPartWords = 512;

constexpr size_t kLargestInfo = size_t{INT16_MAX} * RAW_ANALOG_DESCRIPTOR_SIZE;

MemberParts SplitDescriptors(const std::vector<uint8_t>& bytes) {
  return SplitRecords(bytes, RAW_ANALOG_DESCRIPTOR_SIZE);
}

const DataType& WordType() { return *FindDataType(RAW_DATA_CONTINUUM); }

// Whether the analog data come from the pen-procedure provider.
bool FromProvider() { return IsGCMD() != 0; }

// Whoever is called back while samples are read may close them.
bool IsOpen(int32_t handle, const platform::File* samples) {
  return OpenMember(handle, kAnalogData, 0) == samples;
}

// Calls use(file) with the samples opened for reading.
template <typename Use>
int32_t WithSamples(int32_t handle, Use use) {
  int32_t error = RawFileOpen(handle, kAnalogData, 0, kReadMember);
  if (error != RAW_OK) return error;
  platform::File* const samples = OpenMember(handle, kAnalogData, 0);
  error = Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&] { return use(*samples); });
  if (!IsOpen(handle, samples)) return RAW_MEMBER_NOT_OPEN;
  const int32_t close_error = RawFileClose(handle, kAnalogData, 0);
  return error != RAW_OK ? error : close_error;
}

int32_t CountRecords(platform::File& samples, const AnalogRecord& record, int32_t* count) {
  uint64_t size = 0;
  if (!samples.Size(&size)) return RAW_SEEK_FAILED;
  *count = static_cast<int32_t>(std::min<uint64_t>(size / record.size(), INT32_MAX));
  return RAW_OK;
}

int32_t CountProvided(int32_t handle, int32_t* count) {
  const int32_t error = CheckHandle(handle);
  if (error != RAW_OK) return error;
  int32_t provided = 0;
  if (!appsvc::PenRecordCount(HandleDirectory(handle).c_str(), &provided)) {
    return RAW_PATH_NOT_BUILT;
  }
  *count = provided;
  return RAW_OK;
}

// A run of records that a caller wants of one channel.
struct Run {
  int32_t channel;
  int32_t first;  // from 1
  int32_t count;
  float* intensities;  // optional, like the times
  float* times;

  // Cuts the run down to the `records` that are there.
  void Limit(int32_t records) { count = std::min(count, std::max(records - (first - 1), 0)); }
};

int32_t ReadSamples(int32_t handle, platform::File& samples, const AnalogRecord& record, Run run) {
  int32_t records = 0;
  const int32_t error = CountRecords(samples, record, &records);
  if (error != RAW_OK) return error;
  run.Limit(records);
  std::vector<uint8_t> block(std::max(kBytesAtOnce / record.size(), size_t{1}) * record.size());
  const auto wanted = static_cast<size_t>(run.count);
  size_t read = 0;
  for (size_t done = 0; done < wanted; done += read / record.size()) {
    const size_t bytes = std::min(block.size(), (wanted - done) * record.size());
    const uint64_t offset = (static_cast<uint64_t>(run.first - 1) + done) * record.size();
    if (!samples.ReadAt(offset, block.data(), bytes, &read)) return RAW_SEEK_FAILED;
    const size_t count = read / record.size();
    if (run.times != nullptr) record.DecodeTimes(block.data(), count, run.times + done);
    if (run.intensities != nullptr) {
      record.DecodeChannel(block.data(), count, run.channel, run.intensities + done);
    }
    for (size_t i = 1; i <= count; ++i) {
      ReportProgress(static_cast<int32_t>(done + i), run.count);
    }
    if (read < bytes || !IsOpen(handle, &samples)) break;  // cut off or closed meanwhile
  }
  return RAW_OK;
}

int32_t ReadProvided(int32_t handle, Run run) {
  int32_t records = 0;
  const int32_t error = CountProvided(handle, &records);
  if (error != RAW_OK) return error;
  run.Limit(records);
  const bool read =
      run.count == 0 || appsvc::PenReadRecords(HandleDirectory(handle).c_str(), run.channel,
                                               run.first, run.count, run.intensities, run.times);
  return read ? RAW_OK : RAW_PATH_NOT_BUILT;
}

int32_t FindSample(platform::File& samples, const AnalogRecord& record, float time,
                   int32_t* nearest) {
  int32_t records = 0;
  const int32_t error = CountRecords(samples, record, &records);
  if (error != RAW_OK || records == 0) return error;
  const auto time_of = [&](uint32_t number, float* value) -> int32_t {
    std::array<uint8_t, 4> bytes = {};
    size_t read = 0;
    if (!samples.ReadAt(uint64_t{number - 1} * record.size(), bytes.data(), bytes.size(), &read)) {
      return RAW_SEEK_FAILED;
    }
    *value = Load<float>(bytes.data());
    return RAW_OK;
  };
  return SearchTime(static_cast<uint32_t>(records), time, time_of, nearest);
}

int32_t FindProvided(int32_t handle, float time, int32_t* nearest) {
  int32_t records = 0;
  const int32_t error = CountProvided(handle, &records);
  if (error != RAW_OK || records == 0) return error;
  const auto time_of = [handle](uint32_t number, float* value) -> int32_t {
    const bool read =
        appsvc::PenReadRecords(HandleDirectory(handle).c_str(), /*channel=*/0,
                               static_cast<int32_t>(number), /*count=*/1, nullptr, value);
    return read ? RAW_OK : RAW_PATH_NOT_BUILT;
  };
  return SearchTime(static_cast<uint32_t>(records), time, time_of, nearest);
}

}  // namespace

void AnalogRecord::EncodeTo(float time, const float* values, uint8_t* bytes) const {
  Store(bytes, time);
  WordType().pack({.masses = nullptr, .intensities = values, .flags = nullptr}, channels_,
                  bytes + 4);
}

void AnalogRecord::DecodeTimes(const uint8_t* bytes, size_t count, float* times) const {
  for (size_t i = 0; i < count; ++i) times[i] = Load<float>(bytes + i * size());
}

void AnalogRecord::DecodeChannel(const uint8_t* bytes, size_t count, int32_t channel,
                                 float* values) const {
  const uint8_t* first = bytes + 4 + 2 * static_cast<size_t>(channel);
  std::array<uint8_t, 2 * kPartWords> words;
  for (size_t begin = 0; begin < count; begin += kPartWords) {
    const size_t part = std::min(kPartWords, count - begin);
    for (size_t i = 0; i < part; ++i) {
      Store(words.data() + 2 * i, Load<uint16_t>(first + (begin + i) * size()));
    }
    WordType().decoder().intensities(words.data(), part, values + begin);
  }
}

}  // namespace tervalon::raw

using namespace tervalon;       // NOLINT(google-build-using-namespace)
using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

extern "C" int32_t TERVALON_CALL RawCreateAnalogInf(int32_t handle, int16_t count,
                                                    const RawAnalogDescriptor* descriptors) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (count < 0 || (descriptors == nullptr && count > 0)) return RAW_BAD_ARGUMENT;
    MemberParts parts;
    for (int32_t i = 0; i < count; ++i) {
      parts.emplace_back(std::begin(descriptors[i].bytes), std::end(descriptors[i].bytes));
    }
    return WriteParts(handle, kAnalogInfo, kLargestInfo, std::move(parts), SplitDescriptors);
  });
}

extern "C" int32_t TERVALON_CALL RawReadAnalogInf(int32_t handle, int16_t* count,
                                                  RawAnalogDescriptor* descriptors) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (count == nullptr || *count < 0 || (descriptors == nullptr && *count > 0)) {
      return RAW_BAD_ARGUMENT;
    }
    const size_t wanted = std::min<size_t>(static_cast<size_t>(*count), RAW_MAX_ANALOG_CHANNELS);
    *count = 0;
    MemberContent content;
    const int32_t error = ReadMember(handle, kAnalogInfo, kLargestInfo, &content);
    if (error != RAW_OK) return error;
    MemberParts parts = SplitDescriptors(content.bytes);
    const size_t given = std::min(parts.size(), wanted);
    for (size_t i = 0; i < given; ++i) {
      std::copy(parts[i].begin(), parts[i].end(), descriptors[i].bytes);
    }
    *count = static_cast<int16_t>(given);
    if (given == parts.size()) RememberParts(handle, kAnalogInfo, content, std::move(parts));
    return RAW_OK;
  });
}

extern "C" int32_t TERVALON_CALL RawCreateAnalogFile(int32_t handle) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER,
                          [&] { return RawFileOpen(handle, kAnalogData, 0, kCreateMember); });
}

extern "C" int32_t TERVALON_CALL RawCreateAnalogScan(int32_t handle, float time, int32_t channels,
                                                     const float* values) {
  if (channels < 0 || channels > AnalogRecord::kMaxChannels ||
      (values == nullptr && channels > 0)) {
    return RAW_BAD_ARGUMENT;
  }
  const AnalogRecord record(channels);
  std::array<uint8_t, AnalogRecord::kMaxSize> bytes;
  record.EncodeTo(time, values, bytes.data());
  return RawFileWrite(handle, kAnalogData, 0, bytes.data(), static_cast<uint32_t>(record.size()),
                      nullptr);
}

extern "C" int32_t TERVALON_CALL RawCreateAnalogEnd(int32_t handle) {
  return RawFileClose(handle, kAnalogData, 0);
}

extern "C" int32_t TERVALON_CALL RawReadAnalogSize(int32_t handle, int16_t channels,
                                                   int32_t* count) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (channels < 0 || count == nullptr) return RAW_BAD_ARGUMENT;
    *count = 0;
    if (FromProvider()) return CountProvided(handle, count);
    return WithSamples(handle, [&](platform::File& samples) {
      return CountRecords(samples, AnalogRecord(channels), count);
    });
  });
}

extern "C" int32_t TERVALON_CALL RawReadAnalogChrom(int32_t handle, int16_t channel,
                                                    int16_t channels, int32_t first, int32_t count,
                                                    float* intensities, float* times) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (channel < 0 || channel >= channels || first < 1 || count < 0) return RAW_BAD_ARGUMENT;
    const Run run = {.channel = channel,
                     .first = first,
                     .count = count,
                     .intensities = intensities,
                     .times = times};
    if (FromProvider()) return ReadProvided(handle, run);
    return WithSamples(handle, [&](platform::File& samples) {
      return ReadSamples(handle, samples, AnalogRecord(channels), run);
    });
  });
}

extern "C" int32_t TERVALON_CALL RawReadAnalogTimeScan(int32_t handle, int16_t channels, float time,
                                                       int32_t* record) {
  return Guarded<int32_t>(RAW_NO_MEMORY_FOR_MEMBER, [&]() -> int32_t {
    if (channels < 0 || record == nullptr) return RAW_BAD_ARGUMENT;
    *record = 0;
    if (FromProvider()) return FindProvided(handle, time, record);
    return WithSamples(handle, [&](platform::File& samples) {
      return FindSample(samples, AnalogRecord(channels), time, record);
    });
  });
}
