// The trees of a processing history.

#include <bitset>
#include <cstring>

#include "raw/history_file.h"
#include "tervalon/raw_directory.h"
#include "tervalon/raw_history.h"

using namespace tervalon::raw;  // NOLINT(google-build-using-namespace)

namespace {

constexpr int16_t kTreeOfZero = 31;

// Entries that a walk has come by. One that comes back to any of them ends.
class Visited {
 public:
  // True at an entry's first visit; never for 0.
  bool Enter(uint16_t index) {
    if (index == 0 || bits_[index]) return false;
    bits_.set(index);
    return true;
  }

 private:
  std::bitset<RAW_HISTORY_ENTRIES> bits_;
};

// One tree. Header and Entry are const in reading exports.
template <typename Header, typename Entry>
class Tree {
 public:
  Tree(Header* header, Entry* entries, int16_t tree)
      : header_(header), entries_(entries), number_(tree == 0 ? kTreeOfZero : tree) {}

  bool valid() const {
    return header_ != nullptr && entries_ != nullptr && number_ >= 1 &&
           number_ <= RAW_HISTORY_TREES && number_ <= header_->tree_count;
  }

  Entry& At(uint16_t index) const { return entries_[index]; }
  uint16_t highest() const { return HighestIndex(*header_); }

  // A link as walks follow it: none when it leads outside or to a free entry.
  uint16_t Link(uint16_t index) const {
    return index <= highest() && index != 0 && At(index).index != 0 ? index : uint16_t{0};
  }

  uint16_t Root() const { return Link(header_->roots[number_ - 1]); }

  // Walks depth first through every list of siblings, beginning with the one that starts at the
  // root: its first entry goes to `before`; each entry to `after` when its children are done. Ends
  // where either returns true, and returns that entry, or else 0. `after` may remove its entry.
  template <typename Before, typename After>
  uint16_t Walk(Before before, After after) const {
    Visited visited;
    uint16_t path[RAW_HISTORY_ENTRIES];
    size_t depth = 0;
    uint16_t entry = Root();
    bool first = true;
    for (;;) {
      while (visited.Enter(entry)) {
        if (first && before(entry)) return entry;
        path[depth++] = entry;
        entry = Link(At(entry).first_child);
        first = true;
      }
      if (depth == 0) return 0;
      const uint16_t done = path[--depth];
      entry = Next(done);
      first = false;
      if (after(done)) return done;
    }
  }

  template <typename Match>
  uint16_t Find(Match match) const {
    return Walk(match, match);
  }

  uint16_t Next(uint16_t entry) const { return Link(At(entry).next); }
  uint16_t Previous(uint16_t entry) const { return Link(At(entry).previous); }

  uint16_t FirstSibling(uint16_t entry) const {
    return End(entry, [this](uint16_t other) { return Previous(other); });
  }
  uint16_t LastSibling(uint16_t entry) const {
    return End(entry, [this](uint16_t other) { return Next(other); });
  }

  // Finds the entry whose own index this is.
  uint16_t FindIndex(uint16_t index) const {
    if (index == 0) return 0;
    return Find([&](uint16_t entry) { return At(entry).index == index; });
  }

  // An index and the own index of its entry, as exports return them.
  int32_t Result(uint16_t index) const {
    return index == 0 ? 0 : static_cast<int32_t>(uint32_t{index} << 16 | At(index).index);
  }

  int32_t Add(uint16_t parent_index, RawHistoryEntry* entry) const {
    const uint16_t slot = FreeSlot();
    if (slot == 0) return RAW_HISTORY_FULL;
    const uint16_t parent = FindIndex(parent_index);
    const uint16_t first = parent != 0 ? Link(At(parent).first_child) : Root();
    const uint16_t previous = LastSibling(first);
    entry->index = slot;
    RawHistoryEntry copy = *entry;
    copy.parent = parent;
    copy.first_child = 0;
    copy.previous = previous;
    copy.next = 0;
    copy.flags = 0;
    header_->highest_index = std::max(header_->highest_index, slot);
    ++header_->counts[number_ - 1];
    At(slot) = copy;
    if (previous != 0) {
      At(previous).next = slot;
    } else if (parent != 0) {
      At(parent).first_child = slot;
    } else {
      header_->roots[number_ - 1] = slot;
    }
    return 0;
  }

