#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "tervalon/database_fields.h"

namespace tervalon::testing {
namespace {

using Limits32 = std::numeric_limits<int32_t>;

// A field in the middle of a record, so that what is written beside it shows.
class OneField {
 public:
  OneField(int32_t width, int32_t decimals)
      : record_(static_cast<size_t>(width) + 4, '~'), entry_{2, width, decimals} {
    descriptor_.decimals = static_cast<uint8_t>(decimals);
  }

  template <typename Value>
  int32_t Write(const Value& value, int32_t conversion) {
    const int32_t cause =
        DB3ConvertFldToDBFmt(&value, record_.data(), &entry_, &descriptor_, 0, conversion);
    EXPECT_EQ(record_.substr(0, 2) + record_.substr(record_.size() - 2), "~~~~");
    return cause;
  }

  template <typename Value>
  Value Read(const std::string& text, int32_t conversion) {
    record_.replace(2, text.size(), text);
    Value value{};
    EXPECT_EQ(DB3ConvertFldToInternalFmt(record_.data(), &value, &entry_, conversion), 0);
    return value;
  }

  std::string Text() const { return record_.substr(2, record_.size() - 4); }

 private:
  std::string record_;
  DB3FieldOffsetWidth entry_;
  DB3FieldDescriptor descriptor_ = {};
};

template <typename Value>
std::string Written(const Value& value, int32_t conversion, int32_t width, int32_t decimals = 0) {
  OneField field(width, decimals);
  const int32_t cause = field.Write(value, conversion);
  EXPECT_EQ(cause, field.Text() == std::string(static_cast<size_t>(width), '*') ? 7 : 0);
  return field.Text();
}

template <typename Value>
Value Read(const std::string& text, int32_t conversion) {
  return OneField(static_cast<int32_t>(text.size()), 0).Read<Value>(text, conversion);
}

TEST(Fields, FollowEachOther) {
  const DB3FieldDescriptor fields[] = {
      {"VERSION", 'N', 2, 0}, {"NAME", 'C', 30, 0}, {"CAS", 'N', 12, 4}};
  DB3FieldOffsetWidth table[3];
  ASSERT_EQ(DB3SetFieldOffsetWidths(table, fields, 3), 0);
  EXPECT_EQ(table[0].offset, 0);
  EXPECT_EQ(table[1].offset, 2);
  EXPECT_EQ(table[2].offset, 32);
  EXPECT_EQ(table[2].width, 12);
  EXPECT_EQ(table[2].decimals, 4);
  EXPECT_EQ(DB3SetFieldOffsetWidths(table, fields, -1), 1);
}

TEST(Fields, TextsAreCutOrFilledUp) {
  const char text[] = "  abc";
  EXPECT_EQ(Written(text, DB3_TEXT, 8), "  abc   ");
  EXPECT_EQ(Written(text, DB3_TEXT, 4), "  ab");
  EXPECT_EQ(Written(text, DB3_LEFT_TEXT, 5), "abc  ");
  EXPECT_EQ(Written("", DB3_TEXT, 3), "   ");
  struct Text {
    char characters[4];
  };
  EXPECT_STREQ(Read<Text>("ab ", DB3_TEXT).characters, "ab ");
  EXPECT_STREQ(Read<Text>("abc", DB3_LEFT_TEXT).characters, "abc");
}

TEST(Fields, OnlyAnFIsFalse) {
  EXPECT_EQ(Written(int32_t{0}, DB3_LOGICAL, 1), "F");
  EXPECT_EQ(Written(int32_t{-3}, DB3_LOGICAL, 2), "T ");
  EXPECT_EQ(Read<int32_t>("F", DB3_LOGICAL), 0);
  for (const char* text : {"T", " ", "f", "?"}) EXPECT_EQ(Read<int32_t>(text, DB3_LOGICAL), 1);
}

TEST(Fields, WholeNumbersStandRight) {
  EXPECT_EQ(Written(int16_t{-42}, DB3_INT16, 5), "  -42");
  EXPECT_EQ(Written(uint16_t{65535}, DB3_UINT16, 5), "65535");
  EXPECT_EQ(Written(Limits32::min(), DB3_INT32, 11), "-2147483648");
  EXPECT_EQ(Written(uint32_t{4294967295}, DB3_UINT32, 12), "  4294967295");
  EXPECT_EQ(Written(int32_t{1000}, DB3_INT32, 3), "***");
  EXPECT_EQ(Written(int32_t{-10}, DB3_INT32, 2), "**");

  EXPECT_EQ(Read<int16_t>(" -42", DB3_INT16), -42);
  EXPECT_EQ(Read<int16_t>("99999", DB3_INT16), 32767);
  EXPECT_EQ(Read<uint16_t>("65535", DB3_UINT16), 65535);
  EXPECT_EQ(Read<uint16_t>("-1", DB3_UINT16), 0);
  EXPECT_EQ(Read<int32_t>("+7.9", DB3_INT32), 7);
  EXPECT_EQ(Read<int32_t>("****", DB3_INT32), 0);
  EXPECT_EQ(Read<int32_t>("   ", DB3_INT32), 0);
  EXPECT_EQ(Read<int32_t>("-9999999999999", DB3_INT32), Limits32::min());
  EXPECT_EQ(Read<int32_t>("99999999999999999999999", DB3_INT32), Limits32::max());
  EXPECT_EQ(Read<uint32_t>("4294967295", DB3_UINT32), 4294967295U);
}

TEST(Fields, RealNumbersHaveTheFieldsDecimals) {
  EXPECT_EQ(Written(3.14159, DB3_DOUBLE, 8, 3), "   3.142");
  EXPECT_EQ(Written(-0.5F, DB3_FLOAT, 8, 2), "   -0.50");
  EXPECT_EQ(Written(123456789.123456789, DB3_DOUBLE, 19, 9), "123456789.123456791");
  EXPECT_EQ(Written(999.9996, DB3_DOUBLE, 8, 3), "1000.000");
  EXPECT_EQ(Written(9999.9996, DB3_DOUBLE, 8, 3), "********");
  EXPECT_EQ(Written(-100.0, DB3_DOUBLE, 6, 2), "******");
  EXPECT_EQ(Written(std::nan(""), DB3_DOUBLE, 8, 3), "     nan");
  EXPECT_EQ(Written(-HUGE_VAL, DB3_EXPONENT, 8, 3), "    -inf");
  EXPECT_EQ(Written(HUGE_VAL, DB3_FLOAT, 2, 1), "**");
  // Printouts of 31 characters are whole, longer ones would be cut.
  EXPECT_EQ(Written(0x1p100, DB3_DOUBLE, 32, 0), " 1267650600228229401496703205376");
  EXPECT_EQ(Written(0.5, DB3_DOUBLE, 31, 29), "0.50000000000000000000000000000");
  EXPECT_EQ(Written(-0x1p100, DB3_DOUBLE, 40, 0), std::string(40, '*'));
  EXPECT_EQ(Written(1e31, DB3_DOUBLE, 40, 0), "         9999999999999999635896294965248");
  EXPECT_EQ(Written(1e32, DB3_DOUBLE, 40, 0), std::string(40, '*'));
  EXPECT_EQ(Written(0x1p100, DB3_DOUBLE, 40, 1), std::string(40, '*'));
  EXPECT_EQ(Written(0.5, DB3_DOUBLE, 40, 30), std::string(40, '*'));
  // What rounds to zero has no sign.
  EXPECT_EQ(Written(-0.01, DB3_DOUBLE, 5, 1), "  0.0");
  EXPECT_EQ(Written(-0.5, DB3_DOUBLE, 1, 0), "0");
  EXPECT_EQ(Written(-0.0, DB3_EXPONENT, 8, 1), "   0.0e0");
  EXPECT_EQ(Written(1234.5, DB3_EXPONENT, 9, 3), "  1.234e3");
  EXPECT_EQ(Written(1234.5, DB3_EXPONENT, 6, 3), "******");

  EXPECT_EQ(Read<double>("   -0.50", DB3_DOUBLE), -0.5);
  EXPECT_EQ(Read<double>("0.1", DB3_DOUBLE), 0.1);
  EXPECT_EQ(Read<float>("16777217.0", DB3_FLOAT), 16777216.0F);
  EXPECT_EQ(Read<double>("12345678901234567890.5", DB3_DOUBLE), 12345678901234567890.5);
  EXPECT_EQ(Read<double>("1.5e-3", DB3_DOUBLE), 1.5e-3);
  EXPECT_EQ(Read<double>(" 1.234e3", DB3_EXPONENT), 1234.0);
  EXPECT_EQ(Read<float>("9e300", DB3_FLOAT), std::numeric_limits<float>::max());
  EXPECT_EQ(Read<double>("******", DB3_DOUBLE), 0.0);
}

TEST(Fields, CompoundsHoldTwoNumbers) {
  struct Two {
    int32_t values[2];
  };
  EXPECT_EQ(Written(Two{{12, -3}}, DB3_COMPOUND, 8), "12 -3   ");
  EXPECT_EQ(Written(Two{{12, -3}}, DB3_COMPOUND, 4), "****");
  EXPECT_EQ(Written(Two{{Limits32::min(), Limits32::min()}}, DB3_COMPOUND, 23),
            "-2147483648 -2147483648");
  const Two read = Read<Two>("12 -3   ", DB3_COMPOUND);
  EXPECT_EQ(read.values[0], 12);
  EXPECT_EQ(read.values[1], -3);
  EXPECT_EQ(Read<Two>("12", DB3_COMPOUND).values[1], 0);
}

TEST(Fields, PackedMembersNeedNoAlignment) {
  char structure[16] = {};
  const double value = -2.5;
  std::memcpy(structure + 3, &value, sizeof(value));
  std::string record(10, ' ');
  const DB3FieldOffsetWidth entry = {4, 6, 2};
  EXPECT_EQ(DB3ConvertPackedFldToDBFmt(structure + 3, record.data(), &entry, 0, DB3_DOUBLE), 0);
  EXPECT_EQ(record, "     -2.50");
  EXPECT_EQ(DB3ConvertPackedFldToInternalFmt(record.data(), structure + 1, &entry, DB3_DOUBLE), 0);
  EXPECT_EQ(std::memcmp(structure + 1, &value, sizeof(value)), 0);
}

TEST(Fields, ImpossibleConversionsChangeNothing) {
  struct Case {
    DB3FieldOffsetWidth entry;
    int32_t conversion;
  };
  for (const Case& wrong :
       {Case{{0, 0, 0}, DB3_TEXT}, Case{{0, 256, 0}, DB3_TEXT}, Case{{-1, 4, 0}, DB3_INT32},
        Case{{0, 4, -1}, DB3_DOUBLE}, Case{{0, 4, 0}, -1}, Case{{0, 4, 0}, 11}}) {
    double member = 5.0;
    std::string record = "1234";
    EXPECT_EQ(
        DB3ConvertFldToDBFmt(&member, record.data(), &wrong.entry, nullptr, 0, wrong.conversion),
        1);
    EXPECT_EQ(record, "1234");
    if (wrong.entry.decimals < 0) continue;  // reading has no use for them
    EXPECT_EQ(DB3ConvertFldToInternalFmt(record.data(), &member, &wrong.entry, wrong.conversion),
              1);
    EXPECT_EQ(member, 5.0);
  }
  EXPECT_EQ(DB3ConvertFldToInternalFmt(nullptr, nullptr, nullptr, DB3_TEXT), 1);
}

TEST(Fields, MnemonicsAndPositions) {
  const char* const names[] = {"VERSION", "NAME", "RT_WIN", "RT_WIN", ""};
  int32_t position = -1;
  EXPECT_EQ(DB3ConvertMnemonicToOffset(15, "RT_WIN", names, &position), 2);
  EXPECT_EQ(position, 2);
  EXPECT_EQ(DB3ConvertMnemonicToOffset(15, "name", names, &position), 0);
  EXPECT_EQ(position, 0);
  EXPECT_EQ(DB3ConvertMnemonicToOffset(15, "NAME", names, nullptr), 1);
  char text[11] = "unchanged";
  EXPECT_STREQ(DB3ConvertOffsetToMnemonic(3, names, text), "RT_WIN");
  EXPECT_STREQ(DB3ConvertOffsetToMnemonic(4, names, text), "");
  EXPECT_STREQ(DB3ConvertOffsetToMnemonic(-1, names, text), "");
}

}  // namespace
}  // namespace tervalon::testing
