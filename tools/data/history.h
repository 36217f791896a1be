// The processing history as a table whose rows follow the trees.

#ifndef TOOLS_DATA_HISTORY_H_
#define TOOLS_DATA_HISTORY_H_

#include <cstdint>
#include <string>
#include <vector>

#include "tools/data/raw_data.h"
#include "tools/print/document.h"

namespace tervalon::tools {

struct HistoryStep {
  int function;  // the tree's number
  int depth;     // 0 at the top level
  int index;
  int parent;
  int type;
  std::string description;
  std::string name;
  uint32_t created;          // seconds since 1970
  std::string created_text;  // local time
  bool deletion_pending;
  bool is_protected;
};

struct History {
  std::vector<HistoryStep> steps;  // each below its parent, in the order of the siblings
  bool cut_off = false;            // the file says that there is more
};

// Throws a Failure when there is a history that cannot be read.
History ReadHistory(const RawDirectory& directory);

// A table of steps: for people the steps are indented below each other, programs get everything.
Section HistorySection(const std::vector<HistoryStep>& steps, bool for_people);

}  // namespace tervalon::tools

#endif  // TOOLS_DATA_HISTORY_H_
