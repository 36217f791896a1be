// Settings: the settings file, the global store that all callers in the process share, and the
// working directory that the settings file stands in.
//
// The settings file is TERVALON.INI in the working directory, read and written key by key. Its path
// is made on first use and kept for the life of the process.
//
// Several programs may use the settings file at the same time. Whoever changes it holds a lock,
// changes the file as it is then, and replaces it whole, forced to the disk: what a call reports as
// written is lost neither to another program nor to a crash or a power cut, and a reader sees the
// file before or after a change. A call waits for the changes of others, about 5 seconds at most; a
// file that is locked for longer, or cannot be read or replaced, stays as it is. One that is there
// but cannot be read is never taken for an empty one when something is to be written.
//
// All of these functions may be called from any thread at any time.
//
// The global store is an INI text in memory: current files, values of the current raw data, library
// search and find results. It comes into being with the first InitGlobal, Get or Set, seeded from
// the settings file for a fixed list of keys, the system list; UpdateGlobal and every FreeGlobal
// write the same list back, every key of it: where another program has written one of these keys
// meanwhile, the store's value takes its place. Bracket its use with InitGlobal and FreeGlobal.
//
// In the store, section and key names differ by case too. A key holds no "=" or line end and does
// not begin with "["; a section name holds no "]" or line end. Key, "=" and value have room for 509
// bytes together; a value ends at its first line end. Nothing of a store survives its process but
// what was written back.

#ifndef TERVALON_SETTINGS_H_
#define TERVALON_SETTINGS_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// The current file of a kind, kept as text under a key of section "SystemList". 784 bytes.
typedef struct SystemFile {
  int16_t number;       // of the caller's choosing
  char directory[260];  // with a trailing backslash
  char name[256];       // file or project name without extension
  char extension[256];  // without the dot, may be empty
  int32_t first_value;  // carried for the caller
  int32_t second_value;
} SystemFile;

// The current raw data: the same fields, then function and process. Where it names one scan,
// first_value is the scan's number. 788 bytes.
typedef struct SystemRawFile {
  int16_t number;
  char directory[260];
  char name[256];
  char extension[256];
  int32_t first_value;
  int32_t second_value;
  int16_t function;  // 1 when the text has none
  int16_t process;   // 0, acquired data, when the text has none
} SystemRawFile;

// Makes the settings file's path if it is not yet made. The argument is ignored.
// Returns 1; 0 when the process has no current directory.
TERVALON_API int32_t TERVALON_CALL InitIni(int32_t ignored);

// Does nothing: whatever is written stands in the file at once. Returns 1.
TERVALON_API int32_t TERVALON_CALL FreeIni(int32_t ignored, int32_t also_ignored);

// Returns 0: nothing of the settings file is kept in memory.
TERVALON_API int32_t TERVALON_CALL IsIniLoaded(void);

// Copies a key of the settings file, or `fallback` (optional: empty) when there is no such key or
// section, and when the file cannot be read, to `out` of `size` bytes, cut to it. With no key lists
// the keys of the section (if there is one), with no section all sections: each name ended by NUL,
// the list by one more.
// Returns the characters copied, the last NUL not counted; 0 when size is below 1.
TERVALON_API int32_t TERVALON_CALL GetIniString(const char* section, const char* key,
                                                const char* fallback, char* out, int16_t size);

// Writes a key of the settings file. What stands behind a line end is not written. A value of 512
// characters or more is cut to 512, in the caller's own buffer too, which must then be writable;
// any other is only read. The last argument is ignored. Returns nonzero; 0 when the file cannot be
// changed, and, after an assertion text on the debug channel, for a section or key with a byte
// outside 32..127. The file then is as it was.
TERVALON_API int32_t TERVALON_CALL SetIniString(const char* section, const char* key,
                                                const char* value, int32_t ignored);

// Returns 1 when key "IsGCMD" of section "Acquisition" was exactly "TRUE" in the settings file the
// first time that this was asked and the file could be read, else 0.
TERVALON_API int32_t TERVALON_CALL IsGCMD(void);

// Creates and seeds the global store, or raises its use count. The argument is ignored.
// Returns 1 when it created and seeded the store; 0 when there was one already, when memory ran
// out, and when the settings file is there but cannot be read. Then there is no store, so that
// nothing is written back; the next call tries again.
TERVALON_API int32_t TERVALON_CALL InitGlobal(int32_t ignored);

