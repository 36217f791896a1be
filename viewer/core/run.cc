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

bool IsSame(const DataSet& a, const DataSet& b) {
  return a.function == b.function && a.process == b.process && a.data_type == b.data_type;
}

}  // namespace

Run::Run(const std::string& path) : path_(path), directory_(std::make_unique<RawDirectory>(path)) {}

std::string Run::name() const {
  std::filesystem::path path = tools::PathOf(path_).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  return tools::NameOf(path.filename());
}

const DataReader& Run::Reader(const DataSet& data_set) {
  const auto found = std::ranges::find_if(
      readers_, [&](const Open& open) { return IsSame(open.data_set, data_set); });
  if (found != readers_.end()) return *found->reader;
  readers_.push_back({data_set, std::make_unique<DataReader>(*directory_, data_set)});
  return *readers_.back().reader;
}

Run::News Run::Refresh() {
  std::string trouble;
  try {
    auto now = std::make_unique<RawDirectory>(path_);
    const int change = Compare(*directory_, *now);
    if (!IsSame(*directory_, *now)) {
      trouble = path_ + ": another run has taken its place";
    } else if (change < 0) {
      trouble = path_ + ": scans that were there are gone";
    } else if (change > 0 || !trouble_.empty()) {
      readers_.clear();
      directory_ = std::move(now);
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
