#include "tools/print/failure.h"

#include <tervalon/raw_directory.h>

#include <algorithm>
#include <iterator>

namespace tervalon::tools {
namespace {

struct CodeText {
  int32_t code;
  const char* text;
};

constexpr CodeText kCodeTexts[] = {
    {RAW_BAD_ARGUMENT, "the data are of a type that is not stored, or not as their index says"},
    {RAW_DIRECTORY_NOT_CREATED, "the directory cannot be created"},
    {RAW_DIRECTORY_ABSENT, "not a raw data directory"},
    {RAW_SCAN_ABSENT, "no such scan"},
    {RAW_HISTORY_CUT_OFF, "the processing history is cut off"},
    {RAW_NO_FREE_HANDLE, "too many raw data directories are open"},
    {RAW_SLOT_OUT_OF_RANGE, "no such function or processed data set"},
    {RAW_MEMBER_ALREADY_OPEN, "a member file is open already"},
    {RAW_MEMBER_NOT_OPEN, "a member file is not open"},
    {RAW_NO_MEMORY_FOR_MEMBER, "out of memory"},
    {RAW_PATH_NOT_BUILT, "the path of a member file is too long"},
    {RAW_LOCK_FAILED, "out of memory"},
    {RAW_MEMBER_NOT_OPENED, "a member file cannot be opened"},
    {RAW_MEMBER_NOT_CLOSED, "a member file cannot be closed"},
    {RAW_SHORT_WRITE, "cannot be written: the disk is full, or a file would pass 4 GiB"},
    {RAW_SEEK_FAILED, "a member file cannot be read or written at the position wanted"},
    {RAW_FILE_NOT_DELETED, "a file in it cannot be deleted"},
    {RAW_TIME_STAMP_FAILED, "the files' times cannot be set"},
    {RAW_DIRECTORY_VANISHED, "the directory is no longer there"},
    {RAW_DIRECTORY_NOT_REMOVED, "the directory cannot be removed"},
    {RAW_NO_MEMORY_FOR_SCAN_BUFFER, "out of memory"},
};

}  // namespace

std::string RawErrorText(int32_t code) {
  const auto* const found = std::ranges::find(kCodeTexts, code, &CodeText::code);
  if (found != std::end(kCodeTexts)) {
    return found->text;
  }
  return "unexpected error " + std::to_string(code);
}

void CheckRaw(int32_t code, const std::string& subject) {
  if (code != RAW_OK) {
    throw Failure(subject, RawErrorText(code));
  }
}

}  // namespace tervalon::tools
