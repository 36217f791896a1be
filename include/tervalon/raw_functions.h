// The functions of a raw data directory, their scan indexes, and the state in which a function is
// read. A function is one repeated experiment of an acquisition (a full scan, a set of selected-ion
// channels, ...); functions are numbered 1..32, their processed data sets 1..255.

#ifndef TERVALON_RAW_FUNCTIONS_H_
#define TERVALON_RAW_FUNCTIONS_H_

#include "tervalon/raw_calibration.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define RAW_FUNCTION_RECORD_SIZE 416
#define RAW_MAX_SEGMENTS 32

// Function types (bits 0..4 of the record's first word).
enum {
  RAW_TYPE_SCAN = 0,
  RAW_TYPE_SIR = 1,
  RAW_TYPE_DELAY = 2,
  RAW_TYPE_CONCATENATED = 3,
  RAW_TYPE_OFF = 4,
  RAW_TYPE_PARENTS = 5,
  RAW_TYPE_DAUGHTERS = 6,
  RAW_TYPE_NEUTRAL_LOSS = 7,
  RAW_TYPE_NEUTRAL_GAIN = 8,
  RAW_TYPE_MRM = 9,
  RAW_TYPE_Q1F = 10,
  RAW_TYPE_MS2 = 11,
  RAW_TYPE_DIODE_ARRAY = 12,
  RAW_TYPE_TOF = 13,
  RAW_TYPE_TOF_PSD = 14,
  RAW_TYPE_TOF_SURVEY = 15,
  RAW_TYPE_TOF_DAUGHTER = 16,
  RAW_TYPE_MALDI_TOF = 17,
  RAW_TYPE_TOF_MS = 18,
  RAW_TYPE_TOF_PARENT = 19,
  RAW_TYPE_VOLTAGE_SCAN = 20,
  RAW_TYPE_MAGNETIC_SCAN = 21,
  RAW_TYPE_VOLTAGE_SIR = 22,
  RAW_TYPE_MAGNETIC_SIR = 23,
  RAW_TYPE_AUTO_DAUGHTERS = 24
};

// Data types (bits 10..13 of the record's first word): how the points of a scan are packed.
enum {
  RAW_DATA_COMPRESSED_CENTROID = 0,
  RAW_DATA_STANDARD_CENTROID = 1,
  RAW_DATA_SIR = 2,
  RAW_DATA_CONTINUUM = 3,
  RAW_DATA_MCA = 4,
  RAW_DATA_MCA_SD = 5,  // not stored
  RAW_DATA_MCB = 6,
  RAW_DATA_MCB_SD = 7,  // not stored
  RAW_DATA_MOLECULAR_WEIGHT = 8,
  RAW_DATA_ACCURATE_MASS = 9,
  RAW_DATA_FLOAT = 10,
  RAW_DATA_ENHANCED_SIR = 11,
  RAW_DATA_ENHANCED_MASS = 12
};

// A function's descriptor as "_FUNCTNS.INF" stores it, byte for byte (little-endian). The library
// interprets the bytes named here and keeps all others as they are:
//    0  uint16   bits 0..4 function type, 5..9 ionisation mode, 10..13 data type
//    2  float    cycle time, seconds            6  float  inter-scan delay, seconds
//   10  float    first retention time, minutes 14  float  last retention time, minutes; 0 unknown
//   18  uint32   number of scans; replaced on reading by the count of complete scans
//   22  uint16   high byte: number of segments or channels, 0 = one full-range segment
//   24  uint16   of function type RAW_TYPE_MALDI_TOF: 0 = calibrated in root mass
//   28  float    low mass                      32  float  high mass (single-segment functions)
//   32 + 4i      float   duration of segment i, i = 0..31 (segmented functions)
//   70, 74       floats  high and low mass of function type RAW_TYPE_MALDI_TOF
//  160 + 4i      float   start mass of segment i, or mass of channel i
//  288 + 4i      float   end mass of segment i, or daughter mass of channel i of RAW_TYPE_MRM
typedef struct RawFunctionRecord {
  uint8_t bytes[RAW_FUNCTION_RECORD_SIZE];
} RawFunctionRecord;

