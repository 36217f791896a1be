// Files in the dBASE III layout (docs/record_database.md): a header with the list of fields, then
// records of one length, each a deletion marker and the fields' texts.
//
// Records are numbered from 1 in the order of the file. Records that another program marked deleted
// are not counted, and stay where they are.
//
// Whatever fails, and wherever the process ends, the file holds a change wholly or not at all:
//  - A record that is added at the end is written before the header counts it.
//  - Bytes that are written over, a record or the header's count, are first put into an undo file
//    beside the database. A write that was cut short is taken back, at once or when the file is
//    opened again and the process that wrote has ended.
//  - To insert or delete a record elsewhere, the file is written anew beside itself and put in its
//    own place.

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
#include "db3/undo_file.h"
#include "platform/file_system.h"

namespace tervalon::db3 {

// A path from the root on: the program may change its working directory while a file is open.
std::string FromRoot(const std::string& path);

class RecordFile {
 public:
  // Makes an empty file with these fields, in place of what is at `path`: whole or not at all.
  static Cause Create(const std::string& path, std::span<const FieldDescriptor> fields);

  // Opens a file, for reading only where it cannot be written. Finishes taking back a change in
  // which an earlier process ended. The answer is kFileMissing, kFileOpen, kFileRead,
  // kInvalidFormat, or kFileWrite when a change cannot be taken back.
  static Cause Open(const std::string& path, std::unique_ptr<RecordFile>* file);

  // Removes a file and what may stand beside it.
  static bool Remove(const std::string& path);

  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // From the root on.
  const std::string& path() const { return path_; }

  const std::vector<FieldDescriptor>& fields() const { return header_.fields; }

  // The length of a record's text: the sum of the fields' widths.
  size_t text_size() const { return header_.record_size - 1; }

  int32_t count() const { return static_cast<int32_t>(header_.stored - deleted_.size()); }

  // Record operations. A text has text_size() characters. kRecordNumber for a number that is not
  // there, kFileRead and kFileWrite for what the system refuses: then nothing has changed.
  Cause Read(int32_t number, std::span<char> text);
  Cause Update(int32_t number, std::span<const char> text);

  // Makes the text record `number`, and the record that had this number and all behind it the next
  // ones; count() + 1 adds it at the end.
  Cause Insert(int32_t number, std::span<const char> text);

  // Removes a record and closes the gap.
  Cause Delete(int32_t number);

  // kFileClose when the system reports a failure. The file is closed all the same.
  Cause Close();

 private:
  explicit RecordFile(std::string path) : path_(std::move(path)), undo_(path_) {}

  Cause Load();
  Cause LoadHeader();
  Cause FindDeleted();
  bool OpenFile();
  // Opens the file again and takes a torn write back, where an earlier operation could not.
  bool Ready();

  // Where a record stands among all that are stored, deleted ones included.
  uint32_t PlaceOf(int32_t number) const;
  uint64_t OffsetOf(uint32_t place) const {
    return header_.bytes.size() + uint64_t{place} * header_.record_size;
  }
  bool Has(int32_t number) const { return number >= 1 && number <= count(); }

  bool Overwrite(uint64_t offset, std::span<const uint8_t> bytes);
  void StampDate();
  bool Append(std::span<const char> text);

  // Puts a file in place of this one that has `inserted` as the record at `place`, or, when that is
  // empty, lacks the record there.
  bool Rewrite(uint32_t place, std::span<const char> inserted);
  bool WriteAnew(platform::File* target, uint32_t place, std::span<const char> inserted);
  bool Copy(uint64_t begin, uint64_t end, platform::File* target, uint64_t* position);

  std::string path_;
  std::unique_ptr<platform::File> file_;
  UndoFile undo_;
  bool torn_ = false;  // a write was cut short and could not yet be taken back
  RecordHeader header_;
  std::vector<uint32_t> deleted_;  // places of the records marked deleted, ascending
  int64_t stamped_ = 0;            // when the date was last looked at, in seconds
  std::vector<uint8_t> scratch_;
};

}  // namespace tervalon::db3

#endif  // DB3_RECORD_FILE_H_
