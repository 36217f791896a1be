// Walks the packed points of a scan in blocks.

#ifndef RAW_POINT_BLOCKS_H_
#define RAW_POINT_BLOCKS_H_

#include <algorithm>
#include <cstdint>

#include "raw/function_reader.h"

namespace tervalon::raw {

// Points per block: what is decoded of one block stays in the first-level cache. A multiple of
// every unit.
inline constexpr uint32_t kBlockPoints = 2048;

// Whole units, and the points of them that are asked for.
struct PointBlock {
  const uint8_t* bytes;
  uint32_t units;
  uint32_t skip;      // points of the first unit that are not asked for
  uint32_t points;    // asked for
  uint32_t position;  // place of the first of them in the scan, 0-based
};

// Calls visit(block) for the points first .. first + count - 1 (0-based) of a scan, in order, as
// far as the scan and the file go; it stops early when visit returns false. Returns RAW_OK or
// RAW_SEEK_FAILED.
template <typename Visit>
int32_t ForEachBlock(FunctionReader* reader, const IndexRecord& scan, uint32_t first,
                     uint32_t count, Visit visit) {
  const DataType& type = reader->type();
  const uint32_t end = first < scan.points() ? first + std::min(count, scan.points() - first) : 0;
  uint32_t position = first;
  while (position < end) {
    const uint32_t unit = type.UnitOf(position);
    const uint32_t wanted = type.Units(end) - unit;
    const uint8_t* bytes = nullptr;
    uint64_t available = 0;
    const int32_t error = reader->data().Fetch(scan.offset + uint64_t{unit} * type.unit_bytes,
                                               uint64_t{wanted} * type.unit_bytes, type.unit_bytes,
                                               &bytes, &available);
    if (error != RAW_OK) return error;

    PointBlock block;
    block.bytes = bytes;
    block.skip = position - unit * type.unit_points;
    block.position = position;
    const bool all = available >= uint64_t{wanted} * type.unit_bytes;
    block.units = std::min(all ? wanted : static_cast<uint32_t>(available / type.unit_bytes),
                           type.UnitOf(kBlockPoints));
    if (block.units == 0) break;  // the data are cut off here
    block.points = std::min(block.units * type.unit_points - block.skip, end - position);
    if (!visit(block)) break;
    position += block.points;
  }
  return RAW_OK;
}

}  // namespace tervalon::raw

#endif  // RAW_POINT_BLOCKS_H_
