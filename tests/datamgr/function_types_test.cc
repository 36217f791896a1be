// Classification of functions, and descriptions of channels.

#include "tervalon/function_types.h"

#include <gmock/gmock.h>

#include "tests/datamgr/raw_data_fixture.h"

namespace tervalon::datamgr {
namespace {

using testing::ChannelRecord;
using testing::Put;
using testing::ScanningRecord;

using FunctionTest = int32_t(TERVALON_CALL*)(const SystemRawFile*, int16_t);

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

// The record of a trace, of a mass list.
DmTraceRecord TraceOf(uint32_t type, const Floats& masses = {}) {
  DmTraceRecord trace = {};
  trace.type = type;
  std::copy(masses.begin(), masses.end(), trace.masses);
  return trace;
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

}  // namespace
}  // namespace tervalon::datamgr
