// Trace descriptions against raw data: what they select, and how channels name their masses.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/desktop.h"
#include "platform/headless/window_records.h"
#include "tervalon/trace_strings.h"
#include "tests/datamgr/raw_data_fixture.h"

namespace tervalon::datamgr {
namespace {

DmTraceRecord Trace(uint32_t type, const Floats& masses = {}, int16_t channel = 0) {
  DmTraceRecord trace = {};
  trace.type = type;
  std::copy(masses.begin(), masses.end(), trace.masses);
  trace.analog_channel = channel;
  return trace;
}

std::string Describe(const DmTraceRecord& trace, int32_t out_size = 64,
                     const SystemRawFile* raw_file = nullptr, bool use_channel_names = false) {
  std::vector<char> out(static_cast<size_t>(out_size), 'x');
  const int32_t length = DmRawGetTraceTypeDescription(raw_file, &trace, out.data(),
                                                      use_channel_names ? 1 : 0, out_size);
  EXPECT_EQ(static_cast<size_t>(length), std::strlen(out.data()));
  return out.data();
}

std::string NameChannels(std::string text, const SystemRawFile* raw_file = nullptr,
                         int32_t out_size = 64) {
  std::vector<char> out(static_cast<size_t>(out_size), 'x');
  const int32_t length = ChannelToDesc(raw_file, text.data(), out.data(), out_size);
  EXPECT_EQ(static_cast<size_t>(length), std::strlen(out.data()));
  return out.data();
}

TEST(ChromatogramTypes, Descriptions) {
  EXPECT_EQ(Describe(Trace(DM_TRACE_TIC)), "TIC");
  EXPECT_EQ(Describe(Trace(DM_TRACE_BPI)), "BPI");
  EXPECT_EQ(Describe(Trace(DM_TRACE_TAS)), "TAS");
  EXPECT_EQ(Describe(Trace(DM_TRACE_ANALOG, {}, 3)), "AN4");
  EXPECT_EQ(Describe(Trace(DM_TRACE_MASS, {184.1f})), "184.1");
  EXPECT_EQ(Describe(Trace(DM_TRACE_NEUTRAL_LOSS, {18})), "NL18");
  EXPECT_EQ(Describe(Trace(DM_TRACE_NEUTRAL_GAIN, {44.5f})), "NG44.5");
  for (const uint32_t type : {5U, 9U, 0xFFFFFFFFU}) EXPECT_EQ(Describe(Trace(type)), "Unknown");
  // A list that nothing ends.
  EXPECT_EQ(
      Describe(Trace(DM_TRACE_MASS, Floats(33, 1)), 80), std::string("1") + [] {
        std::string rest;
        for (int i = 1; i < 33; ++i) rest += "+1";
        return rest;
      }());
}

TEST(ChromatogramTypes, DescriptionsFitTheirBuffer) {
  const DmTraceRecord sum = Trace(DM_TRACE_MASSES, {64000, 184, 200, 64000});
  EXPECT_EQ(Describe(sum, 10), "184+200");
  EXPECT_EQ(Describe(sum, 9), "Sum");
  EXPECT_EQ(Describe(sum, 3), "Su");
  EXPECT_EQ(Describe(sum, 1), "");
  EXPECT_EQ(Describe(Trace(DM_TRACE_MASS, {184.125f}), 5), "184.");
  EXPECT_EQ(Describe(Trace(DM_TRACE_TAS), 3), "TA");
}

TEST(ChromatogramTypes, ChannelNumbersWithoutRawData) {
  EXPECT_EQ(NameChannels("1+12_3"), "Ch1+Ch12_Ch3");
  EXPECT_EQ(NameChannels("2.5..+x"), "Ch2Ch5+X");
  EXPECT_EQ(NameChannels("1+12", nullptr, 6), "Ch1+C");
  EXPECT_EQ(Describe(Trace(DM_TRACE_MASSES, {32001, 3}), 64, nullptr, true), "Ch1_Ch3");
}

TEST(ChromatogramTypes, AnalogNames) {
  const char* const names[] = {"AN1", "an2", "An3", "AN4"};
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(DmRawIsAnalogTraceDesc(names[i]), 1);
    EXPECT_EQ(DmRawAnalogChannelNumber(names[i]), i);
  }
  for (const char* other : {"AN0", "AN5", "AN11", "AN", "", "TIC"}) {
    EXPECT_EQ(DmRawIsAnalogTraceDesc(other), 0) << other;
    EXPECT_EQ(DmRawAnalogChannelNumber(other), 0);
  }
}

// Function 1 scans from 100 to 400, function 2 has the channels 184.1 and 250.
class ChromatogramTypesTest : public RawDataTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(
        MakeData({testing::ScanningRecord(RAW_DATA_STANDARD_CENTROID, 100, 400),
                  testing::ChannelRecord(RAW_DATA_SIR, {184.1f, 250})},
                 {{testing::NumberedScan(1, 4)}, {testing::NumberedScan(1, 2)}}));
  }

  bool GetType(const std::string& text, DmTraceRecord* trace, int16_t function = 1) {
    const SystemRawFile file = RawFile(function);
    return DmRawGetChrType(owner_, &file, trace, text.c_str()) != 0;
  }

  std::string Message() const {
    if (desktop_.messages.empty()) return "";
    EXPECT_EQ(desktop_.messages.back().style, platform::kMessageIconExclamation);
    return desktop_.messages.back().caption + "|" + desktop_.messages.back().text;
  }

  testing::RecordingDesktop desktop_;
  platform::ScopedReplacement<platform::Desktop> use_desktop_{&desktop_};
  platform::WindowRecords windows_;
  platform::ScopedReplacement<platform::WindowManager> use_windows_{&windows_};
  TvWindow owner_ = windows_.Create({});
};

