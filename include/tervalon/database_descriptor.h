// Records of a database behind data handles of type DM_TYPE_DATABASE.
//
// An element is a record; records count from 1. Each item is what the descriptor selects of every
// record: the whole structure, or the member of one field, so that a column of a peak list is an
// array of numbers. Elements are read only when the handle's item sizes are those.
//
// The file need not be open as a database: it is then opened for each request for data that are not
// resident, and for no longer. It does not become the current file of its type, and nothing is
// shown to the user. What is resident does not follow changes to the file.

#ifndef TERVALON_DATABASE_DESCRIPTOR_H_
#define TERVALON_DATABASE_DESCRIPTOR_H_

#include "tervalon/data_handles.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Selects records; the caller zeroes what it does not set. 276 bytes.
typedef struct DmDatabaseDescriptor {
  char path[TV_PATH_SIZE];
  int32_t type;  // of the database, 0..19
  // What each item holds: 0 the structure of tervalon/database_records.h, else the member of the
  // field at this position in the type's list. Items that the handle does not have are not used.
  int16_t fields[DM_MAX_ITEMS];

  // Written back when data are opened or read: the records in the file.
  uint32_t element_count;
} DmDatabaseDescriptor;

// Returns the bytes of one element of item 0..3; 0 when the descriptor selects nothing for it.
TERVALON_API uint32_t TERVALON_CALL DmDB3ItemSize(const DmDatabaseDescriptor* descriptor,
                                                  int32_t item);

// The adapter of database records, behind the data handles.

// Opens (count 0) or reads elements; items[0..3] are optional. With no_source does nothing.
// Returns 0; a cause of tervalon/databases.h when the file cannot be opened or read; -1 for
// elements that are not there or a descriptor that selects nothing.
TERVALON_API int32_t TERVALON_CALL DmDB3Read(DmDatabaseDescriptor* descriptor, int32_t no_source,
                                             uint32_t first, int32_t count, void* const* items);

// Returns 1 when both select the same of the same file, or with `same_source` name the same file.
TERVALON_API int32_t TERVALON_CALL DmDB3Compare(const DmDatabaseDescriptor* stored,
                                                const DmDatabaseDescriptor* given,
                                                int32_t same_source);

TERVALON_END_DECLS

#endif  // TERVALON_DATABASE_DESCRIPTOR_H_
