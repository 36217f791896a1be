#include "tervalon/result_codes.h"

#include <algorithm>
#include <iterator>

#include "tervalon/databases.h"
#include "tervalon/processing.h"
#include "tervalon/raw_directory.h"

namespace {

struct CodeText {
  int32_t code;
  const char* text;
};

constexpr CodeText kTexts[] = {
    {-1, "the arguments do not fit, or memory ran out"},
    {RAW_OK, "done"},
    // The same number for the general error of a record database.
    {RAW_BAD_ARGUMENT, "an argument, a path or the type of the data is not valid"},
    {DB3_FILE_OPEN, "cannot be opened"},
    {DB3_FILE_CLOSE, "cannot be closed"},
    {DB3_FILE_CREATION, "cannot be created"},
    {DB3_FILE_DELETION, "cannot be deleted or replaced"},
    {DB3_FILE_READ, "cannot be read"},
    {DB3_FILE_WRITE, "cannot be read or written, or a number does not fit its field"},
    {DB3_MEMORY_ALLOCATION, "out of memory"},
    {DB3_MEMORY_LOCK, "out of memory: a block cannot be locked"},
    {DB3_MEMORY_FREE, "a block of memory cannot be freed"},
    {DB3_RECORD_NUMBER, "no such record"},
    {DB3_DATABASE_FULL, "the database is full: it has 9999 records"},
    {DB3_ALREADY_OPEN, "the database is open already"},
    {DB3_OLD_FORMAT, "the database has an old format"},
    {DB3_RECORD_STRUCTURE, "the fields are not those of the type"},
    {DB3_ONLY_RECORD, "the only record cannot be deleted"},
    {DB3_NOT_OPEN, "no database of the type is open"},
    {DB3_FILE_MISSING, "no such file"},
    {DB3_INVALID_FORMAT, "not a record database"},
    {DB3_TOO_MANY_OPEN, "too many databases are open"},
    {RAW_DIRECTORY_NOT_CREATED, "the directory cannot be created"},
    {RAW_DIRECTORY_ABSENT, "not a raw data directory"},
    {RAW_SCAN_ABSENT, "no such scan"},
    {RAW_HISTORY_CUT_OFF, "the processing history is cut off"},
    {RAW_NO_FREE_HANDLE, "too many raw data directories are open"},
    {RAW_HANDLE_OUT_OF_RANGE, "not the number of a raw data directory"},
    {RAW_HANDLE_NOT_OPEN, "the raw data directory is not open"},
    {RAW_SLOT_OUT_OF_RANGE, "no such function or processed data set"},
    {RAW_MEMBER_ALREADY_OPEN, "a member file is open already"},
    {RAW_MEMBER_NOT_OPEN, "a member file is not open"},
    {RAW_NO_MEMORY_FOR_MEMBER, "out of memory"},
    {RAW_PATH_NOT_BUILT, "the path of a member file is too long"},
    {RAW_LOCK_FAILED, "out of memory: a block cannot be locked"},
    {RAW_MEMBER_NOT_OPENED, "a member file cannot be opened"},
    {RAW_MEMBER_NOT_CLOSED, "a member file cannot be closed"},
    {RAW_SHORT_WRITE, "cannot be written: the disk is full, or a file would pass 4 GiB"},
    {RAW_SEEK_FAILED, "a member file cannot be read or written at the position wanted"},
    {RAW_FILE_NOT_DELETED, "a file in it cannot be deleted"},
    {RAW_TIME_STAMP_FAILED, "the files' times cannot be set"},
    {RAW_DIRECTORY_VANISHED, "the directory is no longer there"},
    {RAW_DIRECTORY_NOT_REMOVED, "the directory cannot be removed"},
    {RAW_SCAN_BUFFER_EXISTS, "the function is open already"},
    {RAW_SCAN_BUFFER_ABSENT, "the function is not open for reading or writing"},
    {RAW_NO_MEMORY_FOR_SCAN_BUFFER, "out of memory"},
    {RAW_SCAN_BUFFER_NOT_FREED, "the memory of a function cannot be freed"},
    {RAW_BAD_OPEN_MODE, "a member file cannot be opened in this way"},
    {RAW_HISTORY_FULL, "the processing history is full, or has no such tree"},
    {PRC_BAD_ARGUMENT, "an argument or an option is not valid"},
    {PRC_NO_MEMORY, "out of memory"},
    {PRC_TOO_FEW_POINTS, "there are too few points"},
    {PRC_BAD_WINDOW, "the width, the degree or the number of passes makes no sense"},
    {PRC_NOT_FINITE, "a value is infinite or not a number"},
    {PRC_NOT_ASCENDING, "the positions are not in ascending order"},
    {PRC_UNEVEN, "the positions are not evenly spaced"},
    {PRC_NO_SCANS, "there are no scans in the range"},
    {PRC_STEP_UNKNOWN, "the processing history does not say how the data set was made"},
    {PRC_NO_FREE_SET, "the directory has all processed data sets that it can have"},
};

}  // namespace

extern "C" const char* TERVALON_CALL TvErrorText(int32_t code) {
  const auto* const found = std::ranges::find(kTexts, code, &CodeText::code);
  return found != std::end(kTexts) ? found->text : "";
}
