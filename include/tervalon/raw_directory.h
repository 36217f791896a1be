// Raw data directories: one directory per sample, holding a fixed family of member files.
//
// A raw handle (0..19) names an open directory. Reader: RawReadOpen, per function RawReadFuncInit
// .. RawReadFuncEnd (raw_functions.h), RawReadClose. Writer: RawCreateOpen, header, functions and
// scans, RawCreateClose. Every Raw export that returns an error code returns one of these.

#ifndef TERVALON_RAW_DIRECTORY_H_
#define TERVALON_RAW_DIRECTORY_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Limits.
#define RAW_MAX_HANDLES 20
#define RAW_MAX_FUNCTIONS 32
#define RAW_MAX_PROCESSES 255

// Error codes.
enum {
  RAW_OK = 0,
  RAW_BAD_ARGUMENT = 1,  // unsupported data type, a bad count or a missing array
  RAW_DIRECTORY_NOT_CREATED = 1001,
  RAW_DIRECTORY_ABSENT = 2001,
  RAW_SCAN_ABSENT = 2002,      // no index record for that scan
  RAW_HISTORY_CUT_OFF = 2003,  // the processing history is shorter than it says
  RAW_NO_FREE_HANDLE = 4001,
  RAW_HANDLE_OUT_OF_RANGE = 4002,
  RAW_HANDLE_NOT_OPEN = 4003,
  RAW_SLOT_OUT_OF_RANGE = 4004,  // a function or process number outside its range
  RAW_MEMBER_ALREADY_OPEN = 4005,
  RAW_MEMBER_NOT_OPEN = 4006,
  RAW_NO_MEMORY_FOR_MEMBER = 4007,
  RAW_PATH_NOT_BUILT = 4008,  // also: analog data are asked of a provider and there is none
  RAW_LOCK_FAILED = 4009,     // another program changes it for too long, or acquires into it
  RAW_MEMBER_NOT_OPENED = 4010,
  RAW_MEMBER_NOT_CLOSED = 4011,
  RAW_SHORT_WRITE = 4012,
  RAW_SEEK_FAILED = 4014,
  RAW_FILE_NOT_DELETED = 4015,
  RAW_TIME_STAMP_FAILED = 4017,
  RAW_DIRECTORY_VANISHED = 4018,
  RAW_DIRECTORY_NOT_REMOVED = 4019,
  RAW_SCAN_BUFFER_EXISTS = 4021,
  RAW_SCAN_BUFFER_ABSENT = 4022,  // the function was not opened for reading or writing
  RAW_NO_MEMORY_FOR_SCAN_BUFFER = 4023,
  RAW_SCAN_BUFFER_NOT_FREED = 4024,
  RAW_BAD_OPEN_MODE = 4025,
  RAW_HISTORY_FULL = 5001  // no room for another entry, or no such tree
};

// Receives a percentage 0..100 and the value given to RawUpdateInit. Its result is ignored.
typedef int32_t(TERVALON_CALL* RawProgressCallback)(int32_t percent, void* user);

// Releases all 20 handles of the process without ending anything: a fresh start.
TERVALON_API void TERVALON_CALL RawHandlesInit(void);

// Opens an existing raw directory for reading and stores its handle.
// Returns RAW_OK; RAW_DIRECTORY_ABSENT when `directory` is not an existing directory (or is longer
// than 259 characters); RAW_NO_FREE_HANDLE when all 20 handles are in use.
TERVALON_API int32_t TERVALON_CALL RawReadOpen(const char* directory, int32_t* handle);

// Creates a raw directory for writing and stores its handle. An existing directory is first erased
// with RawFileErase, whose error is returned.
// Returns RAW_OK; RAW_NO_FREE_HANDLE, before anything is erased; RAW_DIRECTORY_NOT_CREATED, in
// which case the handle stays allocated and the caller closes it (-1 for a path that is NULL or too
// long: nothing to close); RAW_LOCK_FAILED while another handle, in whatever program, has the
// directory from RawCreateOpen: nothing is erased then; RAW_DIRECTORY_NOT_REMOVED for a link, which
// is not followed. Until the handle is closed nobody else can create, erase or repair the
// directory. With any other result, too, the handle is -1. The name counts as it is given, also
// where readers find one in another case.
TERVALON_API int32_t TERVALON_CALL RawCreateOpen(const char* directory, int32_t* handle);

// Ends reading of functions 1..31 (acquired data), ignoring their results, then releases the
// handle. Function 32 and processed data sets are the caller's to end; what is still open is closed
// and dropped.
// Returns RAW_OK, RAW_HANDLE_OUT_OF_RANGE or RAW_HANDLE_NOT_OPEN.
TERVALON_API int32_t TERVALON_CALL RawReadClose(int32_t handle);

