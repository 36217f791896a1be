// What lines cover that go to and fro over a row so often that most of them lie on others.

#ifndef PLOT_COVERAGE_H_
#define PLOT_COVERAGE_H_

#include <cstdint>
#include <vector>

#include "plot/trace.h"

namespace tervalon::plot {

// Whether to look at what lines cover rather than to draw each.
bool GoToAndFro(const std::vector<Outline>& outlines, const RowView& row);

// The pixels of a row that lines one pixel wide cover.
class Coverage {
 public:
  Coverage(const std::vector<Outline>& outlines, const RowView& row);

  // From the first pixel that is covered to behind the last, in each column.
  std::vector<platform::LineSegment> Runs() const;

  // The highest and the lowest covered pixels of columns side by side, from left to right.
  std::vector<Outline> Tops() const;
  std::vector<Outline> Bottoms() const;

 private:
  // Columns side by side. Pixels from `first` to `last` are covered in all of them: whatever lies
  // there need not be looked at.
  struct Block {
    int32_t first = 0;
    int32_t last = -1;
    int32_t lines_since = 0;
  };

  void AddLine(TvPoint from, TvPoint to);
  void AddToBlock(size_t block, const TvPoint& from, const TvPoint& to);
  void Cover(int32_t column, int32_t first, int32_t last);
  void Refresh(size_t block);
  bool IsCovered(int32_t column, int32_t row) const;
  uint64_t* WordsOf(int32_t column) {
    return words_.data() + static_cast<size_t>(column) * words_per_column_;
  }
  template <typename Find>
  std::vector<Outline> EdgesOf(const Find& find) const;

  TvRect data_;
  int32_t columns_;
  int32_t rows_;
  size_t words_per_column_;
  std::vector<uint64_t> words_;  // a bit a pixel, column after column
  std::vector<Block> blocks_;
  Block everywhere_;  // covered in all blocks
};

}  // namespace tervalon::plot

#endif  // PLOT_COVERAGE_H_
