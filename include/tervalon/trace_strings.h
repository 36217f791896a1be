// Traces as text and as lists of masses. A trace is "TIC", "BPI", an analog channel "AN1" to "AN4",
// a mass such as "184.1", a range "100_200", or a sum or difference of masses and ranges such as
// "184+200-150"; in methods, "parent>daughter" stands for a mass. A text holds several traces
// separated by commas.
//
// A mass list is an array of floats that describes one trace and ends with 0:
//
//   a mass             m
//   a range            low + 32000, high
//   several members    64000, the members, 64000
//   subtracted         the mass, or the first value of the range, is negative
//
// so "184+200-150" is {64000, 184, 200, -150, 64000, 0} and "100_200" is {32100, 200, 0}. Masses
// are therefore below 32000. The exports that take a list read nothing behind its 0.
//
// A mass has a float's seven digits, but the low end of a range only what is left of them behind
// the 32000: it is kept to the nearest 1/512 below mass 768 and to the nearest 1/256 above. The
// list of "455.2902_455.3" selects from 455.29102 on and is written as "455.291_455.3". Who needs
// such a range exactly makes its window (RawTraceWindow) from the numbers themselves.

#ifndef TERVALON_TRACE_STRINGS_H_
#define TERVALON_TRACE_STRINGS_H_

#include "tervalon/raw_chromatograms.h"
#include "tervalon/settings.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define DM_RANGE_OFFSET 32000.0f
#define DM_COMBINATION_MARKER 64000.0f

// Values of a trace record's mass list, and with them its 0.
#define DM_MAX_TRACE_MASSES 32
#define DM_TRACE_LIST_SIZE 33

// What a trace record selects.
#define DM_TRACE_TIC 0
#define DM_TRACE_MASS 1    // one mass
#define DM_TRACE_MASSES 2  // several, a range or a combination
#define DM_TRACE_ANALOG 3
#define DM_TRACE_BPI 4
#define DM_TRACE_TAS 6
#define DM_TRACE_NEUTRAL_LOSS 7
#define DM_TRACE_NEUTRAL_GAIN 8

// 160 bytes. Callers zero what they do not set.
typedef struct DmTraceRecord {
  uint32_t type;
  float masses[DM_TRACE_LIST_SIZE];  // a mass list
  int16_t analog_channel;            // 0 to 3
  int16_t reserved;
  float tolerance;  // to both sides of a mass; 0: 0.5
  int32_t tolerance_in_ppm;
  int32_t reserved_too[3];
} DmTraceRecord;

// Parses the first trace of `text` into `list`, which has room for max_count + 1 floats: at most
// max_count values, the markers of a combination included, and the 0. `daughters` takes the
// daughter mass of "parent>daughter", else the parent's is taken. "Ch" may stand in front of a
// number; blanks may stand in front of and behind one. An operator at the end is accepted: "100_"
// is a range up to 0.
// `next` (optional) receives what follows the comma behind the trace, NULL when there is no comma.
// Returns the number of values, 0 for an empty trace. Returns -1 and leaves `next` alone for an
// operator at the start, two in a row or "_" twice in a member; for a number behind a number with
// only "Ch" between; for any other character; and for max_count values or more before the closing
// marker. What `list` then holds is unspecified.
TERVALON_API int32_t TERVALON_CALL DmRawStrToMassMRM(const char* text, float* list,
                                                     int32_t max_count, const char** next,
                                                     int32_t daughters);

// The same with parent masses.
TERVALON_API int32_t TERVALON_CALL DmRawStrToMass(const char* text, float* list, int32_t max_count,
                                                  const char** next);

// Writes the text of a list to `text`: at most 33 bytes for every value, and the zero. The list
// ends with 0 or a not-a-number. A list of several members without markers is written as a sum.
// Returns the text's length; 0 for NULL.
TERVALON_API int32_t TERVALON_CALL DmRawMassToStr(const float* list, char* text);

