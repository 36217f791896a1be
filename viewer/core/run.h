// A run that is open: what is shown of it, and what becomes of it meanwhile.

#ifndef VIEWER_CORE_RUN_H_
#define VIEWER_CORE_RUN_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"

namespace tervalon::viewer {

using tools::DataReader;
using tools::DataSet;
using tools::RawDirectory;

bool IsSame(const DataSet& a, const DataSet& b);

class Run {
 public:
  // Throws a Failure.
  explicit Run(const std::string& path);

  const std::string& path() const { return path_; }
  // The last part of the path.
  std::string name() const;
  const RawDirectory& directory() const { return *directory_; }
  // All that can be shown: functions, then processed sets.
  std::vector<DataSet> DataSets() const;

  // What is there now; who keeps it goes on reading that. Throws a Failure.
  std::shared_ptr<const DataReader> Reader(const DataSet& data_set);

  enum class News {
    kNone,
    kMore,     // scans or functions were added; everything is opened again
    kTrouble,  // said once: the run cannot be read any more, or is another one
    kBetter,   // after trouble: it is there again
  };
  News Refresh();
  // What is wrong, for people; empty: nothing.
  const std::string& trouble() const { return trouble_; }

 private:
  struct Open {
    DataSet data_set;
    std::shared_ptr<const DataReader> reader;
  };

  const std::string path_;
  std::shared_ptr<const RawDirectory> directory_;
  std::vector<Open> readers_;  // of the directory above
  std::optional<RawScanHeader> first_scan_;
  std::string trouble_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_RUN_H_
