#include "db3/catalogue.h"

#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "db3/causes.h"
#include "tervalon/database_records.h"

namespace tervalon::db3 {
namespace {

using ::testing::HasSubstr;

std::string FieldName(const DatabaseType& type, size_t position) {
  const FieldDescriptor& field = type.fields[position];
  return std::string(field.name) + " " + field.type + std::to_string(field.width) + "." +
         std::to_string(field.decimals);
}

size_t Position(const DatabaseType& type, const std::string& name) {
  size_t position = 0;
  while (name != type.fields[position].name) ++position;
  return position;
}

size_t TextOffset(const DatabaseType& type, size_t position) {
  size_t offset = 0;
  for (size_t i = 0; i < position; ++i) offset += type.fields[i].width;
  return offset;
}

// Reads and writes in blocks of exactly the catalogue's size, which the sanitizer watches.
template <typename Record>
std::unique_ptr<Record> Read(int32_t number, const std::string& text) {
  auto record = std::make_unique<Record>();
  EXPECT_EQ(
      ReadRecord(*Catalogue(number), text, std::as_writable_bytes(std::span(record.get(), 1))),
      kSuccess);
  return record;
}

template <typename Record>
int32_t Update(int32_t number, const Record& record, std::string* text) {
  return UpdateRecord(*Catalogue(number), std::as_bytes(std::span(&record, 1)), *text);
}

std::string Blank(int32_t number) { return std::string(Catalogue(number)->record_length, ' '); }

// A record as another program may have written it: every field is full.
std::string FullRecord(const DatabaseType& type, std::mt19937& random) {
  std::string text(type.record_length, ' ');
  size_t offset = 0;
  for (const FieldDescriptor& field : type.fields) {
    for (size_t i = 0; i < field.width; ++i) {
      const std::string_view characters = field.type == 'N'   ? "123456789"
                                          : field.type == 'C' ? " !0AZaz~\"',;"
                                                              : "TF";
      text[offset + i] = characters[random() % characters.size()];
    }
    if (field.decimals != 0) text[offset + field.width - field.decimals - 1] = '.';
    offset += field.width;
  }
  return text;
}

TEST(Catalogue, TypesAreTheTwenty) {
  EXPECT_EQ(Catalogue(-1), nullptr);
  EXPECT_EQ(Catalogue(kDatabaseTypes), nullptr);
  struct Case {
    size_t fields;
    uint32_t record_length;
    size_t not_held;  // besides the version
    std::string last_field;
  };
  const Case cases[] = {
      {146, 1449, 66, "CRAIG_3 N19.9"},     {11, 168, 0, "NAME C30.0"},
      {140, 2207, 0, "RELSTD_DEV N19.9"},   {146, 1449, 96, "CRAIG_3 N19.9"},
      {65, 3651, 0, "AUTO_MASS N6.2"},      {47, 1074, 0, "SPARE_5 C16.0"},
      {96, 455, 0, "SPARE10 N8.2"},         {14, 156, 0, "CONC_SET_E N19.9"},
      {6, 232, 0, "MONOMASS N15.4"},        {3, 32, 0, "MONOMASS N15.4"},
      {29, 170, 0, "ACT_5 C1.0"},           {23, 77, 0, "SOL_ISA_CY N2.0"},
      {38, 309, 0, "ACT_4 C1.0"},           {2, 3, 0, "EXT_CONT C1.0"},
      {122, 1707, 0, "DPRRAMP5 C23.0"},     {146, 1449, 0, "CRAIG_3 N19.9"},
      {249, 21570, 0, "CURV_COEFS C133.0"}, {6, 67, 0, "DIG_SECPAR L1.0"},
      {6, 232, 0, "MONOMASS N15.4"},        {97, 1061, 0, "SEL?4 L1.0"},
  };
  for (int32_t number = 0; number < kDatabaseTypes; ++number) {
    SCOPED_TRACE(number);
    const DatabaseType& type = *Catalogue(number);
    const Case& expected = cases[number];
    EXPECT_EQ(type.fields.size(), expected.fields);
    EXPECT_EQ(type.members.size(), expected.fields);
    EXPECT_EQ(type.record_length, expected.record_length);
    EXPECT_EQ(FieldName(type, 0), "VERSION N2.0");
    EXPECT_EQ(FieldName(type, type.fields.size() - 1), expected.last_field);
    EXPECT_EQ(std::ranges::count(type.members, DB3_NOT_HELD, &Member::conversion),
              static_cast<ptrdiff_t>(expected.not_held) + 1);
  }
}

TEST(Catalogue, RunsAreNumbered) {
  const DatabaseType& method = *Catalogue(DB3_METHOD);
  EXPECT_EQ(FieldName(method, 66), "INTEN_SUM N5.0");
  EXPECT_EQ(FieldName(method, 67), "PEAK_1 C9.0");
  EXPECT_EQ(FieldName(method, 116), "PEAK_50 C9.0");
  EXPECT_EQ(method.members[116].offset, method.members[67].offset + 49 * 9);
  const DatabaseType& curve = *Catalogue(DB3_CURVE);
  EXPECT_EQ(FieldName(curve, 128), "PK_LIST_99 C145.0");
  EXPECT_EQ(FieldName(curve, 129), "PK_LIST100 C145.0");
  EXPECT_EQ(curve.members[129].offset, static_cast<int32_t>(offsetof(DB3Curve, peak_lists[99])));
  // A repeated name is another field.
  EXPECT_EQ(FieldName(method, 25), "PK_AREAREL N6.2");
  EXPECT_EQ(FieldName(method, 26), "PK_AREAREL N12.0");
}

TEST(Records, AreReadIntoTheirMembers) {
  std::string text = Blank(DB3_PERIODIC_TABLE);
  const DatabaseType& type = *Catalogue(DB3_PERIODIC_TABLE);
  const auto put = [&](size_t position, const std::string& value) {
    const size_t end = TextOffset(type, position) + type.fields[position].width;
    text.replace(end - value.size(), value.size(), value);
  };
  put(Position(type, "NAME"), "Iron                ");
  put(Position(type, "MASS2"), "55.9349393");
  put(Position(type, "SEL?2"), "F");
  put(Position(type, "CORR4") - 1, "1.5");
  const auto element = Read<DB3Element>(DB3_PERIODIC_TABLE, text);
  EXPECT_EQ(std::string(element->name, 20), "Iron                ");
  EXPECT_EQ(element->mass_2, 55.9349393);
  EXPECT_EQ(element->selected_2, 0);
  EXPECT_EQ(element->selected_3, 1);  // a blank is no "F"
  EXPECT_EQ(element->interfering_mass_4, 1.5);
}

// Where a structure inside the structure would end, members follow each other without a gap.
TEST(Records, HaveMembersWhereTheirFormsPutThem) {
  const DatabaseType& table = *Catalogue(DB3_PERIODIC_TABLE);
  EXPECT_EQ(table.members[Position(table, "NO_OF_INT.")].offset, 716);
  EXPECT_EQ(table.members[Position(table, "LABEL1")].offset, 720);
  EXPECT_EQ(table.members[Position(table, "LABEL2")].offset, 764);
  EXPECT_EQ(table.members.back().offset, 880);
}

TEST(Records, OfEveryTypeAreTheSameAfterReadingAndWriting) {
  std::mt19937 random(3);
  for (int32_t number = 0; number < kDatabaseTypes; ++number) {
    SCOPED_TRACE(number);
    const DatabaseType& type = *Catalogue(number);
    const std::string old = FullRecord(type, random);
    auto structure = std::make_unique<std::byte[]>(type.structure_size);
    const std::span<std::byte> bytes(structure.get(), type.structure_size);
    std::fill(bytes.begin(), bytes.end(), std::byte{0xFF});
    std::string text = old;
    ASSERT_EQ(ReadRecord(type, text, bytes), kSuccess);
    ASSERT_EQ(UpdateRecord(type, bytes, text), kSuccess);
    const std::string version = std::to_string(type.version);
    EXPECT_EQ(text, " " + version + old.substr(2));

    // A new record has the members alone, and reads back as they are.
    std::fill(bytes.begin(), bytes.end(), std::byte{0});
    ASSERT_EQ(NewRecord(type, bytes, text), kSuccess);
    for (size_t i = 1; i < type.fields.size(); ++i) {
      const bool number_held =
          type.fields[i].type == 'N' && type.members[i].conversion != DB3_NOT_HELD;
      const std::string field = text.substr(TextOffset(type, i), type.fields[i].width);
      EXPECT_EQ(field.find('0') != std::string::npos, number_held) << FieldName(type, i);
      EXPECT_EQ(field == "F", type.fields[i].type == 'L') << FieldName(type, i);
    }
  }
}

TEST(Records, KeepWhatTheStructureDoesNotHold) {
  std::mt19937 random(4);
  const DatabaseType& type = *Catalogue(DB3_NUC_MOD);
  std::string text = FullRecord(type, random);
  const std::string old = text;
  auto modification = Read<DB3NucMod>(DB3_NUC_MOD, text);
  // The name is longer than its member: it is kept as it is, or not at all.
  ASSERT_EQ(Update(DB3_NUC_MOD, *modification, &text), kSuccess);
  EXPECT_EQ(text.substr(2, 100), old.substr(2, 100));
  std::memcpy(modification->name, "Phosphate", 10);
  modification->average_mass = 97.99;
  ASSERT_EQ(Update(DB3_NUC_MOD, *modification, &text), kSuccess);
  EXPECT_EQ(text.substr(0, 102), " 1Phosphate" + std::string(91, ' '));
  EXPECT_EQ(text.substr(102, 100), old.substr(102, 100));
  EXPECT_EQ(text.substr(202, 15), "        97.9900");

  // Fields of the quantification are not the finding's to change.
  const DatabaseType& method = *Catalogue(DB3_METHOD_FIND);
  text = FullRecord(method, random);
  const size_t totals = TextOffset(method, Position(method, "TOTALS_GRP"));
  const std::string group = text.substr(totals, 40);
  auto find = Read<DB3MethodFind>(DB3_METHOD_FIND, text);
  find->predicted_time = 12.5;
  ASSERT_EQ(Update(DB3_METHOD_FIND, *find, &text), kSuccess);
  EXPECT_EQ(text.substr(totals, 40), group);
  EXPECT_THAT(text, HasSubstr("  12.500"));
}

TEST(Records, KeepDigitsThatTheirMembersDoNotHold) {
  struct Case {
    std::string stored;
    std::string written;
  };
  const DatabaseType& type = *Catalogue(DB3_PEAK_LIST);
  const auto expect = [&](const std::string& field, const std::vector<Case>& cases) {
    const size_t position = Position(type, field);
    const size_t offset = TextOffset(type, position), width = type.fields[position].width;
    for (const auto& [stored, written] : cases) {
      std::string text = Blank(DB3_PEAK_LIST);
      text.replace(offset, width, stored);
      const auto peak = Read<DB3PeakList>(DB3_PEAK_LIST, text);
      ASSERT_EQ(Update(DB3_PEAK_LIST, *peak, &text), kSuccess);
      EXPECT_EQ(text.substr(offset, width), written);
    }
  };
  expect("USER_VAL_1", {{"999999999.999999999", "999999999.999999999"},  // nearest to 10^9
                        {"-12345678.123456789", "-12345678.123456789"},
                        {"    1.5            ", "    1.5            "},
                        {"              -0.00", "              -0.00"},
                        {"                   ", "                   "}});
  expect("AREA_THRSH", {{"        12.75", "        12.75"},
                        {"          007", "          007"},
                        {"*************", "*************"},
                        {"9999999999999", "9999999999999"}});

  // Another value is written as such.
  std::string text = Blank(DB3_PEAK_LIST);
  auto peak = Read<DB3PeakList>(DB3_PEAK_LIST, text);
  const size_t offset = TextOffset(type, Position(type, "USER_VAL_1"));
  for (const auto& [value, written] : {std::pair(123.456, "      123.456000000"),
                                       {-0.0, "        0.000000000"},
                                       {std::nan(""), "                nan"}}) {
    text.replace(offset, 19, "          123.45600");
    peak->user_value_1 = value;
    ASSERT_EQ(Update(DB3_PEAK_LIST, *peak, &text), kSuccess);
    EXPECT_EQ(text.substr(offset, 19), value == 123.456 ? "          123.45600" : written);
  }
}

TEST(Records, WithANumberTooWideAreRefused) {
  std::string text = Blank(DB3_PEP_ELEMENT);
  DB3PepElement element = {1e9, -1e9};
  EXPECT_EQ(Update(DB3_PEP_ELEMENT, element, &text), kFileWrite);
  element.monoisotopic_mass = -1e8;
  EXPECT_EQ(Update(DB3_PEP_ELEMENT, element, &text), kSuccess);
  EXPECT_EQ(text, " 11000000000.0000-100000000.0000");
}

TEST(Records, NeedRoomForTextAndStructure) {
  const DatabaseType& type = *Catalogue(DB3_LC);
  std::string text = " 1E";
  std::byte structure[4] = {};
  EXPECT_EQ(ReadRecord(type, std::span(text).first(2), structure), kGeneralError);
  EXPECT_EQ(ReadRecord(type, text, std::span(structure).first(3)), kGeneralError);
  EXPECT_EQ(UpdateRecord(type, structure, std::span(text).first(2)), kGeneralError);
  EXPECT_EQ(UpdateRecord(type, std::span(structure).first(3), text), kGeneralError);
  EXPECT_EQ(text, " 1E");
}

}  // namespace
}  // namespace tervalon::db3
