// What kind of function the functions of a raw directory are, and what their channels measure.
//
// `raw_file` selects the directory. Functions are 1..32; with function 0 a test searches: for each
// type code of its row in turn the first function that has it, so that the order of the codes
// decides and not the order of the functions. The tests return the function's number, or 0.

#ifndef TERVALON_FUNCTION_TYPES_H_
#define TERVALON_FUNCTION_TYPES_H_

#include "tervalon/settings.h"
#include "tervalon/types.h"

TERVALON_BEGIN_DECLS

// Flags of DmRawChannelDesc.
#define DM_CHANNEL_BY_MASS 1   // the channel is given by its mass
#define DM_CHANNEL_NUMBERED 2  // the text begins with the channel's number

// Tests for one type code.
TERVALON_API int32_t TERVALON_CALL DmRawIsFunctionType(const SystemRawFile* raw_file,
                                                       int16_t function, int32_t type);

// Tests of a bare type code: 1 or 0. The last one is narrower than DmRawIsExternalFunction.
TERVALON_API int32_t TERVALON_CALL DmRawIsSIRFuncType(int32_t type);       // 1, 22, 23
TERVALON_API int32_t TERVALON_CALL DmRawIsChannelFuncType(int32_t type);   // and 9
TERVALON_API int32_t TERVALON_CALL DmRawIsExternalFuncType(int32_t type);  // 15, 16, 18..23

// Tests for the type codes 12 (Dad), 13 to 19 (TOF), 19 (TOFParent), 16 (TOFDau), 16 and 24
// (AutoDau), 16, 19 and 24 (SetMass), 15, 16, 18 and 19 (QTOF).
TERVALON_API int32_t TERVALON_CALL DmRawIsDadFunction(const SystemRawFile* raw_file,
                                                      int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsTOFFunction(const SystemRawFile* raw_file,
                                                      int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsTOFParentFunction(const SystemRawFile* raw_file,
                                                            int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsTOFDauFunction(const SystemRawFile* raw_file,
                                                         int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsAutoDauFunction(const SystemRawFile* raw_file,
                                                          int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsSetMassFunction(const SystemRawFile* raw_file,
                                                          int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsQTOFFunction(const SystemRawFile* raw_file,
                                                       int16_t function);
// The two are the same.
TERVALON_API int32_t TERVALON_CALL DmRawIsVaryingFunction(const SystemRawFile* raw_file,
                                                          int16_t function);
TERVALON_API int32_t TERVALON_CALL DmRawIsExternalFunction(const SystemRawFile* raw_file,
                                                           int16_t function);

// Writes what a channel of the selected function measures, its mass, "parent > daughter" or a
// voltage, to `out` (optional), at most `length` bytes with the terminating zero. The channel is a
// number from 1 (less counts as 1), or with DM_CHANNEL_BY_MASS the mass of the nearest channel
// within 0.001.
// Returns the channel's number; -1 when there is no such channel or the function has none.
TERVALON_API int32_t TERVALON_CALL DmRawChannelDesc(const SystemRawFile* raw_file, float channel,
                                                    char* out, int32_t flags, int32_t length);

TERVALON_END_DECLS

#endif  // TERVALON_FUNCTION_TYPES_H_
