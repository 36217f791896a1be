#include "viewer/core/run.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "tools/data/files.h"
#include "tools/data/function_description.h"
#include "tools/print/failure.h"

namespace tervalon::viewer {
namespace {

// Whether both are of the same acquisition. Texts of a header may be edited, its times are not.
bool IsSame(const RawDirectory& a, const RawDirectory& b) {
  const RawHeader& one = a.header();
  const RawHeader& other = b.header();
  return std::strncmp(one.acquired_date, other.acquired_date, sizeof one.acquired_date) == 0 &&
         std::strncmp(one.acquired_time, other.acquired_time, sizeof one.acquired_time) == 0 &&
         std::strncmp(one.acquired_name, other.acquired_name, sizeof one.acquired_name) == 0;
}

// 1: the second has more, -1: it has less.
int Compare(const RawDirectory& before, const RawDirectory& now) {
  const auto functions = static_cast<int>(before.functions().size());
  if (now.functions().size() < before.functions().size()) return -1;
  bool more = now.functions().size() > before.functions().size();
  for (int function = 1; function <= functions; ++function) {
    const int32_t had = tools::CompleteScans(before.Function(function));
    const int32_t has = tools::CompleteScans(now.Function(function));
    if (has < had) return -1;
    more |= has > had;
  }
  return more ? 1 : 0;
}

// What tells two acquisitions of the same sample apart. Nothing: there is none yet.
std::optional<RawScanHeader> FirstScan(const RawDirectory& directory) {
  if (directory.functions().empty()) return std::nullopt;
  const DataReader reader(directory, {.function = 1});
  if (reader.ScanCount() < 1) return std::nullopt;
  return reader.ScanHeader(1);
}

bool Differ(const std::optional<RawScanHeader>& a, const std::optional<RawScanHeader>& b) {
  return a && b &&
         (a->retention_time != b->retention_time || a->points != b->points ||
          a->total_ion_current != b->total_ion_current);
}

// With what it reads from.
struct OpenReader {
  OpenReader(std::shared_ptr<const RawDirectory> from, const DataSet& data_set)
      : directory(std::move(from)), reader(*directory, data_set) {}

  std::shared_ptr<const RawDirectory> directory;
  DataReader reader;
};

}  // namespace

bool IsSame(const DataSet& a, const DataSet& b) {
  return a.function == b.function && a.process == b.process;
}

Run::Run(const std::string& path)
    : path_(path),
      directory_(std::make_shared<RawDirectory>(path)),
      first_scan_(FirstScan(*directory_)) {}

std::vector<DataSet> Run::DataSets() const {
  std::vector<DataSet> sets;
  for (size_t i = 0; i < directory_->functions().size(); ++i) {
    sets.push_back({.function = static_cast<int>(i) + 1});
  }
  for (const int process : directory_->ProcessedSets()) sets.push_back({.process = process});
  return sets;
}

std::string Run::name() const {
  std::filesystem::path path = tools::PathOf(path_).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  return tools::NameOf(path.filename());
}

std::shared_ptr<const DataReader> Run::Reader(const DataSet& data_set) {
  const auto found = std::ranges::find_if(
      readers_, [&](const Open& open) { return IsSame(open.data_set, data_set); });
  if (found != readers_.end()) return found->reader;
  const auto open = std::make_shared<OpenReader>(directory_, data_set);
  readers_.push_back({data_set, std::shared_ptr<const DataReader>(open, &open->reader)});
  return readers_.back().reader;
}

Run::News Run::Refresh() {
  std::string trouble;
  try {
    auto now = std::make_shared<RawDirectory>(path_);
    const int change = Compare(*directory_, *now);
    const std::optional<RawScanHeader> first = FirstScan(*now);
    if (!IsSame(*directory_, *now) || Differ(first_scan_, first)) {
      trouble = path_ + ": another run has taken its place";
    } else if (change < 0) {
      trouble = path_ + ": scans that were there are gone";
    } else if (change > 0 || !trouble_.empty()) {
      readers_.clear();
      directory_ = std::move(now);
      first_scan_ = first;
      return std::exchange(trouble_, "").empty() ? News::kMore : News::kBetter;
    }
  } catch (const tools::Failure& failure) {
    trouble = failure.what();
  }
  const bool is_news = trouble_.empty() && !trouble.empty();
  if (!trouble.empty()) trouble_ = trouble;
  return is_news ? News::kTrouble : News::kNone;
}

}  // namespace tervalon::viewer
