#include "db3/catalogue.h"

#include "db3/catalogue_builder.h"
#include "tervalon/database_records.h"

namespace tervalon::db3 {
namespace {

using builder::MakeTable;
using builder::MemberOf;
using builder::Row;

#define TYPE_OF(member) std::remove_reference_t<decltype(std::declval<Record&>().member)>

#define FIELD(name, type, width, decimals, member)                          \
  Row{name, 0, 1, type, width, decimals, [] {                               \
        if constexpr (requires(Record record) { record.member; }) {         \
          return MemberOf<TYPE_OF(member)>(offsetof(Record, member), type); \
        } else {                                                            \
          return builder::kNotHeld;                                         \
        }                                                                   \
      }()},

#define FIELDS(name, first, last, type, width, decimals, array)                        \
  Row{name, first, last - first + 1, type, width, decimals, [] {                       \
        if constexpr (requires(Record record) { record.array; }) {                     \
          using Array = TYPE_OF(array);                                                \
          static_assert(std::extent_v<Array> >= last - first + 1);                     \
          return MemberOf<std::remove_extent_t<Array>>(offsetof(Record, array), type); \
        } else {                                                                       \
          return builder::kNotHeld;                                                    \
        }                                                                              \
      }()},

#define VERSION() Row{"VERSION", 0, 1, 'N', 2, 0, builder::kNotHeld},

// clang-format off
template <typename Record>
constexpr auto kUnifiedMethod = MakeTable<146, Record>(std::to_array<Row>({
#include "db3/tables/unified_method.inc"
}));

template <typename Record>
constexpr auto kInterimReport = MakeTable<11, Record>(std::to_array<Row>({
#include "db3/tables/interim_report.inc"
}));

template <typename Record>
constexpr auto kPeakList = MakeTable<140, Record>(std::to_array<Row>({
#include "db3/tables/peak_list.inc"
}));

template <typename Record>
constexpr auto kMsFunction = MakeTable<65, Record>(std::to_array<Row>({
#include "db3/tables/ms_function.inc"
}));

template <typename Record>
constexpr auto kSamples = MakeTable<47, Record>(std::to_array<Row>({
#include "db3/tables/samples.inc"
}));

template <typename Record>
constexpr auto kTune = MakeTable<96, Record>(std::to_array<Row>({
#include "db3/tables/tune.inc"
}));

template <typename Record>
constexpr auto kQuanSampleList = MakeTable<14, Record>(std::to_array<Row>({
#include "db3/tables/quan_sample_list.inc"
}));

template <typename Record>
constexpr auto kModification = MakeTable<6, Record>(std::to_array<Row>({
#include "db3/tables/modification.inc"
}));

template <typename Record>
constexpr auto kPepElement = MakeTable<3, Record>(std::to_array<Row>({
#include "db3/tables/pep_element.inc"
}));

template <typename Record>
constexpr auto kProbe = MakeTable<29, Record>(std::to_array<Row>({
#include "db3/tables/probe.inc"
}));

template <typename Record>
constexpr auto kAutoSampler = MakeTable<23, Record>(std::to_array<Row>({
#include "db3/tables/auto_sampler.inc"
}));

template <typename Record>
constexpr auto kGC = MakeTable<38, Record>(std::to_array<Row>({
#include "db3/tables/gc.inc"
}));

template <typename Record>
constexpr auto kLC = MakeTable<2, Record>(std::to_array<Row>({
#include "db3/tables/lc.inc"
}));

template <typename Record>
constexpr auto kGC2 = MakeTable<122, Record>(std::to_array<Row>({
#include "db3/tables/gc2.inc"
}));

template <typename Record>
constexpr auto kCurve = MakeTable<249, Record>(std::to_array<Row>({
#include "db3/tables/curve.inc"
}));

template <typename Record>
constexpr auto kDigest = MakeTable<6, Record>(std::to_array<Row>({
#include "db3/tables/digest.inc"
}));

template <typename Record>
constexpr auto kPeriodicTable = MakeTable<97, Record>(std::to_array<Row>({
#include "db3/tables/periodic_table.inc"
}));

// clang-format on

#undef FIELD
#undef FIELDS
#undef VERSION
#undef TYPE_OF

template <typename Record, uint32_t kSize, const auto& table>
constexpr DatabaseType Type(const char* title, int16_t code, const char* system_list_key,
                            int16_t version) {
  static_assert(sizeof(Record) == kSize);
  return {title,        code,          system_list_key, version,
          table.fields, table.members, kSize,           table.record_length};
}

#define TYPE(record, size, table, ...) Type<record, size, table<record>>(__VA_ARGS__)

// A row for each type, in the order of their numbers: structure and its size, table, title, code in
// the settings, key of the current file, version.
// clang-format off
constexpr DatabaseType kTypes[] = {
    TYPE(DB3MethodFind,      704, kUnifiedMethod , "Unified Method (Find)",  3, "FIND_DB",        4),
    TYPE(DB3InterimReport,   152, kInterimReport , "Interim Report",         4, "INTERIM_REP_DB", 1),
    TYPE(DB3PeakList,       1944, kPeakList      , "Peak List",              5, "PEAK_DB",        3),
    TYPE(DB3MethodQuan,      400, kUnifiedMethod , "Unified Method (Quan)",  8, "METHOD_DB",      4),
    TYPE(DB3MSFunction,     3620, kMsFunction    , "MS Function",            6, "MS_FUNC_DB",     2),
    TYPE(DB3Sample,         2894, kSamples       , "Samples",                7, "SAMPLES_DB",     2),
    TYPE(DB3Tune,            380, kTune          , "Tune",                   9, "TUNE_DB",        1),
    TYPE(DB3QuanSample,      192, kQuanSampleList, "Quan Sample List",      10, "QLST_DB",        2),
    TYPE(DB3PepMod,          216, kModification  , "Pep Mod",               13, "PEP_MOD_DB",     1),
    TYPE(DB3PepElement,       16, kPepElement    , "Pep elem",              14, "PEP_ELEM_DB",    1),
    TYPE(DB3Probe,           216, kProbe         , "Probe",                 15, "PROBE_DB",       1),
    TYPE(DB3AutoSampler,     152, kAutoSampler   , "Auto sampler",          16, "ASAMP_DB",       1),
    TYPE(DB3GC,              296, kGC            , "GC",                    17, "GC_DB",          1),
    TYPE(DB3LC,                4, kLC            , "LC",                    18, "LC_DB",          1),
    TYPE(DB3GC2,            2456, kGC2           , "GC2",                   21, "GC_DB",          4),
    TYPE(DB3Method,         1176, kUnifiedMethod , "Unified Method",        22, "METHOD_DB",      4),
    TYPE(DB3Curve,         19344, kCurve         , "Curve",                 23, "CURVE_DB",       3),
    TYPE(DB3Digest,           68, kDigest        , "Digest",                24, "PEP_MOD_DB",     1),
    TYPE(DB3NucMod,          176, kModification  , "Nuc Mod",               25, "NUC_MOD_DB",     1),
    TYPE(DB3Element,        1024, kPeriodicTable , nullptr,                 26, "PTABLE_DB",      1),
};
// clang-format on
static_assert(std::size(kTypes) == kDatabaseTypes);

}  // namespace

const DatabaseType* Catalogue(int32_t type) {
  return type >= 0 && type < kDatabaseTypes ? &kTypes[type] : nullptr;
}

}  // namespace tervalon::db3
