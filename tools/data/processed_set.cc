#include "tools/data/processed_set.h"

#include <tervalon/raw_directory.h>

#include <algorithm>

#include "tools/data/function_description.h"
#include "tools/print/failure.h"

namespace tervalon::tools {
namespace {

// A function of 0 is that of the history; -1 where nothing tells.
int DataTypeUnder(const RawDirectory& directory, int process, int16_t* function) {
  RawFunctionRecord record = {};
  const int32_t code =
      RawReadProcFunction(directory.handle(), static_cast<int16_t>(process), function, &record);
  return code == RAW_OK ? DataType(record) : -1;
}

}  // namespace

std::string SubjectOf(const RawDirectory& directory, const DataSet& data_set) {
  return directory.path() + ": " +
         (data_set.process == 0 ? "function " + std::to_string(data_set.function.value_or(1))
                                : "processed data set " + std::to_string(data_set.process));
}

DataSet CompleteDataSet(const RawDirectory& directory, const DataSet& data_set) {
  DataSet complete = data_set;
  const std::vector<int> sets = directory.ProcessedSets();
  if (data_set.process == 0 || std::ranges::count(sets, data_set.process) == 0) {
    complete.function = data_set.function.value_or(1);
    return complete;  // a set that is not there is told when it is opened
  }
  const std::string subject = SubjectOf(directory, data_set);
  int16_t function = 0;
  int type = DataTypeUnder(directory, data_set.process, &function);
  if (type >= 0 && data_set.function.value_or(function) != function) {
    throw Failure(subject, "made from function " + std::to_string(function) + ", not " +
                               std::to_string(*data_set.function) +
                               ", as the processing history has it");
  }
  if (type < 0 && data_set.function) {
    function = static_cast<int16_t>(*data_set.function);
    type = DataTypeUnder(directory, data_set.process, &function);
  }
  if (function == 0) {
    throw Failure(subject, "nothing tells which function it was made from (--function does)");
  }
  type = data_set.data_type.value_or(type);
  if (type < 0) {
    throw Failure(subject, "its index does not tell the data type (--data-type does)");
  }
  const bool is_functions = type == DataType(directory.Function(function));
  complete.function = function;
  complete.data_type = is_functions ? std::nullopt : std::optional(type);
  return complete;
}

}  // namespace tervalon::tools
