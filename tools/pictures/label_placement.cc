#include "tools/pictures/label_placement.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace tervalon::tools {

LabelPlacement::LabelPlacement(const Box& area, int32_t text_height)
    : area_(area),
      text_height_(text_height),
      columns_(static_cast<size_t>(std::max(area.width(), 1))) {}

int32_t LabelPlacement::Gap(int32_t text_height) { return std::max(2, text_height / 5); }

size_t LabelPlacement::ColumnAt(int32_t x) const {
  return static_cast<size_t>(
      std::clamp<int32_t>(x - area_.left, 0, static_cast<int32_t>(columns_.size()) - 1));
}

size_t LabelPlacement::StripAt(int32_t x) const {
  const int64_t width = std::max(area_.width(), 1);
  return static_cast<size_t>(
      std::clamp<int64_t>((int64_t{x} - area_.left) * kStrips / width, 0, kStrips - 1));
}

void LabelPlacement::AddLine(Place from, Place to) {
  if (from.x > to.x) {
    std::swap(from, to);
  }
  if (to.x < area_.left || from.x >= area_.right) {
    return;
  }
  const int64_t width = int64_t{to.x} - from.x;
  const int32_t first = std::max(from.x, area_.left);
  const int32_t last = std::min(to.x, area_.right - 1);
  int32_t before =
      first == from.x
          ? from.y
          : static_cast<int32_t>(from.y + (int64_t{to.y} - from.y) * (first - from.x) / width);
  for (int32_t x = first; x <= last; ++x) {
    const int32_t y =
        width == 0 ? to.y
                   : static_cast<int32_t>(from.y + (int64_t{to.y} - from.y) * (x - from.x) / width);
    Column& column = columns_[static_cast<size_t>(x - area_.left)];
    column.top = std::min({column.top, before, y});
    column.bottom = std::max({column.bottom, before, y});
    before = y;
  }
}

void LabelPlacement::AddObstacle(const Box& box) {
  for (size_t strip = StripAt(box.left); strip <= StripAt(box.right); ++strip) {
    taken_[strip].push_back(box);
  }
}

bool LabelPlacement::IsFree(const Box& box) const {
  if (box.left < area_.left || box.right > area_.right || box.top < area_.top ||
      box.bottom > area_.bottom) {
    return false;
  }
  const size_t end = ColumnAt(box.right - 1);
  for (size_t i = ColumnAt(box.left); i <= end; ++i) {
    if (columns_[i].top < box.bottom && columns_[i].bottom >= box.top) {
      return false;
    }
  }
  const auto overlaps = [&box](const Box& other) { return Overlap(box, other); };
  for (size_t strip = StripAt(box.left); strip <= StripAt(box.right); ++strip) {
    if (std::ranges::any_of(taken_[strip], overlaps)) {
      return false;
    }
  }
  return true;
}

// Over (or below) the tip and there in the middle, else to a side, else a little higher, else
// beside the tip.
std::optional<Box> LabelPlacement::FindOne(const LabelWish& wish) const {
  const int32_t gap = Gap(text_height_);
  const auto at = [&](int32_t left, int32_t away) {
    // Moved into the area where the peak is at its edge.
    left = std::clamp(left, area_.left, std::max(area_.left, area_.right - wish.width));
    const int32_t top = wish.downward ? wish.tip.y + 1 + away : wish.tip.y - away - text_height_;
    return Box{left, top, left + wish.width, top + text_height_};
  };
  const int32_t middle = wish.tip.x - wish.width / 2;
  const int32_t side = wish.width / 2 - text_height_ / 4;
  std::vector<Box> tries;
  for (const int32_t higher : {0, text_height_ / 2, text_height_}) {
    for (const int32_t shift : {0, side / 2, -side / 2, side, -side}) {
      tries.push_back(at(middle + shift, gap + higher));
    }
  }
  for (const int32_t left : {wish.tip.x + gap, wish.tip.x - gap - wish.width}) {
    tries.push_back(at(left, -text_height_));
    if (tries.back().left != left) {
      tries.pop_back();  // there it would be across the peak
    }
  }
  const auto found = std::ranges::find_if(tries, [this](const Box& box) { return IsFree(box); });
  return found != tries.end() ? std::optional<Box>(*found) : std::nullopt;
}

std::vector<std::optional<Box>> LabelPlacement::Find(const std::vector<LabelWish>& wishes) {
  std::vector<size_t> order(wishes.size());
  std::iota(order.begin(), order.end(), size_t{0});
  std::ranges::stable_sort(order, [&](size_t a, size_t b) {
    return std::pair(wishes[a].named, wishes[a].weight) >
           std::pair(wishes[b].named, wishes[b].weight);
  });
  std::array<std::vector<bool>, 2> has_higher = {std::vector<bool>(columns_.size()),
                                                 std::vector<bool>(columns_.size())};
  std::vector<std::optional<Box>> places(wishes.size());
  for (const size_t i : order) {
    const LabelWish& wish = wishes[i];
    std::vector<bool>& higher = has_higher[wish.downward ? 1 : 0];
    const auto first = static_cast<std::ptrdiff_t>(ColumnAt(wish.tip.x - wish.width / 2));
    const auto last = static_cast<std::ptrdiff_t>(ColumnAt(wish.tip.x + wish.width / 2));
    const auto end = higher.begin() + last + 1;
    const bool is_highest = std::find(higher.begin() + first, end, true) == end;
    higher[ColumnAt(wish.tip.x)] = true;
    if (is_highest || wish.named) {
      places[i] = FindOne(wish);
    }
    if (places[i]) {
      AddObstacle(*places[i]);
    }
  }
  return places;
}

}  // namespace tervalon::tools