TEST_F(ChromatogramTypesTest, Classify) {
  const struct {
    const char* text;
    uint32_t type;
    Floats masses = {};
  } cases[] = {{"tic", DM_TRACE_TIC},
               {"BpI", DM_TRACE_BPI},
               {"184.5", DM_TRACE_MASS, {184.5f, 0}},
               {"120_200", DM_TRACE_MASSES, {32120, 200, 0}},
               {"120+200", DM_TRACE_MASSES, {64000, 120, 200, 64000, 0}}};
  for (const auto& [text, type, masses] : cases) {
    DmTraceRecord trace = {};
    EXPECT_TRUE(GetType(text, &trace)) << text;
    EXPECT_EQ(trace.type, type) << text;
    EXPECT_EQ(Floats(trace.masses, trace.masses + masses.size()), masses) << text;
  }
  EXPECT_TRUE(desktop_.messages.empty());
}

TEST_F(ChromatogramTypesTest, RefusalsAreTold) {
  DmTraceRecord trace = {};
  EXPECT_FALSE(GetType("184+", nullptr));
  EXPECT_FALSE(GetType("XIC", &trace));
  EXPECT_EQ(Message(), "|Method contains invalid chromatogram trace description");
  EXPECT_FALSE(GetType("an2", &trace));
  EXPECT_EQ(Message(), "|Raw file doesn't contain chromatogram trace identified by method");
  EXPECT_EQ(trace.type, uint32_t{DM_TRACE_ANALOG});
  EXPECT_EQ(trace.analog_channel, 1);
  EXPECT_FALSE(GetType("50", &trace));
  EXPECT_FALSE(GetType("200", &trace, 2));
  EXPECT_TRUE(GetType("250", &trace, 2));

  SystemRawFile absent = RawFile();
  std::strcpy(absent.directory, "C:\\NOWHERE\\");
  std::strcpy(absent.name, "NONE");
  EXPECT_EQ(DmRawGetChrType(owner_, &absent, &trace, "TIC"), 0);
  EXPECT_EQ(Message(), "Integration|Unable to read Data File NONE\n in directory C:\\NOWHERE\\");

  desktop_.messages.clear();
  EXPECT_EQ(DmRawGetChrType(nullptr, &absent, &trace, "TIC"), 0);
  EXPECT_TRUE(desktop_.messages.empty());
}

TEST_F(ChromatogramTypesTest, ChannelsAreNamedByTheirMasses) {
  const SystemRawFile scanning = RawFile(1);
  const SystemRawFile channels = RawFile(2);
  EXPECT_EQ(NameChannels("1+2x", &scanning), "1+2x");
  EXPECT_EQ(NameChannels("1+2x", &channels), "184.1+250X");
  EXPECT_EQ(NameChannels("2+7+1", &channels), "250+");
  EXPECT_EQ(Describe(Trace(DM_TRACE_MASS, {2}), 64, &channels, true), "250");
  EXPECT_EQ(Describe(Trace(DM_TRACE_MASS, {2}), 64, &channels, false), "2");
}

}  // namespace
}  // namespace tervalon::datamgr