  bool Delete(uint16_t index, bool force) const {
    const uint16_t entry = FindIndex(index);
    if (entry == 0) return false;
    if ((At(entry).flags & RAW_HISTORY_PROTECTED) != 0 && !force) return false;
    if (HasChildren(entry)) {
      At(entry).flags |= RAW_HISTORY_DELETION_PENDING;
    } else {
      Remove(entry);
    }
    Walk([](uint16_t) { return false; },
         [&](uint16_t other) {
           const bool pending = (At(other).flags & RAW_HISTORY_DELETION_PENDING) != 0;
           if (pending && !HasChildren(other)) Remove(other);
           return false;
         });
    return true;
  }

 private:
  // Goes on until there is nothing more, or it has been there before.
  template <typename Step>
  static uint16_t End(uint16_t entry, Step step) {
    Visited visited;
    for (uint16_t next = entry; visited.Enter(next); next = step(next)) entry = next;
    return entry;
  }

  bool HasChildren(uint16_t entry) const { return Link(At(entry).first_child) != 0; }

  // The lowest free index; 0 when all are taken.
  uint16_t FreeSlot() const {
    for (uint16_t i = 1; i <= highest(); ++i) {
      if (At(i).index == 0) return i;
    }
    return highest() < RAW_HISTORY_MAX_INDEX ? static_cast<uint16_t>(highest() + 1) : uint16_t{0};
  }

  // Takes a childless entry out. In a sound history one link leads to it forwards and one back; in
  // any other, all that do are set past it, so that none is left that leads to a free entry.
  void Remove(uint16_t entry) const {
    const uint16_t next = At(entry).next == entry ? uint16_t{0} : Next(entry);
    const uint16_t previous = At(entry).previous == entry ? uint16_t{0} : Previous(entry);
    const auto set_past = [entry](uint16_t link, uint16_t past) {
      return link == entry ? past : link;
    };
    for (uint16_t& root : header_->roots) root = set_past(root, next);
    for (uint16_t i = 1; i <= highest(); ++i) {
      At(i).first_child = set_past(At(i).first_child, next);
      At(i).next = set_past(At(i).next, next);
      At(i).previous = set_past(At(i).previous, previous);
    }
    At(entry) = {};
    uint16_t& count = header_->counts[number_ - 1];
    if (count > 0) --count;
  }

  Header* header_;
  Entry* entries_;
  int16_t number_;
};

using ReadTree = Tree<const RawHistoryHeader, const RawHistoryEntry>;
using WriteTree = Tree<RawHistoryHeader, RawHistoryEntry>;

bool HasName(const RawHistoryEntry& entry, const char* name) {
  constexpr size_t kSize = sizeof(entry.process.name);
  const char* const field = entry.process.name;
  if (std::strncmp(field, name, kSize) != 0) return false;
  return std::memchr(field, 0, kSize) != nullptr || name[kSize] == 0;
}

uint16_t Step(const ReadTree& tree, uint16_t entry, int32_t mode) {
  switch (mode) {
    case RAW_HISTORY_FIRST_CHILD:
      return tree.Link(tree.At(entry).first_child);
    case RAW_HISTORY_FIRST_SIBLING:
      return tree.FirstSibling(entry);
    case RAW_HISTORY_NEXT_SIBLING:
      return tree.Next(entry);
    case RAW_HISTORY_LAST_SIBLING:
      return tree.LastSibling(entry);
    case RAW_HISTORY_PREVIOUS_SIBLING:
      return tree.Previous(entry);
    case RAW_HISTORY_PARENT:
      return tree.Link(tree.At(entry).parent);
    default:
      return entry;
  }
}

// Links the siblings from `first` on anew, and all below them. Returns the first.
uint16_t Relink(History* history, uint16_t first, uint16_t parent, uint16_t* count,
                Visited* visited) {
  const WriteTree tree(&history->header, history->entries.data(), 1);
  uint16_t kept_first = 0;
  uint16_t previous = 0;
  for (uint16_t i = tree.Link(first); visited->Enter(i);) {
    RawHistoryEntry& entry = tree.At(i);
    const uint16_t next = tree.Next(i);
    entry.index = i;
    entry.parent = parent;
    entry.previous = previous;
    entry.next = 0;
    (previous != 0 ? tree.At(previous).next : kept_first) = i;
    ++*count;
    entry.first_child = Relink(history, entry.first_child, i, count, visited);
    previous = i;
    i = next;
  }
  return kept_first;
}

}  // namespace