// Writes the system list, empty values included, from the global store to the settings file in one
// change: all of it or, also when the program is killed meanwhile, nothing. The argument is
// ignored. Returns 1, also without a store; 0 when nothing could be written.
TERVALON_API int32_t TERVALON_CALL UpdateGlobal(int32_t ignored);

// Writes the system list like UpdateGlobal and, whether or not that succeeds, lowers the use count;
// at 0 the store is freed. The argument is ignored. Returns what UpdateGlobal returns.
TERVALON_API int32_t TERVALON_CALL FreeGlobal(int32_t ignored);

// Copies a key of the global store to `out` of `size` bytes, cut to it. With no section lists the
// sections, with no key the section's keys: each name ended by NUL, the last that fits cut, no
// further NUL. Returns the value's length, or the bytes of the list. Returns -1 for an absent
// section or key: then `fallback` (optional: empty) fills `out`, but the key counts as not set.
// Returns -1 as well for a size below 1, a list that cannot be read, when the store cannot be made
// (InitGlobal), and when memory fails (after a message box).
TERVALON_API int16_t TERVALON_CALL GetGlobalString(const char* section, const char* key,
                                                   const char* fallback, char* out, int16_t size);

// Sets a key of the global store; when section or key is absent, only if `create` is set. A value
// that leaves no room on its line is cut, in the caller's own buffer too, which must then be
// writable; any other is only read.
// Returns 1; 0 when absent and not created, for a name that the store cannot hold, when the store
// cannot be made (InitGlobal), and when memory fails (after a message box). When the store's memory
// cannot grow, all that it held is lost.
TERVALON_API int32_t TERVALON_CALL SetGlobalString(const char* section, const char* key,
                                                   const char* value, int32_t create);

// The typed forms. The readers return 1, or 0 and a zeroed output when the key is not in the store:
// the default takes no effect, and is kept for callers that pass one. A key with an empty value is
// found and reads as zero; number texts read as far as they are numbers, and one that overflows as
// the nearest limit of the type. The writers return what SetGlobalString returns.
TERVALON_API int32_t TERVALON_CALL GetGlobalLong(const char* section, const char* key,
                                                 int32_t fallback, int32_t* value);
TERVALON_API int32_t TERVALON_CALL SetGlobalLong(const char* section, const char* key,
                                                 int32_t value, int32_t create);

// Written with 8 decimals, cut to 31 characters.
TERVALON_API int32_t TERVALON_CALL GetGlobalDouble(const char* section, const char* key,
                                                   double fallback, double* value);
TERVALON_API int32_t TERVALON_CALL SetGlobalDouble(const char* section, const char* key,
                                                   double value, int32_t create);

// Stored as "number,directory,name,extension,first value,second value"; the raw form adds
// ",function,process". A record with a comma or a line end in a text is not stored: 0.
// GetGlobalRawFile leaves function and process of the output alone when the key is not in the
// store.
TERVALON_API int32_t TERVALON_CALL GetGlobalFile(const char* section, const char* key,
                                                 const SystemFile* fallback, SystemFile* file);
TERVALON_API int32_t TERVALON_CALL SetGlobalFile(const char* section, const char* key,
                                                 const SystemFile* file, int32_t create);
TERVALON_API int32_t TERVALON_CALL GetGlobalRawFile(const char* section, const char* key,
                                                    const SystemRawFile* fallback,
                                                    SystemRawFile* file);
TERVALON_API int32_t TERVALON_CALL SetGlobalRawFile(const char* section, const char* key,
                                                    const SystemRawFile* file, int32_t create);

// Copies the working directory to `directory` (optional, at least TV_PATH_SIZE bytes). It is the
// process's current directory the first time that it is asked for, here or by the settings file;
// later changes of the current directory do not touch it. Without a buffer it stays open.
// Returns 1.
TERVALON_API int32_t TERVALON_CALL GetTervalonWorkingDir(char* directory);

// Takes the process's current directory as working directory. A settings file path that is made
// already stays. A directory that cannot be had, or not within TV_PATH_SIZE, leaves the working
// directory as it was.
// Returns the working directory, valid until a call that finds another one.
TERVALON_API const char* TERVALON_CALL SetTervalonWorkingDir(void);

TERVALON_END_DECLS

#endif  // TERVALON_SETTINGS_H_
