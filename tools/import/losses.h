// What a file says and a raw data directory cannot hold, counted.

#ifndef TOOLS_IMPORT_LOSSES_H_
#define TOOLS_IMPORT_LOSSES_H_

#include <cstddef>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tools/import/mzml_reader.h"

namespace tervalon::tools {

class Losses {
 public:
  void Add(const std::string& what, size_t times = 1);
  // Every parameter but those that are kept, or that are made anew of the points.
  void AddParams(const MzmlParams& params);

  // In the order of their first time.
  std::vector<std::pair<std::string, size_t>> List() const;

 private:
  std::map<std::string, std::pair<size_t, size_t>> times_;  // and the place in the order
};

}  // namespace tervalon::tools

#endif  // TOOLS_IMPORT_LOSSES_H_
