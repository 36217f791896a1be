// Classification of functions, and descriptions of channels and traces.

#include "tervalon/function_types.h"

#include <gmock/gmock.h>

#include "platform/desktop.h"
#include "platform/headless/window_records.h"
#include "tervalon/trace_strings.h"
#include "tests/datamgr/raw_data_fixture.h"

namespace tervalon::datamgr {
namespace {

using testing::ChannelRecord;
using testing::Put;
using testing::ScanningRecord;

using FunctionTest = int32_t(TERVALON_CALL*)(const SystemRawFile*, int16_t);

// The record of a trace, of a mass list.
DmTraceRecord TraceOf(uint32_t type, const Floats& masses = {}, int16_t channel = 0) {
  DmTraceRecord trace = {};
  trace.type = type;
  std::copy(masses.begin(), masses.end(), trace.masses);
  trace.analog_channel = channel;
  return trace;
}

class FunctionTypesTest : public RawDataTest {
 protected:
  void MakeTypes(const std::vector<int>& types) {
    std::vector<RawFunctionRecord> records;
    for (const int type : types) {
      records.push_back(ScanningRecord(RAW_DATA_STANDARD_CENTROID));
      Put(&records.back(), 0,
          static_cast<uint16_t>(type | 8 << 5 | RAW_DATA_STANDARD_CENTROID << 10));
    }
    ASSERT_NO_FATAL_FAILURE(MakeData(records, {}));
  }

  SystemRawFile File(int16_t function = 1) const {
    SystemRawFile file = RawFile(function);
    file.process = 9;
    return file;
  }

  // The description of a channel, or "-" when there is none.
  std::string Channel(int16_t function, float channel, int32_t flags, int32_t length = 80) const {
    const SystemRawFile file = File(function);
    char text[81] = "untouched";
    const int32_t described = DmRawChannelDesc(&file, channel, text, flags, length);
    EXPECT_EQ(DmRawChannelDesc(&file, channel, nullptr, flags, length), described);
    return described < 0 ? "-" : std::to_string(described) + "=" + text;
  }
};

TEST_F(FunctionTypesTest, BareTypeCodes) {
  for (int32_t type = -1; type <= 32; ++type) {
    SCOPED_TRACE(type);
    EXPECT_EQ(DmRawIsSIRFuncType(type), type == 1 || type == 22 || type == 23);
    EXPECT_EQ(DmRawIsChannelFuncType(type), type == 1 || type == 9 || type == 22 || type == 23);
    EXPECT_EQ(DmRawIsExternalFuncType(type), type >= 15 && type <= 23 && type != 17);
  }
}

TEST_F(FunctionTypesTest, TheFirstFunctionOfTheFirstCode) {
  const std::vector<int> types = {18, 0, 12, 13, 24, 16, 19, 15, 20, 12, 17, 14, 23};
  ASSERT_NO_FATAL_FAILURE(MakeTypes(types));
  struct Row {
    FunctionTest test;
    int32_t found;  // with function 0
    std::vector<int> codes;
  };
  const std::vector<int> varying = {13, 14, 17, 18, 16, 15, 19, 20, 21, 22, 23};
  const Row rows[] = {
      {DmRawIsDadFunction, 3, {12}},
      {DmRawIsTOFFunction, 4, {13, 14, 17, 18, 16, 15, 19}},
      {DmRawIsTOFParentFunction, 7, {19}},
      {DmRawIsTOFDauFunction, 6, {16}},
      {DmRawIsAutoDauFunction, 6, {16, 24}},
      {DmRawIsSetMassFunction, 6, {16, 24, 19}},
      {DmRawIsQTOFFunction, 1, {18, 16, 15, 19}},
      {DmRawIsVaryingFunction, 4, varying},
      {DmRawIsExternalFunction, 4, varying},
  };
  const SystemRawFile file = File();
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    EXPECT_EQ(row.test(&file, 0), row.found);
    for (size_t i = 0; i < types.size(); ++i) {
      const bool listed = std::count(row.codes.begin(), row.codes.end(), types[i]) > 0;
      EXPECT_EQ(row.test(&file, static_cast<int16_t>(i + 1)), listed ? i + 1 : 0) << types[i];
    }
    EXPECT_EQ(row.test(&file, 14), 0);
    EXPECT_EQ(row.test(&file, -1), 0);
    EXPECT_EQ(row.test(nullptr, 0), 0);
  }
  EXPECT_EQ(DmRawIsFunctionType(&file, 0, 20), 9);
  EXPECT_EQ(DmRawIsFunctionType(&file, 0, 21), 0);
  EXPECT_EQ(DmRawIsFunctionType(&file, 2, 0), 2);