// Writes a mass to `text` (at least 32 bytes), with three decimals less the zeros at their end. A
// mass within 0.00005 of a whole number is written as that; one up to 0.0005 away keeps the point:
// "100.".
// Returns the text's length; 0 for NULL.
TERVALON_API int32_t TERVALON_CALL DmRawFormatMass(float mass, char* text);

// Sorts the members of a list by magnitude, equal ones in the order that they had. A range counts
// with its low mass, a whole combination with the magnitude of its first value as it is stored. (A
// range from 0 behind another member counts as a mass of 32000.) Returns 1; 0 for NULL.
TERVALON_API int32_t TERVALON_CALL DmRawSortMassList(float* list);

// Returns the number of traces in `text` that are not empty, each of at most DM_MAX_TRACE_MASSES
// values. Returns -1 when one cannot be parsed; `error_at` (optional) then receives where it
// starts.
TERVALON_API int32_t TERVALON_CALL DmRawValidateMassStr(const char* text, const char** error_at);

// Makes extraction windows of a list: a trace for every member, or one for a whole combination. A
// mass becomes a window of `tolerance` to both sides, which is in parts per million unless
// `absolute` is set; then `relative` of the window is 1. Members behind a combination, up to its
// own closing marker, are windows of the next trace, and a combination behind another begins a
// trace behind an empty one.
// Sets window_count of the entries of `traces` and the windows that they point to, but for
// `started`; leaves `kind` alone. The caller supplies one entry more than traces come out (the
// closing marker sets a count of 0), and in each as many windows as the list has members.
// Returns the number of traces; 0 when an argument is NULL. Stops in front of a member whose
// entry's `windows` is NULL.
TERVALON_API int32_t TERVALON_CALL DmRawSetupLoHiMass(const float* list, float tolerance,
                                                      RawTrace* traces, int32_t absolute);

// Copies a mass text to `out` of `out_size` bytes, cut to it, with every run of digits replaced by
// the description of the channel of that number in the function that `raw_file` selects; without
// `raw_file` (optional) by "Ch" and the number. Points behind digits are dropped. A channel without
// description ends the copy. Where the function has no channels the text is copied as it stands;
// else it is set in capitals, in the caller's own buffer too.
// Returns the length of `out`; 0 for NULL or a size below 1.
TERVALON_API int32_t TERVALON_CALL ChannelToDesc(const SystemRawFile* raw_file, char* text,
                                                 char* out, int32_t out_size);

// Reads a trace description into `trace`: its type and what belongs to the type. Nothing else of
// the record is touched.
// Returns 1; 0 when the raw data cannot be opened, when the text is no trace description, and when
// the raw data do not have the trace; each is told in a message box if `owner` is a window.
TERVALON_API int32_t TERVALON_CALL DmRawGetChrType(TvWindow owner, const SystemRawFile* raw_file,
                                                   DmTraceRecord* trace, const char* text);

// Writes a trace's description to `out` of `out_size` bytes, cut to it: "TIC", "BPI", "TAS", "AN1",
// a mass text, "NL" or "NG" and a mass text, "Unknown" for other types. With `use_channel_names`
// the mass text of types DM_TRACE_MASS and DM_TRACE_MASSES goes through ChannelToDesc. For
// DM_TRACE_MASSES a text of out_size - 2 characters or more is "Sum" instead.
// Returns the text's length; 0 for NULL (raw_file is optional) or a size below 1.
TERVALON_API int32_t TERVALON_CALL DmRawGetTraceTypeDescription(const SystemRawFile* raw_file,
                                                                const DmTraceRecord* trace,
                                                                char* out,
                                                                int32_t use_channel_names,
                                                                int32_t out_size);

// Returns 1 for "AN1", "AN2", "AN3" and "AN4" in any case, else 0.
TERVALON_API int32_t TERVALON_CALL DmRawIsAnalogTraceDesc(const char* text);

// Returns the analog channel, 0 to 3, of such a description; 0 for any other text.
TERVALON_API int32_t TERVALON_CALL DmRawAnalogChannelNumber(const char* text);

TERVALON_END_DECLS

#endif  // TERVALON_TRACE_STRINGS_H_