// What a record says: its function type (RAW_TYPE_), ionisation mode (RawGetIonModeDesc), data type
// (RAW_DATA_) and number of scans. Return -1 for NULL.
TERVALON_API int32_t TERVALON_CALL RawGetFuncType(const RawFunctionRecord* record);
TERVALON_API int32_t TERVALON_CALL RawGetFuncIonMode(const RawFunctionRecord* record);
TERVALON_API int32_t TERVALON_CALL RawGetFuncDataType(const RawFunctionRecord* record);
TERVALON_API int32_t TERVALON_CALL RawGetFuncScanCount(const RawFunctionRecord* record);

// The first and the last retention time, minutes; each output is optional. Returns 1, 0 for NULL.
TERVALON_API int32_t TERVALON_CALL RawGetFuncTimeRange(const RawFunctionRecord* record,
                                                       float* first, float* last);

// The range in which masses of the function lie: of a scanning function what
// RawReadGetFuncMassRange gives for the whole of it, of a channel function the whole masses around
// those of its channels. Each output is optional. Returns 1, 0 for NULL.
TERVALON_API int32_t TERVALON_CALL RawGetFuncMassRange(const RawFunctionRecord* record, float* low,
                                                       float* high);

// The mass of channel 1, 2, ... of a channel function, and its daughter mass, which is 0 for
// functions other than RAW_TYPE_MRM; each output is optional. Returns 1; 0 when there is no such
// channel, so that counting them needs no more.
TERVALON_API int32_t TERVALON_CALL RawGetFuncChannel(const RawFunctionRecord* record,
                                                     int32_t channel, float* mass,
                                                     float* daughter_mass);

// Creates "_FUNCTNS.INF" afresh with `count` (0..32) records. A table already there is replaced.
// When others have changed it since all of it was read or written through this handle, the records
// that the caller has not changed stay as the others left them, and with an unchanged count those
// that they added stay. Returns RAW_OK; RAW_BAD_ARGUMENT for a count out of range; RAW_LOCK_FAILED;
// a member-file error.
TERVALON_API int32_t TERVALON_CALL RawCreateFunctions(int32_t handle, int16_t count,
                                                      const RawFunctionRecord* records);

// Appends a record to "_FUNCTNS.INF" and stores the new function's number in `function` (optional).
// A partial last record is written over.
// Returns RAW_OK; RAW_SLOT_OUT_OF_RANGE when the table has 32 functions; RAW_MEMBER_NOT_OPENED
// without a table; another member-file error. With an error the number is 0. When the end of the
// table cannot be found the result is RAW_OK with the number 0: test the number.
TERVALON_API int32_t TERVALON_CALL RawAppendFunction(int32_t handle,
                                                     const RawFunctionRecord* record,
                                                     int16_t* function);

// Reads the record of function 1..32, or with function 0 every whole record (up to 32) into
// consecutive elements of `records`; `flags` (optional) then gets one 0 per record. In every record
// bytes 18..21 are replaced by the count of complete scans: scans whose data lie whole in the
// function's ".DAT" file (a missing file counts 0). Works while the function is open too.
// Returns RAW_OK or a member-file error (RAW_MEMBER_NOT_OPENED without a function table);
// RAW_BAD_ARGUMENT when the table has no such record. When scans cannot be counted, because a file
// is there and cannot be read, all records are stored, the count of those scans is 0 and the first
// such error is the result.
TERVALON_API int32_t TERVALON_CALL RawReadFuncInfo(int32_t handle, int16_t function,
                                                   RawFunctionRecord* records, int16_t* flags);

// Stores the number of complete scans of a function, or with process 1..255 of a processed data set
// (`function` 0: of whatever function it was made). Works while the function is open too. Returns
// as RawReadFuncInfo or RawReadProcFunction.
TERVALON_API int32_t TERVALON_CALL RawReadScanCount(int32_t handle, int16_t function,
                                                    int16_t process, int32_t* scans);

