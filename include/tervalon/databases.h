// Record databases: methods, peak lists, sample lists, tune settings and similar tables, kept as
// files in the dBASE III layout (docs/record_database.md).
//
// There are twenty types of database (tervalon/database_records.h), and of each at most one file
// may be open at a time; 10 altogether. Types 0, 3 and 15 are the same files with different record
// structures: only one of the three may be open. A type has a current record, numbered from 1, and
// a buffer that holds one record structure. Which file a type uses, and its current record, are
// kept in the global store (GetGlobalFile, section "SystemList") from one run to the next; types
// with the same key there share the file.
//
// Results are causes, DB3_SUCCESS or what went wrong. A call that fails changes nothing. DB3Open,
// DB3Close and the record operations then show the user a message box with the cause, unless
// DB3SetReportErrors switched it off.
//
// Any number of programs, and of types in one program whose fields are the same, may have one file
// open. Every call works on what is in the file now, and sees every change of the others wholly or
// not at all; it waits for theirs about 5 seconds, and then gives DB3_FILE_WRITE. Every change to a
// record is in the file when the call returns. Whatever fails, and wherever a process ends, the
// record then has its old or its new content and all others theirs. What a power cut spares is what
// was forced to the disk: a new file by DB3Open, all changes of a program by its DB3Close; the
// record operations force nothing.
//
// A type is for one thread at a time; several threads may use different types at once.
//
// A type outside 0..19 gives DB3_GENERAL_ERROR, NULL or 0 and shows nothing.

#ifndef TERVALON_DATABASES_H_
#define TERVALON_DATABASES_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define DB3_TYPES 20
#define DB3_MAX_OPEN 10
#define DB3_MAX_RECORDS 9999

// Causes.
enum {
  DB3_SUCCESS = 0,
  DB3_GENERAL_ERROR = 1,
  DB3_FILE_OPEN = 2,
  DB3_FILE_CLOSE = 3,
  DB3_FILE_CREATION = 4,
  DB3_FILE_DELETION = 5,
  DB3_FILE_READ = 6,
  DB3_FILE_WRITE = 7,
  DB3_MEMORY_ALLOCATION = 8,
  DB3_MEMORY_LOCK = 9,
  DB3_MEMORY_FREE = 10,
  DB3_RECORD_NUMBER = 11,
  DB3_DATABASE_FULL = 12,
  DB3_ALREADY_OPEN = 13,
  DB3_OLD_FORMAT = 14,
  DB3_RECORD_STRUCTURE = 15,
  DB3_ONLY_RECORD = 16,
  DB3_NOT_OPEN = 17,
  DB3_FILE_MISSING = 18,
  DB3_INVALID_FORMAT = 19,
  DB3_TOO_MANY_OPEN = 20
};

// Modes of DB3Open; 0 opens as well.
enum {
  DB3_MODE_OPEN = 1,
  DB3_MODE_CREATE = 2,
  DB3_MODE_DELETE = 3,
  DB3_MODE_FILE_EXISTS = 4,
  DB3_MODE_IS_OPEN = 5,
  // Added to DB3_MODE_CREATE: the new file gets the marker field "ENCRYPT". Nothing is enciphered:
  // the records of such a file are stored as in any other.
  DB3_MODE_ENCRYPT = 0x10
};

// Flags of DB3InsertRecord.
enum {
  DB3_INSERT_INTO_EMPTY = 2,  // allows the first record of an empty file
  DB3_INSERT_NO_APPEND = 4    // forbids a record behind the last
};

// Operations of DB3HandleRecord.
enum { DB3_HANDLE_READ = 1, DB3_HANDLE_UPDATE = 2, DB3_HANDLE_INSERT = 3, DB3_HANDLE_DELETE = 4 };