namespace tervalon::raw {

int32_t MakeSound(History* history) {
  RawHistoryHeader& header = history->header;
  header.tree_count = std::min<uint16_t>(header.tree_count, RAW_HISTORY_TREES);
  if (header.tree_count == 0) header.tree_count = RAW_HISTORY_TREES;
  header.highest_index = HighestIndex(header);
  Visited visited;
  for (int32_t tree = 0; tree < RAW_HISTORY_TREES; ++tree) {
    uint16_t count = 0;
    header.roots[tree] = Relink(history, header.roots[tree], 0, &count, &visited);
    header.counts[tree] = count;
  }
  int32_t lost = 0;
  for (uint16_t i = 1; i < RAW_HISTORY_ENTRIES; ++i) {
    if (history->entries[i].index == 0 || !visited.Enter(i)) continue;
    history->entries[i] = {};
    ++lost;
  }
  return lost;
}

int16_t TreeOf(const History& history, uint16_t index) {
  for (int16_t tree = 1; tree <= RAW_HISTORY_TREES; ++tree) {
    const ReadTree trees(&history.header, history.entries.data(), tree);
    if (trees.valid() && trees.FindIndex(index) != 0) return tree;
  }
  return 0;
}

}  // namespace tervalon::raw

extern "C" int32_t TERVALON_CALL RawHistAddProcess(RawHistoryHeader* header,
                                                   RawHistoryEntry* entries, int16_t tree,
                                                   uint16_t parent, RawHistoryEntry* entry) {
  const WriteTree trees(header, entries, tree);
  return trees.valid() && entry != nullptr ? trees.Add(parent, entry) : RAW_HISTORY_FULL;
}

extern "C" int32_t TERVALON_CALL RawHistDeleteProcess(RawHistoryHeader* header,
                                                      RawHistoryEntry* entries, int16_t tree,
                                                      uint16_t index, int32_t force) {
  const WriteTree trees(header, entries, tree);
  return trees.valid() && trees.Delete(index, force != 0) ? 1 : 0;
}

extern "C" int32_t TERVALON_CALL RawHistSearchTag(const RawHistoryHeader* header,
                                                  const RawHistoryEntry* entries, int16_t tree,
                                                  const char* name) {
  const ReadTree trees(header, entries, tree);
  if (!trees.valid() || name == nullptr) return 0;
  return trees.Result(trees.Find([&](uint16_t entry) { return HasName(trees.At(entry), name); }));
}

extern "C" int32_t TERVALON_CALL RawHistGetProcess(const RawHistoryHeader* header,
                                                   const RawHistoryEntry* entries, int16_t tree,
                                                   uint16_t index, int32_t verify, int32_t mode) {
  const ReadTree trees(header, entries, tree);
  if (!trees.valid()) return 0;
  if (index == 0) return mode == RAW_HISTORY_FIRST_CHILD ? trees.Result(trees.Root()) : 0;
  uint16_t entry = index;
  if (verify != 0) {
    entry = trees.FindIndex(index);
  } else if (index > trees.highest()) {
    entry = 0;
  }
  return entry == 0 ? 0 : trees.Result(Step(trees, entry, mode));
}
