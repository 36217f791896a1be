// What a change writes over, kept behind the end of the file that is changed, so that a change that
// is cut short can be taken back (docs/record_database.md).
//
// The header says whether a change is going on (kPendingOffset). Only then does the journal count:
// it is whole before the header says so, and the header's last write ends the change. All that is
// done here needs the exclusive lock of the file.

#ifndef DB3_UNDO_JOURNAL_H_
#define DB3_UNDO_JOURNAL_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "db3/file_bytes.h"
#include "db3/record_header.h"

namespace tervalon::db3 {

// A range of the file.
struct Range {
  uint64_t begin;
  uint64_t end;

  uint64_t size() const { return end - begin; }
};

class UndoJournal {
 public:
  // Bytes behind the kept ones in the journal.
  static constexpr size_t kTrailerSize = 48;

  // Where the file ends, and where it would without a journal that an earlier change left there.
  static bool EndWithout(platform::File* file, uint64_t* end, uint64_t* size);

  // Where a journal begins, and what the size of the file is before.
  struct Place {
    uint64_t at;
    uint64_t file_size;
  };

  // Keeps a range of the file and the start of its header at a place: there, the range's bytes
  // stand as they were until the next journal. The file ends behind it. `known` are the range's
  // bytes, if it has their number. False when it cannot be written.
  static bool Keep(platform::File* file, Range range, std::span<const uint8_t> known,
                   const HeaderStart& start, Place place, CopyBuffer* buffer);

  // Whether the file ends with a journal that is whole. False when it cannot be read.
  static bool Look(platform::File* file, CopyBuffer* buffer, bool* whole);

  // Puts back what the journal at the end of the file keeps, the header's start last. True also
  // when there is none, or one that does not fit the file; `*kept` tells.
  static bool TakeBack(platform::File* file, CopyBuffer* buffer, bool* kept);
};

}  // namespace tervalon::db3

#endif  // DB3_UNDO_JOURNAL_H_