  // A search without a match ends behind the last of 32 functions too.
  ASSERT_NO_FATAL_FAILURE(MakeTypes(std::vector<int>(32, 0)));
  EXPECT_EQ(DmRawIsTOFFunction(&file, 0), 0);
  EXPECT_EQ(DmRawIsFunctionType(&file, 32, 0), 32);
  std::filesystem::remove_all(testing::Native(Path()));
  EXPECT_EQ(DmRawIsFunctionType(&file, 0, 0), 0);
}

TEST_F(FunctionTypesTest, ChannelDescriptions) {
  RawFunctionRecord mrm = ChannelRecord(RAW_DATA_SIR, {500, 184.12345f});
  Put<uint16_t>(&mrm, 0, RAW_TYPE_MRM | RAW_DATA_SIR << 10);
  Put(&mrm, 288, 200.5f);
  Put(&mrm, 292, 100.0f);
  RawFunctionRecord voltage = ChannelRecord(RAW_DATA_SIR, {12.5f});
  Put<uint16_t>(&voltage, 0, RAW_TYPE_VOLTAGE_SIR | RAW_DATA_SIR << 10);
  ASSERT_NO_FATAL_FAILURE(MakeData(
      {ChannelRecord(RAW_DATA_SIR, {150.5f, 90.25f, 90.2505f, 210, 211, 212, 213, 214, 215, 216}),
       mrm, voltage, ScanningRecord(RAW_DATA_STANDARD_CENTROID), ChannelRecord(RAW_DATA_SIR, {})},
      {}));
  constexpr int32_t kMass = DM_CHANNEL_BY_MASS;
  constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();
  struct Case {
    int16_t function;
    float channel;
    int32_t flags;
    const char* text;
  };
  const Case cases[] = {
      {1, 0, 0, "1=150.5"},
      {1, -7, 0, "1=150.5"},
      {1, kNotANumber, 0, "1=150.5"},
      {1, 1.9f, 0, "1=150.5"},
      {1, 4, 12, "4=210"},
      {1, 4, DM_CHANNEL_NUMBERED, "4= 4: 210"},
      {1, 10, DM_CHANNEL_NUMBERED, "10=10: 216"},
      {1, 11, 0, "-"},
      {1, 1e30f, 0, "-"},
      {1, 90.2502f, kMass, "2=90.25"},
      {1, 90.2504f, kMass, "3=90.251"},
      {1, 210.0009f, kMass, "4=210"},
      {1, 210.002f, kMass, "-"},
      {1, kNotANumber, kMass, "-"},
      {2, 1, 0, "1=500 > 200.5"},
      {2, 184.123f, kMass | DM_CHANNEL_NUMBERED, "2= 2: 184.123 > 100"},
      {3, 1, 0, "1=12.5000"},
      {4, 1, 0, "-"},
      {5, 1, 0, "-"},
      {6, 1, 0, "-"},
      {0, 1, 0, "-"},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(Channel(test.function, test.channel, test.flags), test.text)
        << "function " << test.function << ", channel " << test.channel;
  }
  EXPECT_EQ(Channel(2, 1, 0, 6), "1=500 >");
  EXPECT_EQ(Channel(2, 1, 0, 1), "1=");
  EXPECT_EQ(Channel(2, 1, 0, 0), "1=untouched");
  EXPECT_EQ(DmRawChannelDesc(nullptr, 1, nullptr, 0, 0), -1);
}

TEST_F(FunctionTypesTest, HeldTraces) {
  RawFunctionRecord mrm = ChannelRecord(RAW_DATA_SIR, {500, 400});
  Put<uint16_t>(&mrm, 0, RAW_TYPE_MRM | RAW_DATA_SIR << 10);
  Put(&mrm, 288, 200.0f);
  Put(&mrm, 292, 300.0f);
  ASSERT_NO_FATAL_FAILURE(MakeData({ScanningRecord(RAW_DATA_STANDARD_CENTROID, 100, 400),
                                    ChannelRecord(RAW_DATA_SIR, {150, 250}), mrm},
                                   {}));
  struct Case {
    int16_t function;
    DmTraceRecord trace;
    Floats daughters;  // empty: as the trace
    bool held;
  };
  const Case cases[] = {
      {1, TraceOf(DM_TRACE_TIC), {}, true},
      {1, TraceOf(DM_TRACE_BPI), {}, true},
      {1, TraceOf(DM_TRACE_TAS), {}, false},
      {1, TraceOf(DM_TRACE_MASS), {}, false},
      {1, TraceOf(DM_TRACE_MASS, {100}), {}, true},
      {1, TraceOf(DM_TRACE_MASS, {400.1f}), {}, false},
      {1, TraceOf(DM_TRACE_MASSES, {32100, 400}), {}, true},
      {1, TraceOf(DM_TRACE_MASSES, {64000, 32200, 300, -500, 64000}), {}, false},
      {1, TraceOf(DM_TRACE_ANALOG), {}, false},
      {1, TraceOf(DM_TRACE_NEUTRAL_LOSS, {18}), {}, false},
      {2, TraceOf(DM_TRACE_MASS, {150.49f}), {}, true},
      {2, TraceOf(DM_TRACE_MASS, {150.5f}), {}, false},
      {2, TraceOf(DM_TRACE_MASSES, {64000, 150, -250, 64000}), {}, true},
      {3, TraceOf(DM_TRACE_MASS, {500}), {}, true},
      {3, TraceOf(DM_TRACE_MASS, {500}), {200}, true},
      {3, TraceOf(DM_TRACE_MASS, {500}), {300}, false},
      {3, TraceOf(DM_TRACE_NEUTRAL_LOSS, {300}), {}, true},
      {3, TraceOf(DM_TRACE_NEUTRAL_GAIN, {300}), {}, false},
      {4, TraceOf(DM_TRACE_TIC), {}, false},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(&test - cases);
    const SystemRawFile file = File(test.function);
    DmTraceRecord daughters = test.trace;
    std::copy(test.daughters.begin(), test.daughters.end(), daughters.masses);
    EXPECT_EQ(DmRawValidateChrom(&file, &test.trace, &daughters, 0), test.held);
  }
  const SystemRawFile file = File(2);
  const DmTraceRecord far = TraceOf(DM_TRACE_MASS, {152});
  EXPECT_EQ(DmRawValidateChrom(&file, &far, &far, 2.5f), 1);
  EXPECT_EQ(DmRawValidateChrom(nullptr, &far, &far, 0), 0);
}

// --- traces

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
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_TIC)), "TIC");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_BPI)), "BPI");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_TAS)), "TAS");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_ANALOG, {}, 3)), "AN4");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_MASS, {184.1f})), "184.1");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_NEUTRAL_LOSS, {18})), "NL18");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_NEUTRAL_GAIN, {44.5f})), "NG44.5");
  for (const uint32_t type : {5U, 9U, 0xFFFFFFFFU}) EXPECT_EQ(Describe(TraceOf(type)), "Unknown");
  // A list that nothing ends.
  EXPECT_EQ(
      Describe(TraceOf(DM_TRACE_MASS, Floats(33, 1)), 80), std::string("1") + [] {
        std::string rest;
        for (int i = 1; i < 33; ++i) rest += "+1";
        return rest;
      }());
}

TEST(ChromatogramTypes, DescriptionsFitTheirBuffer) {
  const DmTraceRecord sum = TraceOf(DM_TRACE_MASSES, {64000, 184, 200, 64000});
  EXPECT_EQ(Describe(sum, 10), "184+200");
  EXPECT_EQ(Describe(sum, 9), "Sum");
  EXPECT_EQ(Describe(sum, 3), "Su");
  EXPECT_EQ(Describe(sum, 1), "");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_MASS, {184.125f}), 5), "184.");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_TAS), 3), "TA");
}

TEST(ChromatogramTypes, ChannelNumbersWithoutRawData) {
  EXPECT_EQ(NameChannels("1+12_3"), "Ch1+Ch12_Ch3");
  EXPECT_EQ(NameChannels("2.5..+x"), "Ch2Ch5+X");
  EXPECT_EQ(NameChannels("1+12", nullptr, 6), "Ch1+C");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_MASSES, {32001, 3}), 64, nullptr, true), "Ch1_Ch3");
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
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_MASS, {2}), 64, &channels, true), "250");
  EXPECT_EQ(Describe(TraceOf(DM_TRACE_MASS, {2}), 64, &channels, false), "2");
}

}  // namespace
}  // namespace tervalon::datamgr
