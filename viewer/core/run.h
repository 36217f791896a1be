// A run that is open: what is shown of it, and what becomes of it meanwhile.

#ifndef VIEWER_CORE_RUN_H_
#define VIEWER_CORE_RUN_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"

namespace tervalon::viewer {

using tools::DataReader;
using tools::DataSet;
using tools::RawDirectory;

class Run {
 public:
  // Throws a Failure.
  explicit Run(const std::string& path);

  const std::string& path() const { return path_; }
  // The last part of the path.
  std::string name() const;
  const RawDirectory& directory() const { return *directory_; }

  // Valid until Refresh says that there is more. Throws a Failure.
  const DataReader& Reader(const DataSet& data_set);

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
    std::unique_ptr<DataReader> reader;
  };

  const std::string path_;
  std::unique_ptr<RawDirectory> directory_;
  std::vector<Open> readers_;  // of the directory above, which they end before
  std::string trouble_;
};

}  // namespace tervalon::viewer

#endif  // VIEWER_CORE_RUN_H_
