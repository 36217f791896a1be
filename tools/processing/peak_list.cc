#include "tools/processing/peak_list.h"

#include <tervalon/database_records.h>
#include <tervalon/databases.h>

#include <cmath>
#include <filesystem>
#include <utility>

#include "tools/data/database.h"
#include "tools/data/files.h"
#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

using Fields = std::vector<std::pair<std::string, std::string>>;

std::string Whole(double number) { return ExactText(std::round(number)); }

// "12-Mar-2024" as the nine characters that the field has.
std::string ShortDate(const std::string& date) {
  constexpr size_t kLong = 11;
  return date.size() == kLong      ? date.substr(0, kLong - 4) + date.substr(kLong - 2)
         : date.size() < kLong - 1 ? date
                                   : "";
}

Fields RunFields(const DataReader& reader, const PrcPeakSearch& search) {
  const RawHeader& header = reader.directory().header();
  const std::string name = NameOf(PathOf(reader.directory().path()).filename());
  Fields fields = {
      {"RAW_NAME", Utf8FromSystem(name)},
      {"RAW_DATE", ShortDate(Utf8FromLatin1(header.acquired_date, sizeof(header.acquired_date)))},
      {"RAW_TIME", Utf8FromLatin1(header.acquired_time, sizeof(header.acquired_time))},
      {"RAW_FUNC", std::to_string(*reader.data_set().function)}};
  if (const PrcSmoothing& smoothing = search.smoothing; smoothing.passes > 0) {
    fields.insert(fields.end(), {{"SMOO_EN", "T"},
                                 {"SMOO_METH", std::to_string(smoothing.method)},
                                 {"SMOO_ITER", std::to_string(smoothing.passes)},
                                 {"SMOO_WIDTH", std::to_string(smoothing.half_width)}});
  }
  return fields;
}

Fields PeakFields(const FoundPeak& found) {
  const PrcPeak& peak = *found.peak;
  Fields fields = {{"QUAN_TRACE", found.trace},
                   {"CHR_NOISE", Whole(found.noise)},
                   {"FOUND_RT", ExactText(peak.time)},
                   {"START_RT", ExactText(peak.start_time)},
                   {"END_RT", ExactText(peak.end_time)},
                   {"ST_HEIGHT", ExactText(peak.start_intensity)},
                   {"EN_HEIGHT", ExactText(peak.end_intensity)},
                   {"AREA", ExactText(peak.area)},
                   {"HEIGHT", Whole(peak.height)}};
  if (found.has_scans) {
    fields.insert(fields.end(), {{"FOUND_SCAN", std::to_string(peak.apex)},
                                 {"ST_SCAN", std::to_string(peak.start)},
                                 {"EN_SCAN", std::to_string(peak.end)}});
  }
  if (found.mass) fields.emplace_back("PEAK_MASS", ExactText(*found.mass));
  if (found.target) {
    fields.emplace_back("NAME", found.target->name);
    if (found.target->time) {
      fields.emplace_back("PRED_RT", ExactText(*found.target->time));
      fields.emplace_back("RT_WIN", ExactText(found.target->window));
    }
  }
  return fields;
}

void Assign(Database& database, const std::string& file, const Fields& fields) {
  try {
    for (const auto& [name, value] : fields) database.Set(*database.Find(name), value);
  } catch (const WrongUsage& wrong) {
    throw Failure(file, wrong.what());
  }
}

}  // namespace

void AddToPeakList(const std::string& file, const DataReader& reader, const PrcPeakSearch& search,
                   const std::vector<FoundPeak>& peaks) {
  const std::string path = DatabaseArgument(file);
  const bool is_new = !std::filesystem::exists(PathOf(path));
  if (is_new) CreateDatabase(path, DB3_PEAK_LIST, /*replace=*/false);
  try {
    Database database(path, DB3_PEAK_LIST);
    const Fields run = RunFields(reader, search);
    const auto room = DB3_MAX_RECORDS - database.count();
    if (std::ssize(peaks) > room) {
      throw Failure(file, "has room for " + std::to_string(room) + " more records");
    }
    for (const bool write : {false, true}) {
      for (const FoundPeak& found : peaks) {
        if (!found.peak) continue;
        database.Clear();
        Assign(database, file, run);
        Assign(database, file, PeakFields(found));
        if (write) database.Insert(database.count() + 1);
      }
    }
  } catch (...) {
    if (is_new) RemoveFile(path);
    throw;
  }
}

}  // namespace tervalon::tools
