// The processing history of a raw data directory: which processed data set came from which, and by
// what step. "_HISTORY.INF" holds one tree of entries per function. The caller owns header and
// entries; the exports only read, change and write what they are given.
//
// A tree number is 1..32; 0 stands for tree 31. An entry is named by its index, its place in the
// array of entries. Histories come from files: a link outside the entries in use, or to a free one,
// is taken as none, and whatever the links say, every call ends and touches no entry above
// RAW_HISTORY_MAX_INDEX or above the highest in use (when adding, the next one).

#ifndef TERVALON_RAW_HISTORY_H_
#define TERVALON_RAW_HISTORY_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define RAW_HISTORY_TREES 32
#define RAW_HISTORY_MAX_INDEX 256
#define RAW_HISTORY_ENTRIES 257  // elements of an array for any history; element 0 is not used

// 132 bytes. Element t - 1 of the arrays belongs to tree t.
typedef struct RawHistoryHeader {
  uint16_t tree_count;                // 32; trees above it are rejected
  uint16_t highest_index;             // of the entries in use
  uint16_t roots[RAW_HISTORY_TREES];  // index of the first top-level entry, 0 in an empty tree
  uint16_t counts[RAW_HISTORY_TREES];
} RawHistoryHeader;

// Types of processing steps. Any other value is allowed.
enum {
  RAW_STEP_NONE = 0,
  RAW_STEP_REFINE = 1,
  RAW_STEP_COMBINE = 2,
  RAW_STEP_SMOOTH = 3,
  RAW_STEP_CENTER = 4,
  RAW_STEP_PEAK_TOP = 5,
  RAW_STEP_MODIFY = 6,
  RAW_STEP_TRANSFORM = 7,
  RAW_STEP_DATABASE = 8,
  RAW_STEP_FULL_FILE_REFINE = 9,
  RAW_STEP_FULL_FILE_FILTER = 10,
  RAW_STEP_MAXENT_1 = 11,
  RAW_STEP_SUBTRACT = 12,
  RAW_STEP_MOCK_DATA_1 = 13,
  RAW_STEP_MAXENT_2 = 14,
  RAW_STEP_MOCK_DATA_2 = 15,
  RAW_STEP_ISOTOPE_MODEL = 16,
  RAW_STEP_CONTINUUM_MODEL = 17,
  RAW_STEP_MAXENT_3 = 18,
  RAW_STEP_MOCK_DATA_3 = 19,
  RAW_STEP_ACCURATE_MASS = 20,
  RAW_STEP_COMBINED = 21
};

#define RAW_STEP_PARAMETERS_SIZE 64

#pragma pack(push, 1)
// A processing step. Packed, 103 bytes.
typedef struct RawHistoryProcess {
  uint16_t type;
  char name[33];     // zero-terminated when shorter
  uint32_t created;  // seconds since 1970, universal time
  // Sixteen 32-bit fields, integers i and floats f; all zero when not known. By type:
  //   1 refine: i window, scans; f noise threshold
  //   2 combine: i first and last scan; i, i a background's; i, i another's (first 0: none);
  //     f factor of the background; what PrcSaveStep adds to it
  //   3 smooth: i method, 0 mean, 1 Savitzky-Golay; i points on each side; i times; what
  //   PrcSaveStep
  //     adds to it
  //   4 center: what PrcSaveStep writes
  //   7 transform: i lowest and highest mass; f mass step; f threshold
  //   11, 13 maximum entropy: i log evidence; i iterations; i peak model, 0 uniform Gaussian,
  //     1 measured; f peak width; i lowest and highest mass; f mass step; i, i left and right
  //     intensity ratio, %
  //   12 subtract: i polynomial order; f % below the curve; f tolerance
  //   14, 15 maximum entropy: i log evidence; i iterations; f peak width; i lowest, highest mass
  //   16, 17 model: 48 bytes formula; f peak width (17)
  //   18, 19 maximum entropy: i log evidence; i iterations; i ensemble members (0: not used)
  //   20 accurate mass: f reference mass; f window, mass units
  uint8_t parameters[RAW_STEP_PARAMETERS_SIZE];
} RawHistoryProcess;

// An entry. Packed, 123 bytes. Links are indexes; 0 is none.
typedef struct RawHistoryEntry {
  uint16_t index;  // its own; 0 marks a free entry
  uint16_t parent;
  uint16_t first_child;
  uint16_t previous;  // sibling
  uint16_t next;      // sibling
  uint16_t flags;     // RAW_HISTORY_...
  uint8_t values[8];  // the application's
  RawHistoryProcess process;
} RawHistoryEntry;
#pragma pack(pop)

