// The search for the scan or analog record of a retention time.

#ifndef RAW_TIME_SEARCH_H_
#define RAW_TIME_SEARCH_H_

#include <cmath>
#include <cstdint>

#include "tervalon/raw_directory.h"

namespace tervalon::raw {

// Binary search for the one of `count` > 0 entries, numbered from 1, whose time is nearest to
// `time`; on a tie the earlier one. time_of(uint32_t number, float* time) returns an error code,
// which ends the search.
template <typename TimeOf>
int32_t SearchTime(uint32_t count, float time, TimeOf time_of, int32_t* nearest) {
  uint32_t low = 1;
  uint32_t high = count;
  float low_time = 0;
  float high_time = 0;
  int32_t error = time_of(low, &low_time);
  if (error == RAW_OK) error = time_of(high, &high_time);
  if (error != RAW_OK) return error;
  if (time < low_time) {
    high = low;
  } else if (time >= high_time) {
    low = high;
  }
  while (high > low + 1) {
    const uint32_t middle = low + (high - low) / 2;
    float middle_time = 0;
    error = time_of(middle, &middle_time);
    if (error != RAW_OK) return error;
    (time < middle_time ? high : low) = middle;
    (time < middle_time ? high_time : low_time) = middle_time;
  }
  const bool later = high > low && std::fabs(time - high_time) < std::fabs(time - low_time);
  *nearest = static_cast<int32_t>(later ? high : low);
  return RAW_OK;
}

}  // namespace tervalon::raw

#endif  // RAW_TIME_SEARCH_H_
