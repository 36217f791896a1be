// Analog channels: the samples' bytes, their readers, and the provider in their place.

#include <gmock/gmock.h>

#include <climits>
#include <numeric>

#include "settings/settings.h"
#include "tervalon/application.h"
#include "tervalon/raw_analog.h"
#include "tervalon/raw_header.h"
#include "tests/support/raw_fixture.h"

namespace tervalon::testing {
namespace {

using ::testing::ElementsAre;

class AnalogTest : public RawTest {
 protected:
  static constexpr float kUntouched = -7;

  AnalogTest() { settings::ResetSettingsFile(temp_.Path().c_str()); }
  ~AnalogTest() override {
    AppSetPenProcedures(nullptr, nullptr);
    settings::ResetSettingsFile(nullptr);
  }

  // Record i of channel c has the value 10 i + c; times are given.
  void WriteRecords(const std::vector<float>& times, int32_t channels) {
    CloseRun();
    ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
    ASSERT_EQ(RawCreateAnalogFile(handle_), RAW_OK);
    for (size_t i = 0; i < times.size(); ++i) {
      std::vector<float> values(static_cast<size_t>(channels));
      std::iota(values.begin(), values.end(), static_cast<float>(10 * (i + 1)));
      ASSERT_EQ(RawCreateAnalogScan(handle_, times[i], channels, values.data()), RAW_OK);
    }
    ASSERT_EQ(RawCreateAnalogEnd(handle_), RAW_OK);
  }

  // The channels that the header's reader counts.
  int16_t CountChannels(int32_t expected_error = RAW_OK) {
    int16_t channels = -1;
    EXPECT_EQ(RawReadHeader(handle_, nullptr, nullptr, nullptr, &channels), expected_error);
    return channels;
  }

  int32_t Size(int16_t channels) {
    int32_t count = -1;
    EXPECT_EQ(RawReadAnalogSize(handle_, channels, &count), RAW_OK);
    return count;
  }

  int32_t Find(int16_t channels, float time) {
    int32_t record = -1;
    EXPECT_EQ(RawReadAnalogTimeScan(handle_, channels, time, &record), RAW_OK);
    return record;
  }

