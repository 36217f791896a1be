// An INI text kept whole in one movable memory block and edited in place.
//
// Lines end in CR LF. A section header "[name]" stands at the start of the text or behind a CR LF;
// an entry line is key, "=", value. Names are compared byte for byte. A section's body starts with
// the CR LF that ends its header line and reaches up to the CR LF before the next header or to the
// end of the text, so that every entry line, the first included, has a CR LF in front of it.
//
// The header of a second section deliberately overwrites the last LF of the text, which leaves
// CR CR LF "[" between the two; from then on the used text ends in a NUL, which the headers of
// further sections overwrite. A body may therefore end in a lone CR or, once its last line is
// replaced, without any line end: a line that is put there gets the missing bytes first.
//
// The owner allocates and frees the block, and locks it by LockText around each single operation.
// No operation trusts the record's numbers beyond the block's size, and none allocates
// but by growing the block or calls anything that is not of the platform's memory.

#ifndef SETTINGS_INI_TEXT_H_
#define SETTINGS_INI_TEXT_H_

#include <cstdint>
#include <string_view>

#include "tervalon/types.h"

namespace tervalon::settings {

struct IniStore {
  TvMemory block = nullptr;
  char* text = nullptr;        // valid while the block is locked
  int32_t block_size = 0;      // likewise: its bytes, asked for once
  int32_t section_start = 0;   // offset of the current section's body, behind its "]"
  int32_t section_length = 0;  // bytes of that body
  // The current section, so that a run of operations on one section skips the search. Empty for
  // none, and for a section whose name does not fit and is searched every time.
  char section_name[32] = {};
  int32_t free_bytes = 0;  // the used length is the block's size less this, and stored nowhere else
  // What ran out of memory, which the owner tells of and clears; nullptr for nothing.
  const char* short_of_memory = nullptr;
};

// Bytes that an entry line can take, its CR LF not counted.
inline constexpr int32_t kMaxLine = 509;

// Locks the block, and unlocks it again. False when it cannot be locked.
bool LockText(IniStore* store);
void UnlockText(IniStore* store);

// Makes a section current. Returns 1, or 0 when it is absent and `create` is 0, when it cannot be
// created, and for a name that no header can hold (with "]" or a line end).
int32_t FindSection(IniStore* store, const char* section, int32_t create);

// Puts a header at the end of the text and makes the section current. Returns 0, and notes nothing,
// when the block cannot grow.
int32_t AddSection(IniStore* store, const char* section);

// Finds a key's line in the current section, or with `create` adds an empty one. Returns the
// address of the key's first byte and stores the line's length, its line end included; nullptr when
// there is none, for a key that no line can hold (with "=", a line end or a leading "["), and when
// the block cannot grow.
char* FindLine(IniStore* store, const char* key, int16_t* line_length, int32_t create);

// Sets a key. A value that would make the line longer than kMaxLine is cut, in the caller's buffer
// too; what stands behind its first CR or LF is left out. Returns 1, or 0 on failure.
int32_t SetString(IniStore* store, const char* section, const char* key, const char* value,
                  int32_t create);

// Copies a key's value, cut to `size`, and returns its length. An absent section or key gives -1
// all the same when `fallback` (optional) fills the output. With no section lists the sections,
// with no key the section's keys.
int16_t GetString(IniStore* store, const char* section, const char* key, const char* fallback,
                  char* out, int16_t size);

// Lists the names of all sections, each ended by NUL and the last that fits cut. Returns the bytes
// written, or -1 when a header is not closed.
int16_t ListSections(const IniStore* store, char* out, int16_t size);

// Lists the keys of the current section likewise. A key is every byte up to the next "=": a line
// without one deliberately swallows the lines behind it. Returns -1 when the text ends before a
// "=".
int16_t ListKeys(const IniStore* store, char* out, int16_t size);

// Moves `count` bytes by a signed distance. Moving down writes zeros into the bytes vacated at the
// old end. Returns 1.
int32_t ShiftText(char* start, int32_t count, int32_t distance);

// A text up to its first CR or LF: what a value of one line can hold of it.
std::string_view FirstLine(std::string_view text);

// Copies at most `count` bytes of a text and a NUL behind them. Returns the address of that NUL.
char* CopyBounded(char* out, const char* text, int32_t count);

// The first occurrence of a pattern that lies wholly in the first `length` bytes of a text and
// before its NUL; the text itself for an empty pattern, nullptr for an absent text.
const char* FindBounded(const char* text, const char* pattern, int32_t length);

// The first occurrence of a character other than NUL; nullptr when there is none.
const char* FindCharacter(const char* text, char character);

// Compares up to `count` bytes: the difference of the first that differ, as signed characters, or
// 0; -1 when either text is absent or empty.
int32_t CompareBounded(const char* left, const char* right, int32_t count);

}  // namespace tervalon::settings

#endif  // SETTINGS_INI_TEXT_H_
