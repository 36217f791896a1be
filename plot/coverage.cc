#include "plot/coverage.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

#include "plot/truncate.h"

namespace tervalon::plot {
namespace {

constexpr int32_t kBlockColumns = 32;
constexpr int32_t kLinesBetween = 512;  // looks at what of a block is covered
constexpr size_t kWordBits = 64;

// Lines that are drawn one by one reach over the row this often at most.
constexpr int64_t kMostPasses = 64;

constexpr int64_t kMostPixels = int64_t{1} << 28;

}  // namespace

bool GoToAndFro(const std::vector<Outline>& outlines, const RowView& row) {
  const int64_t width = int64_t{row.data.right} - row.data.left + 1;
  const int64_t height = int64_t{row.data.bottom} - row.data.top + 1;
  if (width > kMostPixels || height > kMostPixels / width) return false;
  int64_t left = kMostPasses * width;
  for (const Outline& outline : outlines) {
    for (size_t i = 1; i < outline.size() && left >= 0; ++i) {
      left -= std::abs(int64_t{outline[i].x} - outline[i - 1].x);
    }
  }
  return left < 0;
}

Coverage::Coverage(const std::vector<Outline>& outlines, const RowView& row)
    : data_(row.data),
      columns_(data_.right - data_.left + 1),
      rows_(data_.bottom - data_.top + 1),
      words_per_column_((static_cast<size_t>(rows_) + kWordBits - 1) / kWordBits),
      words_(static_cast<size_t>(columns_) * words_per_column_),
      blocks_(static_cast<size_t>((columns_ + kBlockColumns - 1) / kBlockColumns)) {
  for (const Outline& outline : outlines) {
    for (size_t i = 0; i < outline.size(); ++i) {
      const TvPoint& from = outline[i > 0 ? i - 1 : 0];
      AddLine({from.x - data_.left, Saturate(int64_t{from.y} - data_.top)},
              {outline[i].x - data_.left, Saturate(int64_t{outline[i].y} - data_.top)});
    }
  }
}

void Coverage::AddLine(TvPoint from, TvPoint to) {
  const auto [top, bottom] = std::minmax({from.y, to.y});
  if (top >= everywhere_.first && bottom <= everywhere_.last) return;
  if (from.x > to.x) std::swap(from, to);
  const auto first = static_cast<size_t>(std::max(from.x, 0) / kBlockColumns);
  const auto last = static_cast<size_t>(std::clamp(to.x, 0, columns_ - 1) / kBlockColumns);
  for (size_t block = first; block <= last; ++block) AddToBlock(block, from, to);
}

// A line covers the pixels nearest to it: one in each column or, where it is steep, in each row.
void Coverage::AddToBlock(size_t number, const TvPoint& from, const TvPoint& to) {
  Block& block = blocks_[number];
  const auto block_left = static_cast<int32_t>(number) * kBlockColumns;
  const int32_t left = std::max(from.x, block_left);
  const int32_t right = std::min({to.x, block_left + kBlockColumns - 1, columns_ - 1});
  const int32_t width = to.x - from.x;
  const double slope = width > 0 ? static_cast<double>(int64_t{to.y} - from.y) / width : 0;
  const auto height_at = [&](double x) { return from.y + slope * (x - from.x); };
  const auto [low, high] = std::minmax({height_at(left - 0.5), height_at(right + 0.5)});
  if (width > 0 && low >= block.first && high <= block.last) return;
  const bool is_steep = std::abs(slope) > 1;
  const auto [top, bottom] = std::minmax({from.y, to.y});
  for (int32_t column = left; column <= right; ++column) {
    if (width == 0) {
      Cover(column, top, bottom);
    } else if (is_steep) {
      const auto [begin, end] = std::minmax({height_at(column - 0.5), height_at(column + 0.5)});
      Cover(column, std::max(Truncate(std::ceil(begin)), top),
            std::min(Truncate(std::floor(end)), bottom));
    } else {
      const int32_t row = Truncate(std::floor(height_at(column) + 0.5));
      Cover(column, row, row);
    }
  }
  if (++block.lines_since >= kLinesBetween) Refresh(number);
}

void Coverage::Cover(int32_t column, int32_t first, int32_t last) {
  first = std::max(first, 0);
  last = std::min(last, rows_ - 1);
  if (first > last) return;
  uint64_t* const words = WordsOf(column);
  const auto first_word = static_cast<size_t>(first) / kWordBits;
  const auto last_word = static_cast<size_t>(last) / kWordBits;
  const uint64_t from_first = ~uint64_t{0} << (static_cast<size_t>(first) % kWordBits);
  const uint64_t to_last = ~uint64_t{0} >> (kWordBits - 1 - static_cast<size_t>(last) % kWordBits);
  if (first_word == last_word) {
    words[first_word] |= from_first & to_last;
    return;
  }
  words[first_word] |= from_first;
  std::fill(words + first_word + 1, words + last_word, ~uint64_t{0});
  words[last_word] |= to_last;
}

// Finds the longest run of rows that are covered in all columns of a block.
void Coverage::Refresh(size_t number) {
  Block& block = blocks_[number];
  block.lines_since = 0;
  std::vector<uint64_t> common(words_per_column_, ~uint64_t{0});
  const auto left = static_cast<int32_t>(number) * kBlockColumns;
  for (int32_t column = left; column < std::min(left + kBlockColumns, columns_); ++column) {
    const uint64_t* words = WordsOf(column);
    for (size_t i = 0; i < words_per_column_; ++i) common[i] &= words[i];
  }
  int32_t begin = 0;
  for (int32_t row = 0; row <= rows_; ++row) {
    const auto bit = static_cast<size_t>(row);
    if (row < rows_ && (common[bit / kWordBits] >> (bit % kWordBits) & 1) != 0) continue;
    if (row - 1 - begin > block.last - block.first) {
      block.first = begin;
      block.last = row - 1;
    }
    begin = row + 1;
  }
  everywhere_ = {0, rows_ - 1, 0};
  for (const Block& one : blocks_) {
    everywhere_.first = std::max(everywhere_.first, one.first);
    everywhere_.last = std::min(everywhere_.last, one.last);
  }
}

bool Coverage::IsCovered(int32_t column, int32_t row) const {
  const auto bit = static_cast<size_t>(row);
  return (words_[static_cast<size_t>(column) * words_per_column_ + bit / kWordBits] >>
              (bit % kWordBits) &
          1) != 0;
}

std::vector<platform::LineSegment> Coverage::Runs() const {
  std::vector<platform::LineSegment> runs;
  for (int32_t column = 0; column < columns_; ++column) {
    const int32_t x = data_.left + column;
    bool is_open = false;
    for (int32_t row = 0; row < rows_; ++row) {
      const bool covered = IsCovered(column, row);
      const int32_t y = data_.top + row;
      if (covered && !is_open) runs.push_back({{x, y}, {x, y + 1}});
      if (covered) runs.back().to.y = y + 1;
      is_open = covered;
    }
  }
  return runs;
}

template <typename Find>
std::vector<Outline> Coverage::EdgesOf(const Find& find) const {
  std::vector<Outline> edges;
  bool is_open = false;
  for (int32_t column = 0; column < columns_; ++column) {
    const int32_t row = find(column);
    const bool is_covered = row >= 0 && row < rows_;
    if (is_covered && !is_open) edges.emplace_back();
    if (is_covered) edges.back().push_back({data_.left + column, data_.top + row});
    is_open = is_covered;
  }
  return edges;
}

std::vector<Outline> Coverage::Tops() const {
  return EdgesOf([this](int32_t column) {
    int32_t row = 0;
    while (row < rows_ && !IsCovered(column, row)) ++row;
    return row;
  });
}

std::vector<Outline> Coverage::Bottoms() const {
  return EdgesOf([this](int32_t column) {
    int32_t row = rows_ - 1;
    while (row >= 0 && !IsCovered(column, row)) --row;
    return row;
  });
}

}  // namespace tervalon::plot
