// Histories that two programs change at the same time.

#include <cstring>
#include <utility>

#include "raw/history_file.h"
#include "tervalon/raw_directory.h"

namespace tervalon::raw {
namespace {

bool InUse(const RawHistoryEntry& entry) { return entry.index != 0; }

// Whether two entries stand for the same data set and step, however they have changed.
bool Same(const RawHistoryEntry& a, const RawHistoryEntry& b) {
  return InUse(a) && InUse(b) && a.process.type == b.process.type &&
         std::memcmp(a.process.name, b.process.name, sizeof(a.process.name)) == 0;
}

void CopyContent(const RawHistoryEntry& from, RawHistoryEntry* to) {
  to->flags = from.flags;
  std::memcpy(to->values, from.values, sizeof(to->values));
  to->process = from.process;
}

bool EqualContent(const RawHistoryEntry& a, const RawHistoryEntry& b) {
  return a.flags == b.flags && std::memcmp(a.values, b.values, sizeof(a.values)) == 0 &&
         std::memcmp(&a.process, &b.process, sizeof(a.process)) == 0;
}

class Merger {
 public:
  Merger(const History& base, const History& mine, const HistoryPlaces& places, History* current)
      : base_(base), mine_(mine), old_places_(places), current_(current) {}

  int32_t Run() {
    current_->header.tree_count = mine_.header.tree_count;
    for (uint16_t i = 1; i < RAW_HISTORY_ENTRIES; ++i) Keep(i);
    for (uint16_t i = 1; i < RAW_HISTORY_ENTRIES; ++i) Delete(i);
    // Parents have to be there before their children.
    for (bool added = true; std::exchange(added, false);) {
      for (uint16_t i = 1; i < RAW_HISTORY_ENTRIES; ++i) {
        if (!IsNew(i) || places_[i] != 0 || !ParentIsThere(i)) continue;
        const int32_t error = Add(i, &added);
        if (error != RAW_OK) return error;
      }
    }
    return RAW_OK;
  }

  const HistoryPlaces& places() const { return places_; }

 private:
  bool Survives(uint16_t i) const { return Same(base_.entries[i], mine_.entries[i]); }
  bool IsNew(uint16_t i) const { return InUse(mine_.entries[i]) && !Survives(i); }

  // Where others have left an entry of the base; 0 when they have deleted it.
  uint16_t Place(uint16_t i) const {
    const uint16_t place = old_places_[i];
    return place != 0 && Same(base_.entries[i], current_->entries[place]) ? place : uint16_t{0};
  }

  void Keep(uint16_t i) {
    if (!Survives(i)) return;
    places_[i] = Place(i);
    if (places_[i] == 0 || EqualContent(base_.entries[i], mine_.entries[i])) return;
    CopyContent(mine_.entries[i], &current_->entries[places_[i]]);
  }

  void Delete(uint16_t i) {
    if (!InUse(base_.entries[i]) || Survives(i)) return;
    const uint16_t place = Place(i);
    if (place == 0) return;
    RawHistDeleteProcess(&current_->header, current_->entries.data(), TreeOf(*current_, place),
                         place, /*force=*/1);
  }

  bool ParentIsThere(uint16_t i) const {
    const uint16_t parent = mine_.entries[i].parent;
    return parent >= RAW_HISTORY_ENTRIES || !IsNew(parent) || places_[parent] != 0;
  }

  int32_t Add(uint16_t i, bool* added) {
    const int16_t tree = TreeOf(mine_, i);
    if (tree == 0) return RAW_OK;  // no program would find it
    RawHistoryEntry entry = mine_.entries[i];
    const uint16_t parent = entry.parent < RAW_HISTORY_ENTRIES ? places_[entry.parent] : 0;
    const int32_t error =
        RawHistAddProcess(&current_->header, current_->entries.data(), tree, parent, &entry);
    if (error != RAW_OK) return error;
    places_[i] = entry.index;
    current_->entries[entry.index].flags = entry.flags;
    *added = true;
    return RAW_OK;
  }

  const History& base_;
  const History& mine_;
  const HistoryPlaces& old_places_;
  History* current_;
  HistoryPlaces places_ = {};
};

}  // namespace

int32_t MergeHistory(const History& base, const History& mine, HistoryPlaces* places,
                     History* current) {
  Merger merger(base, mine, *places, current);
  const int32_t error = merger.Run();
  if (error == RAW_OK) *places = merger.places();
  return error;
}

}  // namespace tervalon::raw