// Carries out a mode on the file that `name` (optional) says, else on the type's current one.
// Directory and extension are the current file's where the name has none. On success the file
// becomes the type's current one, here and in the global store, unless one of the type is open.
//  - open: DB3_ALREADY_OPEN for the type, DB3_TOO_MANY_OPEN, DB3_FILE_MISSING (also when the store
//    has no name), DB3_FILE_OPEN, DB3_INVALID_FORMAT (not a file of this layout, or its header and
//    its size do not fit together), DB3_RECORD_STRUCTURE (not the fields of this type),
//    DB3_FILE_READ; DB3_FILE_WRITE when a change that was cut short cannot be taken back.
//  - create: makes an empty file, in the place of one that is there, whose permissions it keeps. A
//    failure leaves the old one. It is not left open, and current record numbers stay: set one
//    before inserting into it. DB3_ALREADY_OPEN when the type or, in this program, the file is
//    open, DB3_TOO_MANY_OPEN, DB3_FILE_DELETION when the old file does not go, DB3_FILE_CREATION.
//  - delete: DB3_FILE_DELETION; DB3_ALREADY_OPEN for a file that is open in this program.
//  - file exists: DB3_SUCCESS or DB3_FILE_MISSING.
//  - is open: DB3_ALREADY_OPEN when a file of the type is open, else DB3_NOT_OPEN. Shows nothing.
// DB3_GENERAL_ERROR for other modes, a name of more than 255 characters, and one that, because of a
// comma, cannot be kept in the global store; DB3_ALREADY_OPEN and DB3_TOO_MANY_OPEN come before
// that.
TERVALON_API int32_t TERVALON_CALL DB3Open(int32_t type, const char* name, int32_t mode);

// Closes the type's file and forces what was changed to the disk. DB3_GENERAL_ERROR when none is
// open; after any other cause it is closed all the same.
TERVALON_API int32_t TERVALON_CALL DB3Close(int32_t type);

// Record operations, on the current record and the type's buffer. All give DB3_GENERAL_ERROR when
// no file is open, DB3_RECORD_NUMBER for a record that is not there, and DB3_FILE_WRITE for what
// cannot be read or written. DB3_FILE_MISSING, DB3_INVALID_FORMAT or DB3_RECORD_STRUCTURE when the
// file was removed, or another took its place, while it was open.
TERVALON_API int32_t TERVALON_CALL DB3ReadRecord(int32_t type);

// Also DB3_FILE_WRITE when a number is too wide for its field.
TERVALON_API int32_t TERVALON_CALL DB3UpdateRecord(int32_t type);

// Writes the buffer as a new record in the current position; the record there and those behind it
// move up. DB3_DATABASE_FULL with 9999 records. DB3_RECORD_NUMBER when the current record is
// neither a record nor, unless DB3_INSERT_NO_APPEND is set, the first number behind the last; when
// it is 9999; and in an empty file when it is not 1 or DB3_INSERT_INTO_EMPTY is not set.
TERVALON_API int32_t TERVALON_CALL DB3InsertRecord(int32_t type, int32_t flags);

// Removes the current record; those behind it move down. The current record number stays.
TERVALON_API int32_t TERVALON_CALL DB3DeleteRecord(int32_t type);

// Carries out one of the four on record `number` (0: the current one), which does not become the
// current one, from or into `record` (optional: the buffer), a structure of the type. `flags` are
// those of DB3InsertRecord. DB3_GENERAL_ERROR for any other operation.
TERVALON_API int32_t TERVALON_CALL DB3HandleRecord(int32_t type, int32_t operation, int32_t number,
                                                   void* record, int32_t flags);

// Returns the number of records in the open file, as it is now; what was last known where it cannot
// be read; 0 when none is open.
TERVALON_API int32_t TERVALON_CALL DB3GetRecordsInDB(int32_t type);

// Returns the current record: the number that was set last, or came with the type's current file
// from the global store. 0 when there was none. It need not be that of a record: others may have
// deleted it, and in a new file there is none.
TERVALON_API int32_t TERVALON_CALL DB3GetCurrentRecordNum(int32_t type);

