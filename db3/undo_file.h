// What a file held before its bytes were written over, kept beside it ("P1.DBF.undo") while the
// write lasts, so that a write that is cut short can be taken back.
//
// Those who write have it locked, so that one whom the end of a process left can be told from one
// that is in use.

#ifndef DB3_UNDO_FILE_H_
#define DB3_UNDO_FILE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_system.h"

namespace tervalon::db3 {

class UndoFile {
 public:
  // Of the file at `path`. Nothing is opened before it is needed.
  explicit UndoFile(const std::string& path) : path_(path + ".undo") {}

  // Keeps the bytes that stand at `offset`, and those that are to take their place. On failure
  // they must not be written.
  bool Keep(uint64_t offset, std::span<const uint8_t> old_bytes,
            std::span<const uint8_t> new_bytes);

  // Says that the kept write is complete. A record that cannot be forgotten does no harm until
  // something else is put where the write went.
  bool Forget();

  // Puts old bytes that are kept back into `target` where these and the new ones stand mixed, as
  // a write leaves them that was cut short. Whatever else stands there is somebody's later work and
  // stays, and so does all while somebody else has the file in use. `finished_stands`: new bytes
  // that are all there stay too. False when reading or writing fails.
  bool TakeBack(platform::File* target, bool finished_stands);

  // Closes the file that Keep or TakeBack opened, and removes it unless somebody else uses it.
  void Close();

  // Removes the file, whoever uses it: what it is of is no more.
  void Remove();

 private:
  std::string path_;
  std::unique_ptr<platform::File> file_;
  std::vector<uint8_t> record_;
};

}  // namespace tervalon::db3

#endif  // DB3_UNDO_FILE_H_