  std::vector<float> ReadChannel(int16_t channel, int16_t channels, int32_t first, int32_t count,
                                 int32_t expected_error = RAW_OK) {
    std::vector<float> values(static_cast<size_t>(count), kUntouched);
    EXPECT_EQ(RawReadAnalogChrom(handle_, channel, channels, first, count, values.data(), nullptr),
              expected_error);
    return values;
  }
};

std::vector<float> Times(size_t count) {
  std::vector<float> times;
  for (size_t i = 0; i < count; ++i) times.push_back(0.5f * static_cast<float>(i));
  return times;
}

TEST_F(AnalogTest, BytesOfTheFiles) {
  ASSERT_EQ(RawCreateOpen(Path().c_str(), &handle_), RAW_OK);
  RawAnalogDescriptor descriptors[2] = {};
  descriptors[0].bytes[0] = 'U';
  descriptors[1].bytes[84] = 0xFF;
  ASSERT_EQ(RawCreateAnalogInf(handle_, 2, descriptors), RAW_OK);
  Bytes expected(170);
  expected[0] = 'U';
  expected[169] = 0xFF;
  EXPECT_EQ(ReadFile(Path("_ANALOGS.INF")), expected);

  ASSERT_EQ(RawCreateAnalogFile(handle_), RAW_OK);
  EXPECT_EQ(RawCreateAnalogFile(handle_), RAW_MEMBER_ALREADY_OPEN);
  const float values[] = {0, 8191.0f * 16384, 1e30f, NAN, 3};
  ASSERT_EQ(RawCreateAnalogScan(handle_, 1.5f, 5, values), RAW_OK);
  ASSERT_EQ(RawCreateAnalogEnd(handle_), RAW_OK);
  Bytes record;
  Append(&record, 1.5f);
  record.insert(record.end(), {0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 3 << 3, 0});
  EXPECT_EQ(ReadFile(Path("_ANALOGS.DAT")), record);
  EXPECT_THAT(ReadChannel(1, 5, 1, 1), ElementsAre(8191.0f * 16384));

  // Descriptors come back as they are, as many as there are whole.
  WriteFile(Path("_ANALOGS.INF"), Bytes(expected.begin(), expected.end() - 1));
  RawAnalogDescriptor back[3] = {};
  int16_t count = 3;
  EXPECT_EQ(RawReadAnalogInf(handle_, &count, back), RAW_OK);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(std::memcmp(back, descriptors, RAW_ANALOG_DESCRIPTOR_SIZE), 0);
}

TEST_F(AnalogTest, ReadsRunsOfEveryChannel) {
  WriteRecords(Times(100), 3);
  Bytes file = ReadFile(Path("_ANALOGS.DAT"));
  EXPECT_EQ(file.size(), 1000U);
  EXPECT_EQ(Size(3), 100);
  file.resize(999);  // the last record is no longer complete
  WriteFile(Path("_ANALOGS.DAT"), file);
  EXPECT_EQ(Size(3), 99);
  EXPECT_THAT(ReadChannel(2, 3, 1, 2), ElementsAre(12, 22));
  EXPECT_THAT(ReadChannel(0, 3, 98, 4), ElementsAre(980, 990, kUntouched, kUntouched));
  EXPECT_THAT(ReadChannel(1, 3, INT32_MAX, 1), ElementsAre(kUntouched));
  float times[2] = {};
  EXPECT_EQ(RawReadAnalogChrom(handle_, 0, 3, 2, 2, nullptr, times), RAW_OK);
  EXPECT_THAT(times, ElementsAre(0.5f, 1));

  RecordProgress();
  EXPECT_EQ(RawReadAnalogChrom(handle_, 0, 3, 1, 4, nullptr, nullptr), RAW_OK);
  EXPECT_THAT(progress_, ElementsAre(50, 75, 100, 100));

  // More than one block, and part of a block's decoding.
  WriteRecords(Times(20001), 2);
  const std::vector<float> values = ReadChannel(1, 2, 2, 20000);
  for (size_t i = 0; i < values.size(); ++i) {
    const auto exact = static_cast<float>(10 * (i + 2) + 1);
    ASSERT_NEAR(values[i], exact, exact / 4000) << i;
  }
}

TEST_F(AnalogTest, ReadingEndsWhenTheCallbackClosesTheDirectory) {
  WriteRecords(Times(3), 20000);  // one a block
  RawUpdateInit(
      [](int32_t, void* handle)
          TERVALON_CALL -> int32_t { return RawReadClose(*static_cast<int32_t*>(handle)); },
      &handle_);
  ReadChannel(0, 20000, 1, 3, RAW_MEMBER_NOT_OPEN);
}

TEST_F(AnalogTest, FindsTheNearestRecord) {
  WriteRecords({1, 2, 4, 8, 16}, 2);
  const std::pair<float, int32_t> cases[] = {{-1, 1}, {1, 1},   {1.5f, 1}, {1.6f, 2}, {3, 2},
                                             {6, 3},  {6.5, 4}, {16, 5},   {99, 5}};
  for (const auto& [time, record] : cases) EXPECT_EQ(Find(2, time), record) << time;
  WriteRecords({}, 2);
  EXPECT_EQ(Find(2, 1), 0);
}

TEST_F(AnalogTest, RefusesWhatCannotBe) {
  WriteRecords(Times(3), 2);
  ReadChannel(2, 2, 1, 1, RAW_BAD_ARGUMENT);
  ReadChannel(-1, 2, 1, 1, RAW_BAD_ARGUMENT);
  ReadChannel(0, 2, 0, 1, RAW_BAD_ARGUMENT);
  int32_t count = 0;
  EXPECT_EQ(RawReadAnalogSize(handle_, -1, &count), RAW_BAD_ARGUMENT);
  const float value = 1;
  EXPECT_EQ(RawCreateAnalogScan(handle_, 1, 1, &value), RAW_MEMBER_NOT_OPEN);
  EXPECT_EQ(RawCreateAnalogScan(handle_, 1, 32768, &value), RAW_BAD_ARGUMENT);
  platform::Files().Remove(Path("_ANALOGS.DAT"));
  EXPECT_EQ(RawReadAnalogSize(handle_, 2, &count), RAW_MEMBER_NOT_OPENED);
  ReadChannel(0, 2, 1, 1, RAW_MEMBER_NOT_OPENED);
  EXPECT_EQ(RawReadAnalogSize(19, 2, &count), RAW_HANDLE_NOT_OPEN);
}

TEST_F(AnalogTest, ChannelsAreCountedByTheirDescriptors) {
  MakeRun({}, {});
  OpenRun(0);
  WriteText(Path("_HEADER.TXT"), "");
  EXPECT_EQ(CountChannels(), 0);
  WriteFile(Path("_ANALOGS.INF"), Bytes(3 * 85 + 84));
  EXPECT_EQ(CountChannels(), 3);
  WriteFile(Path("_ANALOGS.INF"), Bytes(40 * 85));
  EXPECT_EQ(CountChannels(), 32);
}

TEST_F(AnalogTest, TheProviderTakesTheFilesPlace) {
  WriteRecords(Times(3), 1);
  WriteText(Path("_HEADER.TXT"), "");
  WriteText(Path("_FUNCTNS.INF"), "");
  WriteText(temp_.Path("TERVALON.INI"), "[Acquisition]\r\nIsGCMD=TRUE\r\n");
  settings::ResetSettingsFile(temp_.Path().c_str());
  int32_t count = 0;
  EXPECT_EQ(RawReadAnalogSize(handle_, 1, &count), RAW_PATH_NOT_BUILT);
  ReadChannel(0, 1, 1, 1, RAW_PATH_NOT_BUILT);
  CountChannels(RAW_PATH_NOT_BUILT);

  struct Provider {
    std::string directory;
    int32_t answer = 7;
    static int32_t TERVALON_CALL Count(void* user, const char* directory) {
      static_cast<Provider*>(user)->directory = directory;
      return static_cast<Provider*>(user)->answer;
    }
    static int32_t TERVALON_CALL Read(void* /*user*/, const char* /*directory*/, int32_t channel,
                                      int32_t first, int32_t count, float* intensities,
                                      float* times) {
      for (int32_t i = 0; i < count; ++i) {
        if (intensities != nullptr) {
          intensities[i] = static_cast<float>(100 * channel + first + i);
        }
        if (times != nullptr) times[i] = static_cast<float>(first + i);
      }
      return count;
    }
  } provider;
  const AppPenProcedures records = {
      .channel_count = nullptr, .record_count = &Provider::Count, .read_records = &Provider::Read};
  AppSetPenProcedures(&records, &provider);
  EXPECT_EQ(Size(1), 7);
  EXPECT_EQ(provider.directory, Path());
  EXPECT_THAT(ReadChannel(1, 2, 6, 3), ElementsAre(106, 107, kUntouched));
  EXPECT_EQ(Find(2, 5.4f), 5);
  provider.answer = -1;
  EXPECT_EQ(RawReadAnalogSize(handle_, 1, &count), RAW_PATH_NOT_BUILT);
  EXPECT_EQ(count, 0);

  const AppPenProcedures channels = {
      .channel_count = &Provider::Count, .record_count = nullptr, .read_records = nullptr};
  AppSetPenProcedures(&channels, &provider);
  CountChannels(RAW_PATH_NOT_BUILT);
  provider = {"", 5};
  EXPECT_EQ(CountChannels(), 5);
  EXPECT_EQ(provider.directory, Path());
  provider.answer = INT_MAX;
  EXPECT_EQ(CountChannels(), SHRT_MAX);
}

}  // namespace
}  // namespace tervalon::testing