#define RAW_HISTORY_DELETION_PENDING 1  // goes with its last child
#define RAW_HISTORY_PROTECTED 4         // deleted only when forced

// Reads the history of a directory. `entries` (optional) receives elements 0 to highest_index, at
// most RAW_HISTORY_ENTRIES. A NULL header returns RAW_OK and does nothing.
// Returns RAW_OK; RAW_HISTORY_CUT_OFF when the file is too short, the missing entries then being
// free (without a whole header: the empty history, `entries` left alone); a member-file error.
// Without a file the header is that of an empty history and the result RAW_OK, or
// RAW_MEMBER_NOT_OPEN when entries were asked for: callers take that as an empty history.
TERVALON_API int32_t TERVALON_CALL RawReadProcInfo(int32_t handle, RawHistoryHeader* header,
                                                   RawHistoryEntry* entries);

// Writes the history in place of the old one once it is complete: the header and, with `entries`,
// elements 0 to highest_index (at most 256). A NULL header returns RAW_OK and writes nothing.
// When others have changed the file since the entries were read or written through this handle, the
// caller's additions, deletions and changes of entries are made in what the others left; an
// addition may then get another index, which the next reading shows. Without `entries` nothing is
// merged. Returns RAW_OK; RAW_HISTORY_FULL when both together are too many; RAW_LOCK_FAILED; a
// member-file error. With an error the file is as it was.
TERVALON_API int32_t TERVALON_CALL RawHistUpdateInfo(int32_t handle, const RawHistoryHeader* header,
                                                     const RawHistoryEntry* entries);

// Adds a copy of `entry`, as the last child of the entry `parent` of the tree, or at the end of the
// top level when the tree has no such entry. It takes the lowest free index, which is stored in
// entry->index; links and flags of the copy are set. `entries` needs room for one more element than
// are in use.
// Returns 0; RAW_HISTORY_FULL for the 257th entry or a tree that is rejected, nothing being
// changed.
TERVALON_API int32_t TERVALON_CALL RawHistAddProcess(RawHistoryHeader* header,
                                                     RawHistoryEntry* entries, int16_t tree,
                                                     uint16_t parent, RawHistoryEntry* entry);

// Deletes an entry. One with children is marked instead, and deleted with its last child; a
// protected one is refused unless `force` is nonzero.
// Returns 1; 0 when the tree has no such entry or it is refused.
TERVALON_API int32_t TERVALON_CALL RawHistDeleteProcess(RawHistoryHeader* header,
                                                        RawHistoryEntry* entries, int16_t tree,
                                                        uint16_t index, int32_t force);

// Finds the first entry of the tree with this name, upper and lower case being different. Every
// list of siblings is searched depth first: its first entry, then for each entry its children and
// itself.
// Returns index << 16 | the entry's own index, or 0.
TERVALON_API int32_t TERVALON_CALL RawHistSearchTag(const RawHistoryHeader* header,
                                                    const RawHistoryEntry* entries, int16_t tree,
                                                    const char* name);

// Where RawHistGetProcess goes from an entry; any other value stays.
#define RAW_HISTORY_FIRST_CHILD 1  // from index 0: the tree's first entry
#define RAW_HISTORY_FIRST_SIBLING 2
#define RAW_HISTORY_NEXT_SIBLING 3
#define RAW_HISTORY_LAST_SIBLING 4
#define RAW_HISTORY_PREVIOUS_SIBLING 5
#define RAW_HISTORY_PARENT 6

// Walks one step from the entry `index`, which with `verify` has to be in the tree.
// Returns index << 16 | the own index of where it leads, or 0.
TERVALON_API int32_t TERVALON_CALL RawHistGetProcess(const RawHistoryHeader* header,
                                                     const RawHistoryEntry* entries, int16_t tree,
                                                     uint16_t index, int32_t verify, int32_t mode);

// What a description has besides the parameters; other bits mean nothing. Applications pass
// RAW_DESCRIBE_FULL.
#define RAW_DESCRIBE_NAME 4
#define RAW_DESCRIBE_DATE 16  // " 02-Jun-25", local time
#define RAW_DESCRIBE_TIME 32  // " 09:30"
#define RAW_DESCRIBE_FULL 444

// Describes a step in one line of Latin-1, "Refine (5,1000) 02-Jun-25 09:30", cut to `capacity`
// bytes, the terminating zero included.
// Returns 1, or 0 when the capacity is below 1.
TERVALON_API int32_t TERVALON_CALL RawHistDescription(const RawHistoryProcess* process,
                                                      uint16_t flags, char* text, int32_t capacity);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_HISTORY_H_
