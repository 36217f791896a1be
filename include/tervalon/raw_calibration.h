// Mass calibration: polynomials that turn stored masses into true ones when a spectrum is read.

#ifndef TERVALON_RAW_CALIBRATION_H_
#define TERVALON_RAW_CALIBRATION_H_

#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

#define RAW_MAX_CALIBRATION_SEGMENTS 12
#define RAW_MAX_CALIBRATED_FUNCTIONS 16
#define RAW_CALIBRATION_TEXT_SIZE 256

struct RawFunctionRecord;

// A polynomial y = c0 + c1 x + .. + cn x^n. With type 1 (root mass) x is the square root of the
// mass and the result is squared. The default is the identity: order 1, c0 = 0, c1 = 1, type 0. A
// set without coefficients (order -1) leaves masses as they are.
typedef struct RawCaliCoeffs {
  int32_t order;  // number of coefficients - 1
  double coefficients[6];
  int32_t type;  // 1: root-mass calibration
  double standard_deviation;
} RawCaliCoeffs;

// A function's calibration. "Has a calibration" means that segment_count is at least 1.
typedef struct RawFunctionCalibration {
  int32_t segment_count;
  RawCaliCoeffs segments[RAW_MAX_CALIBRATION_SEGMENTS];
  int32_t has_modification;
  RawCaliCoeffs modification;  // applied to the result of the segment's polynomial
} RawFunctionCalibration;

// The calibration of a raw directory, as its header carries it. Parameter blocks are the header's
// own texts, kept as they are.
typedef struct RawCalibration {
  RawCaliCoeffs ms1_static;
  char ms1_static_params[RAW_CALIBRATION_TEXT_SIZE];
  RawCaliCoeffs ms1_dynamic;
  char ms1_dynamic_params[RAW_CALIBRATION_TEXT_SIZE];
  char ms1_fast_params[RAW_CALIBRATION_TEXT_SIZE];
  RawCaliCoeffs ms2_static;
  char ms2_static_params[RAW_CALIBRATION_TEXT_SIZE];
  RawCaliCoeffs ms2_dynamic;
  char ms2_dynamic_params[RAW_CALIBRATION_TEXT_SIZE];
  char ms2_fast_params[RAW_CALIBRATION_TEXT_SIZE];
  char date[20];
  char time[20];
  int32_t function_count;  // 0..16; with 0 all masses stay as stored
  RawFunctionCalibration functions[RAW_MAX_CALIBRATED_FUNCTIONS];  // function 1 first
  int32_t ms1_lag;
  int32_t ms2_lag;
} RawCalibration;

// Clears the set and reads comma-separated fields: "T" and an integer set the type, any other field
// is the next coefficient, an empty one 0 (six at most, further ones are ignored). Behind a comma
// at the text's end there is no field. An empty text, or NULL, leaves a set without coefficients
// (order -1, type 0, deviation 0). Returns the set; NULL without one.
TERVALON_API RawCaliCoeffs* TERVALON_CALL RawParseCaliCoeffs(RawCaliCoeffs* set, const char* text);

// Writes "c0,..,cn,Tt" to `text` (at least 256 bytes), the coefficients in exponential form with 15
// decimals. Returns the text.
TERVALON_API char* TERVALON_CALL RawFormatCaliCoeffs(const RawCaliCoeffs* set, char* text);

// Reads the set's standard deviation from decimal text (0 from NULL); nothing else changes. Returns
// the set; NULL without one.
TERVALON_API RawCaliCoeffs* TERVALON_CALL RawParseCaliStdDevs(RawCaliCoeffs* set, const char* text);

// Writes the set's standard deviation to `text` (at least 64 bytes), in exponential form with 15
// decimals. Returns the text.
TERVALON_API char* TERVALON_CALL RawFormatCaliStdDevs(const RawCaliCoeffs* set, char* text);

// Copies the calibration of function `function`, counted from 1. The output is reset to the default
// (no segments) first, and stays so when 0 is returned.
// Returns 1 when 1 <= function <= the record's function count and function <= 16, else 0.
TERVALON_API int32_t TERVALON_CALL RawGetFuncCalib(const RawCalibration* calibration,
                                                   int32_t function,
                                                   RawFunctionCalibration* function_calibration);

// Stores the calibration of function 1..16; the record's function count does not change.
// Returns 1, or 0 for a function out of range.
TERVALON_API int32_t TERVALON_CALL
RawSetFuncCalib(RawCalibration* calibration, int32_t function,
                const RawFunctionCalibration* function_calibration);

// Copies the coefficients of a segment (0-based, negative taken as 0). The output is reset to the
// default first.
// Returns 1 when the segment exists, else 0.
TERVALON_API int32_t TERVALON_CALL RawGetFuncSegCoeffs(
    const RawFunctionCalibration* function_calibration, int32_t segment, RawCaliCoeffs* set);

// Stores the coefficients of segment 0..11 (negative taken as 0) and raises the segment count to
// hold it. Returns 1, or 0 for a segment above 11.
TERVALON_API int32_t TERVALON_CALL RawSetFuncSegCoeffs(RawFunctionCalibration* function_calibration,
                                                       int32_t segment, const RawCaliCoeffs* set);

// Returns which analyser's calibration applies to a function type: 2 for daughter, neutral loss,
// neutral gain, MRM, MS2 and auto daughter functions, 1 for all others.
TERVALON_API int32_t TERVALON_CALL RawReadGetFuncCalibNum(int32_t function_type);

// Makes the calibration of a function that the header does not calibrate: one segment with the MS1
// dynamic coefficients (calibration number 1) or the MS2 dynamic ones (2). Returns 1.
TERVALON_API int32_t TERVALON_CALL
RawFuncDefaultCalib(const RawCalibration* calibration, const struct RawFunctionRecord* record,
                    RawFunctionCalibration* function_calibration);

// Returns 1 when functions of the record's type are calibrated in root mass: the time-of-flight
// types, and for RAW_TYPE_MALDI_TOF when the word at bytes 24..25 is 0. Otherwise 0.
TERVALON_API int32_t TERVALON_CALL RawIsRootMassCalibration(const struct RawFunctionRecord* record);

// Sets the process-wide preference for root-mass calibration, which applications consult when they
// fit one, and returns it.
TERVALON_API int32_t TERVALON_CALL RawUseRootMassCali(int32_t flag);

TERVALON_END_DECLS

#endif  // TERVALON_RAW_CALIBRATION_H_
