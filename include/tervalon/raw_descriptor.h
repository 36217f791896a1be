// Raw data behind data handles: spectra, chromatograms and processed data sets of raw directories.
//
// A spectrum's elements are its points: masses are item 0, intensities item 1. A chromatogram's
// elements are scans (or analog records): intensities are item 0, retention times item 1. Elements
// are floats and count from 1.
//
// All data handles on one directory share one raw handle; some raw handles always stay free for the
// application, and all are free again once the last data handle is released.

#ifndef TERVALON_RAW_DESCRIPTOR_H_
#define TERVALON_RAW_DESCRIPTOR_H_

#include "tervalon/raw_functions.h"
#include "tervalon/settings.h"
#include "tervalon/trace_strings.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Kinds of raw data.
#define DM_RAW_SPECTRUM 2
#define DM_RAW_CHROMATOGRAM 3

// The selection word: the low byte is 1 for a spectrum by its scan number (0 means the same). The
// high byte is 0, or for a processed data set the data type of its points + 1: nothing else tells
// that a set is packed otherwise than its function.
#define DM_SELECT_SCAN 1
#define DM_SELECT_DATA_TYPE(type) ((uint16_t)(((type) + 1) << 8))

// Selects raw data; the caller zeroes what it does not set. 456 bytes.
typedef struct DmRawDescriptor {
  char directory[TV_PATH_SIZE];  // path of the raw directory: the identifier of the raw data
  int16_t function;              // 1..32
  int16_t process;               // 0: acquired data, 1..255: a processed data set
  int16_t kind;
  uint16_t selection;
  int32_t scan;         // spectra: from 1
  DmTraceRecord trace;  // chromatograms

  // Written back when data are opened or read.
  uint32_t element_count;
  // Of the elements last read; all 0 when data were opened.
  float low;  // mass of a spectrum, time of a chromatogram
  float high;
  float lowest_intensity;
  float highest_intensity;
  float total_intensity;
} DmRawDescriptor;

// Makes the path of a raw directory from the file's directory, name and, when not empty,
// "." and extension, and stores it in `identifier` (TV_PATH_SIZE bytes; a descriptor's directory).
// Returns 0, -1 when it is too long.
TERVALON_API int32_t TERVALON_CALL DmRawFileToID(const SystemRawFile* raw_file, char* identifier);

// Tries whether the raw data can be opened; nothing stays open. Returns 0, a Raw error code, or -1.
TERVALON_API int32_t TERVALON_CALL DmRawOpen(const char* identifier);

// Reads the record of the function that is selected (1..32).
// Returns 0, a Raw error code, or -1.
TERVALON_API int32_t TERVALON_CALL DmRawGetFunctionInfo(const SystemRawFile* raw_file,
                                                        RawFunctionRecord* record);

// Returns 1 when the selected function holds the trace, else 0. A scanning function holds masses in
// its range, a channel function those nearer than `tolerance` (0: 0.5) to a channel's; `daughters`
// is the trace with the daughter mass of every "parent>daughter", and where a mass differs there, a
// channel must have both. Analog channels belong to the directory. Neutral losses and gains are
// held by MRM functions with a channel that has them.
TERVALON_API int32_t TERVALON_CALL DmRawValidateChrom(const SystemRawFile* raw_file,
                                                      const DmTraceRecord* trace,
                                                      const DmTraceRecord* daughters,
                                                      float tolerance);

// The adapter of raw data, behind the data handles.

// Opens (count 0) or reads elements. items[0] and items[1] are optional. A mass of a trace takes
// 0.5 to both sides, or what the trace record says.
// Returns 0, a Raw error code, or -1 for elements that are not there or a descriptor that selects
// nothing.
TERVALON_API int32_t TERVALON_CALL DmRawRead(DmRawDescriptor* descriptor, int32_t no_source,
                                             uint32_t first, int32_t count, void* const* items);

// Stores a spectrum in the processed data set that the descriptor names, which is made if it is not
// there. The set's scan of that number is replaced; with any other number the spectrum is added
// behind the last scan and the descriptor receives its number. Of a scan that is replaced, points
// outside the range are kept up to the descriptor's element count, which is set to the points
// stored. Masses are stored as they are given and not calibrated any more; types that store none
// drop them.
// Programs may write one set at the same time: one waits for the other, RAW_LOCK_FAILED when that
// takes longer than 5 seconds. Who reads the set sees each scan whole, the old one or the new one.
// The points of a scan that is replaced stay in the file: a set that has grown too large is written
// anew. DmRawSaveProcess forces a set to the disk; before that a power cut can take scans back.
// Returns 0, a Raw error code (RAW_BAD_ARGUMENT when the set's scans cannot be packed as the
// descriptor says, or its first one is cut off), or -1 for acquired data, a chromatogram, a gap or
// no points. A failed call has changed no scan.
TERVALON_API int32_t TERVALON_CALL DmRawWrite(DmRawDescriptor* descriptor, uint32_t first,
                                              int32_t count, void* const* items);

// With `save`, forces the descriptor's processed data set, which is complete now, to the disk
// (there may be nothing of it yet) and records it in the directory's processing history: an entry
// "_PROCnnn" at the top level of its function's tree, of type RAW_STEP_MODIFY, that its maker may
// fill in; or the present time in the entry that is there. Returns 0, a Raw error code, or -1.
TERVALON_API int32_t TERVALON_CALL DmRawSaveProcess(const DmRawDescriptor* descriptor,
                                                    int32_t save);

// Closes the descriptor's directory, which opens again by itself when it is read. Returns 0, -1 for
// NULL.
TERVALON_API int32_t TERVALON_CALL DmRawRelease(DmRawDescriptor* descriptor, int32_t no_source,
                                                uint32_t first, int32_t count, void* const* items);

// Returns 1 when both select the same data, or with `same_source` name the same directory.
TERVALON_API int32_t TERVALON_CALL DmRawCompare(const DmRawDescriptor* stored,
                                                const DmRawDescriptor* given, int32_t same_source);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_DESCRIPTOR_H_
