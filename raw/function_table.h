// The function table as it is stored: nothing in it says how many scans are there.

#ifndef RAW_FUNCTION_TABLE_H_
#define RAW_FUNCTION_TABLE_H_

#include <cstdint>
#include <vector>

#include "tervalon/raw_functions.h"

namespace tervalon::raw {

// Whole records only. Returns a Raw error code: RAW_MEMBER_NOT_OPENED where there is no table.
int32_t ReadFunctionTable(int32_t handle, std::vector<RawFunctionRecord>* records);

}  // namespace tervalon::raw

#endif  // RAW_FUNCTION_TABLE_H_
