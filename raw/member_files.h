// The raw handle table and the member files of a raw directory: every other file of this folder
// reaches the disk through what is declared here.

#ifndef RAW_MEMBER_FILES_H_
#define RAW_MEMBER_FILES_H_

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "platform/file_change.h"
#include "platform/file_system.h"
#include "tervalon/raw_directory.h"

namespace tervalon::raw {

// File codes. Codes of per-function and per-process files are the base to which the number is added
// to give the member's slot; for all others the code is the slot.
enum FileCode : int32_t {
  kHeaderText = 0,
  kHeaderInverted = 1,  // every byte stored inverted
  kExperiment = 2,
  kInlet = 3,
  kAutosampler = 4,
  kExternal = 5,
  kAnalogInfo = 6,
  kFunctionTable = 7,
  kHistory = 8,
  kAnalogData = 9,
  kFunctionData = 10,
  kFunctionIndex = 42,
  kFunctionStatistics = 74,
  kFunctionEe = 106,
  kProcessData = 138,
  kProcessIndex = 394,
  kProcessStatistics = 650,
  kProcessEe = 906,
};

// No member grows beyond this: offsets in the scan index have 32 bits.
inline constexpr uint64_t kLargestMember = 0xFFFFFFFFu;

// The modes of RawFileOpen: new or truncated, existing for reading, existing for both.
enum MemberMode : int32_t { kCreateMember = 1, kReadMember = 2, kReadWriteMember = 3 };

// The primitives below return an error code of raw_directory.h. An open member has a position that
// starts at 0. With RAW_MEMBER_NOT_OPENED, `*absent` (optional) tells whether there is no such
// member: only then may a caller go on as with an empty one.
int32_t RawFileOpen(int32_t handle, int32_t code, int32_t number, int32_t mode,
                    bool* absent = nullptr);

// Reads at the member's position and advances it. A short read is no error: see `read` (optional).
// The bytes of kHeaderInverted are inverted.
int32_t RawFileRead(int32_t handle, int32_t code, int32_t number, void* buffer, uint32_t count,
                    uint32_t* read);

// Writes at the member's position and advances it. For kHeaderInverted the caller's buffer is
// inverted in place and left so. A write that would pass 4 GiB is a short write. `position` (the
// new one) is optional.
int32_t RawFileWrite(int32_t handle, int32_t code, int32_t number, void* buffer, uint32_t count,
                     uint32_t* position);

// Sets a member's position; takes the slot itself.
int32_t RawFileSeek(int32_t handle, int32_t slot, uint32_t position);

int32_t RawFileSize(int32_t handle, int32_t code, int32_t number, uint32_t* size);

int32_t RawFileClose(int32_t handle, int32_t code, int32_t number);

// Writes a member that is not open, whole: beside the old one first, then in its place, and forces
// it to the disk. A failure leaves what was there. RAW_LOCK_FAILED when another program changes the
// member for too long.
int32_t ReplaceMember(int32_t handle, int32_t code, int32_t number, const void* bytes,
                      uint32_t count);

// Opens a member for reading and writing past the slots, as it is; with `make` one that is absent
// is made, by one program alone.
int32_t OpenForWriting(int32_t handle, int32_t code, int32_t number, bool make,
                       std::unique_ptr<platform::File>* file);

// The right to change a member that this handle does not have open: RAW_MEMBER_ALREADY_OPEN,
// RAW_LOCK_FAILED when it is not to be had in time, RAW_MEMBER_NOT_OPENED when nothing can be
// written beside the member.
int32_t LockMember(int32_t handle, int32_t code, int32_t number,
                   std::unique_ptr<platform::ChangeLock>* lock);

// Opens a member for reading past the slots, so that it works while the member is open.
int32_t OpenForReading(int32_t handle, int32_t code, int32_t number,
                       std::unique_ptr<platform::File>* file, bool* absent = nullptr);

// The slot of a member, or -1 when the number does not fit the code.
int32_t MemberSlot(int32_t code, int32_t number);

// The name of a member; empty when the code has none.
std::string MemberName(int32_t code, int32_t number);

// The path of a name inside a directory.
std::string PathInside(const std::string& directory, const std::string& name);

// Checks a handle: RAW_OK, RAW_HANDLE_OUT_OF_RANGE or RAW_HANDLE_NOT_OPEN.
int32_t CheckHandle(int32_t handle);

// Frees a handle that CheckHandle accepts, and drops what is still open of it.
void ReleaseHandle(int32_t handle);

// The directory of a handle that CheckHandle accepts, as the caller named it.
const std::string& HandleDirectory(int32_t handle);

// Counts the directories that have been opened under the number of a handle, 0..RAW_MAX_HANDLES-1.
uint32_t HandleGeneration(int32_t handle);

// What a handle's caller has been given of a member, for those who write it back.
struct KnownContent {
  virtual ~KnownContent() = default;
};
std::unique_ptr<KnownContent>& KnownContentOf(int32_t handle, int32_t code);

// Whether there is a directory that can be opened as a raw directory.
bool IsRawDirectory(const char* path);

// The right to erase and make a directory, or to repair it: RAW_LOCK_FAILED while a program
// acquires into it.
int32_t TakeDirectory(const std::string& path, std::unique_ptr<platform::ChangeLock>* lock);

// The platform file behind an open member, for block readers; nullptr when it is not open.
platform::File* OpenMember(int32_t handle, int32_t code, int32_t number);

// What a reader or writer keeps between calls, one per function and process number.
class ScanBuffer {
 public:
  virtual ~ScanBuffer() = default;

  // Writes what still waits in memory and closes the files that are its own.
  virtual int32_t End() { return RAW_OK; }
};

// RAW_SCAN_BUFFER_EXISTS, RAW_NO_MEMORY_FOR_SCAN_BUFFER (for nullptr), RAW_SLOT_OUT_OF_RANGE.
int32_t PutScanBuffer(int32_t handle, int32_t function, int32_t process,
                      std::unique_ptr<ScanBuffer> buffer);

// RAW_SCAN_BUFFER_ABSENT when there is none.
int32_t GetScanBuffer(int32_t handle, int32_t function, int32_t process, ScanBuffer** buffer);

int32_t FreeScanBuffer(int32_t handle, int32_t function, int32_t process);

// A share in a buffer, which lives on when it is freed meanwhile; nullptr when there is none.
std::shared_ptr<ScanBuffer> HoldScanBuffer(int32_t handle, int32_t function, int32_t process);

// The buffer as a reader's or writer's; RAW_SCAN_BUFFER_ABSENT when the slot holds the other kind.
template <typename Kind>
int32_t GetScanBufferAs(int32_t handle, int32_t function, int32_t process, Kind** buffer) {
  ScanBuffer* any = nullptr;
  const int32_t error = GetScanBuffer(handle, function, process, &any);
  if (error != RAW_OK) return error;
  static_assert(std::is_final_v<Kind>);  // the type itself tells, in a tenth of a cast's time
  if (typeid(*any) != typeid(Kind)) return RAW_SCAN_BUFFER_ABSENT;
  *buffer = static_cast<Kind*>(any);
  return RAW_OK;
}

// Reports item `index` of `count` to the progress callback when it reaches a new percentage.
void ReportProgress(int32_t index, int32_t count);

// How many items from `index` on it has nothing to report for, or fewer: what a loop need not ask
// for each.
int32_t ItemsWithoutProgress(int32_t index, int32_t count);

}  // namespace tervalon::raw

#endif  // RAW_MEMBER_FILES_H_