// Sets the current record, in the global store too. DB3_RECORD_NUMBER, without a message, when it
// is outside 1..number of records + 1; DB3_GENERAL_ERROR when the store does not take it.
TERVALON_API int32_t TERVALON_CALL DB3SetCurrentRecordNum(int32_t type, int32_t number);

// Returns the type's buffer, which keeps its address. It starts as zeros.
TERVALON_API void* TERVALON_CALL DB3GetCurrentBuffer(int32_t type);

// Copies a record structure of the type into its buffer. DB3_SUCCESS or DB3_GENERAL_ERROR.
TERVALON_API int32_t TERVALON_CALL DB3SetCurrentBuffer(int32_t type, const void* record);

// Returns the version that this library writes into the files of the type.
TERVALON_API int32_t TERVALON_CALL DB3GetCurrentFileVersionNum(int32_t type);

// Tables of the open file: a DB3FieldOffsetWidth, or a DB3RecordMember, for each field of the type.
// They are the library's and go when the file is closed, also when they are locked. Return NULL
// when none is open.
TERVALON_API TvMemory TERVALON_CALL DB3GetFieldOffsetWidthHandle(int32_t type);
TERVALON_API TvMemory TERVALON_CALL DB3GetRecordStructureHandle(int32_t type);

// Takes the type's current file and record number from the global store. Returns 0, or 1 when the
// store has none.
TERVALON_API int32_t TERVALON_CALL DB3GetIniGlobals(int32_t type);

// Puts the type's current file and record number into the global store. DB3_SUCCESS, or
// DB3_GENERAL_ERROR when the store does not take them.
TERVALON_API int32_t TERVALON_CALL DB3SetIniGlobals(int32_t type);

// Sets whether failures of a type are shown to the user, as they are at first. Returns what was
// set before.
TERVALON_API int32_t TERVALON_CALL DB3SetReportErrors(int32_t type, int32_t report);

// For DB3CheckFile and DB3RepairFile: whichever type the fields of the file are.
enum { DB3_ANY_TYPE = -1 };

// Looks for what a power cut, a full disk or another program has left in a database: whether
// header, size, record count, marks, end mark and fields fit together, a change that was cut short,
// a file that a killed program left beside. Nothing is changed. `path` is the whole path, `type` a
// type or DB3_ANY_TYPE. Writes a line, ended by "\n", for each finding into `findings` (optional)
// of `size` bytes, as many as it has room for, and a zero; 4,096 bytes are enough for all. Shows no
// message.
//
// DB3_SUCCESS: the file opens and holds all that its header says. It is sound when there are no
// findings, else there is something that a repair would tidy up. DB3_INVALID_FORMAT: it does not
// open, or a change in it may be half done. DB3_RECORD_STRUCTURE: its fields are another type's, or
// none's. DB3_FILE_MISSING, DB3_FILE_OPEN; DB3_FILE_READ, also when others keep the file for
// themselves.
TERVALON_API int32_t TERVALON_CALL DB3CheckFile(int32_t type, const char* path, char* findings,
                                                int32_t size);

// Makes a database that has findings sound. First copies it as it is to its name and ".old"
// (".old2" and so on where there is one). Then it takes back a change that was cut short; a header
// that is wrong is made from its field descriptors, or else from those of the type that they
// resemble; records that the header does not count are counted, one that is cut off is filled up
// with blanks, marks that are neither become those of records that are there; the end mark is put
// behind them and what stands there goes. Writes what it found, and what became of it, as
// DB3CheckFile.
//
// DB3_SUCCESS: the file is sound now. Else it is as it was: the causes of DB3CheckFile, where what
// the file held cannot be made out; DB3_FILE_CREATION when it cannot be copied; DB3_FILE_WRITE.
TERVALON_API int32_t TERVALON_CALL DB3RepairFile(int32_t type, const char* path, char* findings,
                                                 int32_t size);

TERVALON_END_DECLS

#endif  // TERVALON_DATABASES_H_