// Writes the scans that still wait in writers (RawCreateScanFile), closes the members that are
// open, releases the handle, and gives every plain file of the directory the current time as access
// and modification time. Every step is taken, whatever the others give.
// Returns the first error: RAW_OK, RAW_HANDLE_OUT_OF_RANGE, RAW_HANDLE_NOT_OPEN; RAW_SHORT_WRITE,
// RAW_SEEK_FAILED or RAW_MEMBER_NOT_CLOSED from ending a writer or member; RAW_DIRECTORY_VANISHED
// or RAW_TIME_STAMP_FAILED.
TERVALON_API int32_t TERVALON_CALL RawCreateClose(int32_t handle);

// Returns 16 when the path exists and is a directory, 0 otherwise.
TERVALON_API int32_t TERVALON_CALL RawFileExists(const char* directory);

// Deletes every plain file directly inside the directory, then the directory. Sub-directories are
// left and make the removal fail.
// Returns RAW_OK; RAW_DIRECTORY_VANISHED when there is no directory of exactly that name;
// RAW_LOCK_FAILED while a program acquires into it; RAW_FILE_NOT_DELETED (stops there);
// RAW_DIRECTORY_NOT_REMOVED, also for a link, which is not followed.
TERVALON_API int32_t TERVALON_CALL RawFileErase(const char* directory);

// --- What a crash or another program has left

enum {
  RAW_PROBLEM_MISSING = 1,     // others need the member, and it is not there
  RAW_PROBLEM_UNREADABLE = 2,  // it is there and cannot be read
  RAW_PROBLEM_CUT_OFF = 3,     // it ends in the middle, or before what it names
  RAW_PROBLEM_CONTENT = 4,     // it contradicts itself or another member
  RAW_PROBLEM_LEFT_OVER = 5    // a program that was ended while it wrote left it
};

// A problem of one member file.
typedef struct RawProblem {
  int32_t kind;     // RAW_PROBLEM_...
  int32_t mended;   // checking: it can be mended; repairing: it has been
  char member[64];  // "_FUNC001.IDX"
  char text[128];   // what is wrong, to follow the name: "has 7 bytes behind its last whole record"
} RawProblem;

// Receives each problem and the user value. Its result is ignored.
typedef int32_t(TERVALON_CALL* RawProblemCallback)(const RawProblem* problem, void* user);

// Checks the member files of a directory: that they can be read, their sizes, the function table
// against the functions' files, every index against its data, the analog samples against their
// descriptors, the history's links, and what programs left that were ended while they wrote.
// Nothing is changed. What another program writes meanwhile can be reported. Every problem goes to
// `callback` (optional), their number to `problems` (optional).
// Returns RAW_OK, whatever is found; RAW_DIRECTORY_ABSENT; RAW_NO_MEMORY_FOR_MEMBER.
TERVALON_API int32_t TERVALON_CALL RawCheckDirectory(const char* directory,
                                                     RawProblemCallback callback, void* user,
                                                     int32_t* problems);

// Checks as RawCheckDirectory does and mends what can be mended without guessing: cuts off records
// that are not whole, scans without their data and data without their scans, frees history entries
// that no tree leads to and links the others anew, and removes what ended programs left. A member
// is kept as NAME.BAK (.BAK2, ...) in the directory before it is changed; where that fails it is
// left as it is. `problems` gets the number of those that remain.
// Returns as RawCheckDirectory, and RAW_LOCK_FAILED while a program acquires into the directory,
// RAW_DIRECTORY_NOT_REMOVED when nothing can be written beside it; then nothing is changed.
TERVALON_API int32_t TERVALON_CALL RawRepairDirectory(const char* directory,
                                                      RawProblemCallback callback, void* user,
                                                      int32_t* problems);

// Copies the directory path of a handle to `directory` (at least TV_PATH_SIZE bytes).
// Returns RAW_OK, RAW_HANDLE_OUT_OF_RANGE or RAW_HANDLE_NOT_OPEN.
TERVALON_API int32_t TERVALON_CALL RawHandleGetClusterName(int32_t handle, char* directory);

// Sets the process-wide progress callback of long reads and its user value (both optional). The
// callback, like the yield point of application.h, may end or close what is being read: the call
// then returns RAW_SCAN_BUFFER_ABSENT, RAW_MEMBER_NOT_OPEN or RAW_HANDLE_NOT_OPEN.
// Returns the callback.
TERVALON_API RawProgressCallback TERVALON_CALL RawUpdateInit(RawProgressCallback callback,
                                                             void* user);

// Clears the progress callback and its user value.
TERVALON_API void TERVALON_CALL RawUpdateEnd(void);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_DIRECTORY_H_
