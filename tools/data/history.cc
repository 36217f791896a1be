#include "tools/data/history.h"

#include <tervalon/raw_directory.h>
#include <tervalon/raw_history.h>

#include <algorithm>
#include <bitset>

#include "tools/print/failure.h"
#include "tools/print/text.h"

namespace tervalon::tools {
namespace {

std::string Description(const RawHistoryProcess& process, uint16_t flags) {
  char text[256];
  RawHistDescription(&process, flags, text, sizeof(text));
  return Utf8FromLatin1(text, sizeof(text));
}

// Collects the steps. Links of a file may lead in circles: every entry is shown once.
class Outline {
 public:
  explicit Outline(const RawDirectory& directory)
      : entries_(RAW_HISTORY_ENTRIES, RawHistoryEntry{}) {
    const int32_t code = RawReadProcInfo(directory.handle(), &header_, entries_.data());
    history_.cut_off = code == RAW_HISTORY_CUT_OFF;
    if (code == RAW_MEMBER_NOT_OPEN) {
      return;  // no history
    }
    if (!history_.cut_off) {
      CheckRaw(code, directory.MemberPath("_HISTORY.INF"));
    }
    for (int16_t tree = 1; tree <= RAW_HISTORY_TREES; ++tree) {
      AddTree(tree);
    }
  }

  const History& history() const { return history_; }

 private:
  uint16_t Step(int16_t tree, uint16_t entry, int32_t mode) const {
    return static_cast<uint16_t>(
        RawHistGetProcess(&header_, entries_.data(), tree, entry, 0, mode) >> 16);
  }

  void AddTree(int16_t tree) {
    std::vector<uint16_t> path;
    uint16_t entry = Step(tree, 0, RAW_HISTORY_FIRST_CHILD);
    for (;;) {
      while (entry != 0 && !shown_[entry]) {
        shown_.set(entry);
        Add(tree, static_cast<int>(path.size()), entry);
        path.push_back(entry);
        entry = Step(tree, entry, RAW_HISTORY_FIRST_CHILD);
      }
      if (path.empty()) {
        return;
      }
      entry = Step(tree, path.back(), RAW_HISTORY_NEXT_SIBLING);
      path.pop_back();
    }
  }

  void Add(int16_t tree, int depth, uint16_t index) {
    const RawHistoryEntry& entry = entries_[index];
    const RawHistoryProcess& process = entry.process;
    std::string created;
    if (process.created != 0) {
      created = Description(process, RAW_DESCRIBE_DATE | RAW_DESCRIBE_TIME);
      created = created.substr(std::min(created.size(), Description(process, 0).size() + 1));
    }
    history_.steps.push_back({.function = tree,
                              .depth = depth,
                              .index = index,
                              .parent = entry.parent,
                              .type = process.type,
                              .description = Description(process, RAW_DESCRIBE_NAME),
                              .name = Utf8FromLatin1(process.name, sizeof(process.name)),
                              .created = process.created,
                              .created_text = created,
                              .deletion_pending = (entry.flags & RAW_HISTORY_DELETION_PENDING) != 0,
                              .is_protected = (entry.flags & RAW_HISTORY_PROTECTED) != 0});
  }

  RawHistoryHeader header_ = {};
  std::vector<RawHistoryEntry> entries_;
  std::bitset<RAW_HISTORY_ENTRIES> shown_;
  History history_;
};

std::string Indented(const HistoryStep& step) {
  return std::string(static_cast<size_t>(step.depth) * 2, ' ') + step.description;
}

std::string StateText(const HistoryStep& step) {
  std::string text = step.deletion_pending ? "to be deleted" : "";
  if (step.is_protected) {
    text += text.empty() ? "protected" : ", protected";
  }
  return text;
}

}  // namespace

History ReadHistory(const RawDirectory& directory) { return Outline(directory).history(); }

Section HistorySection(const std::vector<HistoryStep>& steps, bool for_people) {
  std::vector<Value> function, depth, index, parent, type, description, name, created, created_text,
      pending, is_protected, state;
  for (const HistoryStep& step : steps) {
    function.emplace_back(int64_t{step.function});
    depth.emplace_back(int64_t{step.depth});
    index.emplace_back(int64_t{step.index});
    parent.emplace_back(int64_t{step.parent});
    type.emplace_back(int64_t{step.type});
    description.emplace_back(for_people ? Indented(step) : step.description);
    name.emplace_back(step.name);
    created.emplace_back(int64_t{step.created});
    created_text.emplace_back(step.created_text);
    pending.emplace_back(step.deletion_pending);
    is_protected.emplace_back(step.is_protected);
    state.emplace_back(StateText(step));
  }
  Section section = {.key = "history", .title = "Processing history"};
  if (for_people) {
    section.columns = {{"function", "Function", function},
                       {"description", "Step", description},
                       {"name", "Name", name},
                       {"created", "Created", created_text},
                       {"state", "", state}};
  } else {
    section.columns = {{"function", "", function},
                       {"depth", "", depth},
                       {"index", "", index},
                       {"parent", "", parent},
                       {"type", "", type},
                       {"description", "", description},
                       {"name", "", name},
                       {"created", "", created},
                       {"deletion_pending", "", pending},
                       {"protected", "", is_protected}};
  }
  return section;
}

}  // namespace tervalon::tools