// Tells how a processed data set (1..255) is read. On entry *function is the function that it was
// made from, or 0 to find it: the history has an entry "_PROCnnn" in that function's tree, or the
// directory has only one function. On return it is the function, and `record` what RawReadFuncInit
// wants: the function's record with the data type and the complete scans of the set. The data type
// is the one in which the first scans agree with their index (sizes, total ion currents) and their
// masses with the function; where several do equally well, the function's own.
// Returns RAW_OK; RAW_BAD_ARGUMENT when nothing tells the function or the data type;
// RAW_SLOT_OUT_OF_RANGE; a member-file error (RAW_MEMBER_NOT_OPENED where the set or the function
// table is not there). A failed call changes nothing.
TERVALON_API int32_t TERVALON_CALL RawReadProcFunction(int32_t handle, int16_t process,
                                                       int16_t* function,
                                                       RawFunctionRecord* record);

// Opens a function's ".DAT" and ".IDX" (or with process 1..255 those of that processed data set)
// for reading. `record` gives data type, mass range and channels; for a processed data set pass
// what RawReadProcFunction gives: its function's record with the set's data type. `calibration`
// (optional) is what RawReadHeader filled; without one, masses are delivered as stored. A failed
// call leaves nothing open. Returns RAW_OK; RAW_BAD_ARGUMENT for a data type that is not stored;
// RAW_SCAN_BUFFER_EXISTS when the function is already open; RAW_NO_MEMORY_FOR_SCAN_BUFFER; a
// member-file error.
TERVALON_API int32_t TERVALON_CALL RawReadFuncInit(int32_t handle, int16_t function,
                                                   int16_t process, const RawFunctionRecord* record,
                                                   const RawCalibration* calibration);

// Ends what RawReadFuncInit began.
// Returns RAW_OK, RAW_SCAN_BUFFER_ABSENT without RawReadFuncInit, or a member-file error.
TERVALON_API int32_t TERVALON_CALL RawReadFuncEnd(int32_t handle, int16_t function,
                                                  int16_t process);

// Gives the mass range and duration (seconds) of a segment, or with segment -1 of the whole
// function. Every output is optional and cleared first.
// Returns 1; 0 for channel functions and for a segment that does not exist.
TERVALON_API int32_t TERVALON_CALL RawReadGetFuncMassRange(const RawFunctionRecord* record,
                                                           int32_t segment, float* low, float* high,
                                                           float* duration);

// Sets what RawReadGetFuncMassRange gives, in the record only: of the whole function, the low mass
// of its first segment and the high mass of its last. A duration that is not a segment's own sets
// the cycle time, the inter-scan delay being kept. Returns 1; 0 for channel functions and for a
// segment that does not exist.
TERVALON_API int32_t TERVALON_CALL RawReadSetFuncMassRange(RawFunctionRecord* record,
                                                           int32_t segment, float low, float high,
                                                           float duration);

// Finds the scan whose retention time (minutes) is nearest to `time`; on a tie the earlier one.
// Needs RawReadFuncInit. `record` gives the first and last retention time (bytes 10..17): a time at
// or after the last one is the last complete scan, a time before the first one is scan 1. Stores 0
// when the function has no complete scan.
// Returns RAW_OK, RAW_SCAN_BUFFER_ABSENT or a member-file error.
TERVALON_API int32_t TERVALON_CALL RawReadTimeScan(int32_t handle, int16_t function,
                                                   int16_t process, const RawFunctionRecord* record,
                                                   float time, int32_t* scan);

// Copies the name of the record's data type to `text` (at least 32 bytes); empty for codes without
// a name.
// Returns nonzero for data types 3 and above, which come from continuum acquisition; 0 below.
TERVALON_API int32_t TERVALON_CALL RawGetDataTypeDesc(const RawFunctionRecord* record, char* text);

// Copies the name of an ionisation mode ("EI+" .. "LD-") to `text` (at least 8 bytes); empty
// outside 0..13. Returns 1 when the mode has a name, else 0.
TERVALON_API int32_t TERVALON_CALL RawGetIonModeDesc(int16_t mode, char* text);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_FUNCTIONS_H_
