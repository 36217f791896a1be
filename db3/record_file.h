// Files in the dBASE III layout (docs/record_database.md): a header with the list of fields, then
// records of one length, each a deletion marker and the fields' texts.
//
// Records are numbered from 1 in the order of the file. Records that another program marked deleted
// are not counted, and stay where they are.
//
// Several users, in this process and others, may have one file open. Each takes its turn on it, and
// then finds what the file holds now. Whatever fails, and wherever a process ends, the file holds a
// change wholly or not at all: what is written over is kept behind the end of the file until the
// last write of the change (UndoJournal), and whoever comes next takes back a change that was cut
// short.

#ifndef DB3_RECORD_FILE_H_
#define DB3_RECORD_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "db3/causes.h"
#include "db3/field_descriptor.h"
#include "db3/record_header.h"
#include "db3/undo_journal.h"
#include "platform/file_system.h"

namespace tervalon::db3 {

// A path from the root on: the program may change its working directory while a file is open.
std::string FromRoot(const std::string& path);

class RecordFile {
 public:
  // The right to work on a file, together with others who read or alone, until it is destroyed.
  // Waits for others for a limited time.
  class Turn {
   public:
    Turn(RecordFile* file, platform::LockMode mode) : Turn(file) { cause_ = file->Enter(mode); }
    ~Turn() { file_->Leave(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    // kSuccess, or why there is no turn: kFileMissing when the file was removed; kRecordStructure
    // or kInvalidFormat when one that is another took its place; kFileRead; kFileWrite when a
    // change that was cut short cannot be taken back.
    Cause cause() const { return cause_; }

   private:
    explicit Turn(RecordFile* file) : file_(file) {}

    RecordFile* file_;
    Cause cause_ = kGeneralError;
  };

  // Makes an empty file with these fields, in place of what is at `path`: whole or not at all.
  // kFileDeletion when what is there does not go, else kFileCreation.
  static Cause Create(const std::string& path, std::span<const FieldDescriptor> fields);

  // Opens a file, for reading only where it cannot be written. The answer is kFileMissing,
  // kFileOpen, or that of a first turn.
  static Cause Open(const std::string& path, std::unique_ptr<RecordFile>* file);

  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // From the root on.
  const std::string& path() const { return path_; }

  const std::vector<FieldDescriptor>& fields() const { return header_.fields; }

  // The length of a record's text: the sum of the fields' widths.
  size_t text_size() const { return header_.record_size - 1; }

  // In a turn, how many records there are; else, how many there were in the last one.
  int32_t count() const { return static_cast<int32_t>(header_.stored - deleted_.size()); }

  // Record operations, within a turn; all but Read change the file and need one alone. A text has
  // text_size() characters. kRecordNumber for a number that is not there, kFileRead and kFileWrite
  // for what the system refuses: then, and when memory runs out, nothing has changed.
  Cause Read(int32_t number, std::span<char> text);
  Cause Update(int32_t number, std::span<const char> text);

  // Makes the text record `number`, and the record that had this number and all behind it the next
  // ones; count() + 1 adds it at the end.
  Cause Insert(int32_t number, std::span<const char> text);

  // Removes a record and closes the gap.
  Cause Delete(int32_t number);

  // Forces what was changed to the disk. kFileClose when the system reports a failure; the file is
  // closed all the same.
  Cause Close();

 private:
  // What a change writes over a range: bytes, and behind them a part of what stood in the range.
  struct Edit {
    Range old;
    std::span<const uint8_t> bytes;
    uint64_t kept_from = 0;  // counted from the beginning of the range
    uint64_t kept_count = 0;
    uint32_t stored = 0;                  // records in the file afterwards
    std::span<const uint8_t> known = {};  // what stands in the range, where it has been read
  };

  explicit RecordFile(std::string path) : path_(std::move(path)) {}

  Cause Enter(platform::LockMode mode);
  void Leave();

  Cause OpenFile();
  Cause LockFile(platform::LockMode mode);
  // Brings what is known of the file up to date.
  Cause Refresh(platform::LockMode mode);
  Cause TakeBack();
  Cause Load();
  Cause LoadHeader(RecordHeader* header);
  Cause FindDeleted(const RecordHeader& header, std::vector<uint32_t>* deleted);
  bool DeletedStand();

  // Where a record stands among all that are stored, deleted ones included.
  uint32_t PlaceOf(int32_t number) const;
  uint64_t OffsetOf(uint32_t place) const { return header_.OffsetOf(place); }
  Cause Find(int32_t number, uint32_t* place);
  Cause Find(int32_t number, uint32_t* place, std::span<uint8_t> record);

  bool Change(Edit edit);
  bool Write(const Edit& edit, uint64_t journal, const HeaderStart& after, CopyBuffer* buffer);
  HeaderStart StartAfter(uint32_t stored);
  void DropJournal();

  std::string path_;
  std::unique_ptr<platform::File> file_;
  bool locked_ = false;
  bool changed_ = false;  // since it was opened
  RecordHeader header_;
  std::vector<uint32_t> deleted_;  // places of the records marked deleted, ascending
  bool loaded_ = false;            // the two above are those of file_
  HeaderDate today_ = {};
  int64_t looked_ = 0;  // at the calendar, in seconds
  std::vector<uint8_t> record_;
  int32_t read_number_ = 0;  // of the record that was read into it in this turn
};

}  // namespace tervalon::db3

#endif  // DB3_RECORD_FILE_H_
